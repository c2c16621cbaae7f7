# What only macOS asks of the product: a property list inside each program.

# embed_info_plist(TARGET)
#
# A program that is no bundle carries its Info.plist in a section of its own. Without the
# NSAppleEventsUsageDescription in it the system refuses Apple events, and asks nobody. A changed
# list links the program anew. A build for this machine's system alone, without
# CMAKE_OSX_DEPLOYMENT_TARGET, leaves the oldest system empty; packaging/macos/verify rejects it.
function(embed_info_plist target)
  set(plist ${CMAKE_CURRENT_BINARY_DIR}/Info.plist)
  configure_file(${PROJECT_SOURCE_DIR}/packaging/macos/Info.plist.in ${plist} @ONLY)
  target_link_options(${target} PRIVATE "-Wl,-sectcreate,__TEXT,__info_plist,${plist}")
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${plist})
endfunction()
