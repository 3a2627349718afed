"""vorn.Library over libvorn.so, as a client loop uses it: the plan and the outputs
marshalled field by field and named, errors raised and warnings warned naming the
status, the learnt state as bytes, and every Library object a view on the one instance."""

import unittest
import warnings

import vorn
from vorn import InputId, InputRangeError, OutputId, Status, VornWarning

T0 = 1_000_000_000_000
READINGS = {"pressure": 101325.0, "temperature": 23.0, "humidity": 45.0,
            "gas_resistance": 50000.0}


class LibraryLoop(unittest.TestCase):
    def test_loop(self):
        lib = vorn.Library()
        lib.init()
        sub = lib.subscribe({"iaq_index": 0.33333, "compensated_temperature": 0.33333,
                             7: 0.33333})
        self.assertEqual(sub.needed_inputs[:3], (InputId.IN_PRESSURE, InputId.IN_HUMIDITY,
                                                 InputId.IN_TEMPERATURE))
        plan = lib.sensor_control(T0)
        self.assertEqual((plan.status, plan.next_call_ns, plan.input_mask,
                          plan.heater_temperature_c, plan.heater_duration_ms, plan.pressure_os,
                          plan.temperature_os, plan.humidity_os, plan.gas_enable,
                          plan.measure_now),
                         (0, T0 + 3 * 10**9, 0xF, 320, 197, 5, 2, 1, True, True))
        for i in range(3):
            lib.sensor_control(T0 + i * 3 * 10**9)
            result = lib.do_steps(READINGS, timestamp_ns=T0 + i * 3 * 10**9)
        self.assertEqual([o.name for o in result], ["iaq_index", "passthrough_pressure",
                                                    "compensated_temperature"])
        self.assertEqual(result[OutputId.OUT_PASSTHROUGH_PRESSURE].value, 101325.0)
        self.assertNotIn("iaq_fixed_scale", result)

        for value in (float("nan"), 125.5):
            with self.assertRaises(InputRangeError) as caught:
                lib.do_steps({"temperature": value}, T0)
            self.assertIsInstance(caught.exception, ValueError)
            self.assertEqual(caught.exception.status, Status.RC_E_INPUT_RANGE)
            self.assertIn(f"RC_E_INPUT_RANGE (-2): temperature = {value!r} refused; "
                          "accepted -65 .. 125", str(caught.exception))
        with self.assertRaisesRegex(TypeError, "rate of 'iaq_index' must be a number, not str"):
            lib.subscribe({"iaq_index": "fast"})
        with self.assertRaisesRegex(ValueError, "time_ns must be a whole number"):
            lib.sensor_control(T0 + 0.5)
        with warnings.catch_warnings(record=True) as seen:
            warnings.simplefilter("always", VornWarning)
            overflow = lib.do_steps(READINGS, timestamp_ns=T0 + 9 * 10**9, capacity=1)
        self.assertEqual((overflow.status, len(overflow)), (Status.RC_W_OUTPUT_OVERFLOW, 1))
        self.assertEqual(seen[0].message.status, Status.RC_W_OUTPUT_OVERFLOW)

        state = lib.get_state()
        vorn.Library().init()  # another view, the same instance
        self.assertNotEqual(lib.get_state(), state)
        lib.set_state(state)
        self.assertEqual((lib.get_state(), len(lib.get_configuration())), (state, 454))
        lib.init()
        with self.assertWarnsRegex(VornWarning, 'time stamp of 0 means "no sample yet"'):
            lib.do_steps({"temperature": 20.0}, 0)


if __name__ == "__main__":
    unittest.main()
