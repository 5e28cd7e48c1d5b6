"""Those who use the elected RPs: a consumer of the daemon's own, a scraper, a subscriber.

    r1 --- r2      r1 is BSR and RP; r2 feeds them
"""

import json
import os
import re
import shutil
import subprocess
from pathlib import Path

from kit import config
from kit.domain import loopback
from kit.play import Play
from kit.router import FAMILIES, REPOSITORY, programs

TOLD = "/run/told"
HEARD = "/run/heard"
PROGRAM = "/run/consumer"
MODULES = REPOSITORY.parent / "shared/yang"
SCRAPE = ("import urllib.request as u; "
          "print(u.urlopen('http://127.0.0.1:9593/metrics').read().decode())")


class Feed(Play):
    def test_all_are_told_the_same(self):
        with open(PROGRAM, "w", encoding="ascii") as script:
            script.write(f"#!/bin/sh\nexec cat >> {TOLD}\n")
        os.chmod(PROGRAM, 0o700)
        follower = {**config.both("lo", "to-r1"), "consumer": PROGRAM, "metrics": {}}
        domain = self.started_domain(
            config.both("lo", "to-r2", bsr_priority=9, rp_priority=9), follower)
        fed = domain.router(2)
        for family in FAMILIES:
            self.await_rps(family, [fed], {family.all_groups: {loopback(family, 1)}}, 40)
        self.eventually(2, lambda: len(self.told()) == 3, "the consumer was not told")
        for change in self.told()[1:]:
            self.assertEqual((change["operation"], change["generation"]), ("add", 1))
            self.assertIn(self.subscribed(domain.router(1)), (self.digests(),))
        scraped = fed.node.run("python3", "-c", SCRAPE)
        digests = {int(float(value)) for value in
                   re.findall(r"^pimbsr_rp_set_digest\{.*\} (\S+)$", scraped, re.MULTILINE)}
        self.assertEqual(digests, {int(digest[:12], 16) for digest in self.digests()})
        self.assertIn('pimbsr_bsr_info{vrf="default",family="ipv4",zone="224.0.0.0/4",'
                      f'bsr="{loopback(FAMILIES[0], 1)}"}} 1', scraped)
        for sample in ('interface_messages_received_total{vrf="default",family="ipv4",'
                       'interface="to-r1",type="bootstrap"}', "kernel_overflows_total{", "timers ",
                       'interface_dropped_total{vrf="default",family="ipv6",interface="to-r1"}',
                       'bsr_expiries_total{vrf="default",family="ipv4",zone="224.0.0.0/4"} 0\n',
                       'rp_expiries_total{vrf="default",family="ipv6"} 0\n'):
            self.assertIn("\npimbsr_" + sample, scraped)
        self.reload(fed, {**follower, "metrics": {"address": "192.0.2.77"}})
        self.assertIn("no metrics at 192.0.2.77", fed.said())

        for family in FAMILIES:
            self.validate(fed.text(family, "yang"))

    def test_a_consumer_in_c_outlives_the_daemon(self):
        program = programs() / "consumer"
        if not program.exists():
            self.skipTest("the example is not built")
        domain = self.started_domain(config.both("to-r2", bsr_priority=9, rp_priority=9),
                                     config.both("to-r1"))
        first, fed = domain.routers
        with open(HEARD, "w", encoding="ascii") as out:
            consumer = fed.node.start("env", f"PIMBSR_SOCKET={fed.socket}", program, "239.1.2.3",
                                      "ff0e::1", stdout=out, stderr=subprocess.DEVNULL)
        self.addCleanup(consumer.wait)
        self.addCleanup(consumer.kill)
        self.eventually(40, lambda: self.agree(domain.routers), "the consumer knows no RPs")
        self.assertIn(f"239.1.2.3 {loopback(FAMILIES[0], 1)}", self.heard())
        for priority in (5, 6):
            fed.kill()
            self.reload(first, config.both("to-r2", bsr_priority=9, rp_priority=priority))
            fed.start()
            self.eventually(40, lambda: self.priority(fed) == priority and
                            self.agree(domain.routers), "the consumer knows other RPs than routers")

    @staticmethod
    def heard():
        return Path(HEARD).read_text(encoding="ascii").splitlines()

    def agree(self, routers):
        """Whether the digests that the consumer said last are those of the routers."""
        last = {line[:4]: line.split()[-1] for line in self.heard() if " digest " in line}
        return all(last.get(f"IPv{family.version}") ==
                   router.show(family, "rp-set")["mappings"]["digest"]
                   for family in FAMILIES for router in routers)

    @staticmethod
    def priority(router):
        """Of the one RP that a router knows in IPv4."""
        (rps,) = router.mappings(FAMILIES[0]).values()
        return next(iter(rps.values()))["priority"]

    def validate(self, state):
        """The operational state is what RFC 9128 models; where the modules and yanglint are there."""
        if not MODULES.is_dir() or not shutil.which("yanglint"):
            return
        with open("/run/state.json", "w", encoding="utf-8") as file:
            file.write(state)
        names = ("ietf-pim-rp", "ietf-pim-sm", "ietf-pim-bidir")
        paths = [str(path) for name in names for path in MODULES.glob(f"{name}@*.yang")]
        done = subprocess.run(["yanglint", "-p", str(MODULES), "-t", "get", "-F",
                               "ietf-pim-rp:bsr,bsr-election-state", *paths, "/run/state.json"],
                              capture_output=True, text=True)
        self.assertEqual(done.returncode, 0, done.stderr)

    def told(self):
        with open(TOLD, encoding="ascii") as lines:
            return [json.loads(line) for line in lines]

    def digests(self):
        return {change["digest"] for change in self.told()[1:]}

    def subscribed(self, router):
        """The digests of another router, from the mark of a subscription."""
        said = router.control("--timeout", "0.5", "subscribe", "rp-mappings")[1]
        mark = next(line for line in map(json.loads, said.splitlines())
                    if line["operation"] == "live")
        return {instance["digest"] for instance in mark["instances"]}
