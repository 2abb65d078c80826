# SPDX-License-Identifier: BSD-3-Clause
#
# zstd::zstd, wherever the compiler finds it; not every release brings a package config.
find_path(ZSTD_INCLUDE_DIR zstd.h)
find_library(ZSTD_LIBRARY zstd)
if(NOT ZSTD_INCLUDE_DIR OR NOT ZSTD_LIBRARY)
  message(FATAL_ERROR "zstd was not found; install libzstd-dev")
endif()
if(NOT TARGET zstd::zstd)
  add_library(zstd::zstd UNKNOWN IMPORTED)
  set_target_properties(zstd::zstd PROPERTIES
    IMPORTED_LOCATION ${ZSTD_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${ZSTD_INCLUDE_DIR})
endif()
