# How the product is compiled and linked. Its libraries use product_options. The tests use only the
# warnings, because GoogleTest needs exceptions and type information, which the product does
# without.

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

# Makes a large frame touch each page of the stack, so that it cannot skip the guard page. Not every
# compiler can do that for every processor.
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag("-Werror -fstack-clash-protection" HAS_STACK_CLASH_PROTECTION)
target_compile_options(product_options INTERFACE
  $<$<BOOL:${HAS_STACK_CLASH_PROTECTION}>:-fstack-clash-protection>)

# The C++ library checks positions: an invalid one ends the run instead of reading other memory.
# With these checks GNU's library instantiates its templates in our code instead of linking the
# library's own instances. The tests need the same setting, or the linker would look for instances
# in the product's libraries.
add_compile_definitions(_GLIBCXX_ASSERTIONS)

# The fortified C library needs optimised code. Some compilers define the macro by themselves.
target_compile_options(product_options INTERFACE
  $<$<CONFIG:Release>:-U_FORTIFY_SOURCE> $<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2>)

# Link options of the programs.
add_library(product_link_options INTERFACE)
set(linux ${PROJECT_SOURCE_DIR}/platform/linux)
if(PORTABLE)
  target_sources(product_link_options INTERFACE ${linux}/FirstMemory.cpp ${linux}/Portable.cpp)
  add_library(library_functions STATIC ${linux}/LibraryFunctions.cpp)
  target_include_directories(library_functions PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(library_functions PRIVATE product_options)
  target_compile_options(library_functions PRIVATE -O2 -fno-builtin -fno-stack-protector)
  target_link_libraries(product_link_options INTERFACE library_functions)
elseif(CMAKE_SYSTEM_NAME STREQUAL Linux)
  target_sources(product_link_options INTERFACE ${linux}/WithoutExceptions.cpp)
endif()
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
if(APPLE)
  target_link_options(product_link_options INTERFACE -Wl,-dead_strip)
else()
  # No shared C++ runtime: loading it takes longer than the rest of the start.
  target_link_options(product_link_options INTERFACE
    $<$<NOT:$<CONFIG:Sanitize>>:-static-libstdc++> $<$<NOT:$<CONFIG:Sanitize>>:-static-libgcc>
    -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,--gc-sections -Wl,--as-needed)
endif()

# Address and undefined-behaviour sanitizers, for the product and its tests. The check of virtual
# calls is off: it needs type information, which the product does without, and a descriptor, which a
# test makes unavailable.
set(CMAKE_CXX_FLAGS_SANITIZE "-O1 -g -fsanitize=address,undefined -fno-sanitize=vptr \
-fno-sanitize-recover=all -fno-omit-frame-pointer")
set(CMAKE_EXE_LINKER_FLAGS_SANITIZE "-fsanitize=address,undefined")

# The same sanitizers, with the coverage feedback that libFuzzer needs.
set(CMAKE_CXX_FLAGS_FUZZ
    "-O2 -g -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all \
-fno-omit-frame-pointer")
set(CMAKE_EXE_LINKER_FLAGS_FUZZ "-fsanitize=address,undefined")

# Code coverage, counted by gcc; see Coverage.cpp.
set(CMAKE_CXX_FLAGS_COVERAGE "-O0 -g --coverage")
set(CMAKE_EXE_LINKER_FLAGS_COVERAGE "--coverage -Wl,--wrap=_exit,--undefined=__wrap__exit")
if(CMAKE_BUILD_TYPE STREQUAL "Coverage")
  add_library(coverage STATIC cmake/Coverage.cpp)
  target_link_libraries(product_options INTERFACE coverage)
endif()
