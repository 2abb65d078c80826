# Sources of the reading commands.
target_sources(tracewell_cli PRIVATE
  text/ProgressBar.cpp
  text/Terminal.cpp
)
