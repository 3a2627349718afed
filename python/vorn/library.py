"""The vorn library API the Python way.

    lib = vorn.Library()
    lib.init()
    lib.subscribe({"iaq_index": 1 / 3, "compensated_temperature": 1 / 3})
    plan = lib.sensor_control(now_ns)
    result = lib.do_steps({"pressure": 101325.0, "temperature": 23.0, "humidity": 45.0,
                           "gas_resistance": 50000.0}, timestamp_ns=now_ns)
    print(result["iaq_index"].value, result["iaq_index"].accuracy)

A Library object is a view on the one static library instance inside the loaded
libvorn.so, not an instance of its own: all Library objects of a process that use
the same library file share it (init() on one resets them all), and calls must
come from one thread at a time. libvorn_host.so, used by vorn.host, holds a
separate instance.

Negative statuses raise VornError; positive ones are issued as VornWarning and
also reported in the `status` of the result.
"""

import ctypes
import os
import warnings
from dataclasses import dataclass
from typing import Iterable, Iterator, Mapping, NamedTuple, Optional, Tuple, Union

from . import _abi, _checks
from ._loader import load_library
from .errors import VornError, VornWarning
from .ids import InputId, OutputId, Status, input_id, output_id

Key = Union[int, str]

RATE_DISABLED = 65535.0
"""A rate that unsubscribes an output (VORN_RATE_DISABLED)."""

_INT64_MIN, _INT64_MAX = -(2**63), 2**63 - 1
_REQUIRED_CAPACITY = 8  # one record per input
_DEFAULT_OUTPUT_CAPACITY = 19
_BLOB_CAPACITY = 4096  # far above the 454-byte configuration blob
_ZERO_STAMP = 'a time stamp of 0 means "no sample yet": start the clock at 1 ns or later'


def _status(code: int):
    try:
        return Status(code)
    except ValueError:
        return int(code)


def check(operation: str, code: int, stacklevel: int = 3, detail: str = ""):
    """Raise VornError for a negative status, warn for a positive one; return it."""
    if code < 0:
        raise VornError(operation, code, detail)
    if code > 0:
        warnings.warn(VornWarning(operation, code, detail), stacklevel=stacklevel)
    return _status(code)


def _timestamp(value: int, parameter: str = "time stamp") -> int:
    value = _checks.integer(parameter, value)
    if not _INT64_MIN <= value <= _INT64_MAX:
        raise OverflowError(f"time stamp {value} does not fit in int64 nanoseconds")
    return value


class Version(NamedTuple):
    major: int
    minor: int
    patch: int
    build: int

    def __str__(self) -> str:
        return ".".join(map(str, self))


@dataclass(frozen=True)
class Subscription:
    """Result of Library.subscribe: the rate (Hz) each input must be supplied at."""

    status: Union[Status, int]
    required: Mapping[InputId, float]

    @property
    def needed_inputs(self) -> Tuple[InputId, ...]:
        """The inputs that must be supplied at all (rate other than disabled)."""
        return tuple(i for i, rate in self.required.items() if rate != RATE_DISABLED)


@dataclass(frozen=True)
class SensorSettings:
    """The measurement plan of Library.sensor_control."""

    status: Union[Status, int]
    next_call_ns: int
    input_mask: int
    heater_temperature_c: int
    heater_duration_ms: int
    gas_enable: bool
    pressure_os: int
    temperature_os: int
    humidity_os: int
    measure_now: bool

    @property
    def inputs(self) -> Tuple[Union[InputId, int], ...]:
        """The inputs to measure now, in identifier order."""
        return tuple(input_id(bit + 1) for bit in range(32) if self.input_mask >> bit & 1)


@dataclass(frozen=True)
class Output:
    """One output value of a processing step."""

    id: Union[OutputId, int]
    value: float
    accuracy: int
    timestamp_ns: int

    @property
    def name(self) -> str:
        return self.id.short_name if isinstance(self.id, OutputId) else f"output {self.id}"


@dataclass(frozen=True)
class StepResult:
    """Outputs of Library.do_steps in ascending identifier order, with the status."""

    status: Union[Status, int]
    outputs: Tuple[Output, ...]

    def __iter__(self) -> Iterator[Output]:
        return iter(self.outputs)

    def __len__(self) -> int:
        return len(self.outputs)

    def __contains__(self, key: Key) -> bool:
        return self.get(key) is not None

    def __getitem__(self, key: Key) -> Output:
        found = self.get(key)
        if found is None:
            raise KeyError(key)
        return found

    def get(self, key: Key, default=None) -> Optional[Output]:
        wanted = output_id(key)
        return next((o for o in self.outputs if o.id == wanted), default)

    def values(self) -> dict:
        """{output name: value}."""
        return {o.name: o.value for o in self.outputs}


InputValue = Union[float, Tuple[float, int]]


class Library:
    """A view on the single instance of the library in one loaded libvorn.so.

    path: the library file or its directory; by default it is found as described
    in vorn._loader (VORN_LIBRARY, the installed location, the build tree).
    """

    def __init__(self, path: Optional[os.PathLike] = None):
        self._lib = load_library("vorn", path)
        _abi.bind(self._lib, _abi.LIBRARY_FUNCTIONS)

    # ---- instance ----

    def version(self) -> Version:
        info = _abi.VersionInfo()
        self._lib.vorn_get_version(ctypes.byref(info))
        return Version(info.major, info.minor, info.patch, info.build)

    def init(self) -> None:
        """Rebuild the instance from its defaults (learnt state, configuration and
        subscription are discarded)."""
        self._lib.vorn_init()

    def reset_output(self, output: Key) -> None:
        """Discard what the IAQ chain learnt (outputs 1 to 4; others change nothing)."""
        self._lib.vorn_reset_output(int(output_id(output)))

    # ---- subscription ----

    def subscribe(
        self, requests: Union[Mapping[Key, float], Iterable[Tuple[Key, float]]]
    ) -> Subscription:
        """Request outputs at rates in Hz (RATE_DISABLED unsubscribes), in the order
        given. Returns the resulting input requirements."""
        items = list(requests.items() if isinstance(requests, Mapping) else requests)
        rates = (_abi.SensorRate * max(len(items), 1))()
        for record, (key, rate) in zip(rates, items):
            record.id = int(output_id(key))
            record.rate_hz = _checks.number(f"rate of {key!r}", rate)
        return self._update_subscription(rates, len(items))

    def unsubscribe(self, *outputs: Key) -> Subscription:
        return self.subscribe([(o, RATE_DISABLED) for o in outputs])

    def requirements(self) -> Subscription:
        """The input requirements of the current subscription (an empty request;
        its RC_W_NOTHING_REQUESTED answer is not reported)."""
        return self._update_subscription((_abi.SensorRate * 1)(), 0, quiet=True)

    def request_trigger(self, output: Key = OutputId.OUT_IAQ_INDEX) -> Union[Status, int]:
        """Ask for one on-demand gas measurement (output 1 or 2 at 1/300 Hz must run).

        Returns RC_OK when accepted, else RC_W_TRIGGER_UNAVAILABLE, RC_W_TRIGGER_TIMING
        or RC_W_TRIGGER_TOO_SOON, also issued as a VornWarning."""
        rate = (_abi.SensorRate * 1)()
        rate[0].id = int(output_id(output))
        rate[0].rate_hz = 0.0
        required = (_abi.SensorRate * _REQUIRED_CAPACITY)()
        count = ctypes.c_uint8(_REQUIRED_CAPACITY)
        code = self._lib.vorn_update_subscription(rate, 1, required, ctypes.byref(count))
        return check("vorn_update_subscription", code)

    def _update_subscription(self, rates, n: int, quiet: bool = False) -> Subscription:
        required = (_abi.SensorRate * _REQUIRED_CAPACITY)()
        count = ctypes.c_uint8(_REQUIRED_CAPACITY)
        code = self._lib.vorn_update_subscription(rates, n, required, ctypes.byref(count))
        if quiet and code == Status.RC_W_NOTHING_REQUESTED:
            status = _status(code)
        else:
            status = check("vorn_update_subscription", code, stacklevel=4)
        needs = {input_id(r.id): r.rate_hz for r in required[: count.value]}
        return Subscription(status, needs)

    # ---- measurement ----

    def sensor_control(self, time_ns: int) -> SensorSettings:
        """Plan the measurement due at time_ns (see vorn_sensor_control)."""
        raw = _abi.SensorSettings()
        code = self._lib.vorn_sensor_control(_timestamp(time_ns, "time_ns"), ctypes.byref(raw))
        return SensorSettings(
            status=check("vorn_sensor_control", code),
            next_call_ns=raw.next_call_ns,
            input_mask=raw.input_mask,
            heater_temperature_c=raw.heater_temperature_c,
            heater_duration_ms=raw.heater_duration_ms,
            gas_enable=bool(raw.gas_enable),
            pressure_os=raw.pressure_os,
            temperature_os=raw.temperature_os,
            humidity_os=raw.humidity_os,
            measure_now=bool(raw.measure_now),
        )

    def do_steps(
        self,
        inputs: Union[Mapping[Key, InputValue], Iterable[Tuple[Key, float, int]]],
        timestamp_ns: Optional[int] = None,
        *,
        capacity: int = _DEFAULT_OUTPUT_CAPACITY,
    ) -> StepResult:
        """Process one step.

        inputs: {input id or name: value} with every sample at timestamp_ns, or
        {input: (value, timestamp_ns)}, or an iterable of (input, value, timestamp_ns);
        passed in the order given. capacity: room for outputs (0..255).
        A time stamp of 0 means "no sample yet": after init() a sample stamped 0 is
        not taken (RC_W_INPUT_REPEATED, with a warning that says why).
        A refused reading raises InputRangeError (also a ValueError) naming it.
        """
        samples = self._input_samples(inputs, timestamp_ns)
        if not 0 <= capacity <= 255:
            raise ValueError("capacity must be 0..255")
        records = (_abi.InputSample * max(len(samples), 1))()
        for record, (key, value, stamp) in zip(records, samples):
            record.id = int(input_id(key))
            record.value = _checks.number(f"input {key!r}", value)
            record.timestamp_ns = _timestamp(stamp, f"time stamp of input {key!r}")
        outputs = (_abi.OutputSample * max(capacity, 1))()
        count = ctypes.c_uint8(capacity)
        code = self._lib.vorn_do_steps(records, len(samples), outputs, ctypes.byref(count))
        if code == Status.RC_E_INPUT_RANGE:
            # Name the reading when it is outside the default range; a range the
            # imported configuration changed leaves the plain VornError.
            for key, value, _ in samples:
                _checks.reading("vorn_do_steps", key, float(value))
        zero = code == Status.RC_W_INPUT_REPEATED and any(stamp == 0 for *_, stamp in samples)
        status = check("vorn_do_steps", code, detail=_ZERO_STAMP if zero else "")
        return StepResult(
            status,
            tuple(
                Output(output_id(o.id), o.value, o.accuracy, o.timestamp_ns)
                for o in outputs[: count.value]
            ),
        )

    @staticmethod
    def _input_samples(inputs, timestamp_ns):
        if isinstance(inputs, Mapping):
            samples = []
            for key, value in inputs.items():
                if isinstance(value, tuple):
                    samples.append((key, value[0], value[1]))
                elif timestamp_ns is None:
                    raise ValueError(f"no time stamp for input {key!r}: pass timestamp_ns")
                else:
                    samples.append((key, value, timestamp_ns))
        else:
            samples = [tuple(s) for s in inputs]
        if len(samples) > 255:
            raise ValueError("at most 255 inputs per step")
        return samples

    # ---- configuration and state ----

    def get_state(self, capacity: int = _BLOB_CAPACITY, work_size: int = _BLOB_CAPACITY) -> bytes:
        """The learnt state as a blob (139 bytes with the default set)."""
        return self._export("vorn_get_state", capacity, work_size)

    def get_configuration(
        self, capacity: int = _BLOB_CAPACITY, work_size: int = _BLOB_CAPACITY
    ) -> bytes:
        """The configuration as a blob (454 bytes with the default set)."""
        return self._export("vorn_get_configuration", capacity, work_size)

    def set_state(self, blob: bytes, work_size: Optional[int] = None) -> None:
        """Import a state blob; on a section error earlier sections stay applied."""
        self._import("vorn_set_state", blob, work_size)

    def set_configuration(self, blob: bytes, work_size: Optional[int] = None) -> None:
        """Import a configuration blob, then subscribe again: a configuration with a
        hyper section re-requests every output at its default interval."""
        self._import("vorn_set_configuration", blob, work_size)

    def _export(self, operation: str, capacity: int, work_size: int) -> bytes:
        blob = (ctypes.c_uint8 * max(capacity, 1))()
        work = (ctypes.c_uint8 * max(work_size, 1))()
        size = ctypes.c_uint32(0)
        code = getattr(self._lib, operation)(0, blob, capacity, work, work_size, ctypes.byref(size))
        check(operation, code, stacklevel=4)
        return bytes(blob[: size.value])

    def _import(self, operation: str, blob: bytes, work_size: Optional[int]) -> None:
        data = bytes(blob)
        work_size = len(data) if work_size is None else work_size
        buffer = (ctypes.c_uint8 * max(len(data), 1)).from_buffer_copy(data.ljust(1, b"\0"))
        work = (ctypes.c_uint8 * max(work_size, 1))()
        code = getattr(self._lib, operation)(buffer, len(data), work, work_size)
        check(operation, code, stacklevel=4)
