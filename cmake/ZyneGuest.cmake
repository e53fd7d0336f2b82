# zyne_add_guest(NAME SOURCES ...): builds a guest plug-in the way the host loads
# it: a module linked with the guest-side glue, everything hidden but its own
# ZYNEPluginMain, no undefined symbols left for the loader to guess.
#
# Used by outside authors through find_package(ZyneBridge) and by this project's
# own sample guests, so both build the same way.
function(zyne_add_guest name)
  cmake_parse_arguments(ARG "" "" "SOURCES" ${ARGN})
  if(NOT ARG_SOURCES)
    set(ARG_SOURCES ${ARG_UNPARSED_ARGUMENTS})
  endif()
  add_library(${name} MODULE ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ZyneBridge::guest)
  set_target_properties(${name} PROPERTIES
    PREFIX ""
    C_VISIBILITY_PRESET hidden
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON)
  target_link_options(${name} PRIVATE -Wl,-z,defs -Wl,-Bsymbolic)
  # No unique symbols: they would keep the guest loaded after the host's last dlclose.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${name} PRIVATE -fno-gnu-unique)
  endif()
endfunction()
