"""Routers in a line, each with a loopback address that all others have a route to:

    r1 --- r2 --- r3 ...

The loopback addresses of rK are 10.255.K.1 and fd00:255:K::1; whatever else is in 10.255.K.0/24 and
fd00:255:K::/48 finds its way too. Links are those of Network.link.
"""

from kit.network import Network
from kit.router import FAMILIES, IPV4, Router


def loopback(family, number, host=1):
    """An address of rK: its first one, or another of its block."""
    return f"10.255.{number}.{host}" if family is IPV4 else f"fd00:255:{number}::{host}"


def block(family, number):
    return f"10.255.{number}.0/24" if family is IPV4 else f"fd00:255:{number}::/48"


class Domain:
    """The network with its routers, none of them started."""

    def __init__(self, count):
        self.network = Network()
        names = [f"r{number}" for number in range(1, count + 1)]
        for left, right in zip(names, names[1:]):
            self.network.link(left, right)
        self.routers = [Router(self.network.node(name)) for name in names]
        for number in range(1, count + 1):
            self._furnish(number)
        for link in range(count - 1):
            self._join(link)

    def router(self, number):
        return self.routers[number - 1]

    def address(self, number, family, host=1):
        """Gives the loopback of a router an address."""
        self.router(number).node.address("lo", f"{loopback(family, number, host)}/"
                                               f"{32 if family is IPV4 else 128}")

    def link_down(self, link):
        """Takes a link, counted from 0, down at its near end."""
        self.router(link + 1).node.ip("link", "set", f"to-r{link + 2}", "down")

    def link_up(self, link):
        """Brings it up again, with all that the kernel took away meanwhile."""
        self.router(link + 1).node.furnish(f"to-r{link + 2}", link, 2)
        self._join(link)

    def start(self):
        for router in self.routers:
            router.start()

    def close(self):
        for router in self.routers:
            router.discard()
        self.network.close()

    def _furnish(self, number):
        self.router(number).node.run(
            "sh", "-c", "echo 1 > /proc/sys/net/ipv4/ip_forward; "
                        "echo 1 > /proc/sys/net/ipv6/conf/all/forwarding")
        for family in FAMILIES:
            self.address(number, family)

    def _join(self, link):
        """Gives the routers at both ends of a link their routes through it."""
        for other in range(1, len(self.routers) + 1):
            near, far = link + 1, link + 2
            here, there = (near, far) if other >= far else (far, near)
            for family in FAMILIES:
                via = family.far_end(link) if there == far else family.near_end(link)
                self.router(here).node.ip("route", "replace", block(family, other), "via", via,
                                          "dev", f"to-r{there}")
