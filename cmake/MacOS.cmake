# What only macOS needs: a property list inside each program.

# embed_info_plist(TARGET)
#
# A program that is not a bundle has its Info.plist in a section of its own. Without the
# NSAppleEventsUsageDescription there, the system rejects Apple events without asking the user. When
# the list changes, the program is linked again. Without CMAKE_OSX_DEPLOYMENT_TARGET the build is
# for this machine's system, and the list names no oldest system; packaging/macos/verify rejects
# that.
function(embed_info_plist target)
  set(plist ${CMAKE_CURRENT_BINARY_DIR}/Info.plist)
  configure_file(${PROJECT_SOURCE_DIR}/packaging/macos/Info.plist.in ${plist} @ONLY)
  target_link_options(${target} PRIVATE "-Wl,-sectcreate,__TEXT,__info_plist,${plist}")
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${plist})
endfunction()
