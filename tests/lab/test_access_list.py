"""Access lists say what is accepted and what is claimed; edits of their rules take effect at once.

    r1 (candidate BSR, filters RPs) --- r2 (candidate RP) --- r3 (candidate RP)
"""

from kit.config import access_list, bsr, config, family, rp
from kit.domain import block, loopback
from kit.play import ELECTION_SECONDS, Play
from kit.router import FAMILIES, IPV4, IPV6

OLD = {IPV4: "239.1.0.0/16", IPV6: "ff05::/16"}
NEW = {IPV4: "239.2.0.0/16", IPV6: "ff08::/16"}
ADVERTISED_SECONDS = 8  # an advertisement every second, and much air


def candidate_bsr(permitted, zones):
    """Accepts the RPs of these routers; claims the domain and these zones."""
    families = [family(each, "to-r2", rp_filter=["RPS"],
                       bsr_candidate=bsr("lo", (each.all_groups, 100), lists=[("ZONES", 100)]))
                for each in FAMILIES]
    lists = [access_list(each, name, *(f"permit {prefix}" for prefix in prefixes[each]))
             for each in FAMILIES
             for name, prefixes in (("RPS", {f: [block(f, n) for n in permitted] for f in FAMILIES}),
                                    ("ZONES", {f: [zone[f] for zone in zones] for f in FAMILIES}))]
    return config(*families, **{"access-list": lists})


def candidate_rp(zone, *interfaces):
    families = [family(each, *interfaces, rp_candidate=rp("lo", (each.all_groups, 5),
                                                          lists=[("RANGES", 9)]))
                for each in FAMILIES]
    return config(*families, **{"access-list": [
        access_list(each, "RANGES", f"permit {zone[each]}") for each in FAMILIES]})


class AccessLists(Play):
    def test_an_edit_takes_effect_at_once(self):
        domain = self.started_domain(candidate_bsr([2], [OLD]), candidate_rp(OLD, "to-r1", "to-r3"),
                                     candidate_rp(OLD, "to-r2"))
        first, second, _ = domain.routers
        for each in FAMILIES:
            self.await_bsr([second], 1, [each])
            self.await_bsr([second], 1, [each], OLD[each])
            self.await_at_bsr(first, each, OLD, {2})
            self.eventually(ADVERTISED_SECONDS, lambda: first.show(each, "counters")["bsr"]
                            ["receive-errors"]["filter"] > 0, "r3 is not filtered")
            self.assertNotIn(loopback(each, 3), first.zone_rps(each))

        self.assertIn("applied", self.reload(first, candidate_bsr([2, 3], [NEW])))
        self.reload(second, candidate_rp(NEW, "to-r1", "to-r3"))
        for each in FAMILIES:
            self.eventually(ADVERTISED_SECONDS, lambda: loopback(each, 3) in first.zone_rps(each),
                            "the edited filter does not let r3 in")
            self.eventually(2, lambda: second.bsr(each, OLD[each])["priority"] == 0,
                            "r2 does not know that the zone was given up")
        for each in FAMILIES:
            self.await_bsr([second], 1, [each], NEW[each], seconds=ELECTION_SECONDS)
            self.eventually(ADVERTISED_SECONDS, lambda: loopback(each, 2) in
                            first.zone_rps(each, NEW[each]),
                            "r2 does not advertise the edited range")
            self.assertEqual(second.bsr(each)["priority"], 100)

    def await_at_bsr(self, router, family, zone, rps):
        """The BSR knows exactly these RPs for all groups, and r2 for the zone."""
        expected = {loopback(family, number) for number in rps}
        self.eventually(ADVERTISED_SECONDS, lambda: router.zone_rps(family) == expected,
                        f"r1 does not know the RPs {expected}")
        self.eventually(ADVERTISED_SECONDS, lambda: loopback(family, 2) in
                        router.zone_rps(family, zone[family]),
                        "r1 does not know the RP of the zone")
