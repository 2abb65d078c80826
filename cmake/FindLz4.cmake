# SPDX-License-Identifier: BSD-3-Clause
#
# lz4::lz4, wherever the compiler finds it; not every release brings a package config.
find_path(LZ4_INCLUDE_DIR lz4.h)
find_library(LZ4_LIBRARY lz4)
if(NOT LZ4_INCLUDE_DIR OR NOT LZ4_LIBRARY)
  message(FATAL_ERROR "lz4 was not found; install liblz4-dev")
endif()
if(NOT TARGET lz4::lz4)
  add_library(lz4::lz4 UNKNOWN IMPORTED)
  set_target_properties(lz4::lz4 PROPERTIES
    IMPORTED_LOCATION ${LZ4_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${LZ4_INCLUDE_DIR})
endif()
