#compdef ovrafocus-host
# Completion of ovrafocus-host's command line for zsh: a file named _ovrafocus-host in a folder of $fpath.

# A command is one argument with its own arguments in it.
_ovrafocus_host_commands() {
  local -a commands
  commands=(
    'init:start the library in its order'
    'akaf:request one auto-keystone and auto-focus run'
    'keystone:request the keystone widths for a tilt'
    'switches:switch both on (1) or off (0)'
    'wait:wait for a duration'
    'wait idle:wait until all is quiet'
    'manual:move the focus by TMR units'
    'limit left:move the lens to its left soft limit'
    'limit right:move the lens to its right soft limit'
    'offset:move the keystone by hand'
    'status:switches, widths, distance, lens'
    'record:the permanent record in readable form'
    'direction:how the picture is turned'
    'angles:the angles of the gravity sensor'
    'distance:the distance of each zone'
    'keys:listen to the keys; then: has one been pressed?'
    'fan:set the fan'\''s speed'
    'listen:take commands from standard input to its end'
    'try:carry out a command; go on when it fails'
    'help:list the commands'
    'quit:end the program'
    'calibrate gravity:store the gravity sensor'\''s offsets'
    'calibrate tof:calibrate the ToF sensor'\''s offset'
    'calibrate direction:find which way the lens'\''s sensor counts'
    'calibrate idle left:check the backlash to the left'
    'calibrate idle right:check the backlash to the right'
    'calibrate table:measure the lens table'
    'calibrate peak:find the sharpness peak'
    'flags:record what has been calibrated'
    'clean:erase the permanent record'
    'dump:dump flash and memory into the library'\''s log'
  )
  _describe command commands
}

_arguments -S \
  '(- *)'{-h,--help}'[print the options]' \
  '(- *)--version[print version and commit]' \
  '(*)--script=[take the commands from a file]:script:_files' \
  '--library-log=[write the library'\''s own log to a file]:file:_files' \
  '(--script)*:command:_ovrafocus_host_commands'
