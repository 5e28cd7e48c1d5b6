"""A VRF has instances of its own, which come and go with its device and keep to themselves.

    r1 (candidate BSR, 100) --- r2 (PIM in VRF red and in the default one) --- r3 (candidate BSR, 50)
"""

import itertools
import json

from kit.config import both
from kit.domain import Domain, block, loopback
from kit.play import ELECTION_SECONDS, Play
from kit.router import FAMILIES

NOTICED_SECONDS = 2
TABLE = "10"


def in_vrfs(**interfaces):
    """PIM in these VRFs, each on its interfaces."""
    return {"vrf": [both(*names)["vrf"][0] | {"name": vrf} for vrf, names in interfaces.items()]}


class Vrf(Play):
    def setUp(self):
        self.domain = Domain(3)
        self.addCleanup(self.domain.close)
        self.first, self.second, self.third = self.domain.routers
        self.add_vrf(self.second.node)
        self.first.configure(both("to-r2", bsr_priority=100))
        self.second.configure(in_vrfs(default=["to-r3"], red=["to-r1"]))
        self.third.configure(both("to-r2", bsr_priority=50))
        self.domain.start()
        self.await_bsrs(red=1, default=3)

    def test_an_instance_runs_while_its_vrf_is_there(self):
        self.second.node.ip("link", "delete", "red")
        for each in FAMILIES:
            self.eventually(NOTICED_SECONDS, lambda: self.show("red", each)[0] == 1,
                            "there is an instance without a VRF")
            self.assertEqual(self.bsr_in("default", each), loopback(each, 3))
        self.add_vrf(self.second.node)
        self.await_bsrs(red=1, default=3)

    def test_an_interface_changes_its_vrf(self):
        for each in FAMILIES:
            self.assertEqual(self.third.bsr_address(each), loopback(each, 3),
                             "r3 has heard of the better BSR behind the VRF")
        self.second.node.ip("link", "set", "to-r1", "nomaster")
        self.join_first(self.second.node)
        self.reload(self.second, in_vrfs(default=["to-r1", "to-r3"], red=[]))
        self.await_bsrs(red=None, default=1)
        self.await_bsr([self.third], 1)

    def await_bsrs(self, **expected):
        """r2 sees these routers as the BSRs of its VRFs."""
        for each, (vrf, number) in itertools.product(FAMILIES, expected.items()):
            self.eventually(ELECTION_SECONDS, lambda: self.bsr_in(vrf, each) ==
                            (number and loopback(each, number)),
                            f"the BSR of VRF {vrf} is not r{number}")

    def add_vrf(self, node):
        """Puts the interface to r1 into the VRF red, which knows the way to r1."""
        try:
            node.ip("link", "add", "red", "type", "vrf", "table", TABLE)
        except RuntimeError as reason:
            self.skipTest(f"this kernel has no VRF devices ({reason})")
        node.ip("link", "set", "red", "up")
        node.ip("link", "set", "to-r1", "master", "red")
        self.join_first(node, "table", TABLE)

    def join_first(self, node, *table):
        """Gives the interface to r1 its addresses, and a table of routes the way to r1."""
        node.furnish("to-r1", link=0, end=1)
        for each in FAMILIES:
            node.ip("route", "replace", block(each, 1), "via", each.near_end(0), "dev", "to-r1",
                    *table)

    def show(self, vrf, family):
        return self.second.control("show", family.word, "pim", "bsr", "--vrf", vrf, "--json")

    def bsr_in(self, vrf, family):
        code, said = self.show(vrf, family)
        found = json.loads(said)["zones"][0]["bsr"] if code == 0 else None
        return found and found["address"]
