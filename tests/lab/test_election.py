"""Candidates that files configure: an election, and the next one after a graceful stop.

    r1 (candidate BSR, 100) --- r2 (candidate RP) --- r3 (candidate BSR, 50)
"""

from kit.config import HOLD_TIME, both
from kit.domain import loopback
from kit.play import PERIOD_SECONDS, Play
from kit.router import FAMILIES


class Election(Play):
    def test_candidates_that_are_stopped_give_way_at_once(self):
        domain = self.started_domain(both("to-r2", bsr_priority=100),
                                     both("to-r1", "to-r3", rp_priority=7),
                                     both("to-r2", bsr_priority=50))
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

            told = [event["text"] for event in third.show(each, "events")["events"]]
            self.assertEqual(len(told), len(set(told)), told)  # nothing repeats in a quiet network
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
            self.assertEqual([(event["event"], event["cause"], event["bsr"])
                              for event in third.show(each, "events")["events"]
                              if event.get("zone") == each.all_groups],
                             [("candidate-bsr-started", "none", loopback(each, 3)),
                              ("bsr-new", "first-heard", loopback(each, 1)),
                              ("bsr-changed", "resigned", loopback(each, 1)),
                              ("election-won", "resigned", loopback(each, 3))])
            self.assertIn(("neighbor-down", "goodbye", "to-r1"),
                          [(event["event"], event["cause"], event.get("interface"))
                           for event in second.show(each, "events")["events"]])

        for each in FAMILIES:
            self.eventually(PERIOD_SECONDS, lambda: third.zone_rps(each) == {loopback(each, 2)},
                            "r3 does not know the RP")
        self.assertEqual(second.stop(), 0)
        for each in FAMILIES:
            self.eventually(2, lambda: not third.zone_rps(each), "r2 was not withdrawn")
