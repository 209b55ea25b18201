# Debian packages, made by scripts/package with CPack from the install rules'
# three components:
#   liblumbrelcommon<SOVERSION>  runtime  the shared library
#   liblumbrelcommon-dev         dev      headers, CMake package, pkg-config file
#   lumbrel                      tool     the tool, its manual page and completion
# Versions come from project(); dpkg-shlibdeps computes the dependencies of the
# library and the tool. The -dev package depends on the library of exactly its
# own version.
set(lumbrel_runtime_package liblumbrelcommon${PROJECT_VERSION_MAJOR})

# dpkg-shlibdeps finds the tool's library in a package root of its own beside
# the build, whose DEBIAN/shlibs says which package holds it, as it would find
# a library built in the same source package.
set(lumbrel_shlibs_root ${PROJECT_BINARY_DIR}/shlibs)
file(WRITE ${lumbrel_shlibs_root}/DEBIAN/shlibs
  "liblumbrelcommon ${PROJECT_VERSION_MAJOR} ${lumbrel_runtime_package} (>= ${PROJECT_VERSION})\n")
add_custom_command(TARGET lumbrelcommon POST_BUILD
  COMMAND ${CMAKE_COMMAND} -E copy $<TARGET_FILE:lumbrelcommon>
          ${lumbrel_shlibs_root}/lib/$<TARGET_SONAME_FILE_NAME:lumbrelcommon>)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${lumbrel_shlibs_root}/lib)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME lumbrelcommon)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "lumbrelcommon")
set(CPACK_PACKAGE_CONTACT "lumbrelcommon maintainers <maintainers@lumbrel.invalid>")
set(CPACK_STRIP_FILES ON)
# The first line of each component's description below is its package's
# synopsis. CPack puts the package summary in front of it unless the summary
# is CPack's own default, so the summary is set to that default.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${CMAKE_PROJECT_NAME} built using CMake")
set(CPACK_COMPONENTS_ALL runtime dev tool)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${lumbrel_runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "C++ support library: text, paths, files, stores, threads
Text conversion, paths, files with a lock, three small persistent stores, a
log file, dates, a stopwatch, UUIDs, mutexes, events, threads, run-time
loaded libraries and host queries, in the C++ namespace Lumbrel.")
# A shlibs file (only the runtime package holds a library), so that packages
# built against this one depend on it.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME liblumbrelcommon-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${lumbrel_runtime_package} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEV_DESCRIPTION "C++ support library: text, paths, files, stores, threads (development files)
The headers, the CMake package (find_package(lumbrelcommon)) and the
pkg-config file of lumbrelcommon.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME lumbrel)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOL_DESCRIPTION "tour of lumbrelcommon and tool for the files of its stores
lumbrel walks through the library, and lists, reads and edits its data
files and settings files from the command line.")

include(CPack)
