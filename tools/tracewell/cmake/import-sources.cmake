# Sources of import, export and the VCD reader.
target_sources(tracewell_cli PRIVATE
  files/Interrupt.cpp
  files/OutputText.cpp
  files/UnfinishedFile.cpp
  files/WatchedProcess.cpp
  recording/ChangeStream.cpp
  recording/EventChanges.cpp
  recording/EventMerge.cpp
  recording/ReplayedChanges.cpp
  recording/EventWriter.cpp
  recording/MemoryTexts.cpp
  recording/ObjectTracer.cpp
  recording/SignalRecorder.cpp
  recording/SnapshotDirectory.cpp
  recording/TextLookup.cpp
  recording/TextStore.cpp
  recording/TransitionWriter.cpp
  recording/TransitionChanges.cpp
  recording/ValueReplay.cpp
  recording/VcdChanges.cpp
  recording/VcdRun.cpp
  vcd/VcdCodes.cpp
  vcd/VcdDeclarations.cpp
  vcd/VcdInput.cpp
  vcd/VcdReader.cpp
  vcd/VcdValues.cpp
)
