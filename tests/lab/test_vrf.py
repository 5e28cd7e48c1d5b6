"""A VRF has instances of its own, which come and go with its device.

    r1 (candidate BSR) --- r2 (PIM in VRF red)
"""

import json

from kit.config import both
from kit.domain import Domain, block, loopback
from kit.play import ELECTION_SECONDS, Play
from kit.router import FAMILIES

NOTICED_SECONDS = 2
TABLE = "10"


class Vrf(Play):
    def test_an_instance_runs_while_its_vrf_is_there(self):
        domain = Domain(2)
        self.addCleanup(domain.close)
        first, second = domain.routers
        self.add_vrf(second.node)
        first.configure(both("to-r2", bsr_priority=100))
        in_red = both("to-r1")
        in_red["vrf"][0]["name"] = "red"
        second.configure(in_red)
        domain.start()
        for each in FAMILIES:
            self.eventually(ELECTION_SECONDS, lambda: self.bsr_in_red(second, each) ==
                            loopback(each, 1), "the VRF does not know the BSR")
        second.node.ip("link", "delete", "red")
        for each in FAMILIES:
            self.eventually(NOTICED_SECONDS, lambda: self.show(second, each)[0] == 1,
                            "there is an instance without a VRF")
        self.add_vrf(second.node)
        for each in FAMILIES:
            self.eventually(ELECTION_SECONDS, lambda: self.bsr_in_red(second, each) ==
                            loopback(each, 1), "the VRF does not know the BSR again")

    def add_vrf(self, node):
        """Puts the interface to r1 into the VRF red, which knows the way to r1."""
        try:
            node.ip("link", "add", "red", "type", "vrf", "table", TABLE)
        except RuntimeError as reason:
            self.skipTest(f"this kernel has no VRF devices ({reason})")
        node.ip("link", "set", "red", "up")
        node.ip("link", "set", "to-r1", "master", "red")
        node.furnish("to-r1", link=0, end=1)
        for each in FAMILIES:
            node.ip("route", "replace", block(each, 1), "via", each.near_end(0), "dev", "to-r1",
                    "table", TABLE)

    def show(self, router, family):
        return router.control("show", family.word, "pim", "bsr", "--vrf", "red", "--json")

    def bsr_in_red(self, router, family):
        code, said = self.show(router, family)
        found = json.loads(said)["zones"][0]["bsr"] if code == 0 else None
        return found and found["address"]
