"""Asks daemons over their control sockets, ten times a second, whether all is as it should be."""

import json
import socket
import threading
import time

PERIOD_SECONDS = 0.1
ANSWER_SECONDS = 2


class Poller:
    """Compares the BSR and the RPs of all groups that routers show with those expected of each
    family; from construction on. A daemon that does not run is not asked."""

    def __init__(self, routers, expected):
        self.polls = 0
        self.faults = []
        self._expected = expected  # {family: (BSR, {RPs})}
        self._stopped = threading.Event()
        self._threads = [threading.Thread(target=self._poll, args=(router,)) for router in routers]
        for thread in self._threads:
            thread.start()

    def stop(self):
        self._stopped.set()
        for thread in self._threads:
            thread.join()
        return self.faults

    def _poll(self, router):
        started = time.monotonic()
        while not self._stopped.wait(PERIOD_SECONDS):
            try:
                seen = {family: _ask(router, family) for family in self._expected}
            except (OSError, EOFError):
                continue  # it does not run, or has just ended
            self.polls += 1
            if seen != self._expected:
                self.faults.append(f"{time.monotonic() - started:.1f} s: {router.node.name} has "
                                   f"{list(seen.values())}")


def _ask(router, family):
    """The BSR and the RPs of all groups."""
    with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as control:
        control.settimeout(ANSWER_SECONDS)
        control.connect(router.socket)
        answers = control.makefile("rw", encoding="utf-8")
        topics = []
        for topic in ("bsr", "rp-set"):
            request = {"command": "show", "family": f"ipv{family.version}", "topic": topic}
            answers.write(json.dumps(request) + "\n")
            answers.flush()
            line = answers.readline()
            if not line.endswith("\n"):
                raise EOFError
            topics.append(json.loads(line)["data"])
    bsr = topics[0]["zones"][0]["bsr"]
    groups = topics[1]["mappings"]["groups"]
    return bsr and bsr["address"], {rp["rp-address"] for group in groups for rp in group["rps"]}
