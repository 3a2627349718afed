"""Finding the shared libraries: the environment variable wins and is not second-
guessed, and a failure says where it looked."""

import os
import unittest
from pathlib import Path
from unittest import mock

from support import scratch_directory

from vorn import LibraryNotFoundError, _loader


class Loader(unittest.TestCase):
    def test_variable_may_name_the_file_or_its_directory(self):
        found = _loader.find_library("vorn")  # from VORN_LIBRARY as set by the test runner
        for given in (found, found.parent):
            with self.subTest(given=str(given)), \
                    mock.patch.dict(os.environ, {"VORN_LIBRARY": str(given)}):
                self.assertEqual(_loader.find_library("vorn"), found)

    def test_failure_lists_what_was_tried(self):
        with scratch_directory() as empty:
            with mock.patch.dict(os.environ, {"VORN_HOST_LIBRARY": empty}):
                with self.assertRaises(LibraryNotFoundError) as caught:
                    _loader.find_library("vorn_host")
        message = str(caught.exception)
        self.assertIn(str(Path(empty) / "libvorn_host.so"), message)
        self.assertIn("VORN_HOST_LIBRARY", message)

    def test_without_variable_the_installed_directory_comes_first(self):
        found = _loader.find_library("vorn")
        with mock.patch.dict(os.environ), \
                mock.patch.object(_loader, "_installed_dirs", lambda: [found.parent]):
            os.environ.pop("VORN_LIBRARY", None)
            self.assertEqual(_loader.find_library("vorn"), found)

    def test_without_anything_the_message_names_every_place(self):
        with mock.patch.dict(os.environ), \
                mock.patch.object(_loader, "_installed_dirs", lambda: [Path("/nonexistent/lib")]), \
                mock.patch.object(_loader, "_REPO_ROOT", Path("/nonexistent/repo")), \
                mock.patch.object(_loader, "_PACKAGE_DIR", Path("/nonexistent/pkg")):
            os.environ.pop("VORN_LIBRARY", None)
            with self.assertRaises(LibraryNotFoundError) as caught:
                _loader.find_library("vorn")
        for place in ("/nonexistent/lib/libvorn.so", "/nonexistent/pkg/libvorn.so",
                      "/nonexistent/repo/build/lib/libvorn.so.1"):
            self.assertIn(place, str(caught.exception))


if __name__ == "__main__":
    unittest.main()
