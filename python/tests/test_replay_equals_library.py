"""`vorn replay` and the Python Library API, driven with the same simulated day, must
give the same outputs bit for bit: both are thin drivers of one library, so any
difference is a fault in a driver (time stamps, inputs, subscription). Python reads
the replay's columns by the names the program wrote, so the two must also speak of
every output by the same name."""

import csv
import os
import struct
import subprocess
import unittest

import vorn
from support import scratch_directory

MEASURED = ((1, "pressure_pa"), (2, "humidity_pct"), (3, "temperature_c"), (4, "gas_ohm"))


def f32(value) -> float:
    return struct.unpack("<f", struct.pack("<f", float(value)))[0]


@unittest.skipUnless(os.environ.get("VORN_CLI"), "VORN_CLI (the vorn program) not given")
class ReplayEqualsLibrary(unittest.TestCase):
    def test_first_day(self):
        cli = os.environ["VORN_CLI"]
        with scratch_directory() as tmp:
            log, out = os.path.join(tmp, "log.csv"), os.path.join(tmp, "out.csv")
            subprocess.run([cli, "simulate", "--days", "1", "--seed", "5", "-o", log], check=True)
            subprocess.run([cli, "replay", log, "-o", out, "--outputs", "all", "--no-progress",
                            "-q"], check=True, stdout=subprocess.DEVNULL)
            with open(log, newline="") as f_log, open(out, newline="") as f_out:
                rows, replayed = list(csv.DictReader(f_log)), list(csv.DictReader(f_out))
        columns = {vorn.output_id(c): c for c in replayed[0] if c != "time_s"
                   and not c.endswith("_accuracy")}
        self.assertEqual(sorted(columns), sorted(vorn.OutputId))

        lib = vorn.Library()
        lib.init()
        lib.subscribe([(o, f32(0.33333)) for o in columns])
        expected = []
        for row in rows:
            t_ns = int(row["time_s"]) * 1_000_000_000
            plan = lib.sensor_control(t_ns)
            inputs = {i: f32(row[col]) for i, col in MEASURED if plan.input_mask >> (i - 1) & 1}
            result = lib.do_steps(inputs, t_ns, capacity=19)
            if result.outputs:
                expected.append((row["time_s"], {int(o.id): o for o in result.outputs}))

        self.assertEqual((len(replayed), len(expected)), (28_800, 28_800))
        for got, (time_s, outputs) in zip(replayed, expected):
            self.assertEqual(got["time_s"], time_s)
            for output, column in columns.items():
                want = outputs[output]
                self.assertEqual((f32(got[column]), int(got[column + "_accuracy"])),
                                 (want.value, want.accuracy), (time_s, column))


if __name__ == "__main__":
    unittest.main()
