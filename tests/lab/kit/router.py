"""The daemon under test in a node of the network, asked through its operators' client."""

import ipaddress
import json
import os
import shutil
import signal
import subprocess
import time
from pathlib import Path

REPOSITORY = Path(__file__).resolve().parents[3]
START_SECONDS = 10


def programs():
    """The folder of the daemon and its client."""
    return Path(os.environ.get("PIMBSR_BIN", REPOSITORY / "build/dev/bin")).resolve()


class Router:
    """`pimbsrd` on a node: with a configuration file if it is given one, else on all interfaces."""

    def __init__(self, node, *options):
        self.node = node
        self.options = options
        self.config = None  # the path of its configuration file
        self.socket = f"/run/{node.name}.sock"
        self.log = f"/run/{node.name}.log"
        self.process = None

    def configure(self, config):
        """Writes a configuration, given as data; the daemon reads it when it starts or reloads."""
        self.config = f"/run/{self.node.name}.yaml"
        with open(self.config, "w", encoding="utf-8") as file:
            json.dump(config, file, indent=1)  # JSON is YAML

    def launch(self):
        """Starts the daemon without waiting for it."""
        source = ["--config", self.config] if self.config else \
            [word for name in self.node.interfaces() for word in ("--interface", name)]
        with open(self.log, "a", encoding="utf-8") as log:
            self.process = self.node.start(programs() / "pimbsrd", *source, "--control",
                                           self.socket, *self.options, stdout=log, stderr=log)

    def start(self):
        self.launch()
        deadline = time.monotonic() + START_SECONDS
        while self._client("show", "ip", "pim", "interface").returncode == 3:
            if self.process.poll() is not None or time.monotonic() > deadline:
                raise RuntimeError(f"pimbsrd on {self.node.name} did not start: {self.said()}")
            time.sleep(0.02)
        return self

    def stop(self):
        """Ends the daemon as an operator does; returns its exit code."""
        self.end(signal.SIGTERM)
        return self.process.returncode

    def kill(self):
        self.end(signal.SIGKILL)

    def discard(self):
        """Ends the daemon, and with it whatever the next one could go on with."""
        self.kill()
        shutil.rmtree(self.state(IPV4).parent, ignore_errors=True)

    def end(self, number):
        """Ends the daemon by a signal; returns its exit code."""
        if self.process and self.process.poll() is None:
            self.process.send_signal(number)
            return self.process.wait(timeout=10)
        return None

    def state(self, family):
        """The path of its state file."""
        return Path(self.socket).with_suffix(".state") / f"default.ipv{family.version}"

    @property
    def alive(self):
        return self.process.poll() is None

    def said(self, lines=40):
        """The end of the daemon's log."""
        with open(self.log, encoding="utf-8", errors="replace") as log:
            return "".join(log.readlines()[-lines:])

    def resident_kib(self):
        """The daemon's resident memory."""
        with open(f"/proc/{self.process.pid}/status", encoding="ascii") as status:
            return next(int(line.split()[1]) for line in status if line.startswith("VmRSS"))

    def text(self, family, *topic):
        """What `pimbsrctl show ip|ipv6 pim TOPIC` prints."""
        done = self._client("show", family.word, "pim", *topic)
        if done.returncode != 0:
            raise RuntimeError(f"pimbsrctl on {self.node.name}: {done.stderr or done.stdout}")
        return done.stdout

    def show(self, family, *topic):
        return json.loads(self.text(family, *topic, "--json"))

    def zone(self, family, zone=None):
        """What is shown of a zone (the global one), nothing if it is unknown."""
        for entry in self.show(family, "bsr")["zones"]:
            if entry["zone"] == (zone or family.all_groups):
                return entry
        return {}

    def bsr(self, family, zone=None):
        """The elected BSR of a zone (the global one) or None."""
        return self.zone(family, zone).get("bsr")

    def bsr_address(self, family, zone=None):
        bsr = self.bsr(family, zone)
        return bsr and bsr["address"]

    def zones(self, family):
        return [entry["zone"] for entry in self.show(family, "bsr")["zones"]]

    def mappings(self, family):
        """The mappings in use: {group range: {RP address: what is shown of it}}."""
        return _by_range(self.show(family, "rp-set")["mappings"]["groups"])

    def zone_mappings(self, family, zone):
        """The mappings learned for one zone, likewise."""
        for entry in self.show(family, "rp-set")["zones"]:
            if entry["zone"] == zone:
                return _by_range(entry["groups"])
        return {}

    def zone_rps(self, family, zone=None):
        """The RPs that it knows for all groups of a zone (the global one), but for those whose
        withdrawal a BSR still announces."""
        zone = zone or family.all_groups
        learned = self.zone_mappings(family, zone).get(zone, {})
        return {rp for rp, entry in learned.items() if entry["holdtime"] > 0}

    def rps(self, family):
        """The mappings in use without their details: {group range: {RP addresses}}."""
        return {prefix: set(rps) for prefix, rps in self.mappings(family).items()}

    def neighbors(self, family, interface=None):
        """The addresses of its neighbours, on all interfaces or on one."""
        return {entry["address"] for entry in self.show(family, "neighbor")["neighbors"]
                if interface in (None, entry["interface"])}

    def explained(self, *words):
        """What `pimbsrctl explain` says, as data."""
        return json.loads(self._client("explain", *words, "--json").stdout)

    def reload(self):
        """`pimbsrctl reload`: its exit code and all that it says."""
        return self.control("reload")

    def control(self, *words):
        """A command of the client: its exit code and all that it says."""
        done = self._client(*words)
        return done.returncode, done.stdout + done.stderr

    def _client(self, *words):
        return subprocess.run([programs() / "pimbsrctl", "--socket", self.socket, *words],
                              capture_output=True, text=True, stdin=subprocess.DEVNULL)


class Family:
    """What differs between the plays for IPv4 and for IPv6."""

    def __init__(self, version, word, all_groups, host, bsr, first_rp):
        self.version = version
        self.word = word
        self.all_groups = all_groups
        self.host = host
        self.bsr = bsr
        self.first_rp = ipaddress.ip_address(first_rp)

    def capture(self, kind):
        """The path of a made capture: bsm-global is bsm-v4-global.pcap."""
        name, _, rest = kind.partition("-")
        rest = f"-{rest}" if rest else ""
        return REPOSITORY / f"tests/data/pcaps/{name}-v{self.version}{rest}.pcap"

    def rp(self, number):
        """The RPs of the captures, counted from 0."""
        return str(self.first_rp + number)

    def near_end(self, link):
        """The address from which the near end of a link sends PIM: see Network.link."""
        return f"10.0.{link}.2" if self.version == 4 else "fe80::2"

    def far_end(self, link):
        return f"10.0.{link}.1" if self.version == 4 else "fe80::1"


IPV4 = Family(4, "ip", "224.0.0.0/4", "10.0.0.2", "192.0.2.1", "192.0.2.11")
IPV6 = Family(6, "ipv6", "ff00::/8", "fe80::2", "2001:db8::1", "2001:db8::11")
FAMILIES = (IPV4, IPV6)


def _by_range(groups):
    return {group["group-range"]: {rp["rp-address"]: rp for rp in group["rps"]}
            for group in groups}
