"""Exceptions and warnings raised by the vorn package.

A negative library status becomes a VornError, a positive one a VornWarning
(issued through the warnings module, so it can be filtered or turned into an
error with warnings.simplefilter("error", vorn.VornWarning)). Both carry the
operation, the numeric code and the header's name of the status.
"""

from .ids import Status, status_name


class _StatusMixin:
    def _init_status(self, operation: str, code: int, detail: str) -> str:
        self.operation = operation
        self.code = int(code)
        self.name = status_name(code)
        try:
            self.status = Status(code)
        except ValueError:
            self.status = None
        message = f"{operation} returned {self.name} ({self.code})"
        return f"{message}: {detail}" if detail else message


class VornError(_StatusMixin, Exception):
    """An operation of the library (or the host layer) returned a negative status."""

    def __init__(self, operation: str, code: int, detail: str = ""):
        super().__init__(self._init_status(operation, code, detail))


class VornWarning(_StatusMixin, UserWarning):
    """An operation completed but returned a positive status (or, from the host
    interface, would have: see vorn.host.Host.process)."""

    def __init__(self, operation: str, code: int, detail: str = ""):
        super().__init__(self._init_status(operation, code, detail))


class InputRangeError(VornError, ValueError):
    """A reading was refused (RC_E_INPUT_RANGE): `input` names it, `value` is what
    was given and `valid` the accepted (min, max) of the default configuration, or
    None when the library's configured range is not known here."""

    def __init__(self, operation: str, input: str, value: float, valid=None):
        self.input, self.value, self.valid = input, value, valid
        accepted = f"accepted {valid[0]:g} .. {valid[1]:g}" if valid else "outside its range"
        super().__init__(operation, Status.RC_E_INPUT_RANGE,
                         f"{input} = {value!r} refused; {accepted}")


class StateFileError(VornError):
    """The host layer's state file holds a blob the library refuses; `path` names it.
    Every call fails the same way until the file is replaced or removed."""

    def __init__(self, operation: str, code: int, path):
        self.path = path
        super().__init__(operation, code,
                         f"the state file {path} is damaged or not a state this library "
                         "wrote; move it away (or delete it) to start learning afresh, or "
                         "restore a good copy")


class LibraryNotFoundError(OSError):
    """The shared library could not be found; the message lists every place tried."""

    def __init__(self, library: str, variable: str, tried):
        self.library = library
        self.tried = list(tried)
        places = "\n  ".join(self.tried) if self.tried else "(nowhere)"
        super().__init__(
            f"cannot find {library}; looked in:\n  {places}\n"
            f"Build the project (the build tree's lib/ is searched), install it, "
            f"or set {variable} to the library file or its directory."
        )
