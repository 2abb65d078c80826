# SPDX-License-Identifier: BSD-3-Clause
#
# cmake -D ROOMS=FILE -P CheckRoomIncludes.cmake
#
# Fails at an include against the arrows between rooms. FILE is what tracewell_check_room_includes()
# wrote of them: library_rooms and toolkit_rooms, and of each room_X its directory and uses_X.

cmake_minimum_required(VERSION 3.25)
include(${ROOMS})
set(failures)

# A public header belongs to the room that has its source. One without a source belongs to nobody, and
# anybody may include it.
foreach(room IN LISTS library_rooms)
  file(GLOB_RECURSE files_${room} ${room_${room}}/*.h ${room_${room}}/*.cpp)
  foreach(file IN LISTS files_${room})
    get_filename_component(name ${file} NAME_WE)
    set(home_${name} ${room})
  endforeach()
endforeach()
file(GLOB public ${public_headers}/*.h)
foreach(file IN LISTS public)
  get_filename_component(name ${file} NAME_WE)
  if(DEFINED home_${name})
    list(APPEND files_${home_${name}} ${file})
  endif()
endforeach()
foreach(room IN LISTS library_rooms)
  set(allowed ${room} ${uses_${room}})
  foreach(file IN LISTS files_${room})
    file(STRINGS ${file} includes REGEX "^#include \"")
    foreach(include IN LISTS includes)
      string(REGEX REPLACE ".*[/\"]([A-Za-z]+)\\.h\"$" "\\1" name "${include}")
      if(DEFINED home_${name} AND NOT home_${name} IN_LIST allowed)
        list(APPEND failures
          "${file} includes ${name}.h of ${home_${name}}, which ${room} does not use")
      endif()
    endforeach()
  endforeach()
endforeach()

# In the toolkit a header is named with its room.
foreach(room IN LISTS toolkit_rooms)
  set(allowed ${room} ${uses_${room}})
  file(GLOB files ${toolkit}/${room}/*.h ${toolkit}/${room}/*.cpp)
  foreach(file IN LISTS files)
    file(STRINGS ${file} includes REGEX "^#include \"[^\"]*/")
    foreach(include IN LISTS includes)
      string(REGEX REPLACE "^#include \"(.*)/[^/]*\".*" "\\1" place "${include}")
      if(NOT place IN_LIST allowed)
        list(APPEND failures "${file} includes from ${place}, which the room ${room} does not use")
      endif()
    endforeach()
  endforeach()
endforeach()

if(failures)
  list(JOIN failures "\n  " text)
  message(FATAL_ERROR "Includes against the arrows:\n  ${text}")
endif()
