# Packages that only programs of other people's event loops need. The board has none of them, and a computer that lacks
# one builds all the rest.

# ovra_event_loop(OUT PACKAGE MODULE...): the imported target of pkg-config's modules in OUT; OUT-NOTFOUND without them.
# Where everything is wanted, a test says which package is missing.
function(ovra_event_loop out package)
  find_package(PkgConfig QUIET)
  set(${out} "${out}-NOTFOUND" PARENT_SCOPE)
  if(PkgConfig_FOUND)
    pkg_check_modules(${out} QUIET IMPORTED_TARGET ${ARGN})
  endif()
  if(${out}_FOUND)
    set(${out} PkgConfig::${out} PARENT_SCOPE)
  else()
    ovra_missing_package(${package})
  endif()
endfunction()

function(ovra_missing_package package)
  message(STATUS "${package} not found: not all event loops are tested")
  file(RELATIVE_PATH folder "${PROJECT_SOURCE_DIR}/tests" "${CMAKE_CURRENT_SOURCE_DIR}")
  if(OVRA_REQUIRE_ALL)
    add_test(NAME ${folder}.needs_${package} COMMAND "${CMAKE_COMMAND}" -E cat "the package ${package}")
  endif()
endfunction()

# ovra_python(OUT): Python's interpreter in OUT, itself and not a script that starts it; OUT-NOTFOUND without one.
function(ovra_python out)
  set(${out} "${out}-NOTFOUND" PARENT_SCOPE)
  find_package(Python3 QUIET COMPONENTS Interpreter)
  if(Python3_FOUND)
    execute_process(COMMAND "${Python3_EXECUTABLE}" -c "import sys; print(sys.executable, end='')"
      OUTPUT_VARIABLE interpreter)
    set(${out} "${interpreter}" PARENT_SCOPE)
  else()
    ovra_missing_package(python3)
  endif()
endfunction()

# ovra_host_links(TARGET LIBRARY...): what a host program is linked with. It takes the board's functions from the board.
function(ovra_host_links target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
  if(OVRA_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  target_link_libraries(${target} PRIVATE ovrafocus ${ARGN})
  target_link_options(${target} PRIVATE -Wl,--unresolved-symbols=ignore-in-shared-libs)
endfunction()
