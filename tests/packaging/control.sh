#!/bin/sh
# Compares what the packages say of themselves with what they are meant to say. The versions of others'
# packages depend on what they were built with.
#   control.sh PLACE VERSION LIVE      LIVE: 1 when they serve live pages
set -eu
place=$1 version=$2 live=$3
faults=0
# The board's packages read and write plain traces alone.
server=", libcpp-httplib0.11" compression=", libzstd1, zlib1g"
[ "$(dpkg-deb -f "$place/libovrafocus.deb" Architecture)" != mipsel ] || compression=''
[ "$live" = 1 ] || server=''

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
expect virtual-projector Depends "libovrafocus (= $version), libc6$server, libgcc-s1, libstdc++6$compression"
expect virtual-projector Recommends libovrafocus-dev
expect virtual-projector Description "simulated video projector for host programs of libovrafocus"
for package in libovrafocus libovrafocus-dev virtual-projector; do
    expect $package Package $package
    expect $package Version "$version"
    case $(dpkg-deb -f "$place/$package.deb" Maintainer) in
        "") echo "$package: nobody maintains it"; faults=1 ;;
    esac
done
# The loader's cache follows the library by a trigger; no package brings a script that is run as root.
dpkg-deb --ctrl-tarfile "$place/libovrafocus.deb" | tar -xO ./triggers | grep -qx 'activate-noawait ldconfig' ||
    { echo "libovrafocus: no trigger"; faults=1; }
for package in libovrafocus libovrafocus-dev virtual-projector; do
    if dpkg-deb --ctrl-tarfile "$place/$package.deb" | tar -t | grep -e inst -e 'rm$'; then
        echo "$package: these are run as root"
        faults=1
    fi
done
exit $faults
