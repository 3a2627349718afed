"""vorn.Library over libvorn.so: records marshalled field by field, outputs with
names, errors as exceptions and warnings as warnings naming the status, blobs as
bytes, and every Library object a view on the one instance."""

import unittest
import warnings

import vorn
from vorn import InputId, OutputId, Status, VornError, VornWarning

T0 = 1_000_000_000_000
READINGS = {"pressure": 101325.0, "temperature": 23.0, "humidity": 45.0,
            "gas_resistance": 50000.0}


class LibraryTest(unittest.TestCase):
    def setUp(self):
        self.lib = vorn.Library()
        self.lib.init()
        warnings.simplefilter("always", VornWarning)
        self.addCleanup(warnings.resetwarnings)

    def step(self, time_ns=T0, **kwargs):
        self.lib.sensor_control(time_ns)
        return self.lib.do_steps(READINGS, timestamp_ns=time_ns, **kwargs)

    def test_plan_and_outputs_arrive_field_by_field(self):
        sub = self.lib.subscribe({"iaq_index": 0.33333})
        self.assertEqual(sub.needed_inputs, (InputId.IN_HUMIDITY, InputId.IN_TEMPERATURE,
                                             InputId.IN_GAS_RESISTANCE, InputId.IN_MOD_HEATING_FLAG,
                                             InputId.IN_BASELINE_INDEX,
                                             InputId.IN_PROCESSING_INHIBIT))
        plan = self.lib.sensor_control(T0)
        self.assertEqual((plan.status, plan.next_call_ns, plan.input_mask,
                          plan.heater_temperature_c, plan.heater_duration_ms, plan.pressure_os, plan.temperature_os,
                          plan.humidity_os, plan.gas_enable, plan.measure_now),
                         (0, T0 + 3 * 10**9, 0xE, 320, 197, 0, 2, 1, True, True))
        self.lib.init()
        self.lib.subscribe({"compensated_temperature": 0.33333, 7: 0.33333, "iaq_index": 0.33333})
        result = self.step()
        self.assertEqual([o.name for o in result], ["iaq_index", "passthrough_pressure",
                                                    "compensated_temperature"])
        self.assertEqual(result["compensated_temperature"].value, 23.0)
        self.assertEqual(result[OutputId.OUT_PASSTHROUGH_PRESSURE].timestamp_ns, T0)
        self.assertNotIn("iaq_fixed_scale", result)

    def test_errors_raise_and_warnings_warn_with_the_status_name(self):
        cases = [(lambda: self.lib.do_steps([(1, 1.0, T0), ("pressure", 2.0, T0)]),
                  Status.RC_E_INPUT_DUPLICATE),
                 (lambda: self.lib.do_steps({"temperature": float("nan")}, T0),
                  Status.RC_E_INPUT_RANGE),
                 (lambda: self.lib.subscribe({"iaq_index": 0.3}), Status.RC_E_RATE_NOT_ALLOWED),
                 (lambda: self.lib.set_state(b""), Status.RC_E_BLOB_TOO_SHORT),
                 (lambda: self.lib.get_state(capacity=24), Status.RC_E_SERIALIZE_REQUEST)]
        for call, status in cases:
            with self.subTest(status.name), self.assertRaises(VornError) as caught:
                call()
            self.assertEqual((caught.exception.status, caught.exception.code),
                             (status, status.value))
            self.assertIn(status.name, str(caught.exception))
        self.lib.subscribe({"iaq_index": 0.33333, "compensated_temperature": 0.33333})
        with self.assertWarns(VornWarning) as caught:
            overflow = self.step(capacity=1)
        self.assertEqual(caught.warning.status, Status.RC_W_OUTPUT_OVERFLOW)
        self.assertEqual((overflow.status, len(overflow)), (Status.RC_W_OUTPUT_OVERFLOW, 1))
        with self.assertWarns(VornWarning):
            self.assertEqual(self.lib.request_trigger(), Status.RC_W_TRIGGER_UNAVAILABLE)

    def test_blobs_round_trip_and_objects_share_the_instance(self):
        self.lib.subscribe({"iaq_index": 0.33333})
        for i in range(3):
            self.step(T0 + i * 3 * 10**9)
        state, config = self.lib.get_state(), self.lib.get_configuration()
        self.assertEqual((len(state), len(config)), (139, 454))
        vorn.Library().init()  # another view, the same instance
        self.assertNotEqual(self.lib.get_state(), state)
        self.lib.set_configuration(config)  # the client order: configuration, then state
        self.lib.set_state(state)
        self.assertEqual((self.lib.get_state(), self.lib.get_configuration()), (state, config))


if __name__ == "__main__":
    unittest.main()
