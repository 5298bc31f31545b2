# SPDX-License-Identifier: LGPL-2.1-or-later
#
# For another processor with Debian's cross compilers; included by the toolchain files, which set
# triplet and emulator.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)

# Tests run under it, if it is installed, on the C library that belongs to the compiler.
find_program(TAVO_EMULATOR NAMES ${emulator} ${emulator}-static)
if(TAVO_EMULATOR)
    set(CMAKE_CROSSCOMPILING_EMULATOR "${TAVO_EMULATOR};-L;/usr/${triplet}")
endif()

# The other processor's libraries where they are installed. Without them the tests can do with this
# computer's libusb, of which they use only the header.
if(EXISTS /usr/lib/${triplet}/pkgconfig)
    set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/${triplet}/pkgconfig:/usr/share/pkgconfig)
endif()
