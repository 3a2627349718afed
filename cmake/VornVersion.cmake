# The library version has one home: the project version in the top CMakeLists.txt.
# vorn_write_version_header(DIR VERSION) configures it into DIR/vorn/version.h, which
# the library, the tools and the tests include. Builds outside the main project (the
# fuzz targets, the Cortex-M4 footprint) read it with vorn_read_project_version, or
# run this file as a script:
#   cmake -DVORN_GENERATED_DIR=DIR -P cmake/VornVersion.cmake
set(VORN_VERSION_TEMPLATE ${CMAKE_CURRENT_LIST_DIR}/version.h.in)
set(VORN_TOP_LISTS ${CMAKE_CURRENT_LIST_DIR}/../CMakeLists.txt)

function(vorn_read_project_version out)
  file(STRINGS ${VORN_TOP_LISTS} line REGEX "^project\\(vorn VERSION [0-9.]+")
  if(NOT line MATCHES "VERSION ([0-9.]+)")
    message(FATAL_ERROR "no project(vorn VERSION ...) in ${VORN_TOP_LISTS}")
  endif()
  set(${out} ${CMAKE_MATCH_1} PARENT_SCOPE)
endfunction()

# Four parts, each one byte: the blob format's version word packs them.
function(vorn_write_version_header dir version)
  string(REPLACE "." ";" parts ${version})
  list(LENGTH parts count)
  if(NOT count EQUAL 4)
    message(FATAL_ERROR "version ${version}: four parts are needed")
  endif()
  foreach(part IN LISTS parts)
    if(part GREATER 255)
      message(FATAL_ERROR "version ${version}: every part must fit in a byte")
    endif()
  endforeach()
  list(GET parts 0 VORN_VERSION_MAJOR)
  list(GET parts 1 VORN_VERSION_MINOR)
  list(GET parts 2 VORN_VERSION_PATCH)
  list(GET parts 3 VORN_VERSION_BUILD)
  set(VORN_VERSION ${version})
  configure_file(${VORN_VERSION_TEMPLATE} ${dir}/vorn/version.h @ONLY)
endfunction()

if(CMAKE_SCRIPT_MODE_FILE STREQUAL CMAKE_CURRENT_LIST_FILE)
  vorn_read_project_version(version)
  vorn_write_version_header(${VORN_GENERATED_DIR} ${version})
endif()
