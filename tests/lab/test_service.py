"""What the service manager is told: ready, alive, what the router follows, ending."""

import os
import signal
import socket

from kit.config import both
from kit.play import Play
from kit.router import FAMILIES, IPV4, programs

WATCHDOG_SECONDS = 2
FEW_FILES = 12  # that a process may have before it asks for more; the daemon needs more at once


class Service(Play):
    def setUp(self):
        super().setUp()
        self.told = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.told.bind("/run/notify.sock")
        self.addCleanup(os.unlink, "/run/notify.sock")
        self.addCleanup(self.told.close)
        self.told.settimeout(10)
        environment = {"NOTIFY_SOCKET": "/run/notify.sock", "WATCHDOG_USEC": str(WATCHDOG_SECONDS * 10**6)}
        os.environ.update(environment)
        self.addCleanup(lambda: [os.environ.pop(name) for name in environment])

    def hears(self, *words):
        """The message that holds all words; others may come before it."""
        while True:
            message = self.told.recv(4096).decode()
            if all(word in message for word in words):
                return message

    def test_it_hears_of_every_turn_in_the_daemons_life(self):
        line = self.build_line(1)
        router, = line.routers
        router.start()
        self.assertEqual(self.told.recv(4096), b"READY=1")
        self.hears("WATCHDOG=1", "STATUS=IPv4: no BSR, 0 RP mappings; IPv6: no BSR")
        self.await_neighbors(line)
        for family in FAMILIES:
            self.teach(line, family)
        self.hears("WATCHDOG=1", f"STATUS=IPv4: BSR {IPV4.bsr}, ")
        self.told.settimeout(WATCHDOG_SECONDS)
        while self.hears("WATCHDOG=1") != "WATCHDOG=1":  # news, until all is settled
            pass
        router.end(signal.SIGTERM)
        self.hears("STOPPING=1")

    def test_it_is_ready_with_few_files_and_without_its_only_vrf(self):
        router, = self.build_line(1).routers
        router.configure({"vrf": [both()["vrf"][0] | {"name": "red"}]})
        process = router.node.start("prlimit", f"--nofile={FEW_FILES}:1000", programs() / "pimbsrd",
                                    "--config", router.config, "--control", router.socket)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        self.assertEqual(self.told.recv(4096), b"READY=1")
