# SPDX-License-Identifier: BSD-3-Clause
#
# Settings that every target shares, and the way in which a room of the library is declared.

add_library(tracewell_settings INTERFACE)
target_compile_features(tracewell_settings INTERFACE cxx_std_17)
target_compile_options(tracewell_settings INTERFACE -Wall -Wextra -Wconversion -Wshadow)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  # Holds the code to what ThreadSafety.h lets it say of its locks.
  target_compile_options(tracewell_settings INTERFACE -Wthread-safety)
endif()
if(TRACEWELL_WARNINGS_AS_ERRORS)
  target_compile_options(tracewell_settings INTERFACE -Werror)
endif()
if(TRACEWELL_SANITIZE)
  target_compile_options(tracewell_settings INTERFACE
    -fsanitize=${TRACEWELL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(tracewell_settings INTERFACE -fsanitize=${TRACEWELL_SANITIZE})
endif()

# tracewell_add_room(NAME SOURCES file... [USES lower_room...] [LIBRARIES target...])
#
# Declares the object library tracewell_<NAME>. USES is the room's arrows: a module that holds the
# objects of the room and of everything below it, and nothing else, is linked without undefined
# symbols, so a call into a room that is not named there breaks the build. What includes do without a
# call is held to the same arrows by tracewell_check_room_includes().
function(tracewell_add_room name)
  cmake_parse_arguments(ROOM "" "" "SOURCES;USES;LIBRARIES" ${ARGN})

  set(target tracewell_${name})
  add_library(${target} OBJECT ${ROOM_SOURCES})
  set_target_properties(${target} PROPERTIES
    POSITION_INDEPENDENT_CODE ON
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  target_include_directories(${target} PUBLIC
    ${TRACEWELL_KERNEL_DIR}/include
    ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(${target} PRIVATE tracewell_settings PUBLIC ${ROOM_LIBRARIES})

  set(objects $<TARGET_OBJECTS:${target}>)
  set(libraries ${ROOM_LIBRARIES})
  foreach(lower IN LISTS ROOM_USES)
    target_include_directories(${target} PUBLIC
      $<TARGET_PROPERTY:tracewell_${lower},INTERFACE_INCLUDE_DIRECTORIES>)
    target_link_libraries(${target} PUBLIC
      $<TARGET_PROPERTY:tracewell_${lower},INTERFACE_LINK_LIBRARIES>)
    get_target_property(lowerObjects tracewell_${lower} TRACEWELL_OBJECTS)
    get_target_property(lowerLibraries tracewell_${lower} TRACEWELL_LIBRARIES)
    list(APPEND objects ${lowerObjects})
    if(lowerLibraries)
      list(APPEND libraries ${lowerLibraries})
    endif()
  endforeach()
  list(REMOVE_DUPLICATES objects)
  list(REMOVE_DUPLICATES libraries)
  set_target_properties(${target} PROPERTIES
    TRACEWELL_OBJECTS "${objects}"
    TRACEWELL_LIBRARIES "${libraries}"
    TRACEWELL_ROOM_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}
    TRACEWELL_USES "${ROOM_USES}")
  set_property(GLOBAL APPEND PROPERTY TRACEWELL_ROOMS ${target})

  # A sanitizer's run-time library is left undefined in modules, so the check is for plain builds.
  if(PROJECT_IS_TOP_LEVEL AND NOT TRACEWELL_SANITIZE)
    add_library(arrows_of_${name} MODULE ${objects})
    set_target_properties(arrows_of_${name} PROPERTIES
      LINKER_LANGUAGE CXX
      LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/arrows)
    target_link_libraries(arrows_of_${name} PRIVATE ${libraries})
    target_link_options(arrows_of_${name} PRIVATE -Wl,-z,defs)
  endif()
endfunction()

# tracewell_check_room_includes()
#
# Ends the configuration at an include against the arrows, when all rooms are declared. A public header
# belongs to the room that has its source. Abstract classes (IName, WdbIName) and headers without a
# source belong to nobody, and anybody may include them.
function(tracewell_check_room_includes)
  get_property(rooms GLOBAL PROPERTY TRACEWELL_ROOMS)
  foreach(room IN LISTS rooms)
    get_target_property(directory ${room} TRACEWELL_ROOM_DIRECTORY)
    file(GLOB_RECURSE files_${room} CONFIGURE_DEPENDS ${directory}/*.h ${directory}/*.cpp)
    foreach(file IN LISTS files_${room})
      get_filename_component(name ${file} NAME_WE)
      set(home_${name} ${room})
    endforeach()
  endforeach()
  file(GLOB public CONFIGURE_DEPENDS ${TRACEWELL_KERNEL_DIR}/include/*.h)
  foreach(file IN LISTS public)
    get_filename_component(name ${file} NAME_WE)
    if(DEFINED home_${name})
      list(APPEND files_${home_${name}} ${file})
    endif()
  endforeach()

  foreach(room IN LISTS rooms)
    get_target_property(allowed ${room} TRACEWELL_USES)
    list(TRANSFORM allowed PREPEND tracewell_)
    list(APPEND allowed ${room})
    foreach(file IN LISTS files_${room})
      file(STRINGS ${file} includes REGEX "^#include \"")
      foreach(include IN LISTS includes)
        string(REGEX REPLACE ".*[/\"]([A-Za-z]+)\\.h\"$" "\\1" name "${include}")
        if(DEFINED home_${name} AND NOT home_${name} IN_LIST allowed
            AND NOT name MATCHES "^(Wdb)?I[A-Z][a-z]")
          message(FATAL_ERROR "${file} includes ${name}.h of ${home_${name}}, which ${room} does not use")
        endif()
      endforeach()
    endforeach()
  endforeach()
endfunction()

# tracewell_precompile(TARGET [FROM other] [HEADERS <header>...])
#
# Lets TARGET see HEADERS precompiled, or those of another target that is compiled alike. Sources
# still name what they include, so that they compile without.
function(tracewell_precompile target)
  cmake_parse_arguments(PRECOMPILE "" "FROM" "HEADERS" ${ARGN})
  if(NOT TRACEWELL_PRECOMPILE)
    return()
  endif()
  if(PRECOMPILE_FROM)
    target_precompile_headers(${target} REUSE_FROM ${PRECOMPILE_FROM})
  else()
    target_precompile_headers(${target} PRIVATE ${PRECOMPILE_HEADERS})
  endif()
endfunction()

# tracewell_add_toolkit_room(NAME [IN_PLUGINS] SOURCES file... [USES room...] [LIBRARIES target...])
#
# Declares the static library tracewell_toolkit_<NAME> of the directory at hand. USES is the room's
# arrows: a source that includes from another room than these ends the configuration. A room
# IN_PLUGINS stands in modules of simulators too, so it brings no shared library but Tracewell's own.
function(tracewell_add_toolkit_room name)
  cmake_parse_arguments(ROOM "IN_PLUGINS" "" "SOURCES;USES;LIBRARIES" ${ARGN})

  set(toolkit ${PROJECT_SOURCE_DIR}/toolkit)
  file(RELATIVE_PATH directory ${toolkit} ${CMAKE_CURRENT_SOURCE_DIR})
  set(target tracewell_toolkit_${name})
  if(ROOM_SOURCES)
    add_library(${target} STATIC ${ROOM_SOURCES})
    set(scope PUBLIC)
    set_target_properties(${target} PROPERTIES
      POSITION_INDEPENDENT_CODE ON
      CXX_VISIBILITY_PRESET hidden
      VISIBILITY_INLINES_HIDDEN ON)
    if(ROOM_IN_PLUGINS)
      target_link_libraries(${target} PRIVATE tracewell_settings fmt::fmt-header-only)
      set(alike TRACEWELL_FIRST_PLUGIN_ROOM)
    else()
      target_link_libraries(${target} PRIVATE tracewell_settings fmt::fmt)
      set(alike TRACEWELL_FIRST_ROOM)
    endif()
    get_property(first GLOBAL PROPERTY ${alike})
    if(first)
      tracewell_precompile(${target} FROM ${first})
    else()
      tracewell_precompile(${target} HEADERS
        <fmt/format.h> <algorithm> <functional> <map> <memory> <string> <vector>)
      set_property(GLOBAL PROPERTY ${alike} ${target})
    endif()
  else()
    add_library(${target} INTERFACE)
    set(scope INTERFACE)
  endif()
  target_include_directories(${target} ${scope} ${toolkit})
  target_link_libraries(${target} ${scope} tracewell::kernel ${ROOM_LIBRARIES})

  set(allowed ${directory})
  foreach(lower IN LISTS ROOM_USES)
    target_link_libraries(${target} ${scope} tracewell_toolkit_${lower})
    get_target_property(place tracewell_toolkit_${lower} TRACEWELL_ROOM_DIRECTORY)
    list(APPEND allowed ${place})
  endforeach()
  set_target_properties(${target} PROPERTIES TRACEWELL_ROOM_DIRECTORY ${directory})

  file(GLOB sources CONFIGURE_DEPENDS *.h *.cpp)
  foreach(source IN LISTS sources)
    file(STRINGS ${source} includes REGEX "^#include \"[^\"]*/")
    foreach(include IN LISTS includes)
      string(REGEX REPLACE "^#include \"(.*)/[^/]*\".*" "\\1" place "${include}")
      if(NOT place IN_LIST allowed)
        message(FATAL_ERROR "${source} includes from ${place}, which the room ${name} does not use")
      endif()
    endforeach()
  endforeach()
endfunction()
