option(LATHWIND_TESTS "Build the tests" ON)
set(LATHWIND_TEST_SUITES "" CACHE STRING "Only test files with a suite named so, a pattern")
option(LATHWIND_BENCH "Build the benchmarks (native only)" OFF)
option(LATHWIND_FUZZ "Build the fuzz targets (clang only)" OFF)
option(LATHWIND_PCH "Precompile the standard headers" ON)
set(LATHWIND_SANITIZE "" CACHE STRING "Sanitizers, comma-separated, as -fsanitize takes them")

find_program(LATHWIND_CCACHE ccache)
if(LATHWIND_CCACHE)
  # Without these it would not cache what uses a precompiled header.
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env
    CCACHE_SLOPPINESS=pch_defines,time_macros ${LATHWIND_CCACHE})
endif()

# Flags of everything that is ours, linked as a usage requirement; GoogleTest keeps its own.
add_library(lathwind_flags INTERFACE)
target_compile_options(lathwind_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
  -Wold-style-cast -Woverloaded-virtual -Werror
  # Source lines in logs and exceptions read ".\src\...": the same in every checkout.
  -fmacro-prefix-map=${CMAKE_SOURCE_DIR}/=./)
target_compile_definitions(lathwind_flags INTERFACE
  LATHWIND_PRODUCT_VERSION="${PROJECT_VERSION}")
target_include_directories(lathwind_flags INTERFACE ${CMAKE_SOURCE_DIR}/src)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  target_compile_options(lathwind_flags INTERFACE -Wthread-safety -Werror=thread-safety)
endif()
if(WIN32)
  target_compile_definitions(lathwind_flags INTERFACE
    UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0601)
  # No DLL beside the program, the same bytes from the same sources.
  add_link_options(-static -Wl,--no-insert-timestamp)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    add_link_options(-Wl,--large-address-aware)  # 4 GiB of address space on a 64-bit system
  endif()
endif()

# What instruments a build goes to everything in it, GoogleTest included.
if(LATHWIND_SANITIZE)
  add_compile_options(-fsanitize=${LATHWIND_SANITIZE} -fno-omit-frame-pointer
    -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${LATHWIND_SANITIZE})
  add_compile_definitions(_GLIBCXX_ASSERTIONS)
endif()
if(LATHWIND_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
