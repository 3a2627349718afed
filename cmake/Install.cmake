# Install rules for `cmake --install`: the libraries, the public headers, a CMake
# package (find_package(vorn) gives vorn::vorn and vorn::vorn_static), a
# pkg-config file (vorn.pc) and the Python package. Every installed path is
# relative to the prefix, so `cmake --install <build> --prefix <anywhere>` works.
include(CMakePackageConfigHelpers)

set(VORN_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/vorn
  CACHE STRING "Where vornConfig.cmake is installed, relative to the prefix")
# Debian's /usr/bin/python3 searches /usr/lib/python3/dist-packages; for any other
# prefix set PYTHONPATH=<prefix>/lib/python3/dist-packages.
set(VORN_INSTALL_PYTHONDIR lib/python3/dist-packages
  CACHE STRING "Where the Python package vorn is installed, relative to the prefix")

install(TARGETS vorn vorn_static EXPORT vornTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(TARGET vorn_host)
  install(TARGETS vorn_host LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
install(FILES ${PROJECT_SOURCE_DIR}/include/vorn/vorn.h
  ${PROJECT_SOURCE_DIR}/include/vorn/vorn_clock.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vorn)

# ---- CMake package ----
install(EXPORT vornTargets NAMESPACE vorn:: FILE vornTargets.cmake
  DESTINATION ${VORN_INSTALL_CMAKEDIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/vornConfig.cmake.in
  ${PROJECT_BINARY_DIR}/vornConfig.cmake INSTALL_DESTINATION ${VORN_INSTALL_CMAKEDIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vornConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vornConfig.cmake ${PROJECT_BINARY_DIR}/vornConfigVersion.cmake
  DESTINATION ${VORN_INSTALL_CMAKEDIR})

# ---- pkg-config ----
# The prefix is found from the .pc file's own place, so the file stays right
# whatever --prefix the install gets.
if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
  set(VORN_PC_PREFIX ${CMAKE_INSTALL_PREFIX})
else()
  file(RELATIVE_PATH VORN_PC_UP /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
  string(REGEX REPLACE "/$" "" VORN_PC_UP "${VORN_PC_UP}")
  set(VORN_PC_PREFIX "\${pcfiledir}/${VORN_PC_UP}")
endif()
foreach(dir LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE ${CMAKE_INSTALL_${dir}})
    set(VORN_PC_${dir} ${CMAKE_INSTALL_${dir}})
  else()
    set(VORN_PC_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
  endif()
endforeach()
configure_file(${CMAKE_CURRENT_LIST_DIR}/vorn.pc.in ${PROJECT_BINARY_DIR}/vorn.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vorn.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# ---- Python package ----
# Installed without the tests; _install_paths.py records where the libraries are,
# relative to the package, so the installed package loads the installed libraries.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/python/vorn DESTINATION ${VORN_INSTALL_PYTHONDIR}
  PATTERN __pycache__ EXCLUDE PATTERN "*.pyc" EXCLUDE PATTERN "_install_paths.py" EXCLUDE)
install(CODE "
  set(libdir \"${CMAKE_INSTALL_LIBDIR}\")
  set(pydir \"${VORN_INSTALL_PYTHONDIR}/vorn\")
  if(NOT IS_ABSOLUTE \"\${libdir}\")
    set(libdir \"\${CMAKE_INSTALL_PREFIX}/\${libdir}\")
  endif()
  if(NOT IS_ABSOLUTE \"\${pydir}\")
    set(pydir \"\${CMAKE_INSTALL_PREFIX}/\${pydir}\")
  endif()
  file(RELATIVE_PATH relative \"\${pydir}\" \"\${libdir}\")
  string(REGEX REPLACE \"/$\" \"\" relative \"\${relative}\")
  message(STATUS \"Installing: \$ENV{DESTDIR}\${pydir}/_install_paths.py\")
  file(WRITE \"\$ENV{DESTDIR}\${pydir}/_install_paths.py\"
    \"# Written by cmake --install: the libraries' directory, relative to this package.\\n\"
    \"LIBRARY_DIR = \\\"\${relative}\\\"\\n\")
")
