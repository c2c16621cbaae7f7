# How the product is compiled and linked. Its libraries take product_options, the tests only the
# warnings, since GoogleTest wants exceptions and type information, which the product does without.

add_library(warnings INTERFACE)
target_compile_options(warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
  -Wcast-align -Wcast-qual -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2 -Wundef
  -Wimplicit-fallthrough -Wvla
  $<$<BOOL:${WARNINGS_AS_ERRORS}>:-Werror>)

add_library(product_options INTERFACE)
target_link_libraries(product_options INTERFACE warnings)
target_compile_options(product_options INTERFACE
  -fno-exceptions -fno-rtti -fvisibility=hidden -fstack-protector-strong
  -ffunction-sections -fdata-sections)

# The C++ library checks positions, and a wrong one ends the run instead of reading elsewhere. With
# the checks GNU's library is compiled in and not linked, so nothing of it comes along unasked.
target_compile_definitions(product_options INTERFACE _GLIBCXX_ASSERTIONS)

# The fortified C library works only in optimised code, and some compilers define it by themselves.
target_compile_options(product_options INTERFACE
  $<$<CONFIG:Release>:-U_FORTIFY_SOURCE> $<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2>)

# For the programs: see Runtime.cpp.
add_library(product_link_options INTERFACE)
target_sources(product_link_options INTERFACE ${PROJECT_SOURCE_DIR}/platform/posix/Runtime.cpp)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
if(APPLE)
  target_link_options(product_link_options INTERFACE -Wl,-dead_strip)
else()
  # No shared C++ runtime: loading it costs more than the rest of the start.
  target_link_options(product_link_options INTERFACE
    $<$<NOT:$<CONFIG:Sanitize>>:-static-libstdc++> $<$<NOT:$<CONFIG:Sanitize>>:-static-libgcc>
    -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,--gc-sections -Wl,--as-needed)
endif()

# Address and undefined-behaviour checks, for the product and its tests alike.
set(CMAKE_CXX_FLAGS_SANITIZE
    "-O1 -g -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer")
set(CMAKE_EXE_LINKER_FLAGS_SANITIZE "-fsanitize=address,undefined")
