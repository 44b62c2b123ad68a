# shellcheck shell=bash
# Completion of virtual-projector-report's command line for bash: to be sourced, or put where bash looks for completions.

_virtual_projector_report_options='-h --help --version -o --page --data --perfetto --csv --title --story --full --log --diff
  --ignore --partial'

_virtual_projector_report_offer() {
  local word
  while IFS= read -r word; do COMPREPLY+=("$word"); done < <(compgen "$@" -- "$typed")
}

_virtual_projector_report() {
  local typed=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  COMPREPLY=()
  if [[ $typed == = ]]; then
    typed=
  elif [[ $before == = ]] && ((COMP_CWORD > 1)); then
    before=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  case $before in
    --csv) _virtual_projector_report_offer -d ;;
    --title) ;;
    --ignore) _virtual_projector_report_offer -W 'version run call callback return state log event truth wear' ;;
    *)
      if [[ $typed == -* ]]; then
        _virtual_projector_report_offer -W "$_virtual_projector_report_options"
      else
        _virtual_projector_report_offer -f
      fi
      ;;
  esac
}

complete -F _virtual_projector_report virtual-projector-report
