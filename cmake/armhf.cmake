# 32-bit ARM with hard float, as Debian's armhf. The libraries of that architecture stand in a folder that
# scripts/test --armhf and scripts/package --arch armhf fetch; programs run under an emulator.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(MUX_DEBIAN_ARCHITECTURE armhf)

get_filename_component(sysroot ${CMAKE_CURRENT_LIST_DIR}/../build/armhf-sysroot ABSOLUTE)
set(root ${sysroot}/root)
find_program(MUX_EMULATOR NAMES qemu-arm-static qemu-arm REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${MUX_EMULATOR};-L;${root})

# The emulator finds the libraries by itself, and a path of this build within the programs would make each build another.
set(CMAKE_SKIP_RPATH ON)

# Everything comes from one compiler: how its predecessors passed such arguments is of no concern. It names headers as
# they were found: their real path, which it would take where that is shorter, may lie outside the folder whose name is
# replaced in the debug symbols.
add_compile_options(-Wno-psabi -fno-canonical-system-headers)

# Programs and headers are those of this machine: Debian's cross compiler finds headers of every architecture itself.
list(APPEND CMAKE_FIND_ROOT_PATH ${root})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
# In Debian 12 some libraries stand outside usr/, and linker scripts within it name them without a folder. Libraries have
# libraries of their own, in both.
set(outside ${root}/lib/arm-linux-gnueabihf)
add_link_options(-L${outside} LINKER:-rpath-link,${outside},-rpath-link,${root}/usr/lib/arm-linux-gnueabihf)
# OpenSSL's headers differ between architectures in part.
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES ${root}/usr/include/arm-linux-gnueabihf)
set(ENV{PKG_CONFIG_LIBDIR} ${root}/usr/lib/arm-linux-gnueabihf/pkgconfig)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${root})
