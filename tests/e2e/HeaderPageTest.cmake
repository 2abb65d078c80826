# SPDX-License-Identifier: BSD-3-Clause
#
# Each public header has one row on the page, and nothing else has one.

file(GLOB headers RELATIVE ${INCLUDE_DIR} ${INCLUDE_DIR}/*.h)
file(STRINGS ${PAGE} rows REGEX "^\\| `[A-Za-z]+\\.h` \\| .+ \\|$")
list(TRANSFORM rows REPLACE "^\\| `([A-Za-z]+\\.h)`.*" "\\1")
list(SORT rows)
if(NOT rows STREQUAL headers)
  set(missing ${headers})
  list(REMOVE_ITEM missing ${rows})
  list(REMOVE_ITEM rows ${headers})
  message(FATAL_ERROR "${PAGE}: rows are missing (${missing}), too many (${rows}), or there twice")
endif()
