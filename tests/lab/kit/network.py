"""Namespaces as nodes of a network, and the links between them."""

import json
import subprocess

IPV6_LEAST_MTU = 1280  # below it the kernel takes IPv6 off an interface


def ip(*arguments):
    """Runs the `ip` program; returns what it says."""
    done = subprocess.run(["ip", *arguments], capture_output=True, text=True)
    if done.returncode != 0:
        raise RuntimeError(f"ip {' '.join(arguments)}: {done.stderr.strip()}")
    return done.stdout


class Node:
    """A network namespace; the interface towards node X is called to-X."""

    def __init__(self, name):
        self.name = name
        ip("netns", "add", name)
        self.ip("link", "set", "lo", "up")

    def ip(self, *arguments):
        return ip("-n", self.name, *arguments)

    def command(self, *words):
        """The words of a command that runs inside the namespace."""
        return ["nsenter", f"--net=/run/netns/{self.name}", *map(str, words)]

    def run(self, *words):
        """Runs a command inside to its end; returns its standard output."""
        done = subprocess.run(self.command(*words), capture_output=True, text=True,
                              stdin=subprocess.DEVNULL)
        if done.returncode != 0:
            raise RuntimeError(f"{' '.join(map(str, words))}: {done.stderr or done.stdout}")
        return done.stdout

    def start(self, *words, **options):
        """Starts a command inside."""
        return subprocess.Popen(self.command(*words), stdin=subprocess.DEVNULL, **options)

    def furnish(self, interface, link, end, ipv6=True):
        """Brings an interface up with the addresses of one end of a link."""
        addresses = [f"10.0.{link}.{end}/24"]
        if ipv6:
            self.ip("link", "set", interface, "addrgenmode", "none")
            addresses += [f"fe80::{end}/64", f"fd00:0:0:{link}::{end}/64"]
        self.ip("link", "set", interface, "up")
        for address in addresses:
            self.address(interface, address)

    def address(self, interface, address):
        self.ip("address", "replace", address, "dev", interface,
                *(["nodad"] if ":" in address else []))

    def has_ipv6(self, interface):
        return bool(self.ip("-6", "address", "show", "dev", interface))

    def interfaces(self):
        """The names of its interfaces, the loopback not among them."""
        links = json.loads(self.ip("-json", "link", "show"))
        return sorted(link["ifname"] for link in links if link["ifname"] != "lo")


class Network:
    """Nodes and links; `close` takes all of them away."""

    def __init__(self):
        self.nodes = {}
        self._links = 0

    def node(self, name):
        if name not in self.nodes:
            self.nodes[name] = Node(name)
        return self.nodes[name]

    def link(self, near, far, mtu=1500):
        """Joins two nodes: addresses 10.0.N.2 and fe80::2 at the near end, .1 and ::1 at the far
        end, N counted from 0; fd00:0:0:N::/64 likewise."""
        number = self._links
        self._links += 1
        for name in (near, far):
            self.node(name)
        ip("link", "add", f"to-{far}", "mtu", str(mtu), "netns", near, "type", "veth",
           "peer", "name", f"to-{near}", "mtu", str(mtu), "netns", far)
        for here, there, end in ((near, far, 2), (far, near, 1)):
            self.nodes[here].furnish(f"to-{there}", number, end, mtu >= IPV6_LEAST_MTU)
        return number

    def close(self):
        for name in self.nodes:
            ip("netns", "delete", name)
        self.nodes = {}
