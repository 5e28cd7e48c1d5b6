"""Configurations of the daemon as data, with timers as short as they can be."""

from kit.router import FAMILIES, IPV4

HOLD_TIME = 12  # seconds; a Bootstrap message comes every 10


def config(*families, **others):
    """The default VRF with these families."""
    return {"vrf": [{"name": "default", "address-family": list(families)}], **others}


def both(*interfaces, bsr_priority=None, rp_priority=None):
    """Both families on these interfaces; with priorities a candidate BSR and RP of all groups, by
    the address of lo."""
    def candidates(family):
        if bsr_priority is not None:
            yield "bsr_candidate", bsr("lo", (family.all_groups, bsr_priority))
        if rp_priority is not None:
            yield "rp_candidate", rp("lo", (family.all_groups, rp_priority))
    return config(*(family(each, *interfaces, **dict(candidates(each))) for each in FAMILIES))


def family(family, *interfaces, **bsr):
    """PIM on these interfaces, given by name or as data; `bsr` with underscores for hyphens."""
    entries = [{"name": each} if isinstance(each, str) else each for each in interfaces]
    settings = {name.replace("_", "-"): value for name, value in bsr.items()}
    return {"address-family": "ipv4" if family is IPV4 else "ipv6",
            "interface": [{"hello-interval": 0.5, **entry} for entry in entries],
            "bsr": {"hold-time": HOLD_TIME, **settings}}


def bsr(interface, *zones, lists=()):
    """A candidate BSR: zones and lists are (name, priority)."""
    return {"interface": [{
        "name": interface,
        "zone": [{"group": zone, "priority": priority, "interval": 10}
                 for zone, priority in zones],
        "access-list": [{"name": name, "priority": priority, "interval": 10}
                        for name, priority in lists]}]}


def rp(interface, *ranges, lists=()):
    """A candidate RP: ranges and lists are (name, priority)."""
    return {"interface": [{
        "name": interface, "interval": 1,
        "range": [{"group": group, "priority": priority} for group, priority in ranges],
        "access-list": [{"name": name, "priority": priority} for name, priority in lists]}]}


def access_list(family, name, *rules):
    """Rules such as "permit 239.1.0.0/16", numbered in their order."""
    entries = [dict(zip(("action", "source"), rule.split(" ", 1)), sequence=10 * number)
               for number, rule in enumerate(rules, start=1)]
    return {"name": name, "address-family": "ipv4" if family is IPV4 else "ipv6", "rule": entries}
