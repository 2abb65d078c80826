# Sources of the reading commands.
find_package(ZLIB REQUIRED)
target_link_libraries(tracewell_cli PRIVATE ZLIB::ZLIB)
target_sources(tracewell_cli PRIVATE
  commands/WindowOptions.cpp
  draw/Lane.cpp
  draw/Picture.cpp
  draw/SvgLane.cpp
  draw/SvgPicture.cpp
  draw/SvgText.cpp
  draw/TextPicture.cpp
  draw/TimeRuler.cpp
  survey/BlockImage.cpp
  survey/EventBlockSurvey.cpp
  survey/EventIndexSurvey.cpp
  survey/EventSurvey.cpp
  survey/FileBytes.cpp
  survey/Findings.cpp
  survey/StringSurvey.cpp
  survey/Survey.cpp
  survey/TransitionNode.cpp
  survey/TransitionSurvey.cpp
  survey/TreeSurvey.cpp
  text/Output.cpp
  text/ProgressBar.cpp
  text/Table.cpp
  text/Terminal.cpp
  text/TimeText.cpp
  text/Utf8.cpp
  text/ValueText.cpp
  wave/EventWaveFile.cpp
  wave/FileKind.cpp
  wave/IndexLookup.cpp
  wave/MergedCursor.cpp
  wave/NearestNames.cpp
  wave/Shortfalls.cpp
  wave/SignalNames.cpp
  wave/SignalSelection.cpp
  wave/TransitionCursor.cpp
  wave/TransitionStream.cpp
  wave/TransitionValues.cpp
  wave/TransitionWaveFile.cpp
  wave/TreeCursor.cpp
  wave/TreeValues.cpp
  wave/ValueRows.cpp
  wave/WaveFile.cpp
  wave/Wholeness.cpp
)
