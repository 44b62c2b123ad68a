#!/bin/sh
# Compares what the shells complete with what the programs and ./dev say of themselves, both ways.
#   completions.sh COMPLETIONS LAUNCHER HOST REPORT DEV [ZSH [FISH]]
set -eu
LC_ALL=C
export LC_ALL
completions=$1 launcher=$2 host=$3 report=$4 dev=$5 zsh=${6:-} fish=${7:-}
. "$(dirname "$0")/projector.sh"
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
HOME=$directory/home # no shell's own settings
export HOME

# by_bash NAME WORD...: what bash completes the last word to. Programs for another processor cannot be called.
by_bash() {
    file=$completions/$1.bash
    shift
    # shellcheck disable=SC2016  # the words are those of the inner shell
    bash --norc -c '. "$1"; shift
        function=$(complete -p "$(basename "$1")"); function=${function#*-F }; function=${function%% *}
        COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); "$function"
        [ ${#COMPREPLY[@]} -eq 0 ] || printf "%s\n" "${COMPREPLY[@]}"' bash "$file" "$@"
}

# by_fish NAME LINE: what fish completes the line's last word to.
# shellcheck disable=SC2016  # the words are fish's
by_fish() { "$fish" --no-config -c 'source $argv[1]; complete -C $argv[2]' "$completions/$1.fish" "$2" | cut -f 1; }

# in_zsh NAME: the options that its file for zsh has.
in_zsh() { grep -v '^ *#' "$completions/$1.zsh" | grep -o -e "[\"')}*]--[a-z-]*\|,--[a-z-]*" | sed 's/^.-/-/' | sort -u; }

# compare_options NAME: those in $directory/wanted with each shell's.
compare_options() {
    by_bash "$1" "$1" -- | sort >"$directory/found"
    same "options of $1" "the program" "bash"
    if [ -n "$zsh" ]; then
        "$zsh" -n "$completions/$1.zsh"
        in_zsh "$1" >"$directory/found"
        same "options of $1" "the program" "zsh"
    fi
    if [ -n "$fish" ]; then
        "$fish" -n "$completions/$1.fish"
        by_fish "$1" "$1 --" | sort >"$directory/found"
        same "options of $1" "the program" "fish"
    fi
}

# expect WANTED FOUND WHAT
expect() { [ "$1" = "$2" ] || { echo "$3: completed to '$2', not to '$1'"; exit 1; }; }
blanks() { tr '\n' ' ' | sed 's/ $//'; }

project "$launcher" --help | options >"$directory/wanted"
compare_options virtual-projector
project "$launcher" -- "$host" --help | options >"$directory/wanted"
compare_options ovrafocus-host
# shellcheck disable=SC2154  # projector.sh has the emulator
$emulator "$report" --help | options >"$directory/wanted"
compare_options virtual-projector-report

# Values and what follows them, as bash hands the words over: = is one of its own.
mkdir "$directory/here"
cd "$directory/here"
: >one.json
: >one.text
mkdir folder
vp=virtual-projector
expect "events changes calls" "$(by_bash $vp $vp --trace-detail '' | blanks)" "a level"
expect "events" "$(by_bash $vp $vp --trace-detail = e | blanks)" "a level after ="
expect "one.json folder" "$(by_bash $vp $vp --scenario '' | blanks)" "a scenario"
expect "folder one.json one.text" "$(by_bash $vp $vp --trace '' | sort | blanks)" "a file"
expect "--story" "$(by_bash $vp $vp --set pose.pitch_deg = 3 --sto | blanks)" "an option after a parameter"
expect "one.json" "$(by_bash $vp $vp --seed 3 -- ./program one.j | blanks)" "a program's argument"
expect "one.json" "$(by_bash $vp $vp --seed 3 ./program one.j | blanks)" "a program's argument without --"
expect "" "$(by_bash $vp $vp -- ./program --st | blanks)" "a program's option"
if [ -z "$emulator" ]; then
    PATH=$(dirname "$launcher"):$PATH
    by_bash $vp $vp --set '' | sed 's/=$//' | sort >"$directory/found"
    "$launcher" --help | sed -n '/^Parameters/,$s/^  \([a-z][a-z0-9_.]*\) .*/\1/p' | sort >"$directory/wanted"
    same "parameters" "the program" "bash"
    if [ -n "$fish" ]; then
        by_fish $vp "$vp --set " | sed 's/=$//' | sort >"$directory/found"
        same "parameters" "the program" "fish"
    fi
fi

# The host's commands; what stands after their names may be completed, too.
project "$launcher" -- "$host" --library-log log help | sed -n '/:$/!s/^  \([a-z]*\) .*/\1/p' | sort -u >"$directory/wanted"
by_bash ovrafocus-host ovrafocus-host '"' | sed 's/ .*//' | sort -u >"$directory/found"
same "commands" "the host" "bash"
if [ -n "$zsh" ]; then
    sed -n "s/^    '\([a-z]*\)[ :].*/\1/p" "$completions/ovrafocus-host.zsh" | sort -u >"$directory/found"
    same "commands" "the host" "zsh"
fi
if [ -n "$fish" ]; then
    by_fish ovrafocus-host "ovrafocus-host " | sed 's/ .*//' | sort -u >"$directory/found"
    same "commands" "the host" "fish"
fi
expect "wait\\ idle" "$(by_bash ovrafocus-host ovrafocus-host 'wait\ i' | blanks)" "a command with a blank"
expect "wait idle" "$(by_bash ovrafocus-host ovrafocus-host '"wait i' | blanks)" "a command in quotes"
expect "one.json one.text" "$(by_bash ovrafocus-host ovrafocus-host --script one | sort | blanks)" "a script"

# ./dev: its commands, and the options of each.
"$dev" help | sed -n 's/^  \([a-z]*\)  .*/\1/p' | sort >"$directory/commands"
cp "$directory/commands" "$directory/wanted"
by_bash dev ./dev '' | grep -v '^--' | sort >"$directory/found"
same "commands of ./dev" "it" "bash"
if [ -n "$zsh" ]; then
    "$zsh" -n "$completions/dev.zsh"
    sed -n "s/^    '\([a-z]*\):.*/\1/p" "$completions/dev.zsh" | sort >"$directory/found"
    same "commands of ./dev" "it" "zsh"
fi
if [ -n "$fish" ]; then
    "$fish" -n "$completions/dev.fish"
    by_fish dev "./dev " | sort >"$directory/found"
    same "commands of ./dev" "it" "fish"
fi
# options_of COMMAND
options_of() {
    "$dev" "$1" --help | options
    [ "$1" = help ] || echo --help
}
while read -r command; do
    [ "$command" != help ] || continue
    options_of "$command" | sort >"$directory/wanted"
    by_bash dev ./dev "$command" -- | sort >"$directory/found"
    same "options of ./dev $command" "it" "bash"
    if [ -n "$fish" ]; then
        by_fish dev "./dev $command --" | sort >"$directory/found"
        same "options of ./dev $command" "it" "fish"
    fi
done <"$directory/commands"
if [ -n "$zsh" ]; then
    { while read -r command; do options_of "$command"; done <"$directory/commands"; echo --version; } | sort -u \
        >"$directory/wanted"
    in_zsh dev >"$directory/found"
    same "options of ./dev" "it" "zsh"
fi
expect "first-light" "$(by_bash dev "$dev" demo first | blanks)" "a story"
