"""A router that starts later learns everything from its neighbour, not from the next period.

    BSR - - host --- r1 --- r2 --- r3 (later)
"""

import time

from kit.play import Play
from kit.router import FAMILIES

LEARNED_SECONDS = 6


class Newcomer(Play):
    def test_a_late_router_learns_from_a_no_forward_message(self):
        line = self.build_line(3)
        *early, late = line.routers
        for router in early:
            router.start()
        line.routers = early
        self.await_neighbors(line)
        line.routers = [*early, late]
        for family in FAMILIES:
            self.teach(line, family, routers=early)
        link = self.capture(early[1].node, "to-r3")

        started = time.monotonic()
        late.start()
        for family in FAMILIES:
            rps = early[1].rps(family)
            self.assertTrue(rps)
            self.await_rps(family, [late], rps, started + LEARNED_SECONDS - time.monotonic())
        for family in FAMILIES:
            packets = link.bootstraps(family.near_end(2))
            self.assertTrue(packets)
            for packet in packets:
                self.assertTrue(packet.no_forward and packet.checksum_good, packet)
                self.assertEqual(packet.bsr, family.bsr)
