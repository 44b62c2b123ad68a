# Who may include whom. Run as `cmake -P cmake/IncludeRules.cmake`; every breach is named.
#
#   include/                     itself and the system
#   focusctrl/, tof/             include/, platform/, the library's own rooms
#   platform/                    the system
#   virtual_projector/clock      itself and the standard library
#   virtual_projector/world      itself, the unit of time and the standard library
#   virtual_projector/<other>    the rooms below it, platform/; never the library's internals
#   host/                        include/
#   bench/                       include/, the virtual projector's world and report, its storykit
cmake_minimum_required(VERSION 3.20)
get_filename_component(root "${CMAKE_CURRENT_LIST_DIR}" DIRECTORY)
set(breaches "")

# check(ROOM REGEX): every quoted include below ROOM must match REGEX.
function(check room allowed)
  file(GLOB_RECURSE files "${root}/${room}/*.h" "${root}/${room}/*.cpp" "${root}/${room}/*.c")
  foreach(file IN LISTS files)
    file(STRINGS "${file}" lines REGEX "^[ \t]*#[ \t]*include[ \t]+[\"<]")
    file(RELATIVE_PATH name "${root}" "${file}")
    foreach(line IN LISTS lines)
      string(REGEX MATCH "[\"<]([^\">]+)[\">]" ignored "${line}")
      set(target "${CMAKE_MATCH_1}")
      if(line MATCHES "\"" AND NOT target MATCHES "${allowed}")
        set(breaches "${breaches}${name} includes ${target}\n" PARENT_SCOPE)
        set(breaches "${breaches}${name} includes ${target}\n")
      elseif(line MATCHES "<" AND target MATCHES "^(ovrafocus|focusctrl|tof|virtual_projector|platform|host)/"
             AND NOT target MATCHES "${allowed}")
        set(breaches "${breaches}${name} includes <${target}>\n" PARENT_SCOPE)
        set(breaches "${breaches}${name} includes <${target}>\n")
      endif()
    endforeach()
  endforeach()
endfunction()

check(include "^ovrafocus/")
check(platform "^platform/")
check(focusctrl "^(ovrafocus|platform|focusctrl|tof)/")
check(tof "^(ovrafocus|platform|focusctrl|tof)/")
check(virtual_projector/world "^virtual_projector/(world/|clock/microseconds\\.h)")
check(virtual_projector/trace "^virtual_projector/trace/")
check(virtual_projector/clock "^virtual_projector/clock/")
check(virtual_projector/devices "^virtual_projector/(devices|world|clock)/")
check(virtual_projector/boardlibs "^(virtual_projector/(boardlibs|devices|world)|platform)/")
check(virtual_projector/interpose "^virtual_projector/(interpose|devices|clock|trace)/")
check(virtual_projector/report "^virtual_projector/((report|trace|world)/|clock/microseconds\\.h)")
check(virtual_projector/launcher "^virtual_projector/")
check(host "^(ovrafocus|host)/")
check(bench "^(ovrafocus|bench|virtual_projector/(world|report|storykit))/")

if(breaches)
  message(FATAL_ERROR "include rules are broken:\n${breaches}")
endif()
message(STATUS "include rules hold")
