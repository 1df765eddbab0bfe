# SPDX-License-Identifier: Apache-2.0
# What a developer of programs gets: headers, the libraries, pkg-config and
# CMake packages. The headers stand under a folder of their own, so that
# "platform/…" is no name in the system's include path.
include(CMakePackageConfigHelpers)

set(ZAFO_INCLUDE_FOLDER ${CMAKE_INSTALL_INCLUDEDIR}/zafoldap-${PROJECT_VERSION_MAJOR})
install(DIRECTORY include/ DESTINATION ${ZAFO_INCLUDE_FOLDER})
install(DIRECTORY platform DESTINATION ${ZAFO_INCLUDE_FOLDER})

install(TARGETS zafoldap zafocore zafosdk EXPORT zafoldap-targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    INCLUDES DESTINATION ${ZAFO_INCLUDE_FOLDER})
install(EXPORT zafoldap-targets NAMESPACE zafoldap:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zafoldap)

configure_package_config_file(cmake/zafoldap-config.cmake.in zafoldap-config.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zafoldap)
write_basic_package_version_file(zafoldap-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zafoldap-config.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/zafoldap-config-version.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zafoldap)

configure_file(cmake/zafoldap.pc.in zafoldap.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zafoldap.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
