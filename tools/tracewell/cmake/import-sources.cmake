# Sources of import, export and the VCD reader.
target_link_libraries(tracewell_cli PRIVATE ZLIB::ZLIB LibLZMA::LibLZMA zstd::zstd)
target_sources(tracewell_cli PRIVATE
  files/Interrupt.cpp
  files/OutputSuffix.cpp
  files/OutputText.cpp
  files/StandardStreams.cpp
  files/TimeReport.cpp
  files/WatchedProcess.cpp
  input/Content.cpp
  input/DescriptorSource.cpp
  input/InputFile.cpp
  input/UnpackedSource.cpp
  input/Unpacker.cpp
  recording/ChangeStream.cpp
  recording/EventChanges.cpp
  recording/ReplayedChanges.cpp
  recording/MemoryTexts.cpp
  recording/SignalRecorder.cpp
  recording/GatheredChanges.cpp
  recording/TransitionChanges.cpp
  recording/ValueReplay.cpp
  recording/VcdChanges.cpp
  recording/VcdRun.cpp
  vcd/VcdReader.cpp
)
