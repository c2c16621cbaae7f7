# Toolchain of the preset portable: static programs, which run on every Linux of this machine's
# processor, or of the one that PortableAMD64.cmake or PortableARM64.cmake has chosen. They are made by clang and lld of musl and libc++'s
# headers, all Debian's; script/lib.sh installs them (install_portable_tools).
set(PORTABLE ON)
set(CMAKE_SYSTEM_NAME Linux)
if(NOT CMAKE_SYSTEM_PROCESSOR)
  set(CMAKE_SYSTEM_PROCESSOR ${CMAKE_HOST_SYSTEM_PROCESSOR})
endif()
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_CXX_COMPILER_TARGET ${CMAKE_SYSTEM_PROCESSOR}-linux-musl)

# Where musl is. Another processor's is unpacked in the build folder.
set(musl ${CMAKE_SYSTEM_PROCESSOR}-linux-musl)
set(root "")
if(NOT EXISTS /usr/lib/${musl})
  set(root ${CMAKE_CURRENT_LIST_DIR}/../build/${musl})
endif()
# Of several versions the newest, and version 14 is newer than 9.
file(GLOB libcxx /usr/lib/llvm-*/include/c++/v1)
file(GLOB libgcc /usr/lib/gcc*/${CMAKE_SYSTEM_PROCESSOR}-linux-gnu/*/libgcc.a)
list(SORT libcxx COMPARE NATURAL)
list(SORT libgcc COMPARE NATURAL)
if(NOT EXISTS ${root}/usr/lib/${musl} OR NOT libcxx OR NOT libgcc)
  message(FATAL_ERROR "musl, libc++ or libgcc is missing; script/test PRESET installs them.")
endif()
list(GET libcxx -1 libcxx)
list(GET libgcc -1 libgcc)

# All of libc++ that is used is compiled in, with its checks of positions, as GNU's is elsewhere.
string(JOIN " " CMAKE_CXX_FLAGS_INIT
  -nostdlibinc -isystem ${libcxx} -isystem ${root}/usr/include/${musl}
  -D_LIBCPP_HAS_MUSL_LIBC -D_LIBCPP_DISABLE_EXTERN_TEMPLATE -D_LIBCPP_DEBUG=0)
# Every program has the first objects of musl's, which put its addresses right at the start.
set(objects ${root}/usr/lib/${musl})
string(JOIN " " CMAKE_EXE_LINKER_FLAGS_INIT
  -fuse-ld=lld -static-pie -nostdlib -Wno-unused-command-line-argument
  ${objects}/rcrt1.o ${objects}/crti.o)
set(CMAKE_CXX_STANDARD_LIBRARIES "${objects}/libc.a ${libgcc} ${objects}/crtn.o")
