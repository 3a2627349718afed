"""examples/host_loop.py end to end: picks the measurements at the planned times,
ignores extra columns, prints the seven values, and fails clearly on a state file
the library rejects."""

import os
import subprocess
import sys
import unittest
from pathlib import Path

from support import EXAMPLES, scratch_directory

SCRIPT = EXAMPLES / "host_loop.py"


def run(*args, cwd):
    return subprocess.run([sys.executable, str(SCRIPT), *map(str, args)], cwd=cwd,
                          capture_output=True, text=True, env=os.environ.copy(), timeout=60)


class HostLoopExample(unittest.TestCase):
    def setUp(self):
        scratch = scratch_directory()
        self.dir = Path(scratch.name)
        self.addCleanup(scratch.cleanup)

    def write_csv(self, header, rows):
        path = self.dir / "m.csv"
        lines = ([header] if header else []) + [",".join(map(str, r)) for r in rows]
        path.write_text("\n".join(lines) + "\n")
        return path

    def test_calls_at_planned_times_only(self):
        # One row a second; the host plans every 3 s. Columns out of order plus an extra.
        rows = [(f"room{t}", 101325 + t, t, 23.5, 45.2, 50000 + 100 * t) for t in range(1000, 1010)]
        path = self.write_csv("note,pressure_pa,time_s,temperature_c,humidity_pct,gas_ohm", rows)
        result = run(path, "--directory", self.dir, cwd=self.dir)
        self.assertEqual(result.returncode, 0, result.stderr)
        lines = result.stdout.splitlines()
        self.assertEqual(lines[0].split(",")[:3], ["time_s", "iaq", "iaq_accuracy"])
        self.assertEqual([line.split(",")[0] for line in lines[1:]], ["1000", "1003", "1006", "1009"])
        self.assertTrue(all(len(line.split(",")) == 8 for line in lines))
        self.assertEqual(lines[1].split(",")[3], "23", "first temperature: the truncated reading")
        self.assertTrue((self.dir / "savedState.dat").exists())

    def test_headerless_file_and_rejected_state(self):
        path = self.write_csv(None, [(1000, 23.5, 101325, 45.2, 50000), (1003, 23.5, 101325, 45.2, 50000)])
        state = self.dir / "savedState.dat"
        state.write_bytes(b"24\n" + bytes(24))  # a frame the library refuses
        result = run(path, cwd=self.dir)
        self.assertEqual(result.returncode, 1)
        self.assertIn("RC_E_BLOB_VERSION", result.stderr)
        self.assertEqual(state.read_bytes(), b"24\n" + bytes(24))

        fresh = run(path, "--fresh", cwd=self.dir)
        self.assertEqual(fresh.returncode, 0, fresh.stderr)
        self.assertEqual(len(fresh.stdout.splitlines()), 3)


if __name__ == "__main__":
    unittest.main()
