"""What is no configuration starts no daemon and changes none that runs; both say why. What is wrong
with which file is for the unit tests to find out."""

import os
import subprocess
from pathlib import Path

from kit.config import both
from kit.play import Play
from kit.router import FAMILIES, REPOSITORY, programs

BAD_CONFIG = 78
# A file that is no YAML, one that the schema refuses, one that the judgement refuses, one cut short.
BAD_FILES = {"yaml-unclosed": "a bracket is not closed",
             "hold-time-low": 'bsr/hold-time: invalid value "11"',
             "zone-of-two-interfaces": "(allowed: one interface for a zone)",
             "comments-only": "vrf: missing"}
NO_FILE = "not a regular file"


class BadFiles(Play):
    def test_each_is_refused_with_its_reason(self):
        router = self.started_domain(both("lo", bsr_priority=100)).router(1)
        before = [self.configured(router, each) for each in FAMILIES]
        running = Path(router.config)
        good = running.read_bytes()
        for name, reason in BAD_FILES.items():
            bad = (REPOSITORY / f"tests/data/config/bad/{name}.yaml").read_bytes()
            running.write_bytes(bad)
            self.assert_refused(router.reload(), 1, reason)
            self.assert_refused(self.start(running), BAD_CONFIG, reason)
            self.assert_refused(self.start("/dev/stdin", bad), BAD_CONFIG, reason)
        running.unlink()
        os.mkfifo(running)
        self.assert_refused(router.reload(), 1, NO_FILE)
        self.assert_refused(self.start(running), BAD_CONFIG, NO_FILE)
        running.unlink()
        self.assertEqual([self.configured(router, each) for each in FAMILIES], before)
        running.write_bytes(good)
        self.assertIn("unchanged", self.reload(router))
        taken = self.start(running, b"", "--control", router.socket)
        self.assert_refused(taken, 1, "cannot start: control socket")

    def assert_refused(self, outcome, expected_code, reason):
        code, said = outcome
        self.assertEqual(code, expected_code, said)
        self.assertIn(reason, said)

    def start(self, config, standard_input=b"", *options):
        """Starts a daemon that ends by itself: its exit code and what it says."""
        done = subprocess.run([programs() / "pimbsrd", "--config", config, *options], input=standard_input,
                              capture_output=True, timeout=10)
        return done.returncode, done.stderr.decode()

    def configured(self, router, family):
        status = router.show(family, "status")
        tree = status["bsr"]
        candidates = {zone: {key: value for key, value in entry.items()
                             if key not in ("state", "elected")}
                      for zone, entry in tree["cbsr"].items()}
        return (candidates, tree["crp"], tree["crpPermit"], tree["bsBorder"], tree["bsTimeout"],
                tree["szTimeout"], sorted(status["pim"]["pimIntf"]))
