# Builds for macOS on Linux, for script/check-macos-build; never for a release. The compiler is
# clang with macOS's C headers; the linker is LLVM's, with the symbol lists of the system's
# libraries. MACOS_CROSS_TARGET is the target, such as x86_64-macos.10.11, and MACOS_CROSS_COMPILER
# the compiler's directory.
set(CMAKE_SYSTEM_NAME Darwin)
string(REGEX MATCH "^[^-]+" CMAKE_SYSTEM_PROCESSOR "${MACOS_CROSS_TARGET}")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MACOS_CROSS_TARGET MACOS_CROSS_COMPILER)

# Set here because CMake's own detection links a program, for which this compiler would first build
# a C++ library.
set(CMAKE_CXX_COMPILER ${MACOS_CROSS_COMPILER}/zig c++)
set(CMAKE_CXX_COMPILER_ID_RUN TRUE)
set(CMAKE_CXX_COMPILER_ID Clang)
set(CMAKE_CXX_COMPILER_VERSION 17.0.3)
set(CMAKE_CXX_COMPILER_FRONTEND_VARIANT GNU)
set(CMAKE_CXX_STANDARD_COMPUTED_DEFAULT 17)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_OSX_SYSROOT "")
set(CMAKE_OSX_DEPLOYMENT_TARGET "")
set(CMAKE_SIZEOF_VOID_P 8)
find_program(CMAKE_AR llvm-ar-14 REQUIRED)
find_program(CMAKE_RANLIB llvm-ranlib-14 REQUIRED)
find_program(CMAKE_INSTALL_NAME_TOOL llvm-install-name-tool-14 REQUIRED)

# The headers say since which version of the system a function exists, the C++ library's only on
# demand.
set(CMAKE_CXX_FLAGS_INIT "-target ${MACOS_CROSS_TARGET} -Wunguarded-availability \
-U_LIBCPP_HAS_NO_VENDOR_AVAILABILITY_ANNOTATIONS -I${CMAKE_CURRENT_LIST_DIR}/include \
-I${CMAKE_CURRENT_LIST_DIR}/../../tests/macos")

# Code for macOS is position-independent anyway, and this compiler accepts -fPIE only when it links.
set(CMAKE_CXX_COMPILE_OBJECT
  "<CMAKE_CXX_COMPILER> <DEFINES> <INCLUDES> <FLAGS> -fno-PIE -o <OBJECT> -c <SOURCE>")

string(REPLACE "-macos." "-apple-macos" triple ${MACOS_CROSS_TARGET})
set(CMAKE_CXX_LINK_EXECUTABLE "clang++-14 -target ${triple} -fuse-ld=lld -stdlib=libc++ \
-L${MACOS_CROSS_COMPILER}/lib/libc/darwin -L${CMAKE_CURRENT_LIST_DIR} -F${CMAKE_CURRENT_LIST_DIR} \
<LINK_FLAGS> <OBJECTS> -o <TARGET> <LINK_LIBRARIES>")
