#!/bin/sh
# The worst chain of the library's own frames below each thread's body and below any entry point, from the
# compiler's call graph (-fcallgraph-info=su). Recursion or a frame without a bound is an error. Calls of the
# host's and of the vendor's functions, and the C library's own frames, are not in it.
#   static_stack.sh FIGURES BUILD_DIRECTORY
set -eu
. "$(dirname "$0")/figures.sh"
figures=$1 build=$2
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
find "$build/CMakeFiles/ovrafocus.dir" "$build"/libovrafocus.so.* -name '*.ci' -exec cat {} + >"$directory/graph"

# A unit's own functions are titled "UNIT:NAME", others by their name alone. A constructor or destructor that is
# called as C1 or D1 stands there as C2 or D2, which is the same code.
awk -F '"' '
    function plain(title) {
        sub(/^.*:/, "", title)
        if (title ~ /^_ZN.*C1E/) sub(/C1E/, "C2E", title)
        if (title ~ /^_ZN.*D1Ev$/) sub(/D1Ev$/, "D2Ev", title)
        return title
    }
    FILENAME ~ /exports.txt$/ {
        split($0, words, " ")
        exported[words[4]]
        next
    }
    /^node:/ && $4 ~ /bytes \(/ {
        name = plain($2)
        size = $4
        sub(/ bytes \(.*/, "", size)
        sub(/^.*\\n/, "", size)
        if (!(name in frame) || size + 0 > frame[name]) frame[name] = size + 0
        if ($4 ~ /\(dynamic\)/) { print "unbounded", name }
    }
    /^edge:/ {
        from = plain($2)
        callees[from] = callees[from] " " plain($4)
        if ($4 ~ /^_ZNK?4ovra/ || $4 in exported) shared[plain($4)]
    }
    # Depth below and with the function; the chain itself in way[].
    function depth(name,    list, count, i, deepest, below) {
        if (!(name in frame)) return 0
        if (name in known) return known[name]
        if (name in under_way) { print "recursion", name; return 0 }
        under_way[name] = 1
        count = split(callees[name], list, " ")
        deepest = 0
        way[name] = ""
        for (i = 1; i <= count; ++i) {
            below = depth(list[i])
            if (below > deepest) { deepest = below; way[name] = list[i] }
        }
        delete under_way[name]
        known[name] = deepest + frame[name]
        return known[name]
    }
    END {
        for (name in frame) {
            if (depth(name) > worst) { worst = known[name]; worst_name = name }
        }
        for (name in shared) if (!(name in frame)) print "unknown", name
        for (name in frame) if (name ~ /^([a-zA-Z_]*_thread|sensor_main)$/) print "thread", name, known[name]
        print "worst", worst_name, worst
        for (name = worst_name; name != ""; name = way[name]) print "chain", name, frame[name]
    }' "$(dirname "$0")/../abi/exports.txt" "$directory/graph" >"$directory/found"

if grep -E '^(unbounded|recursion)' "$directory/found"; then exit 1; fi
if grep '^unknown' "$directory/found" >"$directory/unknown"; then
    c++filt <"$directory/unknown"
    echo "no frame is known of these: a compiler cache brings back objects without their part of the call graph"
    exit 1
fi
[ "$(grep -c '^thread' "$directory/found")" -eq 6 ] || { echo "not all thread bodies were found"; exit 1; }
echo "Deepest chain of the library's own frames, in bytes:"
grep '^chain' "$directory/found" | c++filt | awk '{ size = $NF; $1 = ""; $NF = ""; printf "  %6d %s\n", size, $0 }'
echo "Against the budget:"
while read -r _ name size; do
    figure "$figures" "static_stack.$name" "$size" bytes
done <<END
$(grep '^thread' "$directory/found" | sort)
END
figure "$figures" static_stack.worst "$(awk '$1 == "worst" { print $3 }' "$directory/found")" bytes
exit "$over_budget"
