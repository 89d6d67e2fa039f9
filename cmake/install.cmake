# Installation and packages of the tool.
#
#   cmake --install build [--prefix DIR]   kestrand in DIR/sbin (default
#                                           /usr/local), kestrand(8), README,
#                                           license and changes
#   cmake --build build --target package   Linux: build/kestrand_<version>-<revision>_<arch>.deb
#                                           Windows cross-build: build-windows/kestrand-<version>-win64.zip
#   cmake --build build --target package_source   build/kestrand-<version>-Source.tar.xz
#
# The Debian package needs dpkg-dev (dpkg-shlibdeps computes its dependencies)
# and file (which tells CPack which files are ELF binaries); the Windows zip
# needs groff to render the manual page as text.
include(GNUInstallDirs)

set(KESTRAND_MAN_PAGE ${CMAKE_SOURCE_DIR}/doc/kestrand.8)
set(KESTRAND_DEBIAN_DIR ${CMAKE_SOURCE_DIR}/packaging/debian)
set(KESTRAND_PACKAGE_DIR ${CMAKE_BINARY_DIR}/packaging)
file(MAKE_DIRECTORY ${KESTRAND_PACKAGE_DIR})

set(CPACK_PACKAGE_NAME kestrand)
set(CPACK_PACKAGE_VENDOR "Kestrand developers")
set(CPACK_PACKAGE_CONTACT "Kestrand developers <kestrand@example.org>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "read-only diagnostics of disks and their LDM databases")
set(CPACK_PACKAGE_DESCRIPTION [=[
kestrand inventories the disks of the host and examines the database that
dynamic disks keep at their end (the LDM database: private header, table of
contents, config database and its records). It prints, for every disk, its
geometry, partition layout (MBR, GPT or none) and every copy of every LDM
structure, and tells where the copies disagree; it ends with the dynamic
volumes of each disk pack.

With -a it also writes an XML report with consistency tests of every LDM
database, the merged structure of all dynamic disks and the choice of the
primary pack. With -l it examines a saved 1 MB LDM database file instead of
the live disks.

It never writes to a disk: the only file it opens for writing is its report.
]=])
set(CPACK_STRIP_FILES ON)
set(KESTRAND_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS ${KESTRAND_DIRECTORY_PERMISSIONS})
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS ${KESTRAND_DIRECTORY_PERMISSIONS})
set(CPACK_SOURCE_GENERATOR TXZ)
set(CPACK_SOURCE_IGNORE_FILES "/\\\\.git$" "/\\\\.git/" "/build[^/]*/" "/kestrandanalysis\\\\.xml$")
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_SOURCE_DIR}/cmake/cpack-checks.cmake)

# Compresses SOURCE into OUTPUT (in the build tree) with gzip -9n, which
# leaves out the name and the time stamp: the same bytes on every build.
find_program(KESTRAND_GZIP gzip)
function(kestrand_gzip source output)
  get_filename_component(stem ${output} NAME_WLE)
  add_custom_command(OUTPUT ${output}
    COMMAND ${CMAKE_COMMAND} -E copy ${source} ${KESTRAND_PACKAGE_DIR}/${stem}
    COMMAND ${KESTRAND_GZIP} -9nf ${KESTRAND_PACKAGE_DIR}/${stem}
    DEPENDS ${source}
    VERBATIM)
endfunction()

if(WIN32)
  # One folder in the zip: the program, the README, the license and the
  # manual page as plain text.
  set(CPACK_GENERATOR ZIP)
  install(TARGETS kestrand RUNTIME DESTINATION .)
  install(FILES README.md DESTINATION .)
  install(FILES LICENSE DESTINATION . RENAME LICENSE.txt)
  install(FILES CHANGELOG DESTINATION . RENAME CHANGELOG.txt)
  find_program(KESTRAND_GROFF groff)
  if(KESTRAND_GROFF)
    set(text ${KESTRAND_PACKAGE_DIR}/kestrand.8.txt)
    add_custom_command(OUTPUT ${text}
      COMMAND ${KESTRAND_GROFF} -man -Tascii -P-c -P-b -P-u ${KESTRAND_MAN_PAGE} > ${text}
      DEPENDS ${KESTRAND_MAN_PAGE}
      VERBATIM)
    add_custom_target(kestrand_manual ALL DEPENDS ${text})
    install(FILES ${text} DESTINATION .)
  else()
    message(WARNING "groff not found: the Windows zip will hold the manual page as roff source (kestrand.8)")
    install(FILES ${KESTRAND_MAN_PAGE} DESTINATION .)
  endif()
  include(CPack)
  return()
endif()

install(TARGETS kestrand RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR})
if(CMAKE_STRIP)
  # A stripped install (--strip, and every package) also drops the compiler's
  # .comment and .note sections, as Debian's own packages do.
  set(installed "\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_SBINDIR}/kestrand")
  if(IS_ABSOLUTE "${CMAKE_INSTALL_SBINDIR}")
    set(installed "${CMAKE_INSTALL_SBINDIR}/kestrand")
  endif()
  install(CODE "
    if(CMAKE_INSTALL_DO_STRIP)
      execute_process(COMMAND \"${CMAKE_STRIP}\" --remove-section=.comment --remove-section=.note
        \"\$ENV{DESTDIR}${installed}\" COMMAND_ERROR_IS_FATAL ANY)
    endif()")
endif()
install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})

# The Debian changelog gives the package's revision; its upstream version must
# be the project's (cpack-checks.cmake refuses a package where it is not).
file(STRINGS ${KESTRAND_DEBIAN_DIR}/changelog top LIMIT_COUNT 1)
if(NOT top MATCHES "^kestrand \\(([^)-]+)-([^)]+)\\)")
  message(FATAL_ERROR "${KESTRAND_DEBIAN_DIR}/changelog: the first line names no version: ${top}")
endif()
set(CPACK_KESTRAND_CHANGELOG_VERSION ${CMAKE_MATCH_1})
set(CPACK_KESTRAND_GZIP ${KESTRAND_GZIP})
set(CPACK_DEBIAN_PACKAGE_RELEASE ${CMAKE_MATCH_2})

# The license in the machine-readable copyright format: its text from
# LICENSE, each line indented by a blank and blank lines written as ".".
file(READ ${CMAKE_SOURCE_DIR}/LICENSE license)
string(FIND "${license}" "Permission is hereby granted" start)
string(SUBSTRING "${license}" ${start} -1 license)
string(STRIP "${license}" license)
string(REPLACE "\n\n" "\n.\n" license "${license}")
string(REPLACE "\n" "\n " KESTRAND_LICENSE_BODY " ${license}")
configure_file(${KESTRAND_DEBIAN_DIR}/copyright.in ${KESTRAND_PACKAGE_DIR}/copyright @ONLY)

if(KESTRAND_GZIP)
  kestrand_gzip(${KESTRAND_MAN_PAGE} ${KESTRAND_PACKAGE_DIR}/kestrand.8.gz)
  kestrand_gzip(${CMAKE_SOURCE_DIR}/CHANGELOG ${KESTRAND_PACKAGE_DIR}/changelog.gz)
  kestrand_gzip(${KESTRAND_DEBIAN_DIR}/changelog ${KESTRAND_PACKAGE_DIR}/changelog.Debian.gz)
  add_custom_target(kestrand_documents ALL DEPENDS
    ${KESTRAND_PACKAGE_DIR}/kestrand.8.gz ${KESTRAND_PACKAGE_DIR}/changelog.gz
    ${KESTRAND_PACKAGE_DIR}/changelog.Debian.gz)
  install(FILES ${KESTRAND_PACKAGE_DIR}/kestrand.8.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man8)
  install(FILES ${KESTRAND_PACKAGE_DIR}/changelog.gz DESTINATION ${CMAKE_INSTALL_DOCDIR})
  # The Debian package's own files: only the package has them.
  install(FILES ${KESTRAND_PACKAGE_DIR}/copyright ${KESTRAND_PACKAGE_DIR}/changelog.Debian.gz
    DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT deb EXCLUDE_FROM_ALL)
else()
  message(STATUS "gzip not found: the manual page and the changes are installed uncompressed")
  install(FILES ${KESTRAND_MAN_PAGE} DESTINATION ${CMAKE_INSTALL_MANDIR}/man8)
  install(FILES CHANGELOG DESTINATION ${CMAKE_INSTALL_DOCDIR})
endif()
# Debian wants the license in the copyright file alone.
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT license)

set(CPACK_GENERATOR DEB)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
set(CPACK_COMPONENTS_ALL Unspecified deb)
include(CPack)
