# Toolchain of the preset portable-amd64.
set(CMAKE_SYSTEM_PROCESSOR x86_64)
include(${CMAKE_CURRENT_LIST_DIR}/Portable.cmake)
