# SPDX-License-Identifier: BSD-3-Clause
#
# Installs the build into a scratch prefix and builds and runs consumer/ against it, once by
# find_package and once by pkg-config.

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output
    ERROR_VARIABLE output WORKING_DIRECTORY ${SCRATCH_DIR})
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed (${result}): ${ARGN}\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

function(expectAnswer program)
  run(${program})
  if(NOT output STREQUAL "42\n")
    message(FATAL_ERROR "${program} printed: ${output}")
  endif()
endfunction()

set(consumer ${CMAKE_CURRENT_LIST_DIR}/consumer)
set(prefix ${SCRATCH_DIR}/prefix)
file(REMOVE_RECURSE ${SCRATCH_DIR})
file(MAKE_DIRECTORY ${SCRATCH_DIR})

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

# Every header in both spellings, none of them twice, and a user's own header before one of ours.
file(GLOB_RECURSE headers ${prefix}/*/tracewell/*.h)
list(FILTER headers EXCLUDE REGEX /tracewell/verilator/)
list(LENGTH headers count)
if(count LESS 50)
  message(FATAL_ERROR "${count} headers are installed")
endif()
set(text "#include <Value.h>\nOwnValue own;\n")
foreach(header IN LISTS headers)
  get_filename_component(header ${header} NAME)
  string(APPEND text "#include <tracewell/${header}>\n#include <${header}>\n")
endforeach()
file(WRITE ${SCRATCH_DIR}/headers.cpp "${text}Tracewell::Value* ours = nullptr;\n")

# The C interface: both libraries, where both are made.
file(GLOB_RECURSE archive ${prefix}/*/libtracewell.a)
set(simulator)
if(archive)
  set(simulator ${EXAMPLES}/simulator.c)
endif()

run(${CMAKE_COMMAND} -S ${consumer} -B build -G ${GENERATOR} -D CMAKE_PREFIX_PATH=${prefix}
  -D SIMULATOR=${simulator} -D CMAKE_CXX_COMPILER=${CXX} -D HEADERS=${SCRATCH_DIR}/headers.cpp)
run(${CMAKE_COMMAND} --build build)
expectAnswer(${SCRATCH_DIR}/build/consumer)

# What is linked so starts without a word of where the library is; of a library that the system
# looks after itself there is no such word.
file(GLOB_RECURSE pkgConfigFile ${prefix}/*/tracewell.pc)
get_filename_component(pkgConfigDir ${pkgConfigFile} DIRECTORY)
run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pkgConfigDir} pkg-config --cflags --libs tracewell)
separate_arguments(options UNIX_COMMAND "${output}")
run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pkgConfigDir} pkg-config --cflags tracewell)
separate_arguments(cflags UNIX_COMMAND "${output}")
run(${CXX} -std=c++17 ${consumer}/consumer.cpp -o by-pkg-config ${options})
expectAnswer(${SCRATCH_DIR}/by-pkg-config)
if(archive)
  set(config ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pkgConfigDir} pkg-config)
  run(${config} --cflags --libs tracewell-c)
  separate_arguments(shared UNIX_COMMAND "${output}")
  run(${config} --static --cflags --libs tracewell-c)
  string(REPLACE "-ltracewell " "-l:libtracewell.a " output "${output}")
  separate_arguments(static UNIX_COMMAND "${output}")
  run(cc ${simulator} -o by-pkg-config-c ${shared})
  run(cc ${simulator} -o by-pkg-config-static ${static})
  foreach(program by-pkg-config-c by-pkg-config-static build/by_c build/by_c_static)
    run(${SCRATCH_DIR}/${program} ${SCRATCH_DIR}/counter.wdb)
    run(${prefix}/bin/tracewell verify counter.wdb)
    file(REMOVE ${SCRATCH_DIR}/counter.wdb)
  endforeach()
  run(readelf -d by-pkg-config-static)
  if(output MATCHES "libtracewell")
    message(FATAL_ERROR "the static program needs: ${output}")
  endif()
endif()
foreach(name g++ clang++)
  find_program(compiler_${name} ${name})
  if(compiler_${name})
    foreach(standard 17 20)
      run(${compiler_${name}} -std=c++${standard} -Wall -Wextra -Werror -fsyntax-only ${cflags}
        -I${consumer}/own ${SCRATCH_DIR}/headers.cpp)
    endforeach()
  endif()
endforeach()

run(${CMAKE_COMMAND} -E env DESTDIR=${SCRATCH_DIR}/staged
  ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix /usr)
file(GLOB_RECURSE pkgConfigFiles ${SCRATCH_DIR}/staged/*.pc)
list(LENGTH pkgConfigFiles count)
if(count EQUAL 0)
  message(FATAL_ERROR "no .pc file was installed")
endif()
foreach(pkgConfigFile IN LISTS pkgConfigFiles)
  file(STRINGS ${pkgConfigFile} rpath REGEX "rpath|@")
  if(rpath)
    message(FATAL_ERROR "${pkgConfigFile}: ${rpath}")
  endif()
endforeach()

# The recipe of a test bench, where there is what it needs.
find_program(verilator verilator)
file(GLOB_RECURSE backEnd ${prefix}/*/verilated_tracewell_c.cpp)
if(verilator AND backEnd)
  run(${CMAKE_COMMAND} -S ${consumer}/verilator -B verilated -G ${GENERATOR}
    -D CMAKE_PREFIX_PATH=${prefix} -D CMAKE_CXX_COMPILER=${CXX} -D DESIGNS=${DESIGNS})
  run(${CMAKE_COMMAND} --build verilated)
  run(${SCRATCH_DIR}/verilated/counter)
  run(${prefix}/bin/tracewell verify counter.wdb)
endif()
