# Toolchain of the preset portable: static programs, which run on every Linux with this machine's
# processor, or with the one that PortableAMD64.cmake or PortableARM64.cmake sets. They are built by
# clang and lld with musl and libc++'s headers, all from Debian's packages, which script/lib.sh
# installs (install_portable_tools).
set(PORTABLE ON)
set(CMAKE_SYSTEM_NAME Linux)
if(NOT CMAKE_SYSTEM_PROCESSOR)
  set(CMAKE_SYSTEM_PROCESSOR ${CMAKE_HOST_SYSTEM_PROCESSOR})
endif()
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_CXX_COMPILER_TARGET ${CMAKE_SYSTEM_PROCESSOR}-linux-musl)

# Where musl is. For another processor it is unpacked into the build folder.
set(musl ${CMAKE_SYSTEM_PROCESSOR}-linux-musl)
set(root "")
if(NOT EXISTS /usr/lib/${musl})
  set(root ${CMAKE_CURRENT_LIST_DIR}/../build/${musl})
endif()
# The newest of several versions; natural order makes 14 newer than 9.
file(GLOB libcxx /usr/lib/llvm-*/include/c++/v1)
file(GLOB libgcc /usr/lib/gcc*/${CMAKE_SYSTEM_PROCESSOR}-linux-gnu/*/libgcc.a)
list(SORT libcxx COMPARE NATURAL)
list(SORT libgcc COMPARE NATURAL)
if(NOT EXISTS ${root}/usr/lib/${musl} OR NOT libcxx OR NOT libgcc)
  message(FATAL_ERROR "musl, libc++ or libgcc is missing; script/test PRESET installs them.")
endif()
list(GET libcxx -1 libcxx)
list(GET libgcc -1 libgcc)

# libc++ is used from its headers only, with its checks of positions, like GNU's library elsewhere.
string(JOIN " " CMAKE_CXX_FLAGS_INIT
  -nostdlibinc -isystem ${libcxx} -isystem ${root}/usr/include/${musl}
  -D_LIBCPP_HAS_MUSL_LIBC -D_LIBCPP_DISABLE_EXTERN_TEMPLATE -D_LIBCPP_DEBUG=0)
# musl's start files relocate the program when it starts.
set(objects ${root}/usr/lib/${musl})
string(JOIN " " CMAKE_EXE_LINKER_FLAGS_INIT
  -fuse-ld=lld -static-pie -nostdlib -Wno-unused-command-line-argument
  ${objects}/rcrt1.o ${objects}/crti.o)
set(CMAKE_CXX_STANDARD_LIBRARIES "${objects}/libc.a ${libgcc} ${objects}/crtn.o")
