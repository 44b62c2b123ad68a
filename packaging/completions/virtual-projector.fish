# Completion of virtual-projector's command line for fish.

# The names of the parameters, as this very program has them.
function __virtual_projector_parameters
    set -l program (commandline -opc)[1]
    eval $program --help 2>/dev/null | sed -n 's/^  \([a-z0-9_]*\.[a-z0-9_.]*\) .*/\1=/p'
end

complete -c virtual-projector -s h -l help -d 'Print options, scenario format and parameters'
complete -c virtual-projector -l version -d 'Print version and commit'
complete -c virtual-projector -l scenario -r -k -a '(__fish_complete_suffix .json)' -d 'What the unit and the room are like, and what happens'
complete -c virtual-projector -l seed -x -d 'Seed of noise and of ties between threads'
complete -c virtual-projector -l world -r -k -a 'laboratory living-room (__fish_complete_suffix .json)' -d 'What the room is like'
complete -c virtual-projector -l unit-seed -x -d 'Draw a unit\'s manufacturing spread by this seed'
complete -c virtual-projector -l unit -r -k -a 'standard (__fish_complete_suffix .json)' -d 'The spread that it is drawn from'
complete -c virtual-projector -l print-settings -d 'Print every parameter and where its value comes from'
complete -c virtual-projector -l set -x -a '(__virtual_projector_parameters)' -d 'Set a parameter after the scenario\'s'
complete -c virtual-projector -l trace -r -d 'Write what happened, one JSON record a line'
complete -c virtual-projector -l trace-detail -x -a 'events changes calls' -d 'How much is traced'
complete -c virtual-projector -l flash -r -d 'Keep the permanent record from run to run'
complete -c virtual-projector -l summary -r -d 'Write the run\'s figures as JSON'
complete -c virtual-projector -l exact-stacks -d 'Leave the virtual projector\'s own use out of the stacks'
complete -c virtual-projector -l limit -x -d 'End the run after so much simulated time'
complete -c virtual-projector -l real-limit -x -d 'End it after so much real time without getting further'
complete -c virtual-projector -l outside -x -a 'wait skip' -d 'What simulated time does while something outside is awaited'
complete -c virtual-projector -l real-time -d 'Run on the wall clock, without the scheduler'
complete -c virtual-projector -l preempt -x -d 'Probability that a thread loses its turn at a call'
complete -c virtual-projector -l schedule -r -a 'random pct:' -d 'Who runs next'
complete -c virtual-projector -l record-schedule -r -d 'Write down who ran next'
complete -c virtual-projector -l story -d 'Tell at the end what happened, in words'
complete -c virtual-projector -l library-log -r -d 'Where the program writes the library\'s log'
complete -c virtual-projector -l live -d 'Serve a page on which people have a hand in the run'
complete -c virtual-projector -l emulator -x -a '(__fish_complete_command)' -d 'Run the program by this emulator'
complete -c virtual-projector -l debug -d 'Start gdb on the program'
complete -c virtual-projector -l valgrind -d 'Run the program under valgrind'
complete -c virtual-projector -l perf -d 'Record the run by perf'
complete -c virtual-projector -l strace -d 'Show the system calls by strace'
complete -c virtual-projector -l tool-options -x -d 'More words for the command of gdb, valgrind, perf or strace'

# What stands after the options and their values is the program's.
set -l with_value --scenario --seed --world --unit-seed --unit --set --trace --trace-detail --flash --summary \
    --limit --real-limit --outside --preempt --schedule --record-schedule --library-log --emulator --tool-options
complete -c virtual-projector -x -a "(__fish_complete_subcommand -- $with_value)" -d Program
