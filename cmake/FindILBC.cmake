# The WebRtcIlbcfix_ interface of iLBC. Defines ILBC::ILBC, with VOCALINK_ILBC_HEADER as what to
# include.
#
# A libilbc package is taken where there is one. Debian 12 has none; there the same interface comes
# from libtgowt-dev, whose static archive also holds much else: only the iLBC objects get linked.
set(_ilbc_in_tgowt modules/audio_coding/codecs/ilbc/ilbc.h)
find_path(ILBC_INCLUDE_DIR NAMES ilbc.h ${_ilbc_in_tgowt} PATH_SUFFIXES tg_owt)
find_library(ILBC_LIBRARY NAMES ilbc tg_owt)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(ILBC REQUIRED_VARS ILBC_LIBRARY ILBC_INCLUDE_DIR)

if(ILBC_FOUND AND NOT TARGET ILBC::ILBC)
  if(EXISTS "${ILBC_INCLUDE_DIR}/ilbc.h")
    set(_ilbc_header ilbc.h)
  else()
    set(_ilbc_header ${_ilbc_in_tgowt})
  endif()
  add_library(ILBC::ILBC UNKNOWN IMPORTED)
  set_target_properties(
    ILBC::ILBC
    PROPERTIES IMPORTED_LOCATION "${ILBC_LIBRARY}"
               INTERFACE_INCLUDE_DIRECTORIES "${ILBC_INCLUDE_DIR}"
               INTERFACE_COMPILE_DEFINITIONS "VOCALINK_ILBC_HEADER=<${_ilbc_header}>")
endif()
mark_as_advanced(ILBC_INCLUDE_DIR ILBC_LIBRARY)
