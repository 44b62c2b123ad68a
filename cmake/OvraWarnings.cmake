# The warnings and code generation that all of the project's own code is held to.
# -ffp-contract=off: every target computes alike, with no fused multiply-add on the ones that have it.
add_library(ovra_options INTERFACE)
target_compile_options(ovra_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -ffp-contract=off)
target_include_directories(ovra_options INTERFACE
  "${PROJECT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/include")

option(OVRA_WERROR "Treat warnings as errors" OFF)
if(OVRA_WERROR)
  target_compile_options(ovra_options INTERFACE -Werror)
endif()

option(OVRA_ASAN "Build with AddressSanitizer and UndefinedBehaviorSanitizer" OFF)
if(OVRA_ASAN)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

option(OVRA_TSAN "Build with ThreadSanitizer" OFF)
if(OVRA_TSAN)
  add_compile_options(-fsanitize=thread)
  add_link_options(-fsanitize=thread)
endif()

option(OVRA_COVERAGE "Build with coverage counters" OFF)
if(OVRA_COVERAGE)
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()

# Debuggers find the sources by their paths, so only what is handed out does without them: a stripped program keeps
# an identity that is computed from all that was linked, paths too.
option(OVRA_MAP_PATHS "Compile and link the same bytes in every folder" OFF)
if(OVRA_MAP_PATHS)
  add_compile_options("-ffile-prefix-map=${PROJECT_SOURCE_DIR}=." "-ffile-prefix-map=${PROJECT_BINARY_DIR}=build")
endif()
