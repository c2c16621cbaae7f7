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

# A large frame touches each page of the stack, so that it cannot skip the guard below. Not every
# compiler can do that for every processor.
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag("-Werror -fstack-clash-protection" HAS_STACK_CLASH_PROTECTION)
target_compile_options(product_options INTERFACE
  $<$<BOOL:${HAS_STACK_CLASH_PROTECTION}>:-fstack-clash-protection>)

# The C++ library checks positions, and a wrong one ends the run instead of reading elsewhere. With
# the checks GNU's library is compiled in and not linked, so nothing of it comes along unasked; in
# the tests, too, or the linker would look for parts of it in the product's libraries.
add_compile_definitions(_GLIBCXX_ASSERTIONS)

# The fortified C library works only in optimised code, and some compilers define it by themselves.
target_compile_options(product_options INTERFACE
  $<$<CONFIG:Release>:-U_FORTIFY_SOURCE> $<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2>)

# For the programs.
add_library(product_link_options INTERFACE)
set(linux ${PROJECT_SOURCE_DIR}/platform/linux)
if(PORTABLE)
  target_sources(product_link_options INTERFACE ${linux}/FirstMemory.cpp ${linux}/Portable.cpp)
  add_library(library_functions STATIC ${linux}/LibraryFunctions.cpp)
  target_include_directories(library_functions PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(library_functions PRIVATE product_options)
  target_compile_options(library_functions PRIVATE -fno-builtin -fno-stack-protector)
  target_link_libraries(product_link_options INTERFACE library_functions)
elseif(CMAKE_SYSTEM_NAME STREQUAL Linux)
  target_sources(product_link_options INTERFACE ${linux}/WithoutExceptions.cpp)
endif()
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

# Address and undefined-behaviour checks, for the product and its tests alike. The check of virtual
# calls needs type information, which the product does without, and a descriptor of its own, which
# a test takes away.
set(CMAKE_CXX_FLAGS_SANITIZE "-O1 -g -fsanitize=address,undefined -fno-sanitize=vptr \
-fno-sanitize-recover=all -fno-omit-frame-pointer")
set(CMAKE_EXE_LINKER_FLAGS_SANITIZE "-fsanitize=address,undefined")

# The same, for libFuzzer to follow where an input leads.
set(CMAKE_CXX_FLAGS_FUZZ
    "-O2 -g -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all \
-fno-omit-frame-pointer")
set(CMAKE_EXE_LINKER_FLAGS_FUZZ "-fsanitize=address,undefined")

# What the tests reach, counted by gcc; see Coverage.cpp.
set(CMAKE_CXX_FLAGS_COVERAGE "-O0 -g --coverage")
set(CMAKE_EXE_LINKER_FLAGS_COVERAGE "--coverage -Wl,--wrap=_exit,--undefined=__wrap__exit")
if(CMAKE_BUILD_TYPE STREQUAL "Coverage")
  add_library(coverage STATIC cmake/Coverage.cpp)
  target_link_libraries(product_options INTERFACE coverage)
endif()
