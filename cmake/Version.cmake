# What `--version` prints: the project's version and the commit it was built from.
#
#   ovra_use_version(TARGET)   TARGET may include "ovra_version.h":
#
#       #define OVRA_VERSION "0.1.0"
#       #define OVRA_COMMIT "29d69e93c1"    "-dirty" after it where the tree was changed; "unknown" outside of git
#
# The commit is asked for at every build; what includes the header is compiled again only when it is another one.
# Whoever builds from a bare tree can say the commit: -D OVRA_COMMIT=29d69e93c1.

# --- At build time: cmake -D SOURCE=... -D VERSION=... -D COMMIT=... -D HEADER=... -P Version.cmake -------
if(CMAKE_SCRIPT_MODE_FILE STREQUAL CMAKE_CURRENT_LIST_FILE)
  if(NOT COMMIT)
    set(COMMIT "unknown")
    find_program(git git)
    # Unpacked within the repository of something else, this tree is not a commit of that.
    if(git)
      execute_process(COMMAND "${git}" -C "${SOURCE}" rev-parse --show-prefix
        OUTPUT_VARIABLE prefix OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE failure ERROR_QUIET)
      if(NOT failure AND prefix STREQUAL "")
        execute_process(COMMAND "${git}" -C "${SOURCE}" describe --always --dirty --abbrev=10 --exclude=*
          OUTPUT_VARIABLE described OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE failure ERROR_QUIET)
        if(NOT failure)
          set(COMMIT "${described}")
        endif()
      endif()
    endif()
  endif()
  set(text "#define OVRA_VERSION \"${VERSION}\"\n#define OVRA_COMMIT \"${COMMIT}\"\n")
  if(EXISTS "${HEADER}")
    file(READ "${HEADER}" present)
  endif()
  if(NOT text STREQUAL "${present}")
    file(WRITE "${HEADER}" "${text}")
  endif()
  return()
endif()

# --- At configuration --------------------------------------------------------------------------------------
set(OVRA_COMMIT "" CACHE STRING "The commit that --version prints; empty: git is asked")
set(ovra_version_folder "${PROJECT_BINARY_DIR}/version")
add_custom_target(ovra_version
  COMMAND "${CMAKE_COMMAND}" -D "SOURCE=${PROJECT_SOURCE_DIR}" -D "VERSION=${PROJECT_VERSION}"
          -D "COMMIT=${OVRA_COMMIT}" -D "HEADER=${ovra_version_folder}/ovra_version.h"
          -P "${CMAKE_CURRENT_LIST_FILE}"
  BYPRODUCTS "${ovra_version_folder}/ovra_version.h" VERBATIM COMMENT "")

function(ovra_use_version target)
  target_include_directories(${target} PRIVATE "${ovra_version_folder}")
  add_dependencies(${target} ovra_version)
endfunction()
