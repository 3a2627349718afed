"""ctypes mirror of the records and operations of vorn/vorn.h.

The record layouts are part of the library's ABI; every size and field offset the
header checks at compile time (read from it into _header.py) is checked here at
import time, so that a record drifting from the header is caught at once.
"""

import ctypes
from ctypes import POINTER, c_float, c_int8, c_int32, c_int64, c_uint8, c_uint16, c_uint32

from . import _header


class InputSample(ctypes.Structure):
    _fields_ = [
        ("timestamp_ns", c_int64),
        ("value", c_float),
        ("dims", c_uint8),
        ("id", c_uint8),
        ("reserved", c_uint8 * 2),
    ]


class OutputSample(ctypes.Structure):
    _fields_ = [
        ("timestamp_ns", c_int64),
        ("value", c_float),
        ("dims", c_uint8),
        ("id", c_uint8),
        ("accuracy", c_uint8),
        ("reserved", c_uint8),
    ]


class SensorRate(ctypes.Structure):
    _fields_ = [("rate_hz", c_float), ("id", c_uint8), ("reserved", c_uint8 * 3)]


class SensorSettings(ctypes.Structure):
    _fields_ = [
        ("next_call_ns", c_int64),
        ("input_mask", c_uint32),
        ("heater_temperature_c", c_uint16),
        ("heater_duration_ms", c_uint16),
        ("gas_enable", c_uint8),
        ("pressure_os", c_uint8),
        ("temperature_os", c_uint8),
        ("humidity_os", c_uint8),
        ("measure_now", c_uint8),
        ("reserved", c_uint8 * 3),
    ]


class VersionInfo(ctypes.Structure):
    _fields_ = [("major", c_uint8), ("minor", c_uint8), ("patch", c_uint8), ("build", c_uint8)]


class BackendResult(ctypes.Structure):
    _fields_ = [("reserved_status", c_int8), ("library_status", c_int32)]



def check_layouts(records, sizes, offsets) -> None:
    """Raise AssertionError unless every record has the header's size and offsets."""
    by_name = {record.__name__: record for record in records}
    assert set(sizes) == set(by_name), f"records {sorted(by_name)}, header {sorted(sizes)}"
    for name, size in sizes.items():
        record = by_name[name]
        assert ctypes.sizeof(record) == size, f"{name} is {ctypes.sizeof(record)} bytes, not {size}"
        for field, offset in offsets.get(name, {}).items():
            at = getattr(record, field).offset
            assert at == offset, f"{name}.{field} at offset {at}, not {offset}"


check_layouts((InputSample, OutputSample, SensorRate, SensorSettings, VersionInfo),
              _header.RECORD_SIZES, _header.RECORD_OFFSETS)
# The host layer's result record has no compile-time checks in its header.
assert ctypes.sizeof(BackendResult) == 8, "BackendResult layout drifted"

_u8p = POINTER(c_uint8)

# name: (argument types) -- every operation returns int32_t.
LIBRARY_FUNCTIONS = {
    "vorn_get_version": (POINTER(VersionInfo),),
    "vorn_init": (),
    "vorn_reset_output": (c_uint8,),
    "vorn_update_subscription": (POINTER(SensorRate), c_uint8, POINTER(SensorRate), _u8p),
    "vorn_do_steps": (POINTER(InputSample), c_uint8, POINTER(OutputSample), _u8p),
    "vorn_sensor_control": (c_int64, POINTER(SensorSettings)),
    "vorn_set_configuration": (_u8p, c_uint32, _u8p, c_uint32),
    "vorn_set_state": (_u8p, c_uint32, _u8p, c_uint32),
    "vorn_get_configuration": (c_uint8, _u8p, c_uint32, _u8p, c_uint32, POINTER(c_uint32)),
    "vorn_get_state": (c_uint8, _u8p, c_uint32, _u8p, c_uint32, POINTER(c_uint32)),
}

HOST_FUNCTIONS = {
    "proccess_gsx_data": (c_int32, POINTER(c_float), c_float, c_float, c_float, c_float),
    "state_load": (_u8p, c_uint32),
    "state_save": (_u8p, c_uint32),
    "sleep": (c_int32,),
}


def bind(cdll: ctypes.CDLL, functions) -> None:
    """Give every named function of `cdll` its argument types and an int32 result."""
    for name, argtypes in functions.items():
        function = getattr(cdll, name)
        function.argtypes = list(argtypes)
        function.restype = c_int32
