"""vorn: sensor fusion for gsx410 gas sensors, from Python (standard library only).

vorn.Library  the full library API over libvorn.so (vorn.library)
vorn.host     the one-call-per-measurement host interface over libvorn_host.so

Importing the package loads no shared library; each is found and loaded when the
first Library or Host is made (see vorn._loader for where it looks, and the
VORN_LIBRARY / VORN_HOST_LIBRARY environment variables). The package's command
line (`python3 -m vorn ...`) lives in vorn.__main__.
"""

from . import host
from .errors import (InputRangeError, LibraryNotFoundError, StateFileError, VornError,
                     VornWarning)
from .host import Host, HostResult
from .ids import InputId, OutputId, Status, input_id, output_id, status_name
from .library import (
    RATE_DISABLED,
    Library,
    Output,
    SensorSettings,
    StepResult,
    Subscription,
    Version,
)


def __getattr__(name: str):
    # The package's version is the library's, asked of the library when first read,
    # so that importing the package still loads no shared library.
    if name == "__version__":
        return str(Library().version())
    raise AttributeError(f"module {__name__!r} has no attribute {name!r}")

__all__ = [
    "Host",
    "HostResult",
    "InputId",
    "InputRangeError",
    "Library",
    "LibraryNotFoundError",
    "Output",
    "OutputId",
    "RATE_DISABLED",
    "SensorSettings",
    "Status",
    "StateFileError",
    "StepResult",
    "Subscription",
    "Version",
    "VornError",
    "VornWarning",
    "host",
    "input_id",
    "output_id",
    "status_name",
]
