#!/bin/sh
# Every link from an installed document to a file leads to one that is installed, and so it is in the sources.
#   links.sh PLACE SOURCES
set -eu
place=$1 sources=$2
faults=0
count=0
for root in "$place/root/usr/share/doc/libovrafocus-dev" "$sources"; do
    for page in "$root"/README.md "$root"/docs/*.md; do
        for link in $(grep -o ']([^)]*)' "$page" | sed -e 's/^](//' -e 's/)$//' -e 's/#.*//'); do
            case $link in http:* | https:*) continue ;; esac
            count=$((count + 1))
            [ -e "$(dirname "$page")/$link" ] || { echo "$page: nothing is at $link"; faults=1; }
        done
    done
done
[ $count -gt 10 ] || { echo "only $count links"; exit 1; }
[ $faults -ne 0 ] || echo "$count links"
exit $faults
