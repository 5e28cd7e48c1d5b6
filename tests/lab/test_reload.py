"""A running daemon follows its file: what differs, nothing where nothing does, nothing if it is bad.

    r1 (candidate BSR) --- r2 (candidate RP) --- r3
"""

import copy
import signal
import subprocess
import time

from kit.config import both, config, family, rp
from kit.domain import loopback
from kit.play import ELECTION_SECONDS, PERIOD_SECONDS, Play
from kit.router import FAMILIES, IPV4, IPV6, programs

MORE = {IPV4: "239.5.0.0/16", IPV6: "ff05::/16"}
# What configuration makes of the status, as an attribute log names it.
CONFIGURED = ("/cbsr[", "/crp[", "/bsBorder", "/crpPermit", "/zone", "Timeout ")


def candidate_bsr(priority):
    return both("to-r2", bsr_priority=priority)


def candidate_rp(more=False, border=False):
    far_side = {"name": "to-r3", **({"bsr-border": {}} if border else {})}
    ranges = {each: [(each.all_groups, 7)] + ([(MORE[each], 3)] if more else [])
              for each in FAMILIES}
    return config(*(family(each, "to-r1", far_side, rp_candidate=rp("lo", *ranges[each]))
                    for each in FAMILIES))


def candidates(router, family):
    """The zones in which a router is candidate BSR, and its settings there."""
    return {zone["zone"]: zone["candidate"]
            for zone in router.show(family, "bsr")["zones"] if zone["candidate"]}


class Reload(Play):
    def test_the_difference_shows_everywhere(self):
        domain = self.started_domain(candidate_bsr(100), candidate_rp(),
                                     both("to-r2"))
        first, second, third = domain.routers
        self.await_bsr(domain.routers, 1)

        self.assertIn("applied", self.reload(first, candidate_bsr(120)))
        self.assertIn("applied", self.reload(second, candidate_rp(more=True)))
        for each in FAMILIES:
            self.eventually(PERIOD_SECONDS, lambda: third.bsr(each)["priority"] == 120,
                            "r3 does not see the new priority")
            self.await_rps(each, [third], {each.all_groups: {loopback(each, 2)},
                                           MORE[each]: {loopback(each, 2)}}, PERIOD_SECONDS)
            self.assertEqual(third.mappings(each)[MORE[each]][loopback(each, 2)]["priority"], 3)

        # A border keeps the end of r1's candidacy from r3; without it r3 hears of the next election.
        self.reload(second, candidate_rp(border=True))
        self.reload(first, both("to-r2"))
        for each in FAMILIES:
            self.eventually(2, lambda: second.bsr(each)["priority"] == 0, "r2 did not hear of it")
            self.assertEqual(third.bsr(each)["priority"], 120)
        self.reload(second, candidate_rp())
        self.reload(first, candidate_bsr(90))
        for each in FAMILIES:
            self.eventually(ELECTION_SECONDS, lambda: (third.bsr(each) or {}).get("priority") == 90,
                            "r3 does not hear through what was a border")

    def test_what_is_unchanged_or_bad_changes_nothing(self):
        good = candidate_bsr(100)
        domain = self.started_domain(good)
        router = domain.router(1)
        self.await_bsr([router], 1)
        log = {each: self.log_of(router, each) for each in FAMILIES}
        before = {each: candidates(router, each) for each in FAMILIES}

        self.assertIn("unchanged", self.reload(router, dict(reversed(list(good.items())))))
        bad = copy.deepcopy(good)
        zones = bad["vrf"][0]["address-family"][0]["bsr"]["bsr-candidate"]["interface"][0]["zone"]
        zones[0]["priority"] = 7
        zones[0]["interval"] = 9
        self.check_refused(router, bad, "/zone[224.0.0.0/4]/interval: ", "10..536870906")
        twice = copy.deepcopy(good)
        interfaces = twice["vrf"][0]["address-family"][0]["bsr"]["bsr-candidate"]["interface"]
        interfaces.append({**interfaces[0], "name": "to-r2"})
        self.check_refused(router, twice, "/zone[224.0.0.0/4]: ", "claimed by interface[lo]")

        router.process.send_signal(signal.SIGHUP)
        self.eventually(2, lambda: router.said().count("refused") == 3, "SIGHUP was not heeded")
        self.assertEqual(router.said().count("claimed by interface[lo]"), 2, router.said())
        for each in FAMILIES:
            self.assertEqual(candidates(router, each), before[each])
            log[each].terminate()
            said = log[each].communicate()[0].splitlines()
            self.assertEqual([line for line in said if any(name in line for name in CONFIGURED)], [])

    def check_refused(self, router, bad, *reasons):
        router.configure(bad)
        code, said = router.reload()
        self.assertEqual(code, 1, said)
        for reason in (f"{router.config}:", "nothing has changed", *reasons):
            self.assertIn(reason, said)

    def log_of(self, router, family):
        """Follows the changes of a router's status."""
        log = subprocess.Popen([programs() / "pimbsrctl", "--socket", router.socket, "watch",
                                family.word, "pim", "status", "--raw", "--changes-only"],
                               stdout=subprocess.PIPE, text=True)
        self.addCleanup(log.stdout.close)
        self.addCleanup(log.kill)
        time.sleep(0.5)
        return log
