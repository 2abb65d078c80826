# SPDX-License-Identifier: BSD-3-Clause
#
# Takes the scripts that CPack makes for ldconfig out of the packages that have a trigger for it: the
# system's policy is that the trigger does it. Runs after CPack has made the packages.

set(place ${CPACK_TEMPORARY_DIRECTORY}/without-ldconfig)
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  if(NOT package MATCHES "\\.deb$")
    continue()
  endif()
  file(REMOVE_RECURSE ${place})
  execute_process(COMMAND dpkg-deb --raw-extract ${package} ${place} COMMAND_ERROR_IS_FATAL ANY)
  if(NOT EXISTS ${place}/DEBIAN/triggers)
    continue()
  endif()
  set(found FALSE)
  foreach(script IN ITEMS postinst postrm)
    if(EXISTS ${place}/DEBIAN/${script})
      file(REMOVE ${place}/DEBIAN/${script})
      set(found TRUE)
    endif()
  endforeach()
  if(found)
    execute_process(COMMAND dpkg-deb --root-owner-group -Zxz --build ${place} ${package}
      OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  endif()
endforeach()
file(REMOVE_RECURSE ${place})
