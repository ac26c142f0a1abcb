# `cmake --install`: the libraries and their symlinks, the header, a pkg-config file, a CMake package, the tool.
include(CMakePackageConfigHelpers)

set(KORVO_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/korvo_bt)

install(TARGETS korvo_bt EXPORT korvo_bt-targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development)
if(TARGET korvo_platform)
    install(TARGETS korvo_platform EXPORT korvo_bt-targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT platform NAMELINK_COMPONENT development)
endif()
install(FILES ${PROJECT_SOURCE_DIR}/include/korvo_bt.h ${PROJECT_SOURCE_DIR}/include/korvo_bt_conventions.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

# The prefix is derived from where the file lies, so that `cmake --install --prefix` needs no other file.
set(KORVO_PC_TO_PREFIX ${CMAKE_INSTALL_PREFIX})
cmake_path(RELATIVE_PATH KORVO_PC_TO_PREFIX BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
cmake_path(APPEND KORVO_PC_LIBDIR "\${prefix}" ${CMAKE_INSTALL_LIBDIR})
cmake_path(APPEND KORVO_PC_INCLUDEDIR "\${prefix}" ${CMAKE_INSTALL_INCLUDEDIR})
configure_file(${PROJECT_SOURCE_DIR}/cmake/korvo_bt.pc.in ${PROJECT_BINARY_DIR}/korvo_bt.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/korvo_bt.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

install(EXPORT korvo_bt-targets NAMESPACE Korvo:: DESTINATION ${KORVO_CMAKE_DIR} COMPONENT development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/korvo_bt-config.cmake.in
    ${PROJECT_BINARY_DIR}/korvo_bt-config.cmake INSTALL_DESTINATION ${KORVO_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/korvo_bt-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/korvo_bt-config.cmake ${PROJECT_BINARY_DIR}/korvo_bt-config-version.cmake
    DESTINATION ${KORVO_CMAKE_DIR} COMPONENT development)

if(KORVO_BUILD_TOOL)
    install(TARGETS tqctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
    install(FILES ${PROJECT_SOURCE_DIR}/tools/tqctl/share/tqctl.1
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
    install(FILES ${PROJECT_SOURCE_DIR}/tools/tqctl/share/tqctl.bash
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME tqctl COMPONENT tool)
endif()

if(TARGET tqfetchd)
    set(share ${PROJECT_SOURCE_DIR}/daemons/fetch/share)
    configure_file(${share}/tqfetchd.service ${PROJECT_BINARY_DIR}/tqfetchd.service @ONLY)
    install(TARGETS tqfetchd RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT daemon)
    install(FILES ${share}/tqfetchd.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT daemon)
    install(FILES ${PROJECT_BINARY_DIR}/tqfetchd.service DESTINATION lib/systemd/system COMPONENT daemon)
    install(FILES ${share}/tqfetchd.conf DESTINATION lib/sysusers.d COMPONENT daemon)
endif()

if(KORVO_BUILD_REFERENCE)
    install(DIRECTORY ${PROJECT_BINARY_DIR}/reference/man/ DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT development)
    install(DIRECTORY ${PROJECT_BINARY_DIR}/reference/html
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libkorvo-bt-dev COMPONENT development)
endif()

install(FILES ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/SECURITY.md
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libkorvo-bt${PROJECT_VERSION_MAJOR} COMPONENT library)
install(FILES ${PROJECT_SOURCE_DIR}/README.md
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libkorvo-bt-dev COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libkorvo-bt-dev COMPONENT development
    FILES_MATCHING PATTERN *.c PATTERN torrentd EXCLUDE)
