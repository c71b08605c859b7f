# 32-bit ARM with hardware floating point, built by Debian's cross compiler and run by qemu.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
# Debian installs foreign libraries beside the native ones, under the same root.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /)
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/arm-linux-gnueabihf/pkgconfig:/usr/share/pkgconfig)
# Silences GCC's notes on the calling convention, which changed in GCC 7.1.
add_compile_options(-Wno-psabi)
