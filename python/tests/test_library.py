"""vorn.Library over libvorn.so: records marshalled field by field, names and
statuses on results, errors as exceptions, warnings as warnings, blobs as bytes."""

import unittest
import warnings

import vorn
from vorn import InputId, OutputId, Status, VornError, VornWarning

T0 = 1_000_000_000_000  # 1000 s
STEP = 3_000_000_000
READINGS = {"pressure": 101325.0, "temperature": 23.0, "humidity": 45.0,
            "gas_resistance": 50000.0}


class LibraryTest(unittest.TestCase):
    def setUp(self):
        self.lib = vorn.Library()
        self.lib.init()
        warnings.simplefilter("error", VornWarning)
        self.addCleanup(warnings.resetwarnings)

    def subscribe_iaq(self):
        return self.lib.subscribe({"iaq_index": 0.33333,
                                   OutputId.OUT_COMPENSATED_TEMPERATURE: 0.33333,
                                   7: 0.33333})


class Instance(LibraryTest):
    def test_version(self):
        self.assertEqual(self.lib.version(), (1, 4, 7, 4))
        self.assertEqual(str(self.lib.version()), "1.4.7.4")

    def test_objects_are_views_on_one_instance(self):
        self.subscribe_iaq()
        vorn.Library().init()
        self.assertEqual(self.lib.requirements().needed_inputs, ())


class Subscription(LibraryTest):
    def test_required_rates_by_input(self):
        sub = self.subscribe_iaq()
        self.assertEqual(sub.status, Status.RC_OK)
        self.assertEqual(set(sub.required), set(InputId))
        self.assertAlmostEqual(sub.required[InputId.IN_GAS_RESISTANCE], 1 / 3, places=6)
        self.assertIn(InputId.IN_PRESSURE, sub.needed_inputs)  # for output 7
        self.assertEqual(self.lib.requirements().required, sub.required)

    def test_errors_raise_with_the_status_name(self):
        with self.assertRaises(VornError) as caught:
            self.lib.subscribe({"iaq_index": 0.3})
        self.assertEqual(caught.exception.status, Status.RC_E_RATE_NOT_ALLOWED)
        self.assertEqual(caught.exception.code, -12)
        self.assertIn("RC_E_RATE_NOT_ALLOWED", str(caught.exception))
        self.assertIn("vorn_update_subscription", str(caught.exception))

    def test_warnings_are_issued_and_reported(self):
        warnings.simplefilter("always", VornWarning)
        with self.assertWarns(VornWarning) as caught:
            sub = self.lib.subscribe([(5, 0.33333), ("iaq_index", 0.33333)])
        self.assertEqual(caught.warning.status, Status.RC_W_OUTPUT_ID_IGNORED)
        self.assertEqual(sub.status, Status.RC_W_OUTPUT_ID_IGNORED)

    def test_trigger_refusals_are_returned(self):
        warnings.simplefilter("ignore", VornWarning)
        self.assertEqual(self.lib.request_trigger(), Status.RC_W_TRIGGER_UNAVAILABLE)
        self.lib.subscribe({"iaq_index": 1 / 300})
        self.assertEqual(self.lib.request_trigger(), Status.RC_W_TRIGGER_TOO_SOON)


class Planning(LibraryTest):
    def test_every_settings_field_arrives(self):
        self.lib.subscribe({"iaq_index": 0.33333})
        plan = self.lib.sensor_control(T0)
        self.assertEqual(plan.status, Status.RC_OK)
        self.assertEqual(plan.next_call_ns, T0 + STEP)
        self.assertEqual(plan.input_mask, 0x0E)
        self.assertEqual(plan.inputs, (InputId.IN_HUMIDITY, InputId.IN_TEMPERATURE,
                                       InputId.IN_GAS_RESISTANCE))
        self.assertEqual((plan.heater_temperature_c, plan.heater_duration_ms), (320, 197))
        self.assertEqual((plan.pressure_os, plan.temperature_os, plan.humidity_os), (0, 2, 1))
        self.assertTrue(plan.gas_enable)
        self.assertTrue(plan.measure_now)

    def test_time_stamps_beyond_int64_are_refused_before_the_call(self):
        with self.assertRaises(OverflowError):
            self.lib.sensor_control(2**63)


class Steps(LibraryTest):
    def step(self, time_ns, **kwargs):
        self.lib.sensor_control(time_ns)
        return self.lib.do_steps(READINGS, timestamp_ns=time_ns, **kwargs)

    def test_outputs_carry_names_accuracies_and_time_stamps(self):
        self.subscribe_iaq()
        result = self.step(T0)
        self.assertEqual([o.id for o in result], [OutputId.OUT_IAQ_INDEX,
                                                  OutputId.OUT_PASSTHROUGH_PRESSURE,
                                                  OutputId.OUT_COMPENSATED_TEMPERATURE])
        self.assertEqual(result["compensated_temperature"].value, 23.0)
        self.assertEqual(result["OUT_PASSTHROUGH_PRESSURE"].value, 101325.0)
        self.assertEqual(result[OutputId.OUT_IAQ_INDEX].timestamp_ns, T0)
        self.assertEqual(result[1].name, "OUT_IAQ_INDEX")
        self.assertIn(result[1].accuracy, range(4))
        self.assertNotIn("iaq_fixed_scale", result)
        self.assertEqual(set(result.values()), {"OUT_IAQ_INDEX", "OUT_PASSTHROUGH_PRESSURE",
                                                "OUT_COMPENSATED_TEMPERATURE"})

    def test_input_forms_are_equivalent(self):
        self.subscribe_iaq()
        by_name = self.step(T0)
        self.lib.init()
        self.subscribe_iaq()
        self.lib.sensor_control(T0)
        per_sample = self.lib.do_steps({InputId.IN_PRESSURE: (101325.0, T0),
                                        InputId.IN_TEMPERATURE: (23.0, T0),
                                        InputId.IN_HUMIDITY: (45.0, T0),
                                        InputId.IN_GAS_RESISTANCE: (50000.0, T0)})
        self.lib.init()
        self.subscribe_iaq()
        self.lib.sensor_control(T0)
        triples = self.lib.do_steps([(k, v, T0) for k, v in READINGS.items()])
        self.assertEqual(by_name, per_sample)
        self.assertEqual(by_name, triples)

    def test_rejected_inputs_raise(self):
        cases = [([("pressure", 1.0, T0), (1, 2.0, T0)], Status.RC_E_INPUT_DUPLICATE),
                 ([(5, 1.0, T0)], Status.RC_E_INPUT_ID),
                 ([("temperature", 125.5, T0)], Status.RC_E_INPUT_RANGE),
                 ([("temperature", float("nan"), T0)], Status.RC_E_INPUT_RANGE)]
        for samples, status in cases:
            with self.subTest(status=status.name), self.assertRaises(VornError) as caught:
                self.lib.do_steps(samples)
            self.assertEqual(caught.exception.status, status)

    def test_step_warnings(self):
        self.subscribe_iaq()
        warnings.simplefilter("always", VornWarning)
        with self.assertWarns(VornWarning):
            overflow = self.step(T0, capacity=1)
        self.assertEqual(overflow.status, Status.RC_W_OUTPUT_OVERFLOW)
        self.assertEqual([o.id for o in overflow], [OutputId.OUT_IAQ_INDEX])
        with self.assertWarns(VornWarning) as caught:
            self.lib.do_steps(READINGS, timestamp_ns=T0)
        self.assertEqual(caught.warning.status, Status.RC_W_INPUT_REPEATED)

    def test_missing_time_stamp_is_an_error_of_the_caller(self):
        with self.assertRaises(ValueError):
            self.lib.do_steps({"pressure": 1.0})


class Blobs(LibraryTest):
    def test_state_round_trip_restores_learning(self):
        self.subscribe_iaq()
        for i in range(3):
            self.step_at(T0 + i * STEP)
        state = self.lib.get_state()
        self.assertEqual(len(state), 139)
        self.lib.init()
        self.assertNotEqual(self.lib.get_state(), state)
        self.lib.set_state(state)
        self.assertEqual(self.lib.get_state(), state)

    def step_at(self, time_ns):
        self.lib.sensor_control(time_ns)
        return self.lib.do_steps(READINGS, timestamp_ns=time_ns)

    def test_configuration_round_trip(self):
        config = self.lib.get_configuration()
        self.assertEqual(len(config), 454)
        self.lib.set_configuration(config)
        self.assertEqual(self.lib.get_configuration(), config)

    def test_import_errors_name_the_status(self):
        state = bytearray(self.lib.get_state())
        state[-3] ^= 1
        cases = [(bytes(state), None, Status.RC_E_BLOB_CRC),
                 (b"", None, Status.RC_E_BLOB_TOO_SHORT),
                 (self.lib.get_state(), 138, Status.RC_E_WORK_BUFFER_SMALL)]
        for blob, work, status in cases:
            with self.subTest(status=status.name), self.assertRaises(VornError) as caught:
                self.lib.set_state(blob, work_size=work)
            self.assertEqual(caught.exception.status, status)

    def test_export_errors_name_the_status(self):
        with self.assertRaises(VornError) as caught:
            self.lib.get_state(capacity=24)
        self.assertEqual(caught.exception.name, "RC_E_SERIALIZE_REQUEST")


if __name__ == "__main__":
    unittest.main()
