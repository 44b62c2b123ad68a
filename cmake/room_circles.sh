#!/bin/sh
# Looks for circles of rooms. A room is a header and its source: the files of one name and folder, and with them
# the exported header of that name. Circles are found by tsort, which names the rooms of each.
#   room_circles.sh includes ROOT FOLDER...   by the includes of all files below these folders
#   room_circles.sh calls NM ROOT OBJECT...   by the symbols that an object leaves undefined and another one defines;
#                                             objects are named ROOT/.../NAME.cpp.o or SOMETHING.dir/.../NAME.cpp.o
set -eu
kind=$1
shift
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT

# "room room" for every include of one room in another. Exported headers lie in include/ovrafocus/ and belong to
# the source of their name, where there is one.
include_edges() {
    root=$1
    shift
    cd "$root"
    for folder in "$@"; do
        [ ! -d "$folder" ] || find "$folder" -name '*.h' -o -name '*.cpp' | sort
    done >"$directory/files"
    xargs grep -EHo '^[[:space:]]*#[[:space:]]*include[[:space:]]+"[^"]+"' <"$directory/files" |
        sed -E 's/:[[:space:]]*#[[:space:]]*include[[:space:]]+"/ /; s/"$//' |
        awk -v files="$directory/files" '
            function stem(path) { sub(/\.(h|cpp)$/, "", path); return path }
            function room(path,    name) {
                if (path ~ /^ovrafocus\//) path = "include/" path
                path = stem(path)
                name = path
                sub(/.*\//, "", name)
                return path ~ /^include\// && name in source ? source[name] : path
            }
            BEGIN {
                while ((getline path < files) > 0) {
                    if (path !~ /\.cpp$/) continue
                    name = path = stem(path)
                    sub(/.*\//, "", name)
                    source[name] = path
                }
            }
            room($1) != room($2) { print room($1), room($2) }'
}

# "room room" for every symbol that one room takes from another. Weak symbols are copies of inline functions.
call_edges() {
    nm=$1 root=$2
    shift 2
    for object in "$@"; do
        room=${object%.cpp.o}
        room=${room##*.dir/}
        "$nm" "$object" | awk -v room="${room#"$root"/}" '
            $1 == "U" { print "U", $2, room }
            $2 ~ /^[TDBRSG]$/ { print "D", $3, room }'
    done | sort -u | awk '
        $1 == "D" { definer[$2] = $3 }
        $1 == "U" && $2 in definer && definer[$2] != $3 { print $3, definer[$2] }'
}

"${kind%s}_edges" "$@" | sort -u >"$directory/edges"
[ -s "$directory/edges" ] || { echo "$kind: no room takes anything from another: nothing was looked at"; exit 1; }
if ! tsort "$directory/edges" >"$directory/order" 2>"$directory/circles"; then
    echo "$kind: rooms form a circle:"
    sed 's/^tsort: //' "$directory/circles"
    exit 1
fi
echo "$kind: $(wc -l <"$directory/order") rooms, $(wc -l <"$directory/edges") arrows, no circle"
