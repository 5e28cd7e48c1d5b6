"""Daemons that are killed and started anew go on where they were, and nobody notices.

    r1 (candidate BSR and RP) --- r2 (candidate RP) --- r3

PIMBSR_RESTARTS restarts the BSR so often in each way, while files are read again and links fail for
a moment, and damages states in every way; without it once, in peace.
"""

import os
import random
import signal
import time
import zlib
from pathlib import Path

from kit.config import both
from kit.domain import loopback
from kit.play import ELECTION_SECONDS, PERIOD_SECONDS, Play
from kit.poller import Poller
from kit.router import FAMILIES, IPV4, IPV6

RESTARTS = int(os.environ.get("PIMBSR_RESTARTS", "1"))
TROUBLED = RESTARTS > 1
COLD_SECONDS = 8  # neighbours prime within six of its first Hello a router that knows nothing
HOLD_TIME = 30  # bears a message that a link loses while it is down


def flipped(text):
    middle = len(text) // 2
    return text[:middle] + bytes([text[middle] ^ 1]) + text[middle + 1:]


def headed(field, word):
    """Gives a state file another header, and the guards that go with it."""
    def change(text):
        lines = text.splitlines(keepends=True)
        words = lines[0].split()
        words[field] = word
        lines[0] = b" ".join(words) + b"\n"
        check = 0
        for place, line in enumerate(lines):
            if line.startswith(b". "):
                lines[place] = b". %x\n" % check
            else:
                check = zlib.crc32(line, check)
        return b"".join(lines)
    return change


DAMAGES = {  # what happens to the file, and what the log says of it
    "a torn end": (lambda text: text[:-3], "is damaged"),
    "another boot": (headed(3, b"0" * 32), "is of another boot"),
}
if TROUBLED:
    DAMAGES |= {
        "a lost end of the last batch": (lambda text: text[:text.rindex(b"\n. ") + 1],
                                         "has a torn end"),
        "a flipped bit": (flipped, "is damaged"),
        "an empty file": (lambda text: b"", "is empty"),
        "a foreign file": (lambda text: b"#!/bin/sh\n", "is none of ours"),
        "another format": (headed(1, b"2"), "has another format"),
        "a later time": (headed(4, b"1e12"), "is of a time to come"),
        "another family": (headed(5, b"ipv6"), "is of another address family"),
        "another VRF": (headed(6, b"'blue'"), "is of another VRF"),
    }


class Restart(Play):
    def setUp(self):
        self.cold = []
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
        for damage, (change, fault) in DAMAGES.items():
            for number in (3, 1) if TROUBLED else (3,):
                with self.subTest(damage, router=number):
                    self.begins_anew(self.domain.router(number), change, fault)
        if TROUBLED:
            print(f"{len(DAMAGES)} damages, back after {max(self.cold):.1f} s at most")
        state = self.domain.router(3).state(IPV4)
        self.assertEqual(self.domain.router(3).stop(), 0)
        self.assertEqual([path.name for path in state.parent.iterdir()], ["default.ipv4.bad"])

    def begins_anew(self, router, change, fault):
        """One family's state is damaged: it is back as soon as after a cold start, the other at once."""
        router.kill()
        state = router.state(IPV4)
        text = change(state.read_bytes())
        state.write_bytes(text)
        log = Path(router.log)
        known = log.stat().st_size
        router.start()
        started = time.monotonic()
        self.assertEqual(router.bsr_address(IPV6), self.expected[IPV6][0])
        self.assertIn(f"IPv4 in VRF default begins anew: its state file {fault}; it is "
                      "default.ipv4.bad now", log.read_text(encoding="utf-8")[known:])
        self.assertEqual(state.with_suffix(".ipv4.bad").read_bytes(), text)
        self.await_all(COLD_SECONDS)
        self.cold.append(time.monotonic() - started)
