"""The host interface: one call per measurement through libvorn_host.so.

    host = vorn.host.Host(directory="/var/lib/myapp")
    values = host.process(time_s, temperature_c, pressure_pa, humidity_pct, gas_ohm)
    if values is not None:
        print(values.iaq, values.iaq_accuracy)

Every call rebuilds the library inside libvorn_host.so, restores the learnt state
from the file "savedState.dat", subscribes the ten host outputs at 1/3 Hz, runs
one measurement and saves the state back. The host library reads and writes that
file in the process's *current directory*; a Host given a `directory` changes
into it for the duration of each call (with working_directory below) and back.
Changing directory is process-wide, so do not run other threads that depend on
the current directory while a call is in progress.

The readings are truncated to whole units (degrees, pascal, percent, ohm) before
the library sees them; a reading that is NaN, infinite or outside its accepted
range is refused with vorn.InputRangeError (a ValueError) before the call.

Calls must come every HOST_INTERVAL_S = 3 seconds: the host subscription plans for
1/3 Hz, and at any other spacing the IAQ accuracy never rises above 0. process()
warns (VornWarning, RC_W_CALL_TIME_DEVIATION) when two calls are not 3 s apart.
A time of 0 means "no sample yet" to the library: start the clock at 1 or later.
"""

import contextlib
import ctypes
import math
import os
import warnings
from pathlib import Path
from typing import Iterator, NamedTuple, Optional

from . import _abi, _checks
from ._loader import load_library
from .errors import StateFileError, VornError, VornWarning
from .ids import Status

STATE_FILE_NAME = "savedState.dat"
HOST_INTERVAL_S = 3  # the host subscribes at 0.33333 Hz: interval 300 x 10 ms
_HOST_VALUE_COUNT = 7
_OPERATION = "proccess_gsx_data"
# Statuses of the state import: the file, not the call, is at fault.
_STATE_FILE_STATUSES = {code for code in Status if code.name.startswith(("RC_E_BLOB", "RC_E_SECTION"))
                        or code == Status.RC_E_WORK_BUFFER_SMALL}


class HostResult(NamedTuple):
    """The seven values the host interface reports for one measurement."""

    iaq: float
    iaq_accuracy: int
    temperature: float
    humidity: float
    fixed_scale_iaq: float
    linear_estimate: float
    exponential_estimate: float


@contextlib.contextmanager
def working_directory(path: Optional[os.PathLike]) -> Iterator[None]:
    """Make `path` the current directory inside the block (None: stay where we are)."""
    if path is None:
        yield
        return
    previous = os.getcwd()
    os.chdir(path)
    try:
        yield
    finally:
        os.chdir(previous)


class Host:
    """The host entry points of libvorn_host.so.

    directory: where "savedState.dat" lives (default: the current directory at
    each call). path: the host library file or its directory (default: found as
    described in vorn._loader, VORN_HOST_LIBRARY first).

    The host library holds one library instance per process, separate from the
    one vorn.Library uses; two Host objects share it and, with the same
    directory, the same state file.
    """

    def __init__(self, directory: Optional[os.PathLike] = None,
                 path: Optional[os.PathLike] = None):
        self._lib = load_library("vorn_host", path)
        _abi.bind(self._lib, _abi.HOST_FUNCTIONS)
        self.directory = None if directory is None else Path(directory).resolve()
        # The host's persistent array, as the host script keeps it.
        self._values = (ctypes.c_float * _HOST_VALUE_COUNT)()
        self.values: Optional[HostResult] = None
        self._last_time_s: Optional[int] = None

    @property
    def state_file(self) -> Path:
        return (self.directory or Path.cwd()) / STATE_FILE_NAME

    def process(self, time_s: int, temperature: float, pressure: float, humidity: float,
                gas: float) -> Optional[HostResult]:
        """Process one measurement at time_s seconds (int32, above 0; calls 3 s apart).

        Returns the seven values, or None when the library produced none for this
        measurement; `values` keeps the last values returned. Raises TypeError
        naming an argument of the wrong type, InputRangeError for a reading that is
        NaN, infinite or outside its range once truncated (nothing is learnt or
        saved then), StateFileError when the state file holds a blob the library
        refuses (the file is left as it is and nothing is measured) and VornError
        for any other failed setup. Warns (VornWarning) when the call is not 3 s
        after the previous one: at other spacings the accuracy never rises.
        """
        time_s = _checks.integer("time_s", time_s)
        if not -(2**31) <= time_s < 2**31:
            raise OverflowError(f"time_s {time_s} does not fit in int32")
        readings = {"temperature": temperature, "pressure": pressure, "humidity": humidity,
                    "gas_resistance": gas}
        for name, value in readings.items():
            value = readings[name] = _checks.number(name, value)
            _checks.reading(_OPERATION, name, value, as_seen=math.trunc)
        self._check_spacing(time_s)
        # The accuracy slot holds a small integer once written, never NaN, so NaN
        # there shows that the library left the array alone.
        previous = list(self._values)
        self._values[1] = math.nan
        with working_directory(self.directory):
            code = self._lib.proccess_gsx_data(time_s, self._values, *readings.values())
        written = not math.isnan(self._values[1])
        if not written:
            self._values[:] = previous
        if code in _STATE_FILE_STATUSES:
            raise StateFileError(_OPERATION, code, self.state_file)
        if code < 0:
            raise VornError(_OPERATION, code)
        if code > 0:
            warnings.warn(VornWarning(_OPERATION, code), stacklevel=2)
        if not written:
            return None
        v = list(self._values)
        self.values = HostResult(v[0], int(v[1]), v[2], v[3], v[4], v[5], v[6])
        return self.values

    def _check_spacing(self, time_s: int) -> None:
        last, self._last_time_s = self._last_time_s, time_s
        if last is None or abs(time_s - last - HOST_INTERVAL_S) <= HOST_INTERVAL_S / 16:
            return
        warnings.warn(VornWarning(
            "Host.process", Status.RC_W_CALL_TIME_DEVIATION,
            f"this call came {time_s - last} s after the previous one; the host layer plans "
            f"one call every {HOST_INTERVAL_S} s and at other spacings the IAQ accuracy never "
            "rises above 0"), stacklevel=3)

    def load_state(self, capacity: int = 1974) -> bytes:
        """The blob in the state file as state_load reads it (empty: nothing to restore)."""
        buffer = (ctypes.c_uint8 * max(capacity, 1))()
        with working_directory(self.directory):
            n = self._lib.state_load(buffer, capacity)
        return bytes(buffer[: max(n, 0)])

    def save_state(self, blob: bytes) -> None:
        """Replace the state file atomically with `blob`; raises OSError on failure."""
        data = bytes(blob)
        buffer = (ctypes.c_uint8 * max(len(data), 1)).from_buffer_copy(data.ljust(1, b"\0"))
        with working_directory(self.directory):
            result = self._lib.state_save(buffer, len(data))
        if result != 0:
            raise OSError(f"state_save could not replace {self.state_file}")
