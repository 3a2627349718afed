"""Helpers of the Python tests: source paths, and scratch directories on tmpfs when
there is one (every host call flushes its state file to the disk)."""

import os
import tempfile
from pathlib import Path

REPO_ROOT = Path(__file__).resolve().parents[2]


def scratch_directory() -> tempfile.TemporaryDirectory:
    base = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    return tempfile.TemporaryDirectory(prefix="vorn-py-", dir=base)
