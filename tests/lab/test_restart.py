"""Daemons that are killed and started anew go on where they were, and nobody notices.

    r1 (candidate BSR and RP) --- r2 (candidate RP) --- r3

PIMBSR_RESTARTS restarts the BSR so often in each way, while files are read again and links fail for
a moment; without it once, in peace.
"""

import os
import random
import signal
import time

from kit.config import both
from kit.domain import loopback
from kit.play import ELECTION_SECONDS, PERIOD_SECONDS, Play
from kit.poller import Poller
from kit.router import FAMILIES, IPV4, IPV6

RESTARTS = int(os.environ.get("PIMBSR_RESTARTS", "1"))
TROUBLED = RESTARTS > 1
HOLD_TIME = 30  # bears a message that a link loses while it is down


class Restart(Play):
    def setUp(self):
        self.chance = random.Random(os.environ.get("PIMBSR_SEED", "1"))
        configs = [both("to-r2", bsr_priority=100, rp_priority=5),
                   both("to-r1", "to-r3", rp_priority=5), both("to-r2")]
        for config in configs:
            for family in config["vrf"][0]["address-family"]:
                family["bsr"]["hold-time"] = HOLD_TIME
        self.configs = configs
        self.domain = self.started_domain(*configs)
        self.expected = {each: (loopback(each, 1), {loopback(each, 1), loopback(each, 2)})
                         for each in FAMILIES}
        self.await_all(ELECTION_SECONDS + PERIOD_SECONDS)

    def await_all(self, seconds):
        for each in FAMILIES:
            self.await_bsr(self.domain.routers, 1, [each], seconds=seconds)
            self.await_rps(each, self.domain.routers, {each.all_groups: self.expected[each][1]},
                           seconds)

    def test_nobody_notices_a_restart(self):
        capture = self.capture(self.domain.router(2).node, "to-r1")
        poller = Poller(self.domain.routers, self.expected)
        self.addCleanup(poller.stop)
        for _ in range(RESTARTS):
            for restart in (self.killed, self.prepared, self.left):
                restart(self.domain.router(1))
                self.trouble()
        for router in self.domain.routers[1:]:
            self.killed(router)
        time.sleep(2)
        self.assertEqual(poller.stop(), [])
        self.assertGreater(poller.polls, 30)
        print(f"{poller.polls} polls") if TROUBLED else None
        self.assertEqual(capture.goodbyes(), [])
        self.assertIn("IPv6 in VRF default resumes with 1 BSRs and 2 RPs",
                      self.domain.router(3).said())

    def killed(self, router):
        router.kill()
        router.start()

    def prepared(self, router):
        self.assertEqual(router.control("upgrade", "prepare")[0], 0)
        self.assertEqual(router.stop(), 0)
        router.start()

    def left(self, router):
        self.assertEqual(router.end(signal.SIGUSR1), 0)
        router.start()

    def trouble(self):
        if not TROUBLED:
            return
        time.sleep(self.chance.uniform(1, 10))  # for the first message, which the next link may need
        number = self.chance.randrange(3)
        family = self.configs[number]["vrf"][0]["address-family"][0]
        family["bsr"]["hold-time"] = HOLD_TIME + self.chance.randrange(5)
        self.reload(self.domain.router(number + 1), self.configs[number])
        link = self.chance.randrange(2)
        self.domain.link_down(link)
        time.sleep(self.chance.uniform(0, 1))
        self.domain.link_up(link)
        time.sleep(self.chance.uniform(0, 3))

    def test_a_damaged_state_is_put_aside(self):
        router = self.domain.router(3)
        router.kill()
        state = router.state(IPV4)
        text = bytearray(state.read_bytes())
        text[len(text) // 2] ^= 1
        state.write_bytes(text)
        router.start()
        self.assertIsNone(router.bsr(IPV4))
        self.assertEqual(router.bsr_address(IPV6), self.expected[IPV6][0])
        said = router.said()
        self.assertIn("IPv4 in VRF default begins anew: its state file is damaged; it is "
                      "default.ipv4.bad now", said)
        self.assertEqual(state.with_suffix(".ipv4.bad").read_bytes(), text)
        self.await_all(PERIOD_SECONDS)
        self.assertEqual(router.stop(), 0)
        self.assertEqual([path.name for path in state.parent.iterdir()], ["default.ipv4.bad"])
