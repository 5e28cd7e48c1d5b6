"""Candidates that files configure: an election, and the next one after a graceful stop.

    r1 (candidate BSR, 100) --- r2 (candidate RP) --- r3 (candidate BSR, 50)
"""

from kit.config import HOLD_TIME, bsr, config, family, rp
from kit.domain import loopback
from kit.play import PERIOD_SECONDS, Play
from kit.router import FAMILIES


def candidate_bsr(interface, priority):
    return config(*(family(each, interface, bsr_candidate=bsr("lo", (each.all_groups, priority)))
                    for each in FAMILIES))


def candidate_rp(*interfaces):
    return config(*(family(each, *interfaces, rp_candidate=rp("lo", (each.all_groups, 7)))
                    for each in FAMILIES))


class Election(Play):
    def test_candidates_that_are_stopped_give_way_at_once(self):
        domain = self.started_domain(candidate_bsr("to-r2", 100), candidate_rp("to-r1", "to-r3"),
                                     candidate_bsr("to-r2", 50))
        first, second, third = domain.routers
        link = self.capture(second.node, "to-r3")
        self.await_bsr(domain.routers, 1)
        for each in FAMILIES:
            self.assertTrue(first.bsr(each)["local"])
            self.assertEqual(third.show(each, "bsr")["zones"][0]["candidate"]["state"], "candidate")
            self.await_rps(each, domain.routers, {each.all_groups: {loopback(each, 2)}},
                           PERIOD_SECONDS)
            mapping = third.mappings(each)[each.all_groups][loopback(each, 2)]
            self.assertEqual((mapping["priority"], mapping["mode"]), (7, "sparse"))

        self.assertEqual(first.stop(), 0)
        for each in FAMILIES:
            self.eventually(2, lambda: not second.neighbors(each, "to-r1"), "r1 said no goodbye")
        # Sooner than the hold time after the last message, and the back-off, would have it.
        self.await_bsr([second, third], 3, seconds=HOLD_TIME)
        for each in FAMILIES:
            spoken = [packet for packet in link.bootstraps(each.near_end(1))
                      if packet.bsr == loopback(each, 1)]
            self.assertEqual([packet.priority for packet in spoken[:1] + spoken[-1:]], [100, 0])
            self.assertTrue(all(packet.checksum_good for packet in spoken))

        for each in FAMILIES:
            self.eventually(PERIOD_SECONDS, lambda: self.known_rps(third, each) ==
                            {loopback(each, 2)}, "r3 does not know the RP")
        self.assertEqual(second.stop(), 0)
        for each in FAMILIES:
            self.eventually(2, lambda: not self.known_rps(third, each), "r2 was not withdrawn")

    def known_rps(self, router, family):
        """The RPs of all groups that a BSR knows; it announces a withdrawn one once more."""
        mappings = router.zone_mappings(family, family.all_groups).get(family.all_groups, {})
        return {rp for rp, entry in mappings.items() if entry["holdtime"] > 0}
