"""A simulated day through the host interface, checked against a replica built
on vorn.Library.

The host rebuilds the library on every call, so the replica does exactly the
same per call on libvorn.so: init; set_state with the previous call's blob (none
on the first call); subscribe the same ten outputs at 0.33333 Hz in the same
order; sensor_control at time_s * 1e9; do_steps with pressure, temperature,
humidity and gas truncated to integers as the host does (the readings first pass
through f32, as the host's float arguments do), all at that time stamp; the seven
values taken only when the step returned RC_OK; get_state into 221 bytes. The two
libraries run the same code on separate instances, so every call must give
bit-identical values and a state blob identical to the host's state file.
"""

import math
import random
import struct
import unittest
import warnings

from support import scratch_directory

import vorn
from vorn import InputId, OutputId, Status
from vorn.host import Host, HostResult

CALLS = 28_800  # one day at 3 s
START_S = 1000
HOST_RATE = 0.33333
HOST_OUTPUTS = ("OUT_IAQ_INDEX", "OUT_COMPENSATED_TEMPERATURE", "OUT_PASSTHROUGH_PRESSURE",
                "OUT_COMPENSATED_HUMIDITY", "OUT_PASSTHROUGH_GAS", "OUT_PASSTHROUGH_TEMPERATURE",
                "OUT_PASSTHROUGH_HUMIDITY", "OUT_IAQ_FIXED_SCALE", "OUT_LINEAR_ESTIMATE",
                "OUT_EXPONENTIAL_ESTIMATE")


def day_of_readings(calls, seed=7):
    """(time_s, temperature, pressure, humidity, gas): a daily cycle with noise and
    two polluted periods a day, so the baseline has something to learn."""
    rnd = random.Random(seed)
    for i in range(calls):
        t = 3 * i
        phase = 2 * math.pi * t / 86400.0
        temperature = 22.0 + 3.0 * math.sin(phase) + rnd.uniform(-0.3, 0.3)
        humidity = 45.0 + 8.0 * math.sin(phase + 1.0) + rnd.uniform(-1.0, 1.0)
        pressure = 101325.0 + 150.0 * math.sin(2 * phase) + rnd.uniform(-20.0, 20.0)
        gas = 120000.0 * (1.0 + 0.1 * math.sin(3 * phase))
        hour = t / 3600.0 % 24
        if 7 <= hour < 9 or 18 <= hour < 21:
            gas *= 0.25 + 0.1 * math.sin(t / 600.0)
        gas *= math.exp(rnd.gauss(0.0, 0.03))
        yield START_S + t, temperature, pressure, humidity, gas


def f32(x):
    return struct.unpack("f", struct.pack("f", x))[0]


def host_truncation(temperature, pressure, humidity, gas):
    """The integers the host keeps, written independently of the C code."""
    t = math.trunc(f32(temperature))
    t = (t + 2**15) % 2**16 - 2**15  # low 16 bits, signed
    return (t,) + tuple(max(0, math.trunc(f32(v))) for v in (pressure, humidity, gas))


class Replica:
    def __init__(self):
        self.lib = vorn.Library()
        self.blob = b""

    def call(self, time_s, temperature, pressure, humidity, gas):
        lib = self.lib
        lib.init()
        if self.blob:
            lib.set_state(self.blob)
        lib.subscribe([(name, HOST_RATE) for name in HOST_OUTPUTS])
        time_ns = time_s * 1_000_000_000
        lib.sensor_control(time_ns)
        t, p, h, g = host_truncation(temperature, pressure, humidity, gas)
        step = lib.do_steps({InputId.IN_PRESSURE: float(p), InputId.IN_TEMPERATURE: float(t),
                             InputId.IN_HUMIDITY: float(h), InputId.IN_GAS_RESISTANCE: float(g)},
                            timestamp_ns=time_ns)
        self.blob = lib.get_state(capacity=221, work_size=221)
        if step.status != Status.RC_OK:
            return None

        def value(o):
            return step[o].value if o in step else 0.0

        accuracy = step[OutputId.OUT_IAQ_INDEX].accuracy if 1 in step else 0
        return HostResult(value(1), accuracy, value(14), value(15), value(2), value(3), value(4))


class SimulatedDay(unittest.TestCase):
    def test_host_matches_library_replica_and_reaches_accuracy_3(self):
        warnings.simplefilter("error", vorn.VornWarning)  # no status is expected but RC_OK
        self.addCleanup(warnings.resetwarnings)
        replica = Replica()
        accuracy_3_at = None
        with scratch_directory() as directory:
            host = Host(directory=directory)
            for call, (time_s, *readings) in enumerate(day_of_readings(CALLS)):
                got = host.process(time_s, *readings)
                expected = replica.call(time_s, *readings)
                # Compare bit patterns: also NaN or -0.0 must agree.
                self.assertEqual(
                    [struct.pack("f", v) for v in got or ()],
                    [struct.pack("f", v) for v in expected or ()], f"call {call}")
                self.assertEqual(host.load_state(), replica.blob, f"state at call {call}")
                if accuracy_3_at is None and got is not None and got.iaq_accuracy == 3:
                    accuracy_3_at = call
        self.assertIsNotNone(accuracy_3_at, "IAQ accuracy never reached 3")
        self.assertGreater(accuracy_3_at, 0)


if __name__ == "__main__":
    unittest.main()
