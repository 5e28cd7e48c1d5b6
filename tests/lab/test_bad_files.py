"""No wrong configuration starts a daemon, or changes one that runs; each is told with its reason."""

import subprocess
from pathlib import Path

from kit.config import both
from kit.play import Play
from kit.router import FAMILIES, REPOSITORY, programs

BAD_FILES = sorted((REPOSITORY / "tests/data/config/bad").glob("*.yaml"))
BAD_CONFIG = 78
MARK = "# expect: "


def expected(file):
    """What is wrong with a file, as it says itself: "LINE: PATH: TEXT", or without a line."""
    lines = file.read_text(encoding="utf-8", errors="replace").splitlines()
    return [line[len(MARK):] for line in lines if line.startswith(MARK)]


class BadFiles(Play):
    def test_each_is_refused_with_its_reason(self):
        self.assertGreater(len(BAD_FILES), 60)
        router = self.started_domain(both("lo", bsr_priority=100)).router(1)
        before = [self.configured(router, each) for each in FAMILIES]
        running = Path(router.config)
        good = running.read_bytes()
        for file in BAD_FILES:
            with self.subTest(file.name):
                running.write_bytes(file.read_bytes())
                code, said = router.reload()
                self.assertEqual(code, 1, said)
                self.check_reasons(file, router.config, said)
                done = subprocess.run([programs() / "pimbsrd", "--config", file],
                                      capture_output=True, text=True, timeout=10)
                self.assertEqual(done.returncode, BAD_CONFIG)
                self.check_reasons(file, file, done.stderr)
        self.assertEqual([self.configured(router, each) for each in FAMILIES], before)
        running.write_bytes(good)
        self.assertIn("unchanged", self.reload(router))

    def check_reasons(self, file, path, said):
        self.assertTrue(expected(file))
        for reason in expected(file):
            blank = "" if reason[0].isdigit() else " "
            self.assertIn(f"{path}:{blank}{reason}", said)

    def configured(self, router, family):
        status = router.show(family, "status")
        tree = status["bsr"]
        candidates = {zone: {key: value for key, value in entry.items()
                             if key not in ("state", "elected")}
                      for zone, entry in tree["cbsr"].items()}
        return (candidates, tree["crp"], tree["crpPermit"], tree["bsBorder"], tree["bsTimeout"],
                tree["szTimeout"], sorted(status["pim"]["pimIntf"]))
