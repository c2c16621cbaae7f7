# Tests of the built programs.

add_executable(Quintora_impatient.cgi
  ${PROJECT_SOURCE_DIR}/bridge/main.cpp
  ${PROJECT_SOURCE_DIR}/platform/elsewhere/AppleEvents.cpp)
target_compile_definitions(Quintora_impatient.cgi PRIVATE
  APPLE_EVENT_DEFAULT_TIMEOUT_MILLISECONDS=500)
target_link_libraries(Quintora_impatient.cgi PRIVATE bridge product_options product_link_options)

set(bridge $<TARGET_FILE:Quintora.cgi>)
set(impatient_bridge $<TARGET_FILE:Quintora_impatient.cgi>)
set(doctor $<TARGET_FILE:quintora-doctor>)

# Programs for another processor run under emulation.
if(CMAKE_SYSTEM_PROCESSOR STREQUAL CMAKE_HOST_SYSTEM_PROCESSOR)
  set(is_emulated FALSE)
else()
  set(is_emulated TRUE)
  find_program(EMULATOR qemu-${CMAKE_SYSTEM_PROCESSOR}-static REQUIRED)
  foreach(program bridge impatient_bridge doctor)
    set(emulated ${CMAKE_CURRENT_BINARY_DIR}/emulated_${program})
    add_custom_command(OUTPUT ${emulated}
      COMMAND ${CMAKE_CXX_COMPILER} -DEMULATOR="${EMULATOR}" -DPROGRAM="${${program}}"
        ${CMAKE_CURRENT_SOURCE_DIR}/end_to_end/Emulated.cpp -o ${emulated}
      DEPENDS ${${program}} end_to_end/Emulated.cpp VERBATIM)
    list(APPEND emulated_programs ${emulated})
    set(${program} ${emulated})
  endforeach()
  add_custom_target(emulated ALL DEPENDS ${emulated_programs})
endif()

# As a web server starts them, and under a real web server.
foreach(name run charsets bad_input hostile_servers hostile_clients apache web_servers
    apple_events demo doctor example_server servers versions)
  python_test(end_to_end_${name} end_to_end ${name})
  set_tests_properties(end_to_end_${name} PROPERTIES TIMEOUT 300 ENVIRONMENT
    "QUINTORA_BRIDGE=${bridge};QUINTORA_IMPATIENT_BRIDGE=${impatient_bridge};QUINTORA_DOCTOR=${doctor}")
endforeach()

# What is installed, started from there.
python_test(install packaging install)
set_tests_properties(install PROPERTIES ENVIRONMENT
  "QUINTORA_BRIDGE=${bridge};QUINTORA_BUILD=${PROJECT_BINARY_DIR};QUINTORA_CMAKE=${CMAKE_COMMAND}")

# Under valgrind, for script/test-valgrind.
if(NOT PORTABLE)
  foreach(folder bridge doctor)
    add_executable(${folder}_under_valgrind EXCLUDE_FROM_ALL end_to_end/UnderValgrind.cpp)
    target_compile_definitions(${folder}_under_valgrind PRIVATE PRODUCT_MAIN="${folder}/main.cpp")
    target_link_libraries(${folder}_under_valgrind PRIVATE ${folder} warnings product_link_options)
  endforeach()
endif()

# Calls and memory that fail, on Linux. The instruments of other builds have calls and memory of
# their own.
if(CMAKE_SYSTEM_NAME STREQUAL Linux AND NOT CMAKE_BUILD_TYPE MATCHES "Sanitize|Coverage"
    AND NOT is_emulated)
  add_executable(reasons faults/reasons.cpp)
  target_link_libraries(reasons PRIVATE warnings)
  set(faults_library)
  if(NOT PORTABLE)  # nothing can be loaded into a static program
    add_library(faults MODULE faults/preload.cpp)
    target_link_libraries(faults PRIVATE warnings)
    # The C++ runtime would ask for memory for its exceptions at the start.
    target_compile_options(faults PRIVATE -fno-exceptions)
    target_link_options(faults PRIVATE -static-libstdc++ -static-libgcc)
    set(faults_library $<TARGET_FILE:faults>)
  endif()
  foreach(name system_calls allocations)
    python_test(faults_${name} faults ${name})
    set_tests_properties(faults_${name} PROPERTIES TIMEOUT 900 ENVIRONMENT
      "QUINTORA_BRIDGE=$<TARGET_FILE:Quintora.cgi>;QUINTORA_REASONS=$<TARGET_FILE:reasons>;QUINTORA_FAULTS_LIBRARY=${faults_library}")
  endforeach()
endif()
