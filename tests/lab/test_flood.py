"""A flood of rubbish changes nothing but counters.

    BSR - - host --- r1 --- r2
                      |
                    noise

The host, which is the way to the BSR, sends random octets and real messages with a few octets
changed, all with wrong checksums. The noise has the host's own link-local address and sends the
like with right checksums: all of it is read in full, and refused because it is not the way to the
BSR. PIMBSR_FLOOD_SECONDS says how long (8).
"""

import os
import subprocess

from kit.line import INJECTOR
from kit.play import SANITIZED, Play
from kit.router import FAMILIES, REPOSITORY

SECONDS = float(os.environ.get("PIMBSR_FLOOD_SECONDS", "8"))
SEED = int(os.environ.get("PIMBSR_FLOOD_SEED", "1"))
RATE = 500  # frames per second of each of the six senders
GROWTH_KIB = 256  # what a daemon's memory may grow once it is warm
CAPTURES = sorted((REPOSITORY / "tests/data/pcaps").glob("*.pcap"))


class Flood(Play):
    def test_a_flood_changes_nothing_but_counters(self):
        line = self.build_line(2)
        line.network.link("noise", "r1")
        line.start()
        self.await_neighbors(line)
        for family in FAMILIES:
            self.teach(line, family)
        before = [self.learned(router) for router in line.routers]

        self.flood(line, SECONDS / 4)
        warm = [router.resident_kib() for router in line.routers]
        self.flood(line, SECONDS * 3 / 4)

        for router, kib in zip(line.routers, warm):
            self.assertTrue(router.alive)
            if not SANITIZED:  # the sanitizer keeps what is freed
                self.assertLess(router.resident_kib(), kib + GROWTH_KIB, "memory grows")
        self.assertEqual([self.learned(router) for router in line.routers], before)
        for family in FAMILIES:
            self.check_counters(line.routers[0], family)
            self.teach(line, family, "2")

    def flood(self, line, seconds):
        """Lets all senders loose for so long."""
        noise = line.network.nodes["noise"]
        noise_address = noise.ip("-4", "-brief", "address", "show", "to-r1").split()[2]
        kinds = [(line.host, ("--random", SEED)), (line.host, ("--mutate", SEED))]
        for address in (noise_address.split("/")[0], "fe80::2"):
            kinds += [(noise, ("--random", SEED, "--fix-checksum", "--source", address)),
                      (noise, ("--mutate", SEED, "--fix-checksum", "--source", address))]
        senders = [node.start(INJECTOR, "to-r1", *options, "--rate", RATE, "--seconds", seconds,
                              *CAPTURES, stdout=subprocess.DEVNULL) for node, options in kinds]
        for sender in senders:
            self.assertEqual(sender.wait(), 0)

    def learned(self, router):
        """What a router knows about all groups of both families, without times and addresses that
        the flood may rightly bring along."""
        return [(family.word, router.bsr_address(family), router.bsr(family)["priority"],
                 {prefix: sorted(rps) for prefix, rps in
                  router.zone_mappings(family, family.all_groups).items()}) for family in FAMILIES]

    def check_counters(self, router, family):
        counters = router.show(family, "counters")
        self.assertGreater(counters["messages"]["dropped"]["bad-checksum"], 2 * RATE)
        errors = counters["bsr"]["receive-errors"]
        self.assertGreater(errors["neighbor-rpf-check"], 0)
