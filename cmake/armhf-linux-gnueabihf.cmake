# Cross build for the phone: Debian's armhf (32-bit ARMv7, hard float) with
# Debian's cross compilers and the multiarch libraries of the armhf build
# root (scripts/armhf-root.sh), or of any system with the armhf -dev
# packages installed.
#
#   cmake -S . -B build/armhf -DCMAKE_TOOLCHAIN_FILE=cmake/armhf-linux-gnueabihf.cmake
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
# Finds the armhf .pc files, and only those.
set(PKG_CONFIG_EXECUTABLE arm-linux-gnueabihf-pkg-config CACHE FILEPATH "pkg-config for armhf")

# Tests, and the build steps that run what was built, go through the
# emulator; the programs they start reach it through binfmt_misc.
find_program(PD_QEMU_ARM NAMES qemu-arm-static qemu-arm)
if(PD_QEMU_ARM)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${PD_QEMU_ARM})
endif()
