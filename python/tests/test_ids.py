"""Names resolve to identifiers in either form the package documents, and the
ctypes records are checked against the header's layout when the package loads."""

import ctypes
import unittest

from vorn import InputId, OutputId, input_id, output_id
from vorn._abi import check_layouts


class Names(unittest.TestCase):
    def test_short_and_enum_names_in_any_case(self):
        self.assertIs(input_id("gas_resistance"), InputId.IN_GAS_RESISTANCE)
        self.assertIs(output_id(" Passthrough_Temperature"), OutputId.OUT_PASSTHROUGH_TEMPERATURE)
        self.assertIs(output_id("Out_Iaq_Index"), OutputId.OUT_IAQ_INDEX)
        self.assertEqual(input_id(5), 5)  # unknown numbers pass to the library
        with self.assertRaisesRegex(KeyError, "humidity"):
            input_id("humidty")
        with self.assertRaises(KeyError):
            output_id("raw_temperature")


class Layouts(unittest.TestCase):
    def test_a_moved_field_or_a_wrong_size_is_refused(self):
        class Record(ctypes.Structure):
            _fields_ = [("a", ctypes.c_uint8), ("b", ctypes.c_uint32)]

        check_layouts([Record], {"Record": 8}, {"Record": {"b": 4}})
        with self.assertRaisesRegex(AssertionError, "Record.b at offset 4, not 2"):
            check_layouts([Record], {"Record": 8}, {"Record": {"b": 2}})
        with self.assertRaisesRegex(AssertionError, "8 bytes, not 6"):
            check_layouts([Record], {"Record": 6}, {})


if __name__ == "__main__":
    unittest.main()
