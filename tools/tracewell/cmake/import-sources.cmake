# Sources of import, export and the VCD reader.
target_sources(tracewell_cli PRIVATE
  vcd/VcdDeclarations.cpp
  vcd/VcdInput.cpp
)
