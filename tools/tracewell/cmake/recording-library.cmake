# What records values by name, for the command line and for plug-ins of simulators. Stands in
# modules too, so it brings no shared library but Tracewell's own.
add_library(tracewell_recording STATIC
  files/OutputFile.cpp
  files/OwnFile.cpp
  live/DebugFile.cpp
  names/Declarations.cpp
  names/DataLayout.cpp
  names/DeclarationText.cpp
  names/DeclarationsBuilder.cpp
  names/PlaceIndex.cpp
  names/TransitionLayout.cpp
  recording/ByteWriter.cpp
  recording/EventMerge.cpp
  recording/EventWriter.cpp
  recording/IndexedWriter.cpp
  recording/ObjectTracer.cpp
  recording/SegmentPlayer.cpp
  recording/SnapshotDirectory.cpp
  recording/TextLookup.cpp
  recording/TextStore.cpp
  recording/TransitionWriter.cpp
  recording/ValueRecorder.cpp
  recording/WindowRecording.cpp
  vcd/VcdCodes.cpp
  vcd/VcdDeclarations.cpp
  vcd/VcdInput.cpp
  vcd/VcdValues.cpp
)
set_target_properties(tracewell_recording PROPERTIES
  POSITION_INDEPENDENT_CODE ON
  CXX_VISIBILITY_PRESET hidden
  VISIBILITY_INLINES_HIDDEN ON)
target_include_directories(tracewell_recording PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(tracewell_recording
  PUBLIC tracewell::kernel
  PRIVATE tracewell_settings fmt::fmt-header-only)
