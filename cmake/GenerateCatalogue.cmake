# Makes the rows of the compiled table (*.inc) or the string resources (*.rc) from the one source.
#   cmake -DINPUT=catalogue.txt -DOUTPUT=<file> -P GenerateCatalogue.cmake
# The whole text is rewritten by patterns: CMake's lists would split rows at semicolons.
file(READ ${INPUT} text)
string(REGEX REPLACE "\n#[^\n]*" "" text "\n${text}")

# What is no row would vanish without a trace.
string(REGEX REPLACE "\n[0-9]+\t\"([^\"\\\n]|\\\\[\"\\])*\"" "" rest "${text}")
string(STRIP "${rest}" rest)
if(NOT rest STREQUAL "")
  message(FATAL_ERROR "${INPUT}: not a row: ${rest}")
endif()

set(row "([0-9]+)\t(\"[^\n]*\")\n")
if(OUTPUT MATCHES "\\.rc$")
  # A resource script doubles a quote, and escapes a backslash as C does.
  string(ASCII 1 mark)
  string(REPLACE "\\\\" "${mark}" text "${text}")
  string(REPLACE "\\\"" "\"\"" text "${text}")
  string(REPLACE "${mark}" "\\\\" text "${text}")
  string(REGEX REPLACE "${row}" "  \\1, L\\2\n" text "${text}")
  set(text "STRINGTABLE\nBEGIN\n${text}END\n")
else()
  string(REGEX REPLACE "${row}" "{\\1, L\\2},\n" text "${text}")
endif()
file(WRITE ${OUTPUT} "${text}")
