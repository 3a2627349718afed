"""examples/host_loop.py end to end: one call per planned time, columns by header
name with extras ignored, and a clear failure on a state file the library rejects."""

import subprocess
import sys
import unittest
from pathlib import Path

from support import REPO_ROOT, scratch_directory


class HostLoopExample(unittest.TestCase):
    def test_replay(self):
        with scratch_directory() as scratch:
            csv = Path(scratch) / "m.csv"
            csv.write_text("note,pressure_pa,time_s,temperature_c,humidity_pct,gas_ohm\n" + "".join(
                f"room,{101325 + t},{t},23.5,45.2,{50000 + 100 * t}\n" for t in range(1000, 1010)))

            def run(*args):
                return subprocess.run([sys.executable, str(REPO_ROOT / "examples" / "host_loop.py"),
                                       str(csv), *args], cwd=scratch, capture_output=True,
                                      text=True, timeout=60)

            result = run()
            self.assertEqual(result.returncode, 0, result.stderr)
            lines = [line.split(",") for line in result.stdout.splitlines()]
            self.assertEqual(lines[0][:4], ["time_s", "iaq", "iaq_accuracy", "temperature"])
            self.assertEqual([line[0] for line in lines[1:]], ["1000", "1003", "1006", "1009"])
            self.assertEqual(lines[1][3], "23")
            (Path(scratch) / "savedState.dat").write_bytes(b"24\n" + bytes(24))
            rejected = run()
            self.assertEqual(rejected.returncode, 1)
            self.assertIn("RC_E_BLOB_VERSION", rejected.stderr)
            self.assertEqual(run("--fresh").returncode, 0)


if __name__ == "__main__":
    unittest.main()
