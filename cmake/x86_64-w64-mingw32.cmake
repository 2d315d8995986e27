# 64-bit Windows from Linux: what is run where Wine has no 32-bit half.
set(mingw_triplet x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/MingwToolchain.cmake)
