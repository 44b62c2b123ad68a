# shellcheck shell=bash
# Completion of virtual-projector's command line for bash: to be sourced, or put where bash looks for completions.

_virtual_projector_options='-h --help --version --scenario --seed --world --unit-seed --unit --set --print-settings
  --trace --trace-detail --flash --summary --exact-stacks --limit --real-limit --outside --real-time --preempt --schedule --record-schedule --story
  --library-log --live --emulator --debug --valgrind --perf --strace --tool-options'
_virtual_projector_with_value=' --scenario --seed --world --unit-seed --unit --set --trace --trace-detail --flash --summary
  --limit --real-limit --outside --preempt --schedule --record-schedule --library-log --emulator --tool-options '

# Adds those of the given words that begin like the one that is typed.
_virtual_projector_offer() {
  local word
  while IFS= read -r word; do COMPREPLY+=("$word"); done < <(compgen "$@" -- "$typed")
}

# The names of the parameters, as this very program has them.
_virtual_projector_parameters() {
  "${COMP_WORDS[0]}" --help 2>/dev/null | sed -n 's/^  \([a-z0-9_]*\.[a-z0-9_.]*\) .*/\1=/p'
}

_virtual_projector_value() {
  case $1 in
    --scenario) _virtual_projector_offer -f -X '!*.json'; _virtual_projector_offer -d ;;
    --world) _virtual_projector_offer -W 'laboratory living-room'; _virtual_projector_offer -f -X '!*.json' ;;
    --unit) _virtual_projector_offer -W 'standard'; _virtual_projector_offer -f -X '!*.json' ;;
    --trace | --flash | --summary | --record-schedule | --library-log) _virtual_projector_offer -f ;;
    --outside) _virtual_projector_offer -W 'wait skip' ;;
    --trace-detail) _virtual_projector_offer -W 'events changes calls' ;;
    --schedule) _virtual_projector_offer -W 'random pct:'; _virtual_projector_offer -f ;;
    --set) _virtual_projector_offer -W "$(_virtual_projector_parameters)" ;;
    --emulator) _virtual_projector_offer -c ;;
  esac
  if [[ ${COMPREPLY[0]-} == *[=:] ]]; then compopt -o nospace 2>/dev/null; fi
}

# Where the program stands among the words, in `program`: after --, or the first that is no option. bash takes
# --seed=3 for three words.
_virtual_projector_find_program() {
  local i word
  program=0
  for ((i = 1; i <= COMP_CWORD; ++i)); do
    word=${COMP_WORDS[i]}
    if [[ $word == -- ]] && ((i < COMP_CWORD)); then
      program=$((i + 1))
      return
    elif [[ $word == -* ]]; then
      [[ $_virtual_projector_with_value == *[[:space:]]"$word"[[:space:]]* ]] || continue
      i=$((i + 1))
      [[ ${COMP_WORDS[i]-} != = ]] || i=$((i + 1))
      # NAME=VALUE is three words, too.
      [[ $word != --set || ${COMP_WORDS[i + 1]-} != = ]] || i=$((i + 2))
    else
      program=$i
      return
    fi
  done
}

_virtual_projector() {
  local typed=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} program
  COMPREPLY=()
  _virtual_projector_find_program
  if ((program > 0)); then
    if declare -F _command_offset >/dev/null; then
      _command_offset "$program"
    elif ((program == COMP_CWORD)); then
      _virtual_projector_offer -c
      _virtual_projector_offer -f
    else
      _virtual_projector_offer -f
    fi
    return
  fi
  if [[ $typed == = ]]; then
    typed=
  elif [[ $before == = ]] && ((COMP_CWORD > 1)); then
    before=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  if [[ $_virtual_projector_with_value == *[[:space:]]"$before"[[:space:]]* ]]; then
    _virtual_projector_value "$before"
  elif [[ $typed == -* ]]; then
    _virtual_projector_offer -W "$_virtual_projector_options"
  fi
}

complete -F _virtual_projector virtual-projector
