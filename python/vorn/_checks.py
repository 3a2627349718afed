"""Argument checks shared by vorn.Library and vorn.host.Host, so that a wrong type
or an unusable reading is refused in Python with a message that names it, before
the library is called."""

import math
from numbers import Integral, Real
from typing import Callable, Optional

from .errors import InputRangeError
from .ids import input_id, input_range


def integer(parameter: str, value) -> int:
    """`value` as an int (a whole float such as 3e9 too); a TypeError naming
    `parameter` for anything else, a ValueError for a fraction."""
    if isinstance(value, Real) and not isinstance(value, (bool, Integral)):
        if not float(value).is_integer():
            raise ValueError(f"{parameter} must be a whole number, not {value!r}")
        return int(value)
    if isinstance(value, bool) or not isinstance(value, Integral):
        raise TypeError(f"{parameter} must be an int, not {type(value).__name__}")
    return int(value)


def number(parameter: str, value) -> float:
    """`value` as a float; a TypeError naming `parameter` for anything else."""
    if isinstance(value, bool) or not isinstance(value, Real):
        raise TypeError(f"{parameter} must be a number, not {type(value).__name__}")
    return float(value)


def reading(operation: str, key, value: float,
            as_seen: Optional[Callable[[float], float]] = None) -> None:
    """Raise InputRangeError when `value` for input `key` is NaN, infinite or, as the
    library would see it (`as_seen`, e.g. truncated), outside the stated range."""
    name = input_id(key)
    name = getattr(name, "short_name", str(name))
    valid = input_range(key)
    if not math.isfinite(value):
        raise InputRangeError(operation, name, value, valid)
    seen = as_seen(value) if as_seen else value
    if valid is not None and not valid[0] <= seen <= valid[1]:
        raise InputRangeError(operation, name, value, valid)
