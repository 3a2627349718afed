"""Finding and loading libvorn.so and libvorn_host.so.

Search order, first match wins:
  1. the environment variable (VORN_LIBRARY or VORN_HOST_LIBRARY): a library file
     or a directory holding it; when it is set, nothing else is searched;
  2. the installed library directory recorded when the package was installed;
  3. the package's own directory (a library copied next to the package);
  4. the build tree: build/lib under the repository root (other build
     directories only through the environment variable).

Each file is loaded once per process. The library keeps one static instance per
loaded file, so every object made from the same file shares that instance.
"""

import ctypes
import os
from pathlib import Path
from typing import Dict, Iterable, List, Optional

from .errors import LibraryNotFoundError

_PACKAGE_DIR = Path(__file__).resolve().parent
_REPO_ROOT = _PACKAGE_DIR.parent.parent

# (file names, environment variable) per library.
LIBRARIES = {
    "vorn": (("libvorn.so", "libvorn.so.1"), "VORN_LIBRARY"),
    "vorn_host": (("libvorn_host.so",), "VORN_HOST_LIBRARY"),
}

_loaded: Dict[Path, ctypes.CDLL] = {}


def _installed_dirs() -> List[Path]:
    try:
        from ._install_paths import LIBRARY_DIR  # written by cmake --install
    except ImportError:
        return []
    path = Path(LIBRARY_DIR)
    return [path if path.is_absolute() else (_PACKAGE_DIR / path).resolve()]


def _candidates(directories: Iterable[Path], names) -> List[Path]:
    return [d / name for d in directories for name in names]


def find_library(kind: str, explicit: Optional[os.PathLike] = None) -> Path:
    """Path of the library `kind` ("vorn" or "vorn_host"); raises LibraryNotFoundError."""
    names, variable = LIBRARIES[kind]
    override = explicit if explicit is not None else os.environ.get(variable)
    if override:
        given = Path(override)
        tried = _candidates([given], names) if given.is_dir() else [given]
    else:
        directories = _installed_dirs() + [_PACKAGE_DIR, _REPO_ROOT / "build" / "lib"]
        tried = _candidates(directories, names)
    for path in tried:
        if path.is_file():
            return path.resolve()
    raise LibraryNotFoundError(names[0], variable, [str(p) for p in tried])


def load_library(kind: str, explicit: Optional[os.PathLike] = None) -> ctypes.CDLL:
    """The loaded library `kind`, found with find_library; loaded once per file."""
    path = find_library(kind, explicit)
    if path not in _loaded:
        _loaded[path] = ctypes.CDLL(str(path))
    return _loaded[path]
