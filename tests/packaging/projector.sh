# shellcheck shell=sh
# For the scripts beside this one. EMULATOR: the words of its command; none: the processor runs all.
emulator=${EMULATOR:-}

# project LAUNCHER WORDS...: the virtual projector with these options and program.
project() {
    launcher=$1
    shift
    if [ -z "$emulator" ]; then
        "$launcher" "$@"
    else
        # shellcheck disable=SC2086  # the emulator's command is several words
        $emulator "$launcher" --emulator "$emulator" "$@"
    fi
}

# focus_with HOST PLACE: a host program on an installed story, by the installed virtual projector. It must bring
# the picture into focus.
focus_with() {
    stories=$2/root/usr/share/virtual-projector/scenarios
    project "$2/root/usr/bin/virtual-projector" --scenario "$stories/first-light.json" \
        --trace "$1.trace" --trace-detail events -- "$1" >"$1.words" 2>&1 || { tail "$1.words"; return 1; }
    grep -x 'the run has ended' "$1.words" || { tail "$1.words"; return 1; }
    sed -n 's/.*\("sharpness":[0-9.]*\).*/\1/p' "$1.trace" | sed -n '1p;$p' | {
        IFS=: read -r _ before
        IFS=: read -r _ after
        echo "sharpness $before before, $after after"
        awk "BEGIN { exit !($before < 0.1 && $after > 0.98) }"
    }
}

# options: those that a line of help or a manual's entry begins with, one a line; -h is another name of --help, -o of --page.
options() { sed -n 's/^ *\(-[a-z] *, *\)\{0,1\}\(--[a-z-]*\).*/\2/p' | sort; }

# same WHAT ONE OTHER: what the files $directory/wanted (of ONE) and $directory/found (of OTHER) list.
same() {
    if ! diff "$directory/wanted" "$directory/found" >"$directory/difference"; then
        echo "$1: only $2 has (<), only $3 has (>)"
        grep '^[<>]' "$directory/difference"
        exit 1
    fi
    [ -s "$directory/wanted" ] || { echo "$1: there are none"; exit 1; }
    echo "$1: $(wc -l <"$directory/wanted"), the same"
}
