# Toolchain of the preset portable-arm64.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/Portable.cmake)
