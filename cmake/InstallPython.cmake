# Run by `cmake --install` (install(SCRIPT)): puts the Python package vorn into the
# site directory under the prefix that the interpreter searches, so `import vorn`
# works at once, or, when it searches none there, says where it went and what to add.
# The install rules set VORN_PY_SOURCE, VORN_PY_INTERPRETER, VORN_PY_DIR (relative to
# the prefix; empty to ask the interpreter) and VORN_PY_LIBDIR before this runs.

set(site_dir_of_prefix [=[
import os, sys, sysconfig
prefix = os.path.realpath(sys.argv[1])
for entry in sys.path:
    real = os.path.realpath(entry) if entry else ""
    if real.startswith(prefix + os.sep) and os.path.basename(real) in ("site-packages", "dist-packages"):
        print(os.path.relpath(real, prefix) + ";searched")
        break
else:
    place = sysconfig.get_path("purelib", "posix_prefix", vars={"base": prefix, "platbase": prefix})
    print(os.path.relpath(place, prefix) + ";not searched")
]=])

set(searched "")
if(VORN_PY_DIR STREQUAL "" AND VORN_PY_INTERPRETER)
  execute_process(COMMAND "${VORN_PY_INTERPRETER}" -c "${site_dir_of_prefix}" "${CMAKE_INSTALL_PREFIX}"
    OUTPUT_VARIABLE answer OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE failed)
  if(NOT failed)
    list(GET answer 0 VORN_PY_DIR)
    list(GET answer 1 searched)
  endif()
endif()
if(VORN_PY_DIR STREQUAL "")
  set(VORN_PY_DIR lib/python3/dist-packages)
endif()

set(package_dir "${CMAKE_INSTALL_PREFIX}/${VORN_PY_DIR}")
file(INSTALL "${VORN_PY_SOURCE}" DESTINATION "${package_dir}"
  PATTERN __pycache__ EXCLUDE PATTERN "*.pyc" EXCLUDE PATTERN "_install_paths.py" EXCLUDE)

# Where the libraries are, relative to the package, so that the installed package
# loads the installed libraries wherever the prefix is moved.
set(libdir "${VORN_PY_LIBDIR}")
if(NOT IS_ABSOLUTE "${libdir}")
  set(libdir "${CMAKE_INSTALL_PREFIX}/${libdir}")
endif()
file(RELATIVE_PATH relative "${package_dir}/vorn" "${libdir}")
string(REGEX REPLACE "/$" "" relative "${relative}")
message(STATUS "Installing: $ENV{DESTDIR}${package_dir}/vorn/_install_paths.py")
file(WRITE "$ENV{DESTDIR}${package_dir}/vorn/_install_paths.py"
  "# Written by cmake --install: the libraries' directory, relative to this package.\n"
  "LIBRARY_DIR = \"${relative}\"\n")

if(searched STREQUAL "not searched")
  message(STATUS "The Python package vorn is in ${package_dir}, which "
    "${VORN_PY_INTERPRETER} does not search: add it with\n"
    "    export PYTHONPATH=${package_dir}\n"
    "  or install with --prefix set to a prefix it searches (for example /usr/local).")
endif()
