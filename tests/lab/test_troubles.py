"""What operators report most, made one after the other: the first line of `explain` names the cause,
on the router where one would look first. In a healthy network nothing is dropped or told twice.
"""

import time

from kit.config import access_list, bsr, config, family, rp
from kit.domain import block, loopback
from kit.play import ADJACENCY_SECONDS, ELECTION_SECONDS, PERIOD_SECONDS, Play
from kit.router import IPV4
from kit.wire import Bootstrap, GroupRange, Rp

ALL = IPV4.all_groups
GROUPS = [f"239.1.{number}.1" for number in range(0, 256, 8)]


class Troubles(Play):
    def first_line(self, router, *words, good=False):
        """The answer, with the exit code that goes with it; no line is longer than a terminal."""
        code, said = router.control("explain", *words)
        self.assertEqual(code, 0 if good else 1, said)
        self.assertLessEqual(max(len(line) for line in said.splitlines()), 80, said)
        return " ".join(said.split("\n\n")[0].split())

    def test_on_the_way_from_the_bsr(self):
        line = self.build_line(2)
        first, host = line.routers[0], IPV4.host
        usual, border = ([{"name": "to-host", **extra}, "to-r2"]
                         for extra in ({}, {"bsr-border": {}}))
        first.configure(config(family(IPV4, *usual)))
        line.start()
        self.eventually(ADJACENCY_SECONDS, lambda: first.neighbors(IPV4, "to-r2"), "r2 is unknown")
        no_bsr = f"No BSR in zone {ALL}: "
        dropped = f"Bootstrap messages are dropped from {host} on to-host: "
        bsr_known = f"The BSR of zone {ALL} is {IPV4.bsr}, priority 100"

        self.assertEqual(self.first_line(first, "bsr"), no_bsr + "no candidate is heard of.")
        self.send(line, 1)
        self.assertEqual(self.first_line(first, "bsr"),
                         no_bsr + dropped + "its sender is no PIM neighbor.")
        line.greet(IPV4)
        first.node.ip("route", "del", IPV4.bsr)
        self.send(line, 2)
        self.assertEqual(self.first_line(first, "bsr"), no_bsr + dropped + "no route to BSR "
                         f"{IPV4.bsr} leads over a PIM neighbor (no route).")
        first.node.ip("route", "replace", IPV4.bsr, "via", IPV4.far_end(1), "dev", "to-r2")
        self.send(line, 3)
        self.assertEqual(self.first_line(first, "bsr"), no_bsr + dropped + "RPF: the way to BSR "
                         f"{IPV4.bsr} leads over {IPV4.far_end(1)} on to-r2.")
        line.route_to_bsr("r1", "host", 0)

        whole, part = GroupRange(ALL, [Rp(IPV4.rp(0))]), GroupRange(
            "239.1.0.0/16", [Rp(IPV4.rp(1)), Rp(IPV4.rp(2))], rp_count=3)
        line.send(IPV4, Bootstrap(IPV4.bsr, [whole, part], tag=4))
        time.sleep(1.5)
        self.assertEqual(self.first_line(first, "bsr", good=True), bsr_known + ".")
        self.assertRegex(self.first_line(first, "rp", "239.1.1.1"),
                         f"^RP {IPV4.rp(0)} serves group 239.1.1.1: .*, but range 239.1.0.0/16 is "
                         r"incomplete, 2 of 3 RPs have arrived since 00:00:0\d.$")
        self.assertIn("but range 239.1.0.0/16 is incomplete", " ".join(
            first.text(IPV4, "rp-hash", "239.1.1.1").split()))
        self.assertIn("2 of 3 RPs received", first.text(IPV4, "rp-set"))

        self.reload(first, config(family(IPV4, *border)))
        self.send(line, 5)
        self.assertEqual(self.first_line(first, "bsr"), f"{bsr_known}, but is being lost: {dropped}"
                         f"the interface is a border of zone {ALL} (BSR {IPV4.bsr}).")
        self.assertEqual(first.control("clear", "counters"), (0, ""))
        self.assertEqual(self.first_line(first, "drops", good=True), "Nothing has been dropped.")

    def test_cures(self):
        line = self.build_line(2)
        first, second = line.routers
        interfaces = [{"name": "to-host", "neighbor-filter": ["OURS"]}, "to-r2"]
        first.configure(config(family(IPV4, "to-host", "to-r2")))
        line.start()
        self.await_neighbors(line, [IPV4])
        known = {IPV4.host, IPV4.far_end(1)}
        self.teach(line, IPV4)

        self.assertEqual(first.control("clear", "bsr"), (0, "Cleared: 1\n"))
        self.assertIsNone(first.bsr_address(IPV4))
        self.assertRegex(first.text(IPV4, "events"), f"BSR {IPV4.bsr} is gone .cleared by an")
        self.assertEqual(second.bsr_address(IPV4), IPV4.bsr)
        self.teach(line, IPV4, "2")

        self.assertEqual(first.control("clear", "neighbor", "192.0.2.99"), (0, "Cleared: 0\n"))
        self.assertEqual(first.control("clear", "neighbor", IPV4.host), (0, "Cleared: 1\n"))
        self.assertEqual(first.neighbors(IPV4), {IPV4.far_end(1)})
        line.greet(IPV4)
        self.eventually(2, lambda: first.neighbors(IPV4) == known, "the host is no neighbour again")
        generation = self.generation(second)
        self.assertEqual(first.control("clear", "neighbor"), (0, "Cleared: 2\n"))
        self.eventually(ADJACENCY_SECONDS, lambda: first.neighbors(IPV4) == {IPV4.far_end(1)} and
                        self.generation(second) != generation, "r2 did not see a router restart")

        line.greet(IPV4)
        self.eventually(2, lambda: first.neighbors(IPV4) == known, "the host is no neighbour again")
        self.reload(first, config(family(IPV4, *interfaces), **{
            "access-list": [access_list(IPV4, "OURS", "deny host 10.0.0.2", "permit 10.0.0.0/8")]}))
        self.assertEqual(first.neighbors(IPV4), {IPV4.far_end(1)})
        self.assertNotIn("cleared", first.show(IPV4, "events")["events"][-1]["text"])
        uncleared = first.show(IPV4, "counters")["since-cleared"]
        first.control("clear", "counters")
        self.assertLess(first.show(IPV4, "counters")["since-cleared"], uncleared)
        line.greet(IPV4)
        self.eventually(2, lambda: first.explained("drops")["drops"], "nothing is dropped")
        self.assertIn("neighbor-filter of the interface does not permit this neighbor",
                      self.first_line(first, "drops"))
        self.assertEqual(first.neighbors(IPV4), {IPV4.far_end(1)})

    @staticmethod
    def generation(router):
        """The generation ID of r1 as its neighbour r2 sees it."""
        return [each["gen-id"] for each in router.show(IPV4, "neighbor")["neighbors"]]

    def send(self, line, tag):
        line.send(IPV4, Bootstrap(IPV4.bsr, [GroupRange(ALL, [Rp(IPV4.rp(0))])], tag=tag))
        time.sleep(0.3)

    def test_among_candidates(self):
        def router(*interfaces, priority=None, filtered=(), rps=("lo",)):
            candidates = {"rp_candidate": {"interface": [
                rp(name, (ALL, 5))["interface"][0] for name in rps]}}
            if priority is not None:
                candidates["bsr_candidate"] = bsr("lo", (ALL, priority))
            return config(family(IPV4, *interfaces, rp_filter=list(filtered), **candidates),
                          **{"access-list": [access_list(IPV4, "RPS", f"permit {block(IPV4, 1)}",
                                                         f"permit {block(IPV4, 3)}")]})
        domain = self.started_domain(router("to-r2", priority=100),
                                     router("to-r1", "to-r3", "lo", rps=("lo", "eth9")),
                                     router("to-r2", priority=200, filtered=["RPS"]))
        first, second, third = domain.routers
        own = [loopback(IPV4, number) for number in (1, 2, 3)]
        self.await_bsr(domain.routers, 3, [IPV4])
        self.await_rps(IPV4, domain.routers, {ALL: {own[0], own[2]}}, ELECTION_SECONDS)

        self.assertEqual(self.first_line(first, "bsr", good=True),
                         f"The BSR of zone {ALL} is {own[2]}, priority 200, as its priority is higher "
                         f"than 100 of this router's {own[0]}.")
        self.assertEqual(self.first_line(second, "candidate"), "This router's candidate RP on eth9 "
                         "does not run: there is no interface eth9.")
        self.assertEqual(self.first_line(third, "rp", GROUPS[0], "--why-not", own[1]),
                         f"RP {own[1]} does not serve group {GROUPS[0]}: its advertisement is dropped "
                         f"from {own[1]} on to-r2: rp-filter does not permit this source "
                         f"(RP {own[1]}).")
        self.assertEqual(third.explained("bsr")["drops"], [], "an advertisement is no message")
        served = {group: first.show(IPV4, "rp-hash", group)["rp"]["rp-address"] for group in GROUPS}
        group = next(group for group, by in served.items() if by == own[0])
        self.assertRegex(self.first_line(first, "rp", group, good=True),
                         f"^RP {own[0]} serves group {group}: .*hash")
        self.assertIn(f"BSR {own[2]}", first.control("explain", "rp", group)[1])
        self.assertEqual(self.first_line(first, "rp", group, "--why-not", own[2], good=True),
                         f"RP {own[2]} does not serve group {group}: lost: higher hash value of "
                         f"{own[0]}.")
        digests = {each.show(IPV4, "rp-set")["mappings"]["digest"] for each in domain.routers}
        self.assertEqual(len(digests), 1, digests)

        self.quiet(domain.routers)
        first.kill()
        time.sleep(16)  # more than half of the hold time
        self.assertRegex(self.first_line(third, "rp", group), f"^RP {own[0]} serves group {group}: "
                         r".*, but it was last advertised 00:00:\d\d ago and stays for another")
        self.assertEqual(third.control("clear", "rp", own[0]), (0, "Cleared: 1\n"))
        self.await_rps(IPV4, [second, third], {ALL: {own[2]}}, PERIOD_SECONDS)

    def quiet(self, routers):
        """For more than a period nothing is told; what is dropped is what the filter is there for."""
        time.sleep(1.5)  # until the last change of the RP set has been told
        for each in routers:
            self.assertEqual(each.control("clear", "counters")[0], 0)
        before = [each.show(IPV4, "events")["events"][-1]["text"] for each in routers]
        time.sleep(12)
        for each, last in zip(routers, before):
            self.assertEqual(each.show(IPV4, "events")["events"][-1]["text"], last)
            reasons = {drop["reason"] for drop in each.explained("drops")["drops"]}
            self.assertLessEqual(reasons, {"filtered"} if each is routers[2] else set())
