"""vorn.host over libvorn_host.so: the seven values as a record, the state file in
the chosen directory, setup failures as exceptions naming the status."""

import os
import unittest
from pathlib import Path

from support import scratch_directory

from vorn import Status, VornError
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
        # Gas below its range: no values, the host array keeps the last ones.
        self.assertIsNone(self.host.process(1003, 23.9, 101325.7, 45.9, -1.0))
        self.assertEqual(self.host.values, first)

    def test_bad_state_files_raise(self):
        self.host.save_state(bytes(24))  # a frame with a wrong version word
        with self.assertRaises(VornError) as caught:
            self.host.process(1000, *INDOOR)
        self.assertEqual(caught.exception.status, Status.RC_E_BLOB_VERSION)
        self.assertIn("RC_E_BLOB_VERSION (-34)", str(caught.exception))
        self.assertEqual(self.state_file.read_bytes(), b"24\n" + bytes(24))
        self.assertEqual(os.getcwd(), self.cwd)
        self.state_file.unlink()
        self.state_file.mkdir()
        with self.assertRaises(OSError):
            self.host.save_state(b"abc")


if __name__ == "__main__":
    unittest.main()
