# SPDX-License-Identifier: BSD-3-Clause
#
# Debian packages and tarballs, one for each component that is installed; scripts/package makes them.

set(CPACK_PACKAGE_VENDOR "Tracewell")
set(CPACK_PACKAGE_CONTACT "Tracewell authors <authors@tracewell.example>")
# CPack's own default: anything else becomes the summary of every package, in front of its own.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${CMAKE_PROJECT_NAME} built using CMake")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL library development tools plugins python)
if(NOT TRACEWELL_BUILD_PYTHON)
  list(REMOVE_ITEM CPACK_COMPONENTS_ALL python)
endif()
set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# What depends on another of these packages is found in the build.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
  ${PROJECT_BINARY_DIR}/src/shared/wavedata/bridge/kernel ${PROJECT_BINARY_DIR}/capi
  ${PROJECT_BINARY_DIR}/integrations/verilator)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# tracewell_describe_package(COMPONENT NAME SECTION SUMMARY TEXT [DEPENDS])
function(tracewell_describe_package component name section summary text)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_ARCHIVE_${upper}_FILE_NAME ${name}-${PROJECT_VERSION} PARENT_SCOPE)
  # CPack takes the first line as the summary.
  set(CPACK_COMPONENT_${upper}_DESCRIPTION "${summary}\n${text}" PARENT_SCOPE)
  if(ARGC GREATER 5)
    set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${ARGV5}" PARENT_SCOPE)
  endif()
  set(documents ${PROJECT_BINARY_DIR}/packages/${name})
  configure_file(${PROJECT_SOURCE_DIR}/cmake/packages/copyright.in ${documents}/copyright @ONLY)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/packages/changelog.in ${documents}/changelog.Debian @ONLY)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/packages/overrides.in ${documents}/overrides @ONLY)
  execute_process(COMMAND gzip -9nf ${documents}/changelog.Debian)
  install(FILES ${documents}/copyright ${documents}/changelog.Debian.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
  install(FILES ${documents}/overrides
    DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME ${name} COMPONENT ${component})
endfunction()

set(same "(= ${PROJECT_VERSION}-1)")
tracewell_describe_package(library libtracewell${PROJECT_VERSION_MAJOR} libs
  "wave-database engine for logic simulators"
  "A simulation kernel hands it every value change; viewers read the changes back\nby name and time, while the run goes on or long after. These are the shared\nlibraries.")
tracewell_describe_package(development libtracewell-dev libdevel
  "wave-database engine for logic simulators, to build with"
  "Headers, the static library and what CMake and pkg-config need to build\nsimulators and viewers with Tracewell, in C++ and in C."
  "libtracewell${PROJECT_VERSION_MAJOR} ${same}, libboost-thread-dev, libboost-chrono-dev, \
libboost-filesystem-dev, libdeflate-dev, libfmt-dev, liblz4-dev, liblzma-dev, libxxhash-dev, libzstd-dev, \
zlib1g-dev")
tracewell_describe_package(tools tracewell electronics
  "records, reads, draws and compares waveforms of simulations"
  "The command line of Tracewell: it imports VCD, FST and GHW files, follows\nsimulations that run, searches, counts, draws, and shows waves in the browser."
  "libtracewell${PROJECT_VERSION_MAJOR} ${same}")
tracewell_describe_package(plugins tracewell-plugins electronics
  "waveform recording from inside of simulators"
  "Plug-ins for Icarus Verilog and GHDL, and the back end that models of\nVerilator are compiled with."
  "libtracewell${PROJECT_VERSION_MAJOR} ${same}")
tracewell_describe_package(python python3-tracewell python
  "waveforms of simulations as numpy arrays"
  "The Python module tracewell: reads, searches, compares, draws and records."
  "libtracewell${PROJECT_VERSION_MAJOR} ${same}, python3 (>= 3.11), python3 (<< 3.12), python3-numpy")

set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS "librsvg2-2, xdg-utils")
set(CPACK_DEBIAN_PLUGINS_PACKAGE_SUGGESTS "iverilog, ghdl, verilator")

# The loader's cache is renewed by a trigger, and who links the libraries depends on this very version.
set(control ${PROJECT_BINARY_DIR}/packages)
file(WRITE ${control}/triggers "activate-noawait ldconfig\n")
file(WRITE ${control}/shlibs "")
foreach(library IN ITEMS libtracewell_kernel libtracewell libtracewell_verilator)
  file(APPEND ${control}/shlibs "${library} ${PROJECT_VERSION_MAJOR} \
libtracewell${PROJECT_VERSION_MAJOR} ${same}\n")
endforeach()
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${control}/triggers ${control}/shlibs)
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/packages/WithoutLdconfig.cmake)

foreach(script IN ITEMS postinst prerm)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/packages/python-${script} ${control}/python/${script} COPYONLY)
endforeach()
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${control}/python/postinst ${control}/python/prerm)

include(CPack)
