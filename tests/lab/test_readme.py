"""The two routers that the README has a newcomer make, word for word."""

import os
import re
import subprocess

from kit.play import Play
from kit.router import REPOSITORY, programs

PATIENCE_SECONDS = 120


class Readme(Play):
    def test_a_newcomers_two_routers_agree(self):
        text = (REPOSITORY / "README.md").read_text(encoding="utf-8")
        chapter = re.search(r"\n## Two routers of your own\n(.*?)\n## ", text, re.DOTALL).group(1)
        commands = "\n".join(line[4:] for line in chapter.splitlines() if line.startswith("    "))
        commands = commands.replace("export PATH=$PWD/build/dev/bin:$PATH", "")
        environment = os.environ | {"PATH": f"{programs()}:{os.environ['PATH']}"}
        done = subprocess.run(["bash", "-e"], input=commands, env=environment, cwd="/run",
                              capture_output=True, text=True, timeout=PATIENCE_SECONDS)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertIn("RP 10.0.0.1 serves group 239.1.2.3", done.stdout)
        self.assertRegex(done.stdout, r"BSR: +10\.0\.0\.1")
