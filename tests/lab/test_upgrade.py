"""A daemon gets ready for its replacement and goes without a word.

    r1 (candidate BSR and RP) --- r2
"""

from kit.config import both
from kit.domain import loopback
from kit.play import PERIOD_SECONDS, Play
from kit.router import FAMILIES

READY_SECONDS = 5  # after which every instance reports


class Upgrade(Play):
    def test_nobody_notices_the_replacement(self):
        lasting = [{"name": each, "hello-interval": 2} for each in ("to-r2", "to-r1")]
        domain = self.started_domain(both(lasting[0], bsr_priority=100, rp_priority=5),
                                     both(lasting[1]))
        first, second = domain.routers
        self.await_bsr([second], 1)
        expected = {each: {each.all_groups: {loopback(each, 1)}} for each in FAMILIES}
        for each in FAMILIES:
            self.await_rps(each, [second], expected[each], PERIOD_SECONDS)

        code, said = first.control("--timeout", "1", "upgrade", "prepare")
        self.assertEqual((code, said.count("not ready")), (1, 2), said)
        code, said = first.control("upgrade", "prepare")
        self.assertEqual((code, said), (0, "VRF default, IPv4: ready\nVRF default, IPv6: ready\n"))
        intervals = [each["interval"] for each in
                     first.show(FAMILIES[0], "status")["bsr"]["crp"].values()]
        self.assertEqual(intervals, [120])

        self.assertEqual(first.stop(), 0)
        for each in FAMILIES:
            self.assertTrue(second.neighbors(each), "r2 was told that r1 goes")
            self.assertEqual(second.bsr(each)["priority"], 100)
            self.assertEqual(second.rps(each), expected[each])
        first.start()
        self.eventually(PERIOD_SECONDS, lambda: first.bsr(FAMILIES[0]) and
                        first.bsr(FAMILIES[0])["local"], "r1 is not the BSR again")
        self.assertEqual(second.bsr_address(FAMILIES[0]), loopback(FAMILIES[0], 1))
