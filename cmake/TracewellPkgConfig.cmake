# SPDX-License-Identifier: BSD-3-Clause
#
# tracewell_install_pkg_config(TEMPLATE [COMPONENT])
#
# Installs the .pc file made of TEMPLATE, a file NAME.pc.in. The prefix is known only when the package
# is installed, so the file finds it from its own place. The loader looks by itself only in what
# belongs to the system. From any other prefix (/usr/local too, until somebody calls ldconfig) a
# program would not start: @libraryPath@ tells the linker to note the library's directory in it.
function(tracewell_install_pkg_config template)
  set(component development)
  if(ARGC GREATER 1)
    set(component ${ARGV1})
  endif()
  get_filename_component(name ${template} NAME_WLE)
  get_filename_component(name ${name} NAME_WLE)
  file(RELATIVE_PATH prefixFromPkgConfig
    /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
  set(libraryPath "@libraryPath@")
  configure_file(${template} ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc.in @ONLY)
  install(CODE "
    set(libraryPath \" -Wl,-rpath,\\\${libdir}\")
    if(CMAKE_INSTALL_PREFIX MATCHES \"^/(usr)?/*\$\")
      set(libraryPath \"\")
    endif()
    configure_file(\"${CMAKE_CURRENT_BINARY_DIR}/${name}.pc.in\"
      \"${CMAKE_CURRENT_BINARY_DIR}/${name}.pc\" @ONLY)" COMPONENT ${component})
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT ${component})
endfunction()
