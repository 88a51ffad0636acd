# The unit's Debian package: `cpack` in a build folder makes
# sonarbench_<version>_<arch>.deb, armhf from the cross build, amd64 natively.
# The factory scripts start ./sonarbench from their own folder, /corvane/Test.
set(SONARBENCH_INSTALL_DIR /corvane/Test CACHE PATH "Where the package puts sonarbench on the unit")
install(TARGETS sonarbench RUNTIME DESTINATION ${SONARBENCH_INSTALL_DIR})
# A PC is a station too: the native package brings sonarstation beside the program.
if(TARGET sonarstation)
  install(TARGETS sonarstation RUNTIME DESTINATION ${SONARBENCH_INSTALL_DIR})
endif()

# The architecture is the one the program was built for, not the host's.
# A cross build without Debian's multiarch names (Yocto, Buildroot) gets
# "unknown", which tools/check-package refuses, unless SONARBENCH_DEB_ARCH is set.
set(SONARBENCH_DEB_ARCH "" CACHE STRING "Debian architecture of the package; empty: found from the compiler")
set(sonarbench_deb_arch "${SONARBENCH_DEB_ARCH}")
if(NOT sonarbench_deb_arch AND CMAKE_LIBRARY_ARCHITECTURE)
  execute_process(COMMAND dpkg-architecture -qDEB_HOST_ARCH -t ${CMAKE_LIBRARY_ARCHITECTURE}
                  OUTPUT_VARIABLE sonarbench_deb_arch OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()
if(NOT sonarbench_deb_arch AND NOT CMAKE_CROSSCOMPILING)
  execute_process(COMMAND dpkg --print-architecture
                  OUTPUT_VARIABLE sonarbench_deb_arch OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()
if(NOT sonarbench_deb_arch)
  set(sonarbench_deb_arch unknown)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME sonarbench)
set(CPACK_PACKAGE_VENDOR "Corvane")
set(CPACK_PACKAGE_CONTACT "sonarbench maintainers <maintainers@users.noreply.c-seed-acf42880.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "production and engineering test program of the sonar units")
set(CPACK_PACKAGE_DESCRIPTION
    "Started by the factory end-of-line scripts as ./sonarbench <command> from ${SONARBENCH_INSTALL_DIR}.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${sonarbench_deb_arch})
set(CPACK_DEBIAN_PACKAGE_SECTION misc)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# Written out rather than found by dpkg-shlibdeps, which cannot look into a
# cross sysroot. The floors are dpkg-shlibdeps' for the amd64 build, with
# libgcc-s1 raised to 3.5 for the ARM unwinder symbols (GCC_3.5).
set(CPACK_DEBIAN_PACKAGE_DEPENDS
    "libqt5core5a (>= 5.15.1), libc6 (>= 2.34), libstdc++6 (>= 5.2), libgcc-s1 (>= 3.5)")
set(CPACK_STRIP_FILES ON)
# The program's own folder is the only one the package brings.
set(CPACK_PACKAGING_INSTALL_PREFIX ${SONARBENCH_INSTALL_DIR})
include(CPack)
