"""A router leaves office and goes on running.

    r1 (candidate BSR, 100, and RP) --- r2 (candidate RP) --- r3 (candidate BSR, 90)
"""

from kit.config import both
from kit.domain import loopback
from kit.play import ELECTION_SECONDS, PERIOD_SECONDS, Play
from kit.router import FAMILIES, IPV4


class Drain(Play):
    def test_office_is_left_and_taken_again(self):
        domain = self.started_domain(both("to-r2", bsr_priority=100, rp_priority=5),
                                     both("to-r1", "to-r3", rp_priority=5),
                                     both("to-r2", bsr_priority=90))
        first, _, third = domain.routers
        self.await_bsr(domain.routers, 1)
        self.await_rps_of(domain, 1, 2)

        said = self.drained(first, "bsr", "--wait", str(ELECTION_SECONDS))
        for each in FAMILIES:
            self.assertIn(f"zone {each.all_groups}: BSR {loopback(each, 3)}", said)
            self.assertEqual(first.bsr_address(each), loopback(each, 3))
            self.assertIsNone(first.zone(each)["candidate"])
        self.assertIn("Drained: this router is no candidate BSR", first.text(IPV4, "bsr"))
        self.await_bsr(domain.routers, 3, seconds=1)
        self.await_rps_of(domain, 1, 2)

        said = self.drained(first, "rp", "--wait", str(PERIOD_SECONDS))
        self.assertIn(f"RP {loopback(IPV4, 1)}: withdrawn", said)
        self.assertEqual(first.show(IPV4, "bsr")["drained"], {"bsr": True, "rp": True})
        self.await_rps_of(domain, 2)

        self.assertEqual(first.control("undrain"), (0, "This router is not drained\n"))
        self.assertIn(loopback(IPV4, 1), first.show(IPV4, "status")["bsr"]["crp"])
        self.await_bsr(domain.routers, 1)

        # Who holds no office has none to leave; where nobody else stands nobody takes over.
        self.assertNotIn("zone", self.drained(third, "bsr", "--wait", "1"))
        code, said = first.control("drain", "all", "--wait", "1")
        self.assertEqual((code, said.count("no other BSR yet")), (1, 2), said)
        self.assertIn("unchanged, no longer drained", self.reload(first))
        self.await_bsr(domain.routers, 1)

    def drained(self, router, *words):
        code, said = router.control("drain", *words)
        self.assertEqual(code, 0, said)
        return said

    def await_rps_of(self, domain, *numbers):
        """All routers use the RPs of these routers, and no others."""
        for each in FAMILIES:
            self.await_rps(each, domain.routers,
                           {each.all_groups: {loopback(each, number) for number in numbers}},
                           PERIOD_SECONDS)
