"""The Python identifiers and status codes must match the C header exactly."""

import re
import unittest

from support import REPO_ROOT

from vorn import InputId, OutputId, Status, input_id, output_id


class HeaderAgreement(unittest.TestCase):
    def test_enums_have_the_header_names_and_values(self):
        header = (REPO_ROOT / "include" / "vorn" / "vorn.h").read_text()
        for enum, c_name in ((InputId, "vorn_input_id"), (OutputId, "vorn_output_id"),
                             (Status, "vorn_status")):
            body = re.search(r"enum %s \{(.*?)\};" % c_name, header, re.S).group(1)
            in_header = {n: int(v) for n, v in re.findall(r"^\s*(\w+)\s*=\s*(-?\d+)", body, re.M)}
            self.assertEqual({m.name: m.value for m in enum}, in_header, c_name)
        self.assertIs(input_id("gas_resistance"), InputId.IN_GAS_RESISTANCE)
        self.assertIs(output_id("Out_Iaq_Index"), OutputId.OUT_IAQ_INDEX)
        self.assertEqual(input_id(5), 5)  # unknown numbers pass to the library
        with self.assertRaisesRegex(KeyError, "IN_HUMIDITY"):
            input_id("humidty")


if __name__ == "__main__":
    unittest.main()
