# Cross toolchain for Windows x86-64 with Debian's g++-mingw-w64-x86-64.
#
#   cmake -S . -B build/windows --toolchain cmake/mingw-w64-x86_64.cmake
#
# The compilers are named explicitly (the "posix" thread-model variants, whose
# libstdc++ has std::thread and std::mutex) so that the build does not depend
# on which variant update-alternatives selected on the machine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(deflash_mingw_triplet x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${deflash_mingw_triplet}-gcc-posix)
set(CMAKE_CXX_COMPILER ${deflash_mingw_triplet}-g++-posix)
set(CMAKE_RC_COMPILER ${deflash_mingw_triplet}-windres)

# Libraries and headers come from the MinGW sysroot only; the host's
# /usr/include holds glibc headers the cross compiler must never see.
set(CMAKE_FIND_ROOT_PATH /usr/${deflash_mingw_triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Tests and generators run the .exe files through Wine. Debian's wine64
# package installs its launcher outside PATH.
find_program(DEFLASH_WINE NAMES wine64 wine
             PATHS /usr/lib/wine /usr/lib/x86_64-linux-gnu/wine NO_CMAKE_FIND_ROOT_PATH)
if(DEFLASH_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${DEFLASH_WINE})
endif()
