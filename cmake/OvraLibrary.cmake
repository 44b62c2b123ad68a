# How libovrafocus.so is compiled and linked.
#
# -Bsymbolic-functions: a host's own itoa or read_file does not replace the library's inside the library.
# -z now, -z relro: unresolved board functions show when the library is loaded, not in the middle of a run.
# The board's libraries are resolved in the host's process, so the link leaves their functions undefined.
set_target_properties(ovrafocus PROPERTIES
  C_VISIBILITY_PRESET hidden CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
target_compile_definitions(ovrafocus PRIVATE _GNU_SOURCE)
target_compile_options(ovrafocus PRIVATE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -ffp-contract=off)
if(OVRA_WERROR)
  target_compile_options(ovrafocus PRIVATE -Werror)
endif()
target_include_directories(ovrafocus
  PUBLIC "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>"
  PRIVATE "${PROJECT_SOURCE_DIR}")
target_link_options(ovrafocus PRIVATE -Wl,-Bsymbolic-functions -Wl,-z,now -Wl,-z,relro
  "-Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/ovrafocus.map")
set_target_properties(ovrafocus PROPERTIES LINK_DEPENDS "${PROJECT_SOURCE_DIR}/cmake/ovrafocus.map")
target_link_libraries(ovrafocus PUBLIC Threads::Threads m)
