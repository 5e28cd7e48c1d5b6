"""Routers in a line behind a host that speaks for the BSR.

    BSR - - host --- r1 --- r2 --- r3 ...

Link N (from 0) has the addresses 10.0.N.2 and fe80::2 at its left end, .1 and ::1 at its right end;
every router reaches the BSR through the left end of the link on its left. No BSR is there: the host
injects the messages that one would send.
"""

import itertools

from kit import wire
from kit.network import Network
from kit.router import FAMILIES, REPOSITORY, Router

INJECTOR = REPOSITORY / "scripts/inject-pcap"


class Line:
    """The network with its routers, none of them started, all with the same daemon options."""

    def __init__(self, count, *options, mtu=1500, first_mtu=None):
        self.network = Network()
        names = ["host"] + [f"r{number}" for number in range(1, count + 1)]
        for link, (left, right) in enumerate(zip(names, names[1:])):
            self.network.link(left, right, mtu if link else first_mtu or mtu)
            self.route_to_bsr(right, left, link)
        self.host = self.network.nodes["host"]
        self.routers = [Router(self.network.nodes[name], *options) for name in names[1:]]
        self._files = itertools.count()

    def route_to_bsr(self, name, left, link):
        """Makes the left end of a link a router's next hop to the BSRs."""
        node = self.network.nodes[name]
        for family in FAMILIES:
            if family.version == 4 or node.has_ipv6(f"to-{left}"):
                node.ip("route", "replace", family.bsr, "via", family.near_end(link),
                        "dev", f"to-{left}")

    def start(self):
        for router in self.routers:
            router.start()

    def neighbors_known(self, family):
        """Whether the routers of the line know each other."""
        pairs = enumerate(zip(self.routers, self.routers[1:]), start=1)
        return all(family.far_end(link) in left.neighbors(family, f"to-{right.node.name}") and
                   family.near_end(link) in right.neighbors(family, f"to-{left.node.name}")
                   for link, (left, right) in pairs)

    def greet(self, family):
        """The host says Hello."""
        self.inject(family, "hello", "1")

    def inject(self, family, kind, frames=None):
        """The host sends a made capture, such as bsm-global, or some frames of it."""
        self._inject(family.capture(kind), *(["--frames", frames] if frames else []))

    def send(self, family, *messages):
        """The host sends bootstrap messages that the lab's own encoder made."""
        path = f"/run/sent-{next(self._files)}.pcap"
        wire.write_pcap(path, [wire.frame(family.host, message.encode()) for message in messages])
        self._inject(path)

    def close(self):
        for router in self.routers:
            router.discard()
        self.network.close()

    def _inject(self, path, *options):
        self.host.run(INJECTOR, "to-r1", "--no-hello", "--rate", "1000", *options, path)
