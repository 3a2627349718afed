"""vorn.host over libvorn_host.so: the seven values as a record, the state file in
the chosen directory, setup failures as exceptions naming the status."""

import math
import os
import re
import unittest
import warnings
from pathlib import Path

from support import scratch_directory

from vorn import InputRangeError, StateFileError, Status, VornWarning
from vorn.host import Host

INDOOR = (23.9, 101325.7, 45.9, 50000.9)


class HostInterface(unittest.TestCase):
    def setUp(self):
        scratch = scratch_directory()
        self.addCleanup(scratch.cleanup)
        self.host = Host(directory=scratch.name)
        self.state_file = Path(scratch.name) / "savedState.dat"
        self.cwd = os.getcwd()

    def test_values_record_state_file_and_rejected_reading(self):
        first = self.host.process(1000, *INDOOR)
        self.assertEqual((first.iaq, first.iaq_accuracy, first.temperature), (25.0, 0, 23.0))
        self.assertEqual(os.getcwd(), self.cwd, "the directory change must not outlive the call")
        self.assertEqual(self.state_file.read_bytes()[:4], b"139\n")
        self.assertEqual(self.host.load_state(), self.state_file.read_bytes()[4:])
        # Refused before the call, naming the reading: nothing learnt or saved.
        saved = self.state_file.read_bytes()
        for gas, text in ((169.9, "gas_resistance = 169.9 refused; accepted 170 .. 1.32e+07"),
                          (math.nan, "gas_resistance = nan")):
            with self.assertRaisesRegex(InputRangeError, re.escape(text)) as caught:
                self.host.process(1003, 23.9, 101325.7, 45.9, gas)
            self.assertIsInstance(caught.exception, ValueError)
        with self.assertRaisesRegex(TypeError, "humidity must be a number, not str"):
            self.host.process(1003, 23.9, 101325.7, "45.9", 50000.0)
        self.assertEqual((self.state_file.read_bytes(), self.host.values), (saved, first))
        # Calls 3 s apart are quiet; any other spacing warns.
        with warnings.catch_warnings(record=True) as seen:
            warnings.simplefilter("always")
            self.host.process(1003, *INDOOR)
            self.host.process(1063, *INDOOR)
        self.assertEqual([w.message.status for w in seen], [Status.RC_W_CALL_TIME_DEVIATION])
        self.assertIsInstance(seen[0].message, VornWarning)
        self.assertIn("60 s after the previous one", str(seen[0].message))

    def test_bad_state_files_raise(self):
        self.host.save_state(bytes(24))  # a frame with a wrong version word
        with self.assertRaises(StateFileError) as caught:
            self.host.process(1000, *INDOOR)
        self.assertEqual(caught.exception.status, Status.RC_E_BLOB_VERSION)
        self.assertIn(f"RC_E_BLOB_VERSION (-34): the state file {self.state_file}",
                      str(caught.exception))
        self.assertEqual(self.state_file.read_bytes(), b"24\n" + bytes(24))
        self.assertEqual(os.getcwd(), self.cwd)
        self.state_file.unlink()
        self.state_file.mkdir()
        with self.assertRaises(OSError):
            self.host.save_state(b"abc")


if __name__ == "__main__":
    unittest.main()
