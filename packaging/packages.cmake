# Debian packages, one for each set of files that somebody may want without the others.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME korvo-bt)
set(CPACK_PACKAGE_CONTACT "The maintainers of Korvo BT <korvo-bt@localhost>")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL library development)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)

set(this_version "(= ${PROJECT_VERSION})")
set(runtime libkorvo-bt${PROJECT_VERSION_MAJOR})
set(platform libkorvo-platform${PROJECT_VERSION_MAJOR})

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${runtime})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "state store of a download manager
Download daemons and the programs of a web interface keep in it what they know
about downloads, in one SQLite file.")

# On its own, so that a device can bring its own in its place.
if(TARGET korvo_platform)
    list(APPEND CPACK_COMPONENTS_ALL platform)
    set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS ${platform})
    set(CPACK_DEBIAN_PLATFORM_PACKAGE_NAME ${platform})
    set(CPACK_DEBIAN_PLATFORM_PACKAGE_SECTION libs)
    set(CPACK_DEBIAN_PLATFORM_DESCRIPTION "what a storage device brings along itself, for other machines
Configuration file, server name and alert mail, as the state store of the
download manager uses them.")
endif()

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkorvo-bt-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${runtime} ${this_version}")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "state store of a download manager (for building programs)
Header, links, pkg-config file, CMake package and manual pages.")

if(KORVO_BUILD_TOOL)
    list(APPEND CPACK_COMPONENTS_ALL tool)
    set(CPACK_DEBIAN_TOOL_PACKAGE_NAME tqctl)
    set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION admin)
    set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${runtime} ${this_version}")
    set(CPACK_DEBIAN_TOOL_DESCRIPTION "command line of a download manager's state store
Lists, adds, changes and removes what the download manager knows.")
endif()

# Its service is neither enabled nor started: that needs the store and the rights of its user.
if(TARGET tqfetchd)
    list(APPEND CPACK_COMPONENTS_ALL daemon)
    set(CPACK_DEBIAN_DAEMON_PACKAGE_NAME tqfetchd)
    set(CPACK_DEBIAN_DAEMON_PACKAGE_SECTION net)
    set(CPACK_DEBIAN_DAEMON_PACKAGE_DEPENDS "${runtime} ${this_version}")
    set(CPACK_DEBIAN_DAEMON_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/postinst)
    set(CPACK_DEBIAN_DAEMON_DESCRIPTION "HTTP and FTP download daemon of a download manager
Downloads the tasks in the download manager's state store.")
endif()

include(CPack)
