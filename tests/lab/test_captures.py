"""Messages that the product did not encode: zones, fragments, what must be dropped.

    BSR - - host --- r1 --- r2
"""

import os
import unittest
from pathlib import Path

from kit.line import INJECTOR
from kit.play import Play
from kit.router import FAMILIES, IPV4, IPV6, REPOSITORY

OTHERS = Path(os.environ.get("PIMBSR_CAPTURES", REPOSITORY.parent / "shared/pcaps"))

ZONE = {IPV4: "239.1.0.0/16", IPV6: "ff05::/16"}
INNER = {IPV4: "239.1.2.0/24", IPV6: "ff05::1:0/112"}
AT_ONCE = 5  # seconds, for slow machines


class MadeCaptures(Play):
    def test_each_kind_of_message(self):
        line = self.started_line(2)
        link = self.capture(line.routers[0].node, "to-r2")
        for family in FAMILIES:
            with self.subTest(f"{family.word}: bad messages"):
                self.bad_messages_change_nothing(line, family)
            with self.subTest(f"{family.word}: fragments"):
                self.fragments_are_joined(line, family)
            with self.subTest(f"{family.word}: a scoped zone"):
                self.a_zone_takes_its_ranges_over(line, family)
            with self.subTest(f"{family.word}: no forward"):
                self.no_forward_stays_on_its_link(line, family, link)

    def bad_messages_change_nothing(self, line, family):
        first = line.routers[0]
        line.inject(family, "bad")
        self.eventually(AT_ONCE, lambda: sum(drops(first, family).values()) == 5, "not all are dropped")
        self.assertEqual(drops(first, family)["bad-checksum"], 2)
        for router in line.routers:
            self.assertIsNone(router.bsr(family))
            self.assertEqual(router.rps(family), {})

    def fragments_are_joined(self, line, family):
        line.inject(family, "bsm-fragmented", "1,2")
        everyone = {family.all_groups: {family.rp(0), family.rp(1)}}
        self.await_rps(family, line.routers, everyone, AT_ONCE)
        line.inject(family, "bsm-fragmented", "3")
        everyone[INNER[family]] = {family.rp(number) for number in range(2, 30)}
        self.await_rps(family, line.routers, everyone, AT_ONCE)

    def a_zone_takes_its_ranges_over(self, line, family):
        everyone = {family.all_groups: {family.rp(0), family.rp(1)}}
        line.inject(family, "bsm-scoped", "1")
        self.await_rps(family, line.routers, everyone | {INNER[family]: {family.rp(3)}}, AT_ONCE)
        for router in line.routers:
            self.assertEqual(router.bsr(family)["priority"], 100)
            self.assertEqual(router.bsr(family, ZONE[family])["priority"], 50)
        line.inject(family, "bsm-scoped", "2")
        # The message lists the inner range without RPs: those of before stay until they expire.
        scoped = {INNER[family]: {family.rp(3)}, ZONE[family]: {family.rp(4)}}
        self.await_rps(family, line.routers, everyone | scoped, AT_ONCE)

    def no_forward_stays_on_its_link(self, line, family, link):
        first = line.routers[0]
        before = [router.rps(family) for router in line.routers]
        refused = no_forward_refused(first, family)
        line.inject(family, "bsm-noforward", "1")
        self.eventually(AT_ONCE, lambda: no_forward_refused(first, family) == refused + 1,
                        "a BSR is known, so the message must be refused")
        self.assertEqual([router.rps(family) for router in line.routers], before)
        tags = {packet.first("pim.fragment_tag") for packet in link.bootstraps()}
        self.assertIn("0x2002", tags)
        self.assertNotIn("0x4001", tags)


@unittest.skipUnless(OTHERS.is_dir(), f"no captures of others in {OTHERS}")
class CapturesOfOthers(Play):
    """The host has the addresses 10.0.0.5 and 10.0.0.6 of the captured routers."""

    def test_a_captured_bsr_is_followed(self):
        line = self.build_line(2)
        for router, next_hop in zip(line.routers, ("10.0.0.5", "10.0.1.2")):
            router.node.ip("route", "add", "1.1.1.1", "via", next_hop)
        line.start()
        self.await_neighbors(line, [IPV4])
        line.host.run(INJECTOR, "to-r1", "--rate", "100", OTHERS / "PIMv2_bootstrap.pcap")
        self.await_rps(IPV4, line.routers, {"224.0.0.0/4": {"2.2.2.2", "3.3.3.3"}}, AT_ONCE)
        for router in line.routers:
            self.assertEqual(router.bsr_address(IPV4), "1.1.1.1")
            chosen = router.show(IPV4, "rp-hash", "224.1.1.1")["rp"]["rp-address"]
            self.assertEqual(chosen, "2.2.2.2")

    def test_other_messages_of_others_disturb_nobody(self):
        line = self.started_line(1)
        self.teach(line, IPV4)
        router = line.routers[0]
        before = router.rps(IPV4)
        names = ("PIMv2_hellos", "PIM-SM_join_prune", "PIM_register_register-stop",
                 "pim_header_asan", "pim_header_asan-2")
        line.host.run(INJECTOR, "to-r1", "--rate", "200",
                      *(OTHERS / f"{name}.pcap" for name in names))
        self.assertTrue(router.alive)
        self.assertEqual(router.rps(IPV4), before)


def drops(router, family):
    """What the packet layer dropped, by reason."""
    return router.show(family, "counters")["messages"]["dropped"]


def no_forward_refused(router, family):
    return router.show(family, "counters")["bsr"]["receive-errors"]["no-forward"]
