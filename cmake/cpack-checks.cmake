# Read by cpack before it builds each package (CPACK_PROJECT_CONFIG_FILE):
# refuses a Debian package that would come out incomplete or mislabelled.
if(CPACK_GENERATOR STREQUAL "DEB")
  if(NOT CPACK_KESTRAND_CHANGELOG_VERSION STREQUAL CPACK_PACKAGE_VERSION)
    message(FATAL_ERROR "packaging/debian/changelog is at version ${CPACK_KESTRAND_CHANGELOG_VERSION}, "
      "the project at ${CPACK_PACKAGE_VERSION}: add an entry for ${CPACK_PACKAGE_VERSION}")
  endif()
  if(NOT CPACK_KESTRAND_GZIP)
    message(FATAL_ERROR "gzip was not found when the build was configured: the package would lack its "
      "compressed manual page and changelogs")
  endif()
  # Without these CPack would quietly make a package with no dependencies.
  find_program(KESTRAND_SHLIBDEPS dpkg-shlibdeps)
  find_program(KESTRAND_FILE file)
  if(NOT KESTRAND_SHLIBDEPS OR NOT KESTRAND_FILE)
    message(FATAL_ERROR "the Debian package needs dpkg-shlibdeps and file: "
      "apt-get install dpkg-dev file (or bash scripts/install-deps.sh --package)")
  endif()
endif()
