# SPDX-License-Identifier: LGPL-2.1-or-later
#
# Installs the library with its pkg-config file and CMake package, and the udev rule.
# Included after every target exists. The installed tree may be moved as a whole.

include(CMakePackageConfigHelpers)

set(TAVO_INSTALL_UDEVDIR "lib/udev/rules.d" CACHE STRING "Where the udev rule goes")
set(package_directory ${CMAKE_INSTALL_LIBDIR}/cmake/tavoccdusb)

install(TARGETS tavoccdusb EXPORT tavoccdusbTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

file(RELATIVE_PATH TAVO_PREFIX_FROM_PKGCONFIG
    ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" TAVO_PREFIX_FROM_PKGCONFIG "${TAVO_PREFIX_FROM_PKGCONFIG}")
# A static library is nearly always linked to a shared libusb, where pkg-config --static would ask
# for what libusb itself needs. Naming the dependencies openly makes plain --libs right for both.
if(BUILD_SHARED_LIBS)
    string(CONCAT TAVO_PKGCONFIG_DEPENDENCIES
        "Requires.private: libusb-1.0\n"
        "Libs: -L\${libdir} -ltavoccdusb\n"
        "Libs.private: -pthread")
else()
    string(CONCAT TAVO_PKGCONFIG_DEPENDENCIES
        "Requires: libusb-1.0\n"
        "Libs: -L\${libdir} -ltavoccdusb -pthread")
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/tavoccdusb.pc.in
    ${PROJECT_BINARY_DIR}/tavoccdusb.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tavoccdusb.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(EXPORT tavoccdusbTargets NAMESPACE tavoccdusb:: DESTINATION ${package_directory})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/tavoccdusbConfig.cmake.in
    ${PROJECT_BINARY_DIR}/tavoccdusbConfig.cmake INSTALL_DESTINATION ${package_directory})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tavoccdusbConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/tavoccdusbConfig.cmake
    ${PROJECT_BINARY_DIR}/tavoccdusbConfigVersion.cmake
    DESTINATION ${package_directory})

# The tools' own directories install them. tavocam finds the library of its own tree, wherever that
# stands.
if(TARGET tavocam)
    file(RELATIVE_PATH library_directory ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set_target_properties(tavocam PROPERTIES INSTALL_RPATH "$ORIGIN/${library_directory}")
endif()

install(FILES ${PROJECT_SOURCE_DIR}/udev/70-tavo-camera.rules DESTINATION ${TAVO_INSTALL_UDEVDIR})
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
