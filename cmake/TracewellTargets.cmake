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
# When all rooms are declared: holds includes to the same arrows, in the library and in the toolkit, at
# every build of the target all and whatever was edited since the one before.
function(tracewell_check_room_includes)
  set(headers ${PROJECT_SOURCE_DIR}/src/shared/wavedata/bridge/kernel/include)
  set(toolkit ${PROJECT_SOURCE_DIR}/toolkit)
  file(GLOB sources CONFIGURE_DEPENDS ${headers}/*.h)
  get_property(rooms GLOBAL PROPERTY TRACEWELL_ROOMS)
  string(CONCAT table
    "set(public_headers \"${headers}\")\n"
    "set(toolkit \"${toolkit}\")\n"
    "set(library_rooms \"${rooms}\")\n")
  foreach(room IN LISTS rooms)
    get_target_property(directory ${room} TRACEWELL_ROOM_DIRECTORY)
    get_target_property(uses ${room} TRACEWELL_USES)
    list(TRANSFORM uses PREPEND tracewell_)
    string(APPEND table "set(room_${room} \"${directory}\")\nset(uses_${room} \"${uses}\")\n")
    file(GLOB_RECURSE files CONFIGURE_DEPENDS ${directory}/*.h ${directory}/*.cpp)
    list(APPEND sources ${files})
  endforeach()
  get_property(rooms GLOBAL PROPERTY TRACEWELL_TOOLKIT_ROOMS)
  set(directories)
  foreach(room IN LISTS rooms)
    get_target_property(directory ${room} TRACEWELL_ROOM_DIRECTORY)
    get_target_property(uses ${room} TRACEWELL_USES)
    list(APPEND directories ${directory})
    string(APPEND table "set(uses_${directory} \"${uses}\")\n")
    file(GLOB files CONFIGURE_DEPENDS ${toolkit}/${directory}/*.h ${toolkit}/${directory}/*.cpp)
    list(APPEND sources ${files})
  endforeach()
  string(APPEND table "set(toolkit_rooms \"${directories}\")\n")

  set(rooms ${PROJECT_BINARY_DIR}/rooms.cmake)
  file(CONFIGURE OUTPUT ${rooms} CONTENT "${table}" @ONLY)
  set(script ${PROJECT_SOURCE_DIR}/cmake/CheckRoomIncludes.cmake)
  set(stamp ${PROJECT_BINARY_DIR}/rooms.checked)
  add_custom_command(OUTPUT ${stamp}
    COMMAND ${CMAKE_COMMAND} -D ROOMS=${rooms} -P ${script}
    COMMAND ${CMAKE_COMMAND} -E touch ${stamp}
    DEPENDS ${rooms} ${script} ${sources}
    COMMENT "Checking what rooms include"
    VERBATIM)
  add_custom_target(tracewell_room_includes ALL DEPENDS ${stamp})
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

# tracewell_add_toolkit_room(NAME [IN_PLUGINS] [USES room...] [LIBRARIES target...])
#
# Declares the static library tracewell_toolkit_<NAME> of all sources of the directory at hand. USES is the room's
# arrows: tracewell_check_room_includes() holds sources to them. A room IN_PLUGINS stands in modules of simulators too, so it brings no shared library but Tracewell's own.
function(tracewell_add_toolkit_room name)
  cmake_parse_arguments(ROOM "IN_PLUGINS" "" "USES;LIBRARIES" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS *.cpp)

  set(toolkit ${PROJECT_SOURCE_DIR}/toolkit)
  file(RELATIVE_PATH directory ${toolkit} ${CMAKE_CURRENT_SOURCE_DIR})
  set(target tracewell_toolkit_${name})
  if(sources)
    add_library(${target} STATIC ${sources})
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

  set(uses)
  foreach(lower IN LISTS ROOM_USES)
    target_link_libraries(${target} ${scope} tracewell_toolkit_${lower})
    get_target_property(place tracewell_toolkit_${lower} TRACEWELL_ROOM_DIRECTORY)
    list(APPEND uses ${place})
  endforeach()
  set_target_properties(${target} PROPERTIES
    TRACEWELL_ROOM_DIRECTORY ${directory}
    TRACEWELL_USES "${uses}")
  set_property(GLOBAL APPEND PROPERTY TRACEWELL_TOOLKIT_ROOMS ${target})
endfunction()
