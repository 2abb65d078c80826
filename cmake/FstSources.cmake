# SPDX-License-Identifier: BSD-3-Clause
#
# tracewell_fst_api: the writer of FST files, from the sources that the package verilator installs.
find_path(FST_SOURCE_DIR fstapi.c PATHS /usr/share/verilator/include /usr/local/share/verilator/include
  $ENV{VERILATOR_ROOT}/include PATH_SUFFIXES gtkwave NO_DEFAULT_PATH)
if(NOT FST_SOURCE_DIR)
  message(FATAL_ERROR "The sources of the FST writer were not found; install verilator, or name their "
    "folder by -DFST_SOURCE_DIR=")
endif()
if(NOT TARGET tracewell_fst_api)
  enable_language(C)
  add_library(tracewell_fst_api STATIC EXCLUDE_FROM_ALL ${FST_SOURCE_DIR}/fstapi.c ${FST_SOURCE_DIR}/fastlz.c)
  # lz4.h is the system's, as the library is. Changes that repeat a value are left out before they get there.
  target_compile_definitions(tracewell_fst_api PRIVATE
    FST_CONFIG_INCLUDE=\"fst_config.h\" HAVE_LIBPTHREAD FST_WRITER_PARALLEL NDEBUG)
  target_compile_options(tracewell_fst_api PRIVATE -w -fvisibility=hidden -O2)
  target_include_directories(tracewell_fst_api SYSTEM PUBLIC ${FST_SOURCE_DIR})
  target_link_libraries(tracewell_fst_api PRIVATE ZLIB::ZLIB lz4::lz4 Threads::Threads)
  set_target_properties(tracewell_fst_api PROPERTIES POSITION_INDEPENDENT_CODE ON)
endif()
