# Reading the standard headers is most of the work on a file, so they are read once for all of our
# own code and, with GoogleMock, once for all tests. Files still include what they use: the preset
# "clang" builds them without.
set(precompiled_headers <algorithm> <array> <atomic> <condition_variable> <cstdint> <filesystem>
  <functional> <limits> <map> <memory> <mutex> <optional> <set> <span> <sstream> <string>
  <string_view> <thread> <utility> <vector>)
if(LATHWIND_PCH)
  file(WRITE ${CMAKE_BINARY_DIR}/generated/headers.cpp "")
  add_library(standard_headers OBJECT ${CMAKE_BINARY_DIR}/generated/headers.cpp)
  target_link_libraries(standard_headers PRIVATE lathwind_flags)
  # GCC does not count what it read precompiled as the system's, and would tell of its own strings.
  add_compile_options($<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fpch-preprocess>)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(lathwind_flags INTERFACE
      -Wno-array-bounds -Wno-restrict -Wno-stringop-overflow -Wno-stringop-overread)
  endif()
  target_precompile_headers(standard_headers PRIVATE ${precompiled_headers})
endif()

# use_headers(TARGET OF): TARGET takes the precompiled headers of the target OF.
function(use_headers name of)
  if(LATHWIND_PCH)
    target_precompile_headers(${name} REUSE_FROM ${of})
  endif()
endfunction()

# lathwind_library(NAME FOLDERS folder... [NEEDS target...])
#
# The library of one or more folders, given relative to the caller. Sources are found by pattern, so
# a file that is written is built; a folder without sources yet becomes a library of headers.
# NEEDS are the arrows: what this library may include, and what a program then links.
function(lathwind_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "FOLDERS;NEEDS")
  set(patterns ${arg_FOLDERS})
  list(TRANSFORM patterns PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  list(TRANSFORM patterns APPEND /*.cpp)
  file(GLOB sources CONFIGURE_DEPENDS ${patterns})
  if(sources)
    add_library(${name} STATIC ${sources})
    target_link_libraries(${name} PRIVATE lathwind_flags PUBLIC ${arg_NEEDS})
    use_headers(${name} standard_headers)
  else()
    add_library(${name} INTERFACE)
    target_link_libraries(${name} INTERFACE ${arg_NEEDS})
  endif()
endfunction()

# lathwind_program(NAME source...)
#
# A program of ours: the warnings, and on Windows the message catalogue as its string resources.
# (A resource in a static library would be left out by the linker; an OBJECT library is not.)
# The caller links the libraries it stands on.
function(lathwind_program name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE lathwind_flags)
  if(TARGET catalogue_resource)
    target_link_libraries(${name} PRIVATE catalogue_resource)
  endif()
endfunction()
