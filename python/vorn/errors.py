"""Exceptions and warnings raised by the vorn package.

A negative library status becomes a VornError, a positive one a VornWarning
(issued through the warnings module, so it can be filtered or turned into an
error with warnings.simplefilter("error", vorn.VornWarning)). Both carry the
operation, the numeric code and the header's name of the status.
"""

from .ids import Status, status_name


class _StatusMixin:
    def _init_status(self, operation: str, code: int) -> str:
        self.operation = operation
        self.code = int(code)
        self.name = status_name(code)
        try:
            self.status = Status(code)
        except ValueError:
            self.status = None
        return f"{operation} returned {self.name} ({self.code})"


class VornError(_StatusMixin, Exception):
    """An operation of the library (or the host layer) returned a negative status."""

    def __init__(self, operation: str, code: int):
        super().__init__(self._init_status(operation, code))


class VornWarning(_StatusMixin, UserWarning):
    """An operation completed but returned a positive status."""

    def __init__(self, operation: str, code: int):
        super().__init__(self._init_status(operation, code))


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
