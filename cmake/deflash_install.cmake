# Install rules and packages: the library with its version, the public
# headers, the deflash tool, a CMake package (deflash::deflash), deflash.pc,
# the documentation, and CPack settings for a Debian package and a Windows zip.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(deflash_cmake_install_dir ${CMAKE_INSTALL_LIBDIR}/cmake/deflash)

install(TARGETS deflash EXPORT deflash_targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
                NAMELINK_COMPONENT development
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT development)
if(TARGET deflash_cli)
  install(TARGETS deflash_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
endif()
if(MINGW)
  # The export table, from which other linkers make their import library.
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/deflash.def DESTINATION ${CMAKE_INSTALL_LIBDIR}
          COMPONENT development)
endif()

install(EXPORT deflash_targets NAMESPACE deflash:: FILE deflashTargets.cmake
        DESTINATION ${deflash_cmake_install_dir} COMPONENT development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/deflashConfig.cmake.in
  ${PROJECT_BINARY_DIR}/deflashConfig.cmake INSTALL_DESTINATION ${deflash_cmake_install_dir})
# Same major version: the exported names and records stay compatible within it.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/deflashConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/deflashConfig.cmake
              ${PROJECT_BINARY_DIR}/deflashConfigVersion.cmake
        DESTINATION ${deflash_cmake_install_dir} COMPONENT development)

# deflash.pc finds its prefix from its own place, so the installed tree can
# be moved (cmake --install --prefix, an unpacked zip).
file(RELATIVE_PATH deflash_pc_to_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" deflash_pc_to_prefix "${deflash_pc_to_prefix}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/deflash.pc.in ${PROJECT_BINARY_DIR}/deflash.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/deflash.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT development)

install(FILES ${PROJECT_SOURCE_DIR}/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR}
        COMPONENT runtime)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}
        COMPONENT runtime)

# Packages: scripts/package.sh runs cpack -G DEB (Linux) and -G ZIP (Windows).
set(CPACK_PACKAGE_NAME deflash)
set(CPACK_PACKAGE_VENDOR "deflash developers")
set(CPACK_PACKAGE_CONTACT "deflash developers <deflash@localhost>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "Flash images of a stereo depth camera module from its calibration")
set(CPACK_RESOURCE_FILE_README ${PROJECT_SOURCE_DIR}/README.md)
set(CPACK_PACKAGE_FILE_NAME deflash-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
find_program(DEFLASH_DPKG_SHLIBDEPS dpkg-shlibdeps)
if(DEFLASH_DPKG_SHLIBDEPS)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)  # libstdc++6, libc6 at the versions linked
endif()
set(CPACK_ARCHIVE_COMPONENT_INSTALL OFF)
include(CPack)
