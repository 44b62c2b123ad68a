#!/bin/sh
# Compares what the packages say of themselves with what they are meant to say. The versions of others'
# packages depend on what they were built with.
#   control.sh PLACE VERSION
set -eu
place=$1 version=$2
faults=0

# expect PACKAGE FIELD TEXT
expect() {
    found=$(dpkg-deb -f "$place/$1.deb" "$2" | sed '1!d; s/\(lib[a-z]*[^ ]*\) (>= [^)]*)/\1/g')
    if [ "$found" != "$3" ]; then
        echo "$1: $2 is '$found', not '$3'"
        faults=1
    fi
}

expect libovrafocus Section libs
expect libovrafocus Depends "libc6, libgcc-s1, libstdc++6"
expect libovrafocus Description "automatic focus and keystone correction for video projectors"
expect libovrafocus-dev Section libdevel
expect libovrafocus-dev Depends "libovrafocus (= $version)"
expect libovrafocus-dev Description "automatic focus and keystone correction - development files"
expect virtual-projector Section devel
expect virtual-projector Depends "libovrafocus (= $version), libc6, libgcc-s1, libstdc++6"
expect virtual-projector Description "simulated video projector for host programs of libovrafocus"
for package in libovrafocus libovrafocus-dev virtual-projector; do
    expect $package Package $package
    expect $package Version "$version"
done
exit $faults
