# 32-bit Windows from Linux. The programs that the build makes are run by Wine.
set(mingw_triplet i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/MingwToolchain.cmake)
