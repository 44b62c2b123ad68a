# shellcheck shell=bash
# Completion of ./dev for bash: . packaging/completions/dev.bash

# The stories, and what their names begin with where several begin alike.
_ovrafocus_dev_stories() {
  local folder
  folder=$(dirname "${COMP_WORDS[0]}")/scenarios
  printf 'list\n'
  find "$folder" -maxdepth 1 -name '*.json' -printf '%f\n' 2>/dev/null | sed 's/\.json$//'
  find "$folder" -mindepth 1 -maxdepth 1 -type d -printf '%f\n' 2>/dev/null
}

_ovrafocus_dev_words() {
  case $1 in
    '') printf '%s\n' demo live test build mipsel budgets package bench check coverage docs pages clean help --help --version ;;
    demo) _ovrafocus_dev_stories; printf '%s\n' --seed --set ;;
    live) _ovrafocus_dev_stories; printf '%s\n' --port ;;
    test) printf '%s\n' --asan --tsan ;;
    mipsel) printf '%s\n' --traces --size ;;
    budgets) printf '%s\n' --mipsel ;;
    package) printf '%s\n' --mipsel --twice ;;
    bench) printf '%s\n' method stories ;;
    help) printf '%s\n' demo live test build mipsel budgets package bench check coverage docs pages clean help ;;
  esac
  case $1 in
    '' | help) ;;
    *) printf '%s\n' --help ;;
  esac
}

_ovrafocus_dev() {
  local typed=${COMP_WORDS[COMP_CWORD]} command='' word
  COMPREPLY=()
  if ((COMP_CWORD > 1)); then command=${COMP_WORDS[1]}; fi
  while IFS= read -r word; do COMPREPLY+=("$word"); done < \
    <(compgen -W "$(_ovrafocus_dev_words "$command")" -- "$typed")
}

complete -F _ovrafocus_dev dev ./dev
