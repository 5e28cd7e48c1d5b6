"""Beside another PIM speaker: on every interface a program of the same router sends the Hellos.

    r1 --- r2 --- r3      all `hello: passive`; r1 is BSR and RP
"""

import itertools
import sys

from kit import config, speaker
from kit.domain import loopback
from kit.play import Play
from kit.router import FAMILIES

LINKS = [["to-r2"], ["to-r1", "to-r3"], ["to-r2"]]
HELLO = "pim.type == 0"


class Passive(Play):
    def test_shares_interfaces_with_another_speaker(self):
        domain = self.started_domain(*(self.passive(number) for number in (1, 2, 3)))
        link = self.capture(domain.router(2).node, "to-r3")
        for router, interfaces in zip(domain.routers, LINKS):
            for interface in interfaces:
                self.speak(router, interface)
        self.await_bsr(domain.routers, 1)
        for family in FAMILIES:
            rps = {family.all_groups: {loopback(family, 1)}}
            self.await_rps(family, domain.routers, rps, 30)
        self.assertEqual(domain.router(2).stop(), 0)
        self.assertFalse(link.goodbyes())
        hellos = link.packets(HELLO)
        numbers = {(hello.source, hello.generation_id) for hello in hellos}
        self.assertEqual(len(numbers), 2 * len(FAMILIES), "one generation ID for each speaker")
        for router, family in itertools.product((domain.router(1), domain.router(3)), FAMILIES):
            self.assertEqual(router.show(family, "counters")["messages"]["dropped"], {})

    def passive(self, number):
        names = ["lo", *LINKS[number - 1]]
        interfaces = [{"name": name, "hello": "passive"} for name in names]
        priority = 10 if number == 1 else None
        return config.both(*interfaces, bsr_priority=priority, rp_priority=priority)

    def speak(self, router, interface):
        for family in FAMILIES:
            program = router.node.start(sys.executable, speaker.__file__, interface,
                                        str(family.version))
            self.addCleanup(program.wait)
            self.addCleanup(program.kill)
