# Shared by the mingw-w64 toolchain files, which set mingw_triplet. The "-posix" compilers are the
# ones whose C++ library has std::thread.
set(CMAKE_SYSTEM_NAME Windows)
string(REGEX MATCH "^[^-]+" CMAKE_SYSTEM_PROCESSOR ${mingw_triplet})
set(CMAKE_CXX_COMPILER ${mingw_triplet}-g++-posix)
set(CMAKE_C_COMPILER ${mingw_triplet}-gcc-posix)  # GoogleTest's project asks for one
set(CMAKE_RC_COMPILER ${mingw_triplet}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${mingw_triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# ctest runs the test programs through this.
cmake_path(GET CMAKE_CURRENT_LIST_DIR PARENT_PATH mingw_project)
set(CMAKE_CROSSCOMPILING_EMULATOR ${mingw_project}/dev wine)
