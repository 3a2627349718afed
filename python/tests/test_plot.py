"""python3 -m vorn plot as a user meets it: a picture from a small outputs CSV into a
directory that does not exist yet, and, without matplotlib, --help that still works
and an error that says what to install."""

import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

PACKAGE = str(Path(__file__).resolve().parent.parent)


def run(*args, extra_path=()):
    env = dict(os.environ, PYTHONPATH=os.pathsep.join([*extra_path, PACKAGE]))
    return subprocess.run([sys.executable, "-m", "vorn", "plot", *args], env=env,
                          capture_output=True, text=True)


class Plot(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.dir = Path(scratch.name)
        rows = [f"{3 * i},{25 + i},{min(i // 3, 3)},{20 + i / 10}" for i in range(1, 20)]
        (self.dir / "out.csv").write_text(
            "time_s,iaq_index,iaq_index_accuracy,compensated_temperature\n" + "\n".join(rows))

    def test_picture_into_new_directory(self):
        image = self.dir / "new" / "dir" / "iaq.png"
        done = run(str(self.dir / "out.csv"), "-o", str(image))
        self.assertEqual((done.returncode, done.stdout), (0, f"wrote {image}\n"), done.stderr)
        self.assertEqual(image.read_bytes()[:4], b"\x89PNG")

    def test_without_matplotlib(self):
        blocker = self.dir / "blocker" / "matplotlib"
        blocker.mkdir(parents=True)
        (blocker / "__init__.py").write_text("raise ImportError('No module named matplotlib')\n")
        self.assertEqual(run("--help", extra_path=[str(blocker.parent)]).returncode, 0)
        done = run(str(self.dir / "out.csv"), "-o", str(self.dir / "x.png"),
                   extra_path=[str(blocker.parent)])
        self.assertEqual(done.returncode, 1)
        self.assertIn("apt-get install python3-matplotlib", done.stderr)
        self.assertNotIn("Traceback", done.stderr)


if __name__ == "__main__":
    unittest.main()
