# Checks of the Windows binaries themselves, run on the build machine: the
# DLL's export table against the checked-in .def, no runtime DLL that a host
# would have to ship beside deflash.dll or deflash.exe, and wide vector code
# that cannot fault on the Windows stack.
if(NOT MINGW)
  return()
endif()
set(deflash_cmake_dir ${PROJECT_SOURCE_DIR}/cmake)
add_test(NAME WindowsDll.ExportTableMatchesDefFile
  COMMAND ${CMAKE_COMMAND} -DOBJDUMP=${CMAKE_OBJDUMP} -DDLL=$<TARGET_FILE:deflash>
          -DDEF=${deflash_cmake_dir}/deflash.def -P ${deflash_cmake_dir}/check_exports.cmake)
add_test(NAME WindowsDll.ImportsOnlySystemDlls
  COMMAND ${CMAKE_COMMAND} -DOBJDUMP=${CMAKE_OBJDUMP} -DBINARY=$<TARGET_FILE:deflash>
          -P ${deflash_cmake_dir}/check_imports.cmake)
add_test(NAME WindowsDll.NoAlignedWideVectorMoves
  COMMAND ${CMAKE_COMMAND} -DOBJDUMP=${CMAKE_OBJDUMP} -DBINARY=$<TARGET_FILE:deflash>
          -P ${deflash_cmake_dir}/check_wide_vector_moves.cmake)
if(TARGET deflash_cli)
  add_test(NAME WindowsTool.ImportsOnlySystemDlls
    COMMAND ${CMAKE_COMMAND} -DOBJDUMP=${CMAKE_OBJDUMP} -DBINARY=$<TARGET_FILE:deflash_cli>
            -DALLOWED=deflash.dll -P ${deflash_cmake_dir}/check_imports.cmake)
endif()
