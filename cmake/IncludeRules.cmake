# Who may include whom. Run as `cmake -P cmake/IncludeRules.cmake [FOLDER]`; every breach is named. FOLDER is another
# tree to look at than this one.
#
# A room is a header and its source, with the exported header of the same name. The library's rooms stand in layers:
# each includes rooms of its own layer and of those above it in this list, never of those below. That rooms of one
# layer form no circle is looked after by room_circles.sh.
cmake_minimum_required(VERSION 3.20)
if(CMAKE_ARGC GREATER 3)
  set(root "${CMAKE_ARGV3}")
else()
  get_filename_component(root "${CMAKE_CURRENT_LIST_DIR}" DIRECTORY)
endif()
set(breaches "")

set(library_layers
  # What every room stands on: the log and its level, shared flags, descriptors, guards, threads, numbers.
  "export log_level log shared_flag descriptor mutex_guard thread whole_number number_list elapsed_time"
  # What the board's own libraries offer, and codes that host and library share.
  "board_display board_network hudi_flash nds_isp result_codes"
  # Decisions: values in, values out.
  "vector3 keystone_rectangle projection_geometry trapezoid keystone_plan lens_units lens_feedback focus_plan \
peak_sample peak_fit axes block_average calibration_offsets keystone_step gravity_log movement rotation_choice tilt \
driver_records offset_table"
  # State that several rooms share.
  "config lens_state requests gravity_state"
  # Devices, each by itself; the record; what joins the library to its host.
  "platform_utils motor_drv tof_control permanent_data host_interface nds01_sysfs nds01_device nds01_isp \
gravity_sensor key_listener"
  # One step above the devices: start and calibration of the ToF sensor, the nodes of the focus, the display, the
  # picture's direction, the record's calibration.
  "nds01_start nds01_calibration focus_nodes display_keystone direction calibration_data"
  # Rooms that act: widths, distances, lens moves, the factory's sweeps.
  "keystone_width distance lens_position factory_step peak_search peak_sweep tmr_table"
  # Runs and loops.
  "focus_run motion auto_keystone acceleration"
  # Start-up, threads, and everything for the host.
  "lifecycle ovrafocus")

# breach(TEXT): one more line to be printed at the end.
macro(breach text)
  string(APPEND breaches "${text}\n")
  set(breaches "${breaches}" PARENT_SCOPE)
endmacro()

# includes_of(FILE OUT): what a file includes with quotes, and of what stands in angle brackets the project's own.
function(includes_of file out)
  set(found "")
  file(STRINGS "${file}" lines REGEX "^[ \t]*#[ \t]*include[ \t]+[\"<]")
  foreach(line IN LISTS lines)
    string(REGEX MATCH "[\"<]([^\">]+)[\">]" ignored "${line}")
    set(target "${CMAKE_MATCH_1}")
    if(line MATCHES "\"" OR target MATCHES "^(ovrafocus|base|focusctrl|tof|virtual_projector|platform|host|tests)/")
      list(APPEND found "${target}")
    endif()
  endforeach()
  set(${out} "${found}" PARENT_SCOPE)
endfunction()

# files_of(FOLDER OUT)
function(files_of folder out)
  file(GLOB_RECURSE found "${root}/${folder}/*.h" "${root}/${folder}/*.cpp" "${root}/${folder}/*.c")
  set(${out} "${found}" PARENT_SCOPE)
endfunction()

# check(FOLDER REGEX): every include below FOLDER must match REGEX.
function(check folder allowed)
  files_of("${folder}" files)
  foreach(file IN LISTS files)
    file(RELATIVE_PATH name "${root}" "${file}")
    includes_of("${file}" targets)
    foreach(target IN LISTS targets)
      if(NOT target MATCHES "${allowed}")
        breach("${name} includes ${target}")
      endif()
    endforeach()
  endforeach()
endfunction()

# layer_of(PATH OUT): the layer of the room that a file belongs to, the lowest is 0; -1 for a room without one.
function(layer_of path out)
  get_filename_component(room "${path}" NAME_WE)
  set(layer 0)
  foreach(rooms IN LISTS library_layers)
    string(REPLACE " " ";" rooms "${rooms}")
    if(room IN_LIST rooms)
      set(${out} ${layer} PARENT_SCOPE)
      return()
    endif()
    math(EXPR layer "${layer} + 1")
  endforeach()
  set(${out} -1 PARENT_SCOPE)
endfunction()

# check_layers(FOLDER): every file below FOLDER has a layer and includes nothing of a higher one.
function(check_layers folder)
  files_of("${folder}" files)
  foreach(file IN LISTS files)
    file(RELATIVE_PATH name "${root}" "${file}")
    layer_of("${file}" layer)
    if(layer EQUAL -1)
      breach("${name} stands in no layer of cmake/IncludeRules.cmake")
    endif()
    includes_of("${file}" targets)
    foreach(target IN LISTS targets)
      layer_of("${target}" target_layer)
      if(target_layer GREATER layer)
        breach("${name} includes ${target}, which stands in a layer above it")
      endif()
    endforeach()
  endforeach()
endfunction()

check(include "^ovrafocus/")
check(platform "^platform/")
check(base "^(ovrafocus|base)/")
check(focusctrl "^(ovrafocus|platform|base|focusctrl|tof)/")
check(tof "^(ovrafocus|platform|base|tof)/")
foreach(folder IN ITEMS include platform base focusctrl tof)
  check_layers(${folder})
endforeach()

check(virtual_projector/world "^virtual_projector/world/")
check(virtual_projector/files "^virtual_projector/files/")
check(virtual_projector/trace "^virtual_projector/(trace|files)/")
check(virtual_projector/clock "^virtual_projector/(clock/|files/|world/microseconds\\.h)")
check(virtual_projector/devices "^virtual_projector/(devices|world|files|clock)/")
check(virtual_projector/boardlibs "^(virtual_projector/(boardlibs|devices|world)|platform)/")
check(virtual_projector/interpose "^virtual_projector/(interpose|devices|clock|trace)/")
check(virtual_projector/compression "^virtual_projector/compression/")
check(virtual_projector/report "^(virtual_projector/(report|compression|trace|world)/|pages/page_templates\\.h)")
check(virtual_projector/report_tool "^virtual_projector/(report_tool|report|compression|files|trace|world)/")
check(virtual_projector/storykit "^virtual_projector/(storykit|report|trace|world)/")
check(pages "^pages/")
check(virtual_projector/launcher "^virtual_projector/")
check(virtual_projector/live "^(virtual_projector/(live|launcher|report|trace|clock|world)/|pages/page_templates\\.h)")
check(host "^(ovrafocus|host)/")
check(bench "^(ovrafocus|bench|virtual_projector/(world|report|storykit))/")

if(breaches)
  message(NOTICE "${breaches}")  # a line each; an error would be wrapped
  message(FATAL_ERROR "include rules are broken")
endif()
message(STATUS "include rules hold")
