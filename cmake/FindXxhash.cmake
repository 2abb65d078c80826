# SPDX-License-Identifier: BSD-3-Clause
#
# xxhash::xxhash, of which the headers are all that is needed.
find_path(XXHASH_INCLUDE_DIR xxhash.h)
if(NOT XXHASH_INCLUDE_DIR)
  message(FATAL_ERROR "xxHash was not found; install libxxhash-dev")
endif()
if(NOT TARGET xxhash::xxhash)
  add_library(xxhash::xxhash INTERFACE IMPORTED)
  set_target_properties(xxhash::xxhash PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES ${XXHASH_INCLUDE_DIR})
endif()
