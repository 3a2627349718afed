"""Input and output identifiers and status codes of the vorn library.

The members are those of the C header vorn/vorn.h, read from it into _header.py,
so code and documentation read the same in C and Python. An identifier also has a
short name, the one the `vorn` program prints and writes as CSV column: its enum
name lower-cased without IN_ / OUT_ ("pressure", "passthrough_temperature").
`input_id` and `output_id` accept either, in any case.
"""

from enum import IntEnum
from typing import Optional, Tuple, Union

from . import _header


class _Identifier(IntEnum):
    @property
    def short_name(self) -> str:
        return _SHORT_NAMES[type(self)][self.value]


class _Status(IntEnum):
    @property
    def is_error(self) -> bool:
        return self < 0

    @property
    def is_warning(self) -> bool:
        return self > 0


def _members(rows):
    return [(name, value) for name, value, _, _ in rows]


InputId = _Identifier("InputId", _members(_header.INPUTS), module=__name__)
InputId.__doc__ = "Input identifiers (InputSample.id, bit id - 1 of SensorSettings.input_mask)."
OutputId = _Identifier("OutputId", _members(_header.OUTPUTS), module=__name__)
OutputId.__doc__ = "Output identifiers (SensorRate.id of a request, OutputSample.id)."
Status = _Status("Status", _members(_header.STATUSES), module=__name__)
Status.__doc__ = "Status codes: 0 success, negative error, positive warning."

_SHORT_NAMES = {enum: {value: short for _, value, short, _ in rows}
                for enum, rows in ((InputId, _header.INPUTS), (OutputId, _header.OUTPUTS))}


def status_name(code: int) -> str:
    """The header's name of a status code, or "status <code>" for an unknown one."""
    try:
        return Status(code).name
    except ValueError:
        return f"status {code}"


def _resolve(enum, key: Union[int, str]):
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
        name = key.strip()
        for member in enum:
            if name.lower() == member.short_name or name.upper() == member.name:
                return member
        known = ", ".join(m.short_name for m in enum)
        raise KeyError(f"unknown {enum.__name__} {key!r}; known: {known}")
    raise TypeError(f"{enum.__name__} must be an int or a name, not {type(key).__name__}")


def input_id(key: Union[int, str]) -> Union[InputId, int]:
    """InputId for an identifier or name ("IN_PRESSURE", "pressure"); other ints pass."""
    return _resolve(InputId, key)


def output_id(key: Union[int, str]) -> Union[OutputId, int]:
    """OutputId for an identifier or name ("OUT_IAQ_INDEX", "iaq_index"); other ints pass."""
    return _resolve(OutputId, key)


def input_range(key: Union[int, str]) -> Optional[Tuple[float, float]]:
    """The accepted (min, max) of an input in the default configuration, as the
    header states it; None for an input without a stated range."""
    member = input_id(key)
    return _header.INPUT_RANGES.get(member.name) if isinstance(member, InputId) else None
