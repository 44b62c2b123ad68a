#!/bin/sh
# The same build packed again, elsewhere and later, gives the same packages to the byte.
#   same_bytes.sh PLACE BUILD CPACK
set -eu
place=$1 build=$2 cpack=$3
again=$(mktemp -d "${TMPDIR:-/tmp}/a place with a longer name.XXXXXX")
trap 'rm -rf "$again"' EXIT
(umask 027 && "$cpack" --config "$build/CPackConfig.cmake" -B "$again/made" >"$again/log" 2>&1) ||
    { cat "$again/log"; exit 1; }
differences=0
for package in "$place"/made/*.deb; do
    if ! cmp "$package" "$again/made/$(basename "$package")"; then
        differences=1
        if command -v diffoscope >/dev/null; then diffoscope "$package" "$again/made/$(basename "$package")" || true; fi
    fi
done
[ $differences -eq 0 ] && echo "$(find "$again/made" -maxdepth 1 -name '*.deb' | wc -l) packages, the same"
