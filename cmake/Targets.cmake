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
