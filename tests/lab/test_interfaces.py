"""Links go down and come back, addresses change: the daemons follow the kernel.

    BSR - - host --- r1 --- r2 --- r3
"""

from kit.play import ADJACENCY_SECONDS, Play
from kit.router import FAMILIES, IPV4, IPV6

NOTICED_SECONDS = 2
NEW_END = {IPV4: "10.0.2.22", IPV6: "fe80::22"}
PREFIX_LENGTH = {IPV4: 24, IPV6: 64}


class Interfaces(Play):
    def test_a_link_goes_down_and_comes_back(self):
        line = self.started_line(3)
        first, second, third = line.routers
        for family in FAMILIES:
            self.teach(line, family)
        learned = {family: third.rps(family) for family in FAMILIES}

        second.node.ip("link", "set", "to-r3", "down")
        for family in FAMILIES:
            self.eventually(NOTICED_SECONDS, lambda: not second.neighbors(family, "to-r3"),
                            "r2 still knows a neighbour behind the link")
            self.assertFalse(interface(second, family, "to-r3")["up"])
            self.assertEqual(second.rps(family), learned[family])
            self.assertEqual(third.rps(family), learned[family])
            self.teach(line, family, "2", [first, second])
            self.assertEqual(third.rps(family), learned[family], "r3 cannot know yet")

        # The kernel took the IPv6 addresses off the interface.
        second.node.furnish("to-r3", link=2, end=2)
        for family in FAMILIES:
            self.eventually(ADJACENCY_SECONDS, lambda: line.neighbors_known(family),
                            "neighbours do not know each other again")
            self.teach(line, family, "2")

    def test_an_address_changes(self):
        line = self.started_line(3)
        _, second, third = line.routers
        link = self.capture(second.node, "to-r3")
        for family in FAMILIES:
            length = PREFIX_LENGTH[family]
            second.node.ip("address", "delete", f"{family.near_end(2)}/{length}", "dev", "to-r3")
            second.node.address("to-r3", f"{NEW_END[family]}/{length}")
            third.node.ip("route", "replace", family.bsr, "via", NEW_END[family], "dev", "to-r2")
            self.eventually(ADJACENCY_SECONDS,
                            lambda: NEW_END[family] in third.neighbors(family, "to-r2") and
                            second.neighbors(family, "to-r3"),
                            "r2 and r3 do not know each other again")
            self.assertEqual(interface(second, family, "to-r3")["address"], NEW_END[family])

            self.teach(line, family)
            packets = link.bootstraps(NEW_END[family])
            self.assertTrue(packets and all(packet.checksum_good for packet in packets))


def interface(router, family, name):
    return next(entry for entry in router.show(family, "interface")["interfaces"]
                if entry["interface"] == name)
