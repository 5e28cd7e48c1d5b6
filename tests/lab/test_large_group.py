"""A group with 200 RPs crosses small links in fragments and is installed whole.

    BSR - - host ===9000=== r1 ---small--- r2 ---small--- r3 ---small--- r4

The host sends one datagram; r1 has to cut it into fragments.
"""

from kit.play import Play
from kit.router import IPV4, IPV6
from kit.wire import Bootstrap, GroupRange, Rp

EVERYWHERE_SECONDS = 1
ETHERNET_HEADER = 14


class LargeGroup(Play):
    def test_ipv4_over_links_of_576_octets(self):
        rps = {f"198.51.100.{number}" for number in range(1, 201)}
        packets = self.cross(IPV4, "239.5.0.0/16", rps, mtu=576)
        self.assertGreaterEqual(len(packets), 4)
        for packet in packets:
            self.assertEqual(packet.first("ip.flags.mf"), "0", "cut by IP, not by PIM")
            self.assertLessEqual(int(packet.first("frame.len")), ETHERNET_HEADER + 576)
        self.assertEqual(sum(int(packet.first("pim.frp_count")) for packet in packets), 200)

    def test_ipv6_over_links_of_1280_octets(self):
        rps = {f"2001:db8:5::{number:x}" for number in range(1, 201)}
        self.cross(IPV6, "ff05::5:0/112", rps, mtu=1280)

    def cross(self, family, group, rps, mtu):
        """Sends the group through the line; returns what the last link carried of it."""
        line = self.started_line(4, families=[family], mtu=mtu, first_mtu=9000)
        last_link = self.capture(line.routers[2].node, "to-r4")
        entries = [Rp(address, holdtime=200, priority=7) for address in sorted(rps)]
        line.send(family, Bootstrap(family.bsr, [GroupRange(group, entries)], tag=0x5151))
        self.await_rps(family, line.routers, {group: rps}, EVERYWHERE_SECONDS)
        packets = [packet for packet in last_link.bootstraps(family.near_end(3))
                   if not packet.no_forward]
        self.assertEqual({packet.first("pim.fragment_tag") for packet in packets}, {"0x5151"})
        self.assertEqual({packet.first("pim.rp_count") for packet in packets}, {"200"})
        self.assertEqual({rp for packet in packets for rp in packet.rps}, rps)
        self.assertTrue(all(packet.checksum_good and packet.ttl == 1 for packet in packets))
        return packets
