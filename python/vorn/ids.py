"""Input and output identifiers and status codes of the vorn library.

The member names are exactly those of the C header vorn/vorn.h, so code and
documentation read the same in C and Python. `input_id` and `output_id` also
accept short, case-insensitive names ("pressure", "iaq_index").
"""

from enum import IntEnum
from typing import Union


class InputId(IntEnum):
    """Input identifiers (InputSample.id, bit id - 1 of SensorSettings.input_mask)."""

    IN_PRESSURE = 1
    IN_HUMIDITY = 2
    IN_TEMPERATURE = 3
    IN_GAS_RESISTANCE = 4
    IN_TEMPERATURE_OFFSET = 14
    IN_MOD_HEATING_FLAG = 22
    IN_BASELINE_INDEX = 23
    IN_PROCESSING_INHIBIT = 24


class OutputId(IntEnum):
    """Output identifiers (SensorRate.id of a request, OutputSample.id)."""

    OUT_IAQ_INDEX = 1
    OUT_IAQ_FIXED_SCALE = 2
    OUT_LINEAR_ESTIMATE = 3
    OUT_EXPONENTIAL_ESTIMATE = 4
    OUT_PASSTHROUGH_TEMPERATURE = 6
    OUT_PASSTHROUGH_PRESSURE = 7
    OUT_PASSTHROUGH_HUMIDITY = 8
    OUT_PASSTHROUGH_GAS = 9
    OUT_ACCUMULATED_TIME_FLAG = 12
    OUT_CONTINUOUS_TIME_FLAG = 13
    OUT_COMPENSATED_TEMPERATURE = 14
    OUT_COMPENSATED_HUMIDITY = 15
    OUT_COMPENSATED_LOG_GAS = 18
    OUT_GAS_SCALE_PERCENT = 21


class Status(IntEnum):
    """Status codes: 0 success, negative error, positive warning."""

    RC_OK = 0
    RC_E_INPUT_ID = -1
    RC_E_INPUT_RANGE = -2
    RC_E_INPUT_DUPLICATE = -6
    RC_E_RATE_ZERO = -10
    RC_E_RATE_NOT_ALLOWED = -12
    RC_E_OUTPUT_DUPLICATE = -13
    RC_E_RATE_RANGE = -14
    RC_E_REQUIRED_ROOM = -15
    RC_E_INTERVAL_NOT_MULTIPLE = -16
    RC_E_GAS_INTERVAL_CONFLICT = -17
    RC_E_INTERVAL_TOO_SHORT = -18
    RC_E_SECTION_TOO_LARGE = -32
    RC_E_SERIALIZE_REQUEST = -33
    RC_E_BLOB_VERSION = -34
    RC_E_BLOB_KIND = -35
    RC_E_BLOB_CRC = -36
    RC_E_BLOB_TOO_SHORT = -37
    RC_E_WORK_BUFFER_SMALL = -38
    RC_E_BLOB_LENGTH = -40
    RC_E_BLOB_OVERFLOW = -41
    RC_E_SECTION_UNKNOWN = -100
    RC_E_SECTION_SHORT = -104
    RC_W_NO_OUTPUT_ROOM = 2
    RC_W_OUTPUT_OVERFLOW = 3
    RC_W_INPUT_REPEATED = 4
    RC_W_OUTPUT_ID_IGNORED = 10
    RC_W_TRIGGER_UNAVAILABLE = 11
    RC_W_NOTHING_REQUESTED = 12
    RC_W_CALL_TIME_DEVIATION = 100
    RC_W_TRIGGER_TIMING = 101
    RC_W_TRIGGER_TOO_SOON = 102

    @property
    def is_error(self) -> bool:
        return self < 0

    @property
    def is_warning(self) -> bool:
        return self > 0


def status_name(code: int) -> str:
    """The header's name of a status code, or "status <code>" for an unknown one."""
    try:
        return Status(code).name
    except ValueError:
        return f"status {code}"


def _resolve(enum, prefix: str, key: Union[int, str]):
    # Plain integers pass through unchanged (also invalid ones), so that the
    # library itself judges them and answers with its own status.
    if isinstance(key, enum):
        return key
    if isinstance(key, int) and not isinstance(key, bool):
        try:
            return enum(key)
        except ValueError:
            return key
    if isinstance(key, str):
        name = key.strip().upper()
        if not name.startswith(prefix):
            name = prefix + name
        try:
            return enum[name]
        except KeyError:
            known = ", ".join(m.name for m in enum)
            raise KeyError(f"unknown {enum.__name__} {key!r}; known: {known}") from None
    raise TypeError(f"{enum.__name__} must be an int or a name, not {type(key).__name__}")


def input_id(key: Union[int, str]) -> Union[InputId, int]:
    """InputId for an identifier or name ("IN_PRESSURE", "pressure"); other ints pass."""
    return _resolve(InputId, "IN_", key)


def output_id(key: Union[int, str]) -> Union[OutputId, int]:
    """OutputId for an identifier or name ("OUT_IAQ_INDEX", "iaq_index"); other ints pass."""
    return _resolve(OutputId, "OUT_", key)
