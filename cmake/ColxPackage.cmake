# `cpack -G DEB` makes one Debian package of what `cmake --install` copies. The library's
# unversioned name is in it, as hosts load the library by that name. The library keeps its local
# symbols: a profile names each kernel by them.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME colx)
set(CPACK_PACKAGE_VENDOR colx)
set(CPACK_PACKAGE_CONTACT "The colx developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Vector kernels for a columnar in-memory store")
set(CPACK_PACKAGE_DESCRIPTION
  "Kernels for x86-64 processors with SSE4.2 and POPCNT that database engines load or link:
predicates on compressed column vectors, decoding, joins, grouping and sums. With the public header,
the host toolkit's headers and archive, and what CMake and pkg-config find them by.")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/package)
set(CPACK_STRIP_FILES OFF)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# The version of the exported record: 19.1-1.
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
# Dependencies are read from the files, by dpkg-dev.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

include(CPack)
