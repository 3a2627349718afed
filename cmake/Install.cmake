# Install rules for `cmake --install`: the libraries, the public headers, a CMake
# package (find_package(vorn) gives vorn::vorn and vorn::vorn_static), a
# pkg-config file (vorn.pc), the vorn program and the Python package. Every installed path is
# relative to the prefix, so `cmake --install <build> --prefix <anywhere>` works.
include(CMakePackageConfigHelpers)

set(VORN_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/vorn
  CACHE STRING "Where vornConfig.cmake is installed, relative to the prefix")
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

# ---- The vorn program ----
if(TARGET vorn_cli)
  install(TARGETS vorn_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

# ---- Python package ----
# Where the interpreter that runs `python3` (or VORN_PYTHON_INTERPRETER) looks under
# the prefix; cmake/InstallPython.cmake decides at install time, when the prefix is
# known.
find_package(Python3 COMPONENTS Interpreter QUIET)
set(VORN_PYTHON_INTERPRETER "${Python3_EXECUTABLE}" CACHE FILEPATH
  "The Python whose site directory the package is installed into")
set(VORN_INSTALL_PYTHONDIR "" CACHE STRING
  "Where the Python package vorn goes, relative to the prefix (empty: where the interpreter looks)")
install(CODE "
  set(VORN_PY_SOURCE \"${PROJECT_SOURCE_DIR}/python/vorn\")
  set(VORN_PY_INTERPRETER \"${VORN_PYTHON_INTERPRETER}\")
  set(VORN_PY_DIR \"${VORN_INSTALL_PYTHONDIR}\")
  set(VORN_PY_LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
")
install(SCRIPT ${CMAKE_CURRENT_LIST_DIR}/InstallPython.cmake)
