# libev ships no CMake or pkg-config file. Defines LibEv::LibEv.
find_path(LibEv_INCLUDE_DIR NAMES ev++.h PATH_SUFFIXES libev)
find_library(LibEv_LIBRARY NAMES ev)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(LibEv REQUIRED_VARS LibEv_LIBRARY LibEv_INCLUDE_DIR)

if(LibEv_FOUND AND NOT TARGET LibEv::LibEv)
  add_library(LibEv::LibEv UNKNOWN IMPORTED)
  set_target_properties(
    LibEv::LibEv
    PROPERTIES IMPORTED_LOCATION "${LibEv_LIBRARY}"
               INTERFACE_INCLUDE_DIRECTORIES "${LibEv_INCLUDE_DIR}")
endif()
mark_as_advanced(LibEv_INCLUDE_DIR LibEv_LIBRARY)
