#!/bin/sh
# Compares the manuals with what the programs say of themselves, both ways: options, and the host's commands.
#   manuals.sh MANUALS LAUNCHER HOST REPORT
set -eu
LC_ALL=C
export LC_ALL
manuals=$1 launcher=$2 host=$3 report=$4
. "$(dirname "$0")/projector.sh"
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT

# run WORDS...: the host program with these arguments.
run() { project "$launcher" -- "$host" --library-log "$directory/log" "$@" </dev/null; }

# entries MANUAL SECTION: the tagged paragraphs of a section, without their macros.
entries() {
    sed -n "/^\.SH $2\$/,/^\.SH /p" "$manuals/$1.1" | sed -n '/^\.TP/{n;p;}' |
        sed -e 's/^\.[A-Z]* //' -e 's/"//g' -e 's/\\f.//g' -e 's/\\-/-/g' -e 's/  */ /g' -e 's/ *| */|/g'
}

project "$launcher" --help >"$directory/help"
options <"$directory/help" >"$directory/wanted"
entries virtual-projector OPTIONS | options >"$directory/found"
same "options of virtual-projector" "the program" "the manual"

$emulator "$report" --help >"$directory/help"
options <"$directory/help" >"$directory/wanted"
entries virtual-projector-report OPTIONS | options >"$directory/found"
same "options of virtual-projector-report" "the program" "the manual"

run --help >"$directory/help"
options <"$directory/help" >"$directory/wanted"
entries ovrafocus-host OPTIONS | options >"$directory/found"
same "options of ovrafocus-host" "the program" "the manual"

run help >"$directory/help"
sed -n '/:$/!s/^  \([a-z]*\) .*/\1/p' "$directory/help" | sort -u >"$directory/names"
entries ovrafocus-host COMMANDS >"$directory/entries"
cp "$directory/names" "$directory/wanted"
sed 's/ .*//' "$directory/entries" | sort -u >"$directory/found"
same "commands of ovrafocus-host" "the program" "the manual"

# Each entry's arguments are those of the command; one kind of calibration is an entry of its own.
sed 's/ *| */|/g' "$directory/help" >"$directory/usages"
sed 's/ \*$//' "$directory/entries" | while read -r name arguments; do
    grep "^  $name " "$directory/usages" | grep -qF -e "${arguments:-$name}" ||
        { echo "ovrafocus-host has no such command: $name $arguments"; exit 1; }
done

# The marked ones are those that are refused before the library is started.
sed -n 's/^\([a-z]*\).* \*$/\1/p' "$directory/entries" | sort >"$directory/found"
while read -r name; do
    run "$name" >"$directory/words" || true
    ! grep -q "^$name: start the library first with 'init'\$" "$directory/words" || echo "$name"
done <"$directory/names" >"$directory/wanted"
same "commands that need the library started" "the program" "the manual"
