#!/bin/sh
# Makes a build's packages and unpacks them into an empty root.
#   unpack.sh PLACE BUILD CPACK
set -eu
place=$1 build=$2 cpack=$3
rm -rf "$place"
mkdir -p "$place/root"
"$cpack" --config "$build/CPackConfig.cmake" -B "$place/made" >"$place/log" 2>&1 || { cat "$place/log"; exit 1; }
for package in libovrafocus libovrafocus-dev virtual-projector; do
    ln "$place/made/${package}_"*.deb "$place/$package.deb"
    dpkg-deb -x "$place/$package.deb" "$place/root"
done
[ "$(find "$place/made" -maxdepth 1 -name '*.deb' | wc -l)" -eq 3 ] ||
    { echo "there are others:" "$place"/made/*.deb; exit 1; }
