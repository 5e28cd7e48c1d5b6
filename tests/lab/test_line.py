"""Four routers in a line: what is sent at one end is known at the other, hop by hop.

    BSR - - host --- r1 --- r2 --- r3 --- r4
"""

from kit.play import Play
from kit.router import IPV4, IPV6

EVERYWHERE_SECONDS = 1


class FourInALine(Play):
    def test_a_message_is_known_everywhere_within_a_second(self):
        line = self.started_line(4)
        links = [self.capture(left.node, f"to-{right.node.name}")
                 for left, right in zip(line.routers, line.routers[1:])]
        for family, bidir_range in ((IPV4, "239.1.2.0/24"), (IPV6, "ff05::1:0/112")):
            with self.subTest(family.word):
                line.inject(family, "bsm-global", "1")
                everything = {family.all_groups: {family.rp(0), family.rp(1)},
                              bidir_range: {family.rp(2)}}
                self.await_rps(family, line.routers, everything, EVERYWHERE_SECONDS)
                for router in line.routers:
                    self.check_details(router, family, bidir_range)
                for number, link in enumerate(links, start=1):
                    self.check_forwarded(link, family, number)

                line.inject(family, "bsm-global", "2")
                everything[family.all_groups] = {family.rp(0)}
                self.await_rps(family, line.routers, everything, EVERYWHERE_SECONDS)

    def check_details(self, router, family, bidir_range):
        bsr = router.bsr(family)
        self.assertEqual((bsr["address"], bsr["priority"], bsr["hash-mask-length"], bsr["local"]),
                         (family.bsr, 100, 30 if family is IPV4 else 126, False))
        mappings = router.mappings(family)
        first = mappings[family.all_groups][family.rp(0)]
        self.assertEqual((first["priority"], first["holdtime"]), (0, 150))
        self.assertAlmostEqual(first["expiration"], 150, delta=5)
        self.assertEqual(mappings[family.all_groups][family.rp(1)]["priority"], 10)
        self.assertEqual(mappings[bidir_range][family.rp(2)]["mode"], "bidirectional")
        chosen = router.show(family, "rp-hash", bidir_range.split("/")[0])
        self.assertEqual(chosen["rp"]["rp-address"], family.rp(2))

    def check_forwarded(self, link, family, number):
        """What the left router of link `number` made of the message, as tshark reads it."""
        sent = [packet for packet in link.bootstraps(family.near_end(number))
                if packet.bsr == family.bsr and not packet.no_forward]
        self.assertEqual(len(sent), 1, f"link {number}: {link.bootstraps()}")
        self.assertEqual(sent[0].ttl, 1)
        self.assertTrue(sent[0].checksum_good)
        self.assertEqual(sent[0].first("pim.fragment_tag"), "0x1001")
        self.assertEqual(sent[0].rps, [family.rp(0), family.rp(1), family.rp(2)])
        self.assertEqual(sent[0].first("_ws.malformed"), "")
