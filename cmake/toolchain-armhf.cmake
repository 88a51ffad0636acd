# Cross build for the unit: 32-bit ARMv7, hard float (Debian's armhf), with
# Debian's cross compiler and a sysroot made by tools/armhf-sysroot.
#   cmake -S . -B build-armhf -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-armhf.cmake \
#         -DSONARBENCH_ARMHF_ROOT=<folder made by tools/armhf-sysroot> \
#         -DSONARBENCH_HOST_VUNIT=<native build>/sim/vunit
# tools/build-armhf does all of this.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

# The compiler's defaults are Debian's armhf baseline (armv7-a, vfpv3-d16,
# hard float, Thumb-2), the same the sysroot's Qt was built for.
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

if(NOT SONARBENCH_ARMHF_ROOT)
  if(DEFINED ENV{SONARBENCH_ARMHF_ROOT})
    set(SONARBENCH_ARMHF_ROOT "$ENV{SONARBENCH_ARMHF_ROOT}")
  else()
    get_filename_component(SONARBENCH_ARMHF_ROOT "${CMAKE_CURRENT_LIST_DIR}/../build-armhf-root" ABSOLUTE)
  endif()
endif()
set(SONARBENCH_ARMHF_ROOT "${SONARBENCH_ARMHF_ROOT}" CACHE PATH "Folder made by tools/armhf-sysroot")
# try_compile projects read this file too and need the same folder.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES SONARBENCH_ARMHF_ROOT)

set(sonarbench_sysroot "${SONARBENCH_ARMHF_ROOT}/sysroot")
if(NOT EXISTS "${sonarbench_sysroot}/usr/lib/arm-linux-gnueabihf/libQt5Core.so")
  message(FATAL_ERROR "No armhf sysroot in ${SONARBENCH_ARMHF_ROOT}: run tools/armhf-sysroot first")
endif()

# The compiler brings its own C library; Qt, GoogleTest and their
# dependencies come from the sysroot, which stays a plain search root.
set(CMAKE_FIND_ROOT_PATH "${sonarbench_sysroot}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT
      "-Wl,-rpath-link,${sonarbench_sysroot}/usr/lib/arm-linux-gnueabihf:${sonarbench_sysroot}/lib/arm-linux-gnueabihf")
endforeach()

# Tests run under the backports qemu (never bookworm's 7.2), through a
# wrapper that refuses to start outside a PID namespace of its own.
get_filename_component(sonarbench_emulator "${CMAKE_CURRENT_LIST_DIR}/../tools/armhf-emulator" ABSOLUTE)
set(CMAKE_CROSSCOMPILING_EMULATOR
    "${sonarbench_emulator};${SONARBENCH_ARMHF_ROOT}/qemu/qemu-arm;${sonarbench_sysroot}")
