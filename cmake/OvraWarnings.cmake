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
