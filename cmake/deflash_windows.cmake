# Windows settings: a self-contained DLL and .exe files whose console output
# matches the Linux build byte for byte.
if(NOT WIN32)
  return()
endif()

if(MINGW)
  # MinGW's printf otherwise follows the Microsoft C runtime (no %zu or %lld,
  # three-digit exponents); the C99 implementation prints what glibc prints.
  target_compile_definitions(deflash_flags INTERFACE __USE_MINGW_ANSI_STDIO=1)
  # The C++ runtime, libgcc and winpthread linked in: the DLL and the tool
  # then depend only on system DLLs, and a host needs nothing beside them.
  target_link_options(deflash_flags INTERFACE -static -static-libgcc -static-libstdc++)
endif()

# Windows finds a program's DLLs in the program's own folder, not through an
# rpath: the tool and every test program go beside deflash.dll, so they start
# from the build tree (and under Wine) without a PATH of their own.
if(deflash_is_main AND NOT CMAKE_RUNTIME_OUTPUT_DIRECTORY)
  set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
endif()
