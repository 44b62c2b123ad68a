#compdef virtual-projector
# Completion of virtual-projector's command line for zsh: a file named _virtual-projector in a folder of $fpath.

# The names of the parameters, as this very program has them.
_virtual_projector_parameters() {
  local -a names
  names=(${(f)"$(_call_program parameters ${(q)words[1]} --help 2>/dev/null |
    sed -n 's/^  \([a-z0-9_]*\.[a-z0-9_.]*\) .*/\1/p')"})
  compadd -S = -a names
}

_virtual_projector_schedules() {
  _alternative 'policy:policy:(random pct:)' 'recording:recorded schedule:_files'
}

_virtual_projector_worlds() {
  _alternative 'world:world:(laboratory living-room)' 'file:world file:_files -g "*.json"'
}

_virtual_projector_units() {
  _alternative 'unit:unit:(standard)' 'file:unit file:_files -g "*.json"'
}

_arguments -S \
  '(- *)'{-h,--help}'[print options, scenario format and parameters]' \
  '(- *)--version[print version and commit]' \
  '--scenario=[what the unit and the room are like, and what happens]:scenario:_files -g "*.json"' \
  '--seed=[seed of noise and of ties between threads]:number' \
  '--world=[what the room is like]:world:_virtual_projector_worlds' \
  '--unit-seed=[draw a unit'\''s manufacturing spread by this seed]:number' \
  '--unit=[the spread that it is drawn from]:unit:_virtual_projector_units' \
  '--print-settings[print every parameter and where its value comes from]' \
  '*--set=[set a parameter after the scenario'\''s]:parameter:_virtual_projector_parameters' \
  '--trace=[write what happened, one JSON record a line]:file:_files' \
  '--trace-detail=[how much is traced]:level:(events changes calls)' \
  '--flash=[keep the permanent record from run to run]:file:_files' \
  '--summary=[write the run'\''s figures as JSON]:file:_files' \
  '--exact-stacks[leave the virtual projector'\''s own use out of the stacks]' \
  '--limit=[end the run after so much simulated time]:seconds' \
  '--real-limit=[end it after so much real time without getting further]:seconds' \
  '--outside=[what simulated time does while something outside is awaited]:way:(wait skip)' \
  '--real-time[run on the wall clock, without the scheduler]' \
  '--preempt=[probability that a thread loses its turn at a call]:probability' \
  '--schedule=[who runs next]:schedule:_virtual_projector_schedules' \
  '--record-schedule=[write down who ran next]:file:_files' \
  '--story[tell at the end what happened, in words]' \
  '--library-log=[where the program writes the library'\''s log]:file:_files' \
  '--live[serve a page on which people have a hand in the run]' \
  '--emulator=[run the program by this emulator]:command:_command_names -e' \
  '--debug[start gdb on the program]' \
  '--valgrind[run the program under valgrind]' \
  '--perf[record the run by perf]' \
  '--strace[show the system calls by strace]' \
  '--tool-options=[more words for the command of gdb, valgrind, perf or strace]:words' \
  '(-)1:program: _command_names -e' \
  '*::arguments: _normal'
