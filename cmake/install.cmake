# `cmake --install`: the libraries and their symlinks, the headers, a pkg-config file, a CMake package, the tool, the
# daemon, documents. debian/*.install divides it among the packages.
include(CMakePackageConfigHelpers)

set(KORVO_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/korvo_bt)
set(KORVO_DOC_DIR ${CMAKE_INSTALL_DATADIR}/doc/korvo_bt)

install(TARGETS korvo_bt EXPORT korvo_bt-targets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(TARGET korvo_platform)
    install(TARGETS korvo_platform EXPORT korvo_bt-targets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
install(FILES ${PROJECT_SOURCE_DIR}/include/korvo_bt.h ${PROJECT_SOURCE_DIR}/include/korvo_bt_conventions.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# Compilers search /usr by themselves. Elsewhere the prefix is derived from where the file lies, so that
# `cmake --install --prefix` needs no other file, and the linker has to find the platform layer beside the library.
if(CMAKE_INSTALL_PREFIX STREQUAL /usr)
    set(KORVO_PC_PREFIX /usr)
else()
    cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig
        OUTPUT_VARIABLE to_prefix)
    set(KORVO_PC_PREFIX "\${pcfiledir}/${to_prefix}")
    set(KORVO_PC_LIBS "-L\${libdir} -Wl,-rpath-link,\${libdir} ")
    set(KORVO_PC_CFLAGS "-I\${includedir}")
endif()
cmake_path(APPEND KORVO_PC_LIBDIR "\${prefix}" ${CMAKE_INSTALL_LIBDIR})
cmake_path(APPEND KORVO_PC_INCLUDEDIR "\${prefix}" ${CMAKE_INSTALL_INCLUDEDIR})
configure_file(${PROJECT_SOURCE_DIR}/cmake/korvo_bt.pc.in ${PROJECT_BINARY_DIR}/korvo_bt.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/korvo_bt.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(EXPORT korvo_bt-targets NAMESPACE Korvo:: DESTINATION ${KORVO_CMAKE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/korvo_bt-config.cmake.in
    ${PROJECT_BINARY_DIR}/korvo_bt-config.cmake INSTALL_DESTINATION ${KORVO_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/korvo_bt-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/korvo_bt-config.cmake ${PROJECT_BINARY_DIR}/korvo_bt-config-version.cmake
    DESTINATION ${KORVO_CMAKE_DIR})

if(KORVO_BUILD_TOOL)
    install(TARGETS tqctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    install(FILES ${PROJECT_SOURCE_DIR}/tools/tqctl/share/tqctl.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
    install(FILES ${PROJECT_SOURCE_DIR}/tools/tqctl/share/tqctl.bash
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME tqctl)
endif()

if(TARGET tqfetchd)
    set(share ${PROJECT_SOURCE_DIR}/daemons/fetch/share)
    configure_file(${share}/tqfetchd.service ${PROJECT_BINARY_DIR}/tqfetchd.service @ONLY)
    install(TARGETS tqfetchd RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    install(FILES ${share}/tqfetchd.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
    install(FILES ${PROJECT_BINARY_DIR}/tqfetchd.service DESTINATION lib/systemd/system)
    install(FILES ${share}/sysusers DESTINATION lib/sysusers.d RENAME tqfetchd.conf)
    install(FILES ${share}/tmpfiles DESTINATION lib/tmpfiles.d RENAME tqfetchd.conf)
endif()

if(KORVO_BUILD_REFERENCE)
    install(DIRECTORY ${PROJECT_BINARY_DIR}/reference/man/ DESTINATION ${CMAKE_INSTALL_MANDIR})
    install(DIRECTORY ${PROJECT_BINARY_DIR}/reference/html DESTINATION ${KORVO_DOC_DIR})
endif()

install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/SECURITY.md DESTINATION ${KORVO_DOC_DIR})
# Beside the other documents, where packaging tools do not take it for the package's own change log.
install(FILES ${PROJECT_SOURCE_DIR}/CHANGELOG.md DESTINATION ${KORVO_DOC_DIR}/docs)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs ${PROJECT_SOURCE_DIR}/examples DESTINATION ${KORVO_DOC_DIR}
    FILES_MATCHING PATTERN *.md PATTERN *.c PATTERN torrentd EXCLUDE)
