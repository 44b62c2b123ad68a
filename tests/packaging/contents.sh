#!/bin/sh
# Compares the files of each package with the list, both ways.
#   contents.sh PLACE LIBRARY_FOLDER BUILD_TYPE SOURCES LIVE      LIVE: 1 when they serve live pages
set -eu
LC_ALL=C
export LC_ALL
place=$1 library_folder=$2 build_type=$3 sources=$4 live=$5
list=$(dirname "$0")/contents.txt
data=usr/share/virtual-projector
stories=$data/scenarios
documents=usr/share/doc/libovrafocus-dev

server='#'
[ "$live" = 0 ] || server=

{
    sed -e "s,^@LIVE@,$server," -e '/^#/d' -e '/^$/d' -e "s,@LIB@,$library_folder," -e "s,@BUILD_TYPE@,$build_type," "$list"
    # Every story there is.
    (cd "$sources/scenarios" && find . -name '*.json' -o -name '*.host') | sed "s,^\.,virtual-projector $stories,"
    # Every world and unit.
    (cd "$sources" && find worlds units -name '*.json') | sed "s,^,virtual-projector $data/,"
    # Every document and example, and the reference host as one more example.
    (cd "$sources" && {
        find docs -name '*.md' -o -name '*.png'
        find host -name '*.h' -o -name '*.cpp' -o -name '*.script'
        [ ! -d examples ] || find examples ! -type d ! -path '*/__pycache__/*'
    }) | sed "s,^,libovrafocus-dev $documents/,"
} | sort >"$place/wanted"
for package in libovrafocus libovrafocus-dev virtual-projector; do
    dpkg-deb -c "$place/$package.deb" >"$place/listing"
    if grep -v ' root/root ' "$place/listing" || grep '^-......w' "$place/listing"; then
        echo "$package: these belong to somebody else than root, or everybody may write them"
        exit 1
    fi
    sed -n "/^d/!s,^.* \./\([^ ]*\).*,$package \1,p" "$place/listing"
done | sed 's, -> .*,,' | sort >"$place/found"

if diff "$place/wanted" "$place/found" >"$place/difference"; then
    echo "$(wc -l <"$place/found") files, as listed"
else
    echo "The packages' files (>) are not those of the list (<):"
    grep '^[<>]' "$place/difference"
    exit 1
fi
broken=$(find "$place/root" -xtype l)
[ -z "$broken" ] || { echo "these links lead nowhere: $broken"; exit 1; }
