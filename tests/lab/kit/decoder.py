"""Captures on a link and an independent decoder's reading of them (tshark)."""

import itertools
import subprocess
import sys
import time

from kit import recorder

GOOD_CHECKSUM = "1"
FIELDS = ("frame.len", "ip.src", "ipv6.src", "ip.ttl", "ipv6.hlim", "ip.flags.mf",
          "pim.cksum.status", "pim.res_bytes", "pim.fragment_tag", "pim.bsr", "pim.bsr_ip6",
          "pim.bsr_priority", "pim.rp", "pim.rp_ip6", "pim.rp_count", "pim.frp_count",
          "pim.generation_id", "_ws.malformed")
_numbers = itertools.count()


class Packet:
    """What tshark reads in one packet; a field that occurs several times gives a list."""

    def __init__(self, values):
        self._values = values

    def all(self, field):
        value = self._values[field]
        return value.split("|") if value else []

    def first(self, *fields):
        """The first value of the first of these fields that is there, or an empty string."""
        values = [value for field in fields for value in self.all(field)]
        return values[0] if values else ""

    @property
    def source(self):
        return self.first("ip.src", "ipv6.src")

    @property
    def ttl(self):
        return int(self.first("ip.ttl", "ipv6.hlim"))

    @property
    def bsr(self):
        return self.first("pim.bsr", "pim.bsr_ip6")

    @property
    def priority(self):
        return int(self.first("pim.bsr_priority"))

    @property
    def rps(self):
        return self.all("pim.rp") + self.all("pim.rp_ip6")

    @property
    def generation_id(self):
        return self.first("pim.generation_id")

    @property
    def no_forward(self):
        return self.first("pim.res_bytes") == "80"

    @property
    def checksum_good(self):
        return self.first("pim.cksum.status") == GOOD_CHECKSUM

    def __repr__(self):
        return str({field: value for field, value in self._values.items() if value})


class Capture:
    """Everything PIM that crosses one interface, in both directions, from construction on."""

    def __init__(self, node, interface):
        self.path = f"/run/capture-{next(_numbers)}.pcap"
        self._process = node.start(sys.executable, recorder.__file__, interface, self.path,
                                   stdout=subprocess.PIPE, text=True)
        if not self._process.stdout.readline():
            raise RuntimeError(f"no capture on {interface} of {node.name}")

    def close(self):
        self._process.kill()
        self._process.wait()
        self._process.stdout.close()

    def bootstraps(self, source=None):
        """The bootstrap messages seen until now, only those from `source` if it is given."""
        packets = self.packets("pim.type == 4")
        return [packet for packet in packets if source in (None, packet.source)]

    def goodbyes(self):
        """What says that somebody or something goes: a hold time of 0, a BSR's priority of 0."""
        return self.packets("pim.holdtime == 0 || pim.bsr_priority == 0")

    def packets(self, display_filter):
        """What passes a filter of tshark."""
        time.sleep(0.1)  # for what the recorder has still to write
        command = ["tshark", "-r", self.path, "-Y", display_filter, "-T", "fields",
                   "-E", "occurrence=a", "-E", "aggregator=|", "-E", "separator=/t"]
        for field in FIELDS:
            command += ["-e", field]
        # tshark's standard error only says whom it runs as.
        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                              check=True)
        rows = [line.split("\t") for line in done.stdout.splitlines()]
        return [Packet(dict(zip(FIELDS, row))) for row in rows]
