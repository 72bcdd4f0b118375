# The native files of the pip package (setup.py installs the component
# deflash_wheel into the wheel): the library, the Python extension and the
# tool, all in the package folder deflash/, so the extension and the tool find
# the library beside them with no LD_LIBRARY_PATH and no PATH.
if(NOT TARGET deflash_python OR NOT TARGET deflash_cli)
  message(FATAL_ERROR "DEFLASH_WHEEL needs the Python module and the tool: pybind11-dev, "
                      "python3-dev and the tool's dependencies (scripts/install-deps.sh)")
endif()

include(GNUInstallDirs)
set(deflash_wheel_dir deflash)

# Linux and macOS find the library through a run path relative to the file
# that loads it; Windows looks in the folder of the .pyd and of the .exe.
if(APPLE)
  set_target_properties(deflash_python deflash_cli PROPERTIES INSTALL_RPATH "@loader_path")
elseif(UNIX)
  set_target_properties(deflash_python deflash_cli PROPERTIES INSTALL_RPATH "$ORIGIN")
endif()

if(WIN32)
  # deflash.dll; its import library is no part of the wheel.
  install(TARGETS deflash
          RUNTIME DESTINATION ${deflash_wheel_dir} COMPONENT deflash_wheel
          ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
else()
  # One copy, under the name the loader asks for (libdeflash.so.2): a wheel
  # holds no symbolic links, so the versioned file would be a second copy.
  get_target_property(deflash_soversion deflash SOVERSION)
  install(FILES $<TARGET_FILE:deflash> DESTINATION ${deflash_wheel_dir} COMPONENT deflash_wheel
          RENAME ${CMAKE_SHARED_LIBRARY_PREFIX}deflash${CMAKE_SHARED_LIBRARY_SUFFIX}.${deflash_soversion})
endif()
install(TARGETS deflash_python LIBRARY DESTINATION ${deflash_wheel_dir} COMPONENT deflash_wheel)
# The native tool; the package's `deflash` command (deflash/_cli.py) runs it.
install(TARGETS deflash_cli RUNTIME DESTINATION ${deflash_wheel_dir} COMPONENT deflash_wheel)
