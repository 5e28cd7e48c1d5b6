"""The addresses of candidates come, change and go: the daemons follow the kernel.

    r1 (candidate BSR) --- r2 (candidate RP) --- r3
"""

from kit.config import both
from kit.domain import loopback
from kit.play import ELECTION_SECONDS, PERIOD_SECONDS, Play
from kit.router import FAMILIES, IPV4

ADVERTISED_SECONDS = 8


class CandidateAddresses(Play):
    def started(self):
        return self.started_domain(both("to-r2", bsr_priority=100),
                                   both("to-r1", "to-r3", rp_priority=5), both("to-r2"))

    def test_an_address_changes(self):
        domain = self.started()
        first, _, third = domain.routers
        self.await_bsr(domain.routers, 1)
        for each in FAMILIES:
            self.await_at_bsr(first, each, loopback(each, 2))
        self.replace_address(domain, 2)
        for each in FAMILIES:
            self.await_at_bsr(first, each, loopback(each, 2, 9))
        self.replace_address(domain, 1)
        for each in FAMILIES:
            self.eventually(PERIOD_SECONDS, lambda: third.bsr_address(each) == loopback(each, 1, 9),
                            "r3 does not know the new address of the BSR")
            self.assertTrue(first.bsr(each)["local"], "the election was lost with the address")
            self.await_rps(each, [third], {each.all_groups: {loopback(each, 2, 9)}},
                           PERIOD_SECONDS)

    def test_an_interface_goes_down_and_comes_back(self):
        domain = self.started()
        first, second, _ = domain.routers
        self.await_bsr(domain.routers, 1)
        first.node.ip("link", "set", "lo", "down")
        for each in FAMILIES:
            self.eventually(2, lambda: second.bsr(each)["priority"] == 0,
                            "r2 does not know that r1 is no candidate any more")
            self.assertIsNone(first.show(each, "bsr")["zones"][0]["candidate"])
        first.node.ip("link", "set", "lo", "up")
        for each in FAMILIES:
            domain.address(1, each)  # the kernel took the IPv6 address off the interface
        self.await_bsr([second], 1, seconds=ELECTION_SECONDS)
        for each in FAMILIES:
            self.eventually(ELECTION_SECONDS, lambda: second.bsr(each)["priority"] == 100,
                            "r1 is not elected again")

    def replace_address(self, domain, number):
        """Gives the loopback of a router another address in place of its first one."""
        for each in FAMILIES:
            domain.address(number, each, 9)
            length = 32 if each is IPV4 else 128
            domain.router(number).node.ip("address", "delete",
                                          f"{loopback(each, number)}/{length}", "dev", "lo")

    def await_at_bsr(self, router, family, rp):
        """The BSR knows exactly this RP."""
        self.eventually(ADVERTISED_SECONDS, lambda: router.zone_rps(family) == {rp},
                        f"the BSR does not know the RP {rp}")
