# shellcheck shell=bash
# Completion of ovrafocus-host's command line for bash: to be sourced, or put where bash looks for completions.

# A command is one argument with its own arguments in it.
_ovrafocus_host_commands='init
akaf
keystone
switches
wait
wait idle
manual
limit left
limit right
offset
status
record
direction
angles
distance
keys
fan
listen
try
help
quit
calibrate gravity
calibrate tof
calibrate direction
calibrate idle left
calibrate idle right
calibrate table
calibrate peak
flags
clean
dump'

_ovrafocus_host() {
  local typed=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} word
  local IFS=$'\n'
  COMPREPLY=()
  if [[ $typed == = ]]; then
    typed=
  elif [[ $before == = ]] && ((COMP_CWORD > 1)); then
    before=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  case $before in
    --script | --library-log)
      while read -r word; do COMPREPLY+=("$word"); done < <(compgen -f -- "$typed")
      return
      ;;
  esac
  if [[ $typed == -* ]]; then
    while read -r word; do COMPREPLY+=("$word"); done < <(compgen -W $'-h\n--help\n--version\n--script\n--library-log' -- "$typed")
  elif [[ $typed == [\"\']* ]]; then
    while read -r word; do COMPREPLY+=("$word"); done < <(compgen -W "$_ovrafocus_host_commands" -- "${typed:1}")
  else
    while read -r word; do COMPREPLY+=("$(printf %q "$word")"); done < <(compgen -W "$_ovrafocus_host_commands" -- "${typed//\\/}")
  fi
}

complete -F _ovrafocus_host ovrafocus-host
