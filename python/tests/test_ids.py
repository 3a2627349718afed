"""The Python identifiers and status codes must match the C header exactly."""

import re
import unittest

from support import HEADER

import vorn
from vorn.ids import InputId, OutputId, Status, input_id, output_id


def header_enum(name: str) -> dict:
    text = HEADER.read_text()
    body = re.search(r"enum %s \{(.*?)\};" % name, text, re.S).group(1)
    return {m: int(v) for m, v in re.findall(r"^\s*(\w+)\s*=\s*(-?\d+)", body, re.M)}


class HeaderAgreement(unittest.TestCase):
    def test_enums_have_the_header_names_and_values(self):
        for enum, c_name in ((InputId, "vorn_input_id"), (OutputId, "vorn_output_id"),
                             (Status, "vorn_status")):
            with self.subTest(enum=enum.__name__):
                self.assertEqual({m.name: m.value for m in enum}, header_enum(c_name))


class NameResolution(unittest.TestCase):
    def test_full_short_and_numeric_keys(self):
        cases = [
            (input_id, "IN_PRESSURE", InputId.IN_PRESSURE),
            (input_id, "gas_resistance", InputId.IN_GAS_RESISTANCE),
            (input_id, 14, InputId.IN_TEMPERATURE_OFFSET),
            (output_id, "iaq_index", OutputId.OUT_IAQ_INDEX),
            (output_id, "Out_Compensated_Log_Gas", OutputId.OUT_COMPENSATED_LOG_GAS),
            (output_id, OutputId.OUT_GAS_SCALE_PERCENT, OutputId.OUT_GAS_SCALE_PERCENT),
            # Unknown numbers pass through for the library to judge.
            (input_id, 5, 5),
            (output_id, 99, 99),
        ]
        for resolve, key, expected in cases:
            with self.subTest(key=key):
                self.assertEqual(resolve(key), expected)
                self.assertIs(type(resolve(key)), type(expected))

    def test_unknown_name_lists_the_known_ones(self):
        with self.assertRaisesRegex(KeyError, "IN_HUMIDITY"):
            input_id("humidty")
        with self.assertRaises(TypeError):
            output_id(1.0)

    def test_status_names_for_unknown_codes(self):
        self.assertEqual(vorn.status_name(-36), "RC_E_BLOB_CRC")
        self.assertEqual(vorn.status_name(-999), "status -999")


if __name__ == "__main__":
    unittest.main()
