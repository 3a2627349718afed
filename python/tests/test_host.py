"""vorn.host over libvorn_host.so: the seven values as a record, the state file
in the chosen directory, setup failures as exceptions with the status name."""

import os
import unittest
from pathlib import Path

from support import scratch_directory

import vorn
from vorn import Status, VornError
from vorn.host import Host, HostResult

INDOOR = (23.9, 101325.7, 45.9, 50000.9)


class HostTest(unittest.TestCase):
    def setUp(self):
        scratch = scratch_directory()
        self.dir = Path(scratch.name)
        self.addCleanup(scratch.cleanup)
        self.host = Host(directory=self.dir)
        self.state_file = self.dir / "savedState.dat"


class Calls(HostTest):
    def test_first_call_returns_record_and_creates_state_file(self):
        cwd = os.getcwd()
        values = self.host.process(1000, *INDOOR)
        self.assertIsInstance(values, HostResult)
        self.assertEqual(values.temperature, 23.0)
        self.assertIsInstance(values.iaq_accuracy, int)
        self.assertEqual(self.host.values, values)
        self.assertEqual(os.getcwd(), cwd, "the directory change must not outlive the call")
        content = self.state_file.read_bytes()
        self.assertEqual(content[:4], b"139\n")
        self.assertEqual(len(content), 4 + 139)
        self.assertEqual(self.host.load_state(), content[4:])

    def test_record_fields_follow_the_host_array(self):
        values = self.host.process(1000, *INDOOR)
        self.assertEqual(values._fields, ("iaq", "iaq_accuracy", "temperature", "humidity",
                                          "fixed_scale_iaq", "linear_estimate",
                                          "exponential_estimate"))
        # Before any learning the indices sit at their starting values.
        self.assertEqual((values.iaq, values.fixed_scale_iaq), (25.0, 25.0))
        self.assertAlmostEqual(values.humidity, 45.0, places=4)

    def test_rejected_reading_returns_none_and_keeps_values(self):
        first = self.host.process(1000, *INDOOR)
        self.assertIsNone(self.host.process(1003, 23.9, 101325.7, 45.9, -1.0))
        self.assertEqual(self.host.values, first)
        self.assertIsNotNone(self.host.process(1006, *INDOOR))

    def test_rejected_state_file_raises_and_is_kept(self):
        self.host.process(1000, *INDOOR)
        content = bytearray(self.state_file.read_bytes())
        content[-3] ^= 0x10  # inside the checksum
        self.state_file.write_bytes(bytes(content))
        cwd = os.getcwd()
        with self.assertRaises(VornError) as caught:
            self.host.process(1003, *INDOOR)
        self.assertEqual(caught.exception.code, -36)
        self.assertEqual(caught.exception.name, "RC_E_BLOB_CRC")
        self.assertEqual(caught.exception.status, Status.RC_E_BLOB_CRC)
        self.assertEqual(self.state_file.read_bytes(), bytes(content))
        self.assertEqual(os.getcwd(), cwd)

    def test_time_must_fit_int32(self):
        with self.assertRaises(OverflowError):
            self.host.process(2**31, *INDOOR)


class StateFile(HostTest):
    def test_save_then_load(self):
        self.host.save_state(b"\x00\n\xff")
        self.assertEqual(self.state_file.read_bytes(), b"3\n\x00\n\xff")
        self.assertEqual(self.host.load_state(), b"\x00\n\xff")
        self.assertEqual(self.host.load_state(capacity=2), b"")

    def test_unwritable_state_file_raises(self):
        self.state_file.mkdir()
        with self.assertRaises(OSError):
            self.host.save_state(b"abc")
        self.assertTrue(self.state_file.is_dir())

    def test_working_directory_is_restored_after_errors(self):
        cwd = os.getcwd()
        with self.assertRaises(RuntimeError):
            with vorn.host.working_directory(self.dir):
                self.assertEqual(Path.cwd(), self.dir.resolve())
                raise RuntimeError
        self.assertEqual(os.getcwd(), cwd)


if __name__ == "__main__":
    unittest.main()
