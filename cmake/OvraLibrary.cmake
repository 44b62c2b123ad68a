# How libovrafocus.so is compiled and linked.
#
# -Bsymbolic-functions: a host's own itoa or read_file does not replace the library's inside the library.
# -z now, -z relro: unresolved board functions show when the library is loaded, not in the middle of a run.
# -ffunction-sections, --gc-sections: pieces of templates that nothing came to need are left out.
# -fno-exceptions: nothing here is thrown or passed on, and the C library's functions do not throw; what would
# be for it takes a fiftieth of the board's code. Two rooms ask for memory by a standard container and must hear
# when there is none.
# -fno-math-errno: a square root is an instruction; nobody reads errno after one.
# The board's libraries are resolved in the host's process, so the link leaves their functions undefined.
set_target_properties(ovrafocus PROPERTIES
  C_VISIBILITY_PRESET hidden CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
target_compile_definitions(ovrafocus PRIVATE _GNU_SOURCE)
target_compile_options(ovrafocus PRIVATE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -ffp-contract=off -fno-math-errno -ffunction-sections
  -fdata-sections
  "$<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions>")
set_source_files_properties("${PROJECT_SOURCE_DIR}/focusctrl/projection_geometry.cpp"
  "${PROJECT_SOURCE_DIR}/focusctrl/autofocus/peak_search.cpp"
  DIRECTORY "${PROJECT_SOURCE_DIR}" TARGET_DIRECTORY ovrafocus PROPERTIES COMPILE_OPTIONS -fexceptions)
if(OVRA_WERROR)
  target_compile_options(ovrafocus PRIVATE -Werror)
endif()
target_include_directories(ovrafocus
  PUBLIC "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>"
  PRIVATE "${PROJECT_SOURCE_DIR}")
target_link_options(ovrafocus PRIVATE -Wl,-Bsymbolic-functions -Wl,-z,now -Wl,-z,relro -Wl,--gc-sections
  "-Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/ovrafocus.map")
set_target_properties(ovrafocus PROPERTIES LINK_DEPENDS "${PROJECT_SOURCE_DIR}/cmake/ovrafocus.map")
target_link_libraries(ovrafocus PUBLIC Threads::Threads m)

# The small library is optimised as a whole, without those optimisations that trade code for little time: what is
# moved out of a loop takes registers, which the function must then save and restore. What is called from everywhere
# stays outside: on MIPS a call within one unit takes an instruction more. The call graph is for the budget of the
# stack.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  set_target_properties(ovrafocus PROPERTIES INTERPROCEDURAL_OPTIMIZATION_MINSIZEREL ON)
  set(small -fno-expensive-optimizations -fno-move-loop-invariants -fno-tree-loop-im
    -fcallgraph-info=su)
  set(small "$<$<CONFIG:MinSizeRel>:${small}>")
  target_compile_options(ovrafocus PRIVATE "${small}")
  target_link_options(ovrafocus PRIVATE "${small}" "$<$<CONFIG:MinSizeRel>:-flto-partition=one>")
  set_property(SOURCE
    "${PROJECT_SOURCE_DIR}/base/log.cpp" "${PROJECT_SOURCE_DIR}/focusctrl/platform_utils.cpp"
    "${PROJECT_SOURCE_DIR}/focusctrl/projection_geometry.cpp"
    TARGET_DIRECTORY ovrafocus APPEND PROPERTY COMPILE_OPTIONS -fno-lto)
endif()
