"""What every play does: builds a line of routers, waits for what must be seen, cleans up."""

import os
import time
import unittest

from kit.decoder import Capture
from kit.domain import Domain, loopback
from kit.line import Line
from kit.router import FAMILIES

# Two triggered Hellos of up to 5 s (RFC 7761 section 4.3.1) and some air.
ADJACENCY_SECONDS = 12
# The back-off of a candidate BSR (RFC 5059 section 5: 5 s and more), Hellos before it, and much air.
ELECTION_SECONDS = 30
# A period of Bootstrap messages of 10 s, and much air.
PERIOD_SECONDS = 25
SANITIZED = os.environ.get("PIMBSR_SANITIZED") == "1"


class Play(unittest.TestCase):
    def build_line(self, count, *options, **mtus):
        line = Line(count, *options, **mtus)
        self.addCleanup(line.close)
        return line

    def started_line(self, count, *options, families=FAMILIES, **mtus):
        """A line whose routers run, know each other and know the host."""
        line = self.build_line(count, *options, **mtus)
        line.start()
        self.await_neighbors(line, families)
        return line

    def started_domain(self, *configs):
        """Routers in a line, one for each configuration, all of them running."""
        domain = Domain(len(configs))
        self.addCleanup(domain.close)
        for router, config in zip(domain.routers, configs):
            router.configure(config)
        domain.start()
        return domain

    def await_bsr(self, routers, number, families=FAMILIES, zone=None, seconds=ELECTION_SECONDS):
        """All these routers see the first loopback address of r`number` as the BSR of a zone."""
        for family in families:
            for router in routers:
                self.eventually(seconds, lambda: router.bsr_address(family, zone) ==
                                loopback(family, number),
                                f"{router.node.name} does not see r{number} as the BSR")

    def teach(self, line, family, message="1", routers=None):
        """The host sends a message for all groups, the first one with RPs 0 and 1, the second one
        without RP 1; all routers, or some of them, take it in."""
        line.inject(family, "bsm-global", message)
        for router in routers or line.routers:
            self.eventually(1, lambda: router.bsr_address(family) == family.bsr and
                            (message == "1") == (family.rp(1) in router.zone_rps(family)),
                            f"{router.node.name} did not take message {message} in")

    def reload(self, router, config=None):
        """Has a router read its configuration, another one if it is given; says what it said."""
        if config is not None:
            router.configure(config)
        code, said = router.reload()
        self.assertEqual(code, 0, said)
        return said

    def await_neighbors(self, line, families=FAMILIES):
        for family in families:
            self.eventually(ADJACENCY_SECONDS, lambda: line.neighbors_known(family),
                            "neighbours do not know each other")
            line.greet(family)
            self.eventually(2, lambda: family.host in line.routers[0].neighbors(family),
                            "r1 does not know the host")

    def capture(self, node, interface):
        capture = Capture(node, interface)
        self.addCleanup(capture.close)
        return capture

    def eventually(self, seconds, condition, complaint):
        """Asks until the condition holds; returns how long it took. Fails after `seconds`."""
        started = time.monotonic()
        while not condition():
            if time.monotonic() - started > seconds:
                self.fail(f"{complaint}, {seconds:.1f} s long")
            time.sleep(0.02)
        return time.monotonic() - started

    def await_rps(self, family, routers, rps, seconds):
        """All these routers show exactly these mappings within so many seconds altogether."""
        for router in routers:
            try:
                seconds -= self.eventually(seconds, lambda: router.rps(family) == rps, "")
            except AssertionError:
                self.fail(f"{router.node.name} shows {router.rps(family)}, not {rps}")
