"""Finding the shared libraries: the environment variable may name the file or its
directory, and a failure lists every place tried."""

import os
import unittest
from pathlib import Path
from unittest import mock

from vorn import LibraryNotFoundError, _loader


class Loader(unittest.TestCase):
    def test_variable_names_the_file_or_its_directory_and_failure_names_every_place(self):
        found = _loader.find_library("vorn")  # VORN_LIBRARY is set by the test runner
        with mock.patch.dict(os.environ, {"VORN_LIBRARY": str(found.parent)}):
            self.assertEqual(_loader.find_library("vorn"), found)
        with mock.patch.dict(os.environ), \
                mock.patch.object(_loader, "_installed_dirs", lambda: [Path("/no/lib")]), \
                mock.patch.object(_loader, "_REPO_ROOT", Path("/no/repo")), \
                mock.patch.object(_loader, "_PACKAGE_DIR", Path("/no/pkg")):
            os.environ.pop("VORN_HOST_LIBRARY", None)
            with self.assertRaises(LibraryNotFoundError) as caught:
                _loader.find_library("vorn_host")
        for text in ("/no/lib/libvorn_host.so", "/no/pkg/libvorn_host.so",
                     "/no/repo/build/lib/libvorn_host.so", "VORN_HOST_LIBRARY"):
            self.assertIn(text, str(caught.exception))


if __name__ == "__main__":
    unittest.main()
