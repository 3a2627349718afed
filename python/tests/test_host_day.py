"""A simulated day of host calls 3 s apart against a replica on vorn.Library that
rebuilds the library per call as the host does (init, previous state, the host's
ten outputs, its truncated readings, get_state): every call must give
bit-identical values and a blob identical to the host's state file."""

import math
import random
import struct
import unittest
import warnings

from support import scratch_directory

import vorn
from vorn.host import Host, HostResult

HOST_OUTPUTS = (1, 14, 7, 15, 9, 6, 8, 2, 3, 4)


def day_of_readings(seed=7):
    """A daily cycle with noise and two polluted periods."""
    rnd = random.Random(seed)
    for t in range(0, 86400, 3):
        phase = 2 * math.pi * t / 86400
        gas = 120000 * (1 + 0.1 * math.sin(3 * phase)) * math.exp(rnd.gauss(0, 0.03))
        if 7 <= t / 3600 < 9 or 18 <= t / 3600 < 21:
            gas *= 0.25 + 0.1 * math.sin(t / 600)
        yield (1000 + t, 22 + 3 * math.sin(phase) + rnd.uniform(-0.3, 0.3),
               101325 + 150 * math.sin(2 * phase) + rnd.uniform(-20, 20),
               45 + 8 * math.sin(phase + 1) + rnd.uniform(-1, 1), gas)


def truncated(temperature, pressure, humidity, gas):
    """The host's integers (after its f32 arguments), written independently of its C code."""
    ints = [math.trunc(struct.unpack("f", struct.pack("f", v))[0])
            for v in (temperature, pressure, humidity, gas)]
    return [float((ints[0] + 2**15) % 2**16 - 2**15)] + [float(max(0, v)) for v in ints[1:]]


def replica_call(lib, blob, time_s, *readings):
    lib.init()
    if blob:
        lib.set_state(blob)
    lib.subscribe([(o, 0.33333) for o in HOST_OUTPUTS])
    lib.sensor_control(time_s * 10**9)
    t, p, h, g = truncated(*readings)
    step = lib.do_steps({1: p, 3: t, 2: h, 4: g}, timestamp_ns=time_s * 10**9)
    blob = lib.get_state(capacity=221, work_size=221)
    if step.status != 0:
        return None, blob
    out = {o.id: o for o in step}
    value = lambda i: out[i].value if i in out else 0.0  # noqa: E731
    accuracy = out[1].accuracy if 1 in out else 0
    return HostResult(value(1), accuracy, value(14), value(15), value(2), value(3), value(4)), blob


class SimulatedDay(unittest.TestCase):
    def test_host_matches_library_replica_and_reaches_accuracy_3(self):
        warnings.simplefilter("error", vorn.VornWarning)  # every status must be RC_OK
        self.addCleanup(warnings.resetwarnings)
        lib, blob, accuracies = vorn.Library(), b"", set()
        with scratch_directory() as directory:
            host = Host(directory=directory)
            for call, (time_s, *readings) in enumerate(day_of_readings()):
                got = host.process(time_s, *readings)
                expected, blob = replica_call(lib, blob, time_s, *readings)
                # Bit patterns, so that NaN and -0.0 must agree as well.
                self.assertEqual(struct.pack("7f", *got), struct.pack("7f", *expected), call)
                self.assertEqual(host.load_state(), blob, f"state after call {call}")
                accuracies.add(got.iaq_accuracy)
        self.assertEqual(accuracies, {0, 1, 2, 3})


if __name__ == "__main__":
    unittest.main()
