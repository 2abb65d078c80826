# SPDX-License-Identifier: BSD-3-Clause
#
# cmake -D OUTPUT=FILE -D DIRECTORY=DIR -D FILES=NAME;... -P EmbedPage.cmake
#
# Writes the files as a C++ source that defines pageFiles() of view/PageFiles.h.

set(text "#include \"view/PageFiles.h\"\n\nnamespace tracewell {\n\nnamespace {\n\n")
set(rows)
set(types_html "text/html; charset=utf-8")
set(types_css "text/css; charset=utf-8")
set(types_js "text/javascript; charset=utf-8")
set(number 0)
foreach(name IN LISTS FILES)
  file(READ ${DIRECTORY}/${name} bytes HEX)
  string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
  string(REGEX REPLACE "(................................................................................)"
    "\\1\n" bytes "${bytes}")
  get_filename_component(suffix ${name} LAST_EXT)
  string(SUBSTRING ${suffix} 1 -1 suffix)
  string(APPEND text "constexpr unsigned char kFile${number}[] = {\n${bytes}};\n\n")
  set(path /${name})
  if(name STREQUAL "index.html")
    set(path /)
  endif()
  string(APPEND rows "    {\"${path}\", \"${types_${suffix}}\", kFile${number}, sizeof kFile${number}},\n")
  math(EXPR number "${number} + 1")
endforeach()
string(APPEND text "constexpr PageFile kFiles[] = {\n${rows}};\n\n} // namespace\n\n"
  "const PageFile* findPageFile(std::string_view path)\n{\n    for (const PageFile& file : kFiles) {\n"
  "        if (file.path == path) {\n            return &file;\n        }\n    }\n"
  "    return nullptr;\n}\n\n} // namespace tracewell\n")
file(WRITE ${OUTPUT} "${text}")
