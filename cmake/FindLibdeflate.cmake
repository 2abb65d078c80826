# SPDX-License-Identifier: BSD-3-Clause
#
# libdeflate::libdeflate, wherever the compiler finds it; not every release brings a package config.
find_path(LIBDEFLATE_INCLUDE_DIR libdeflate.h)
find_library(LIBDEFLATE_LIBRARY deflate)
if(NOT LIBDEFLATE_INCLUDE_DIR OR NOT LIBDEFLATE_LIBRARY)
  message(FATAL_ERROR "libdeflate was not found; install libdeflate-dev")
endif()
if(NOT TARGET libdeflate::libdeflate)
  add_library(libdeflate::libdeflate UNKNOWN IMPORTED)
  set_target_properties(libdeflate::libdeflate PROPERTIES
    IMPORTED_LOCATION ${LIBDEFLATE_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${LIBDEFLATE_INCLUDE_DIR})
endif()
