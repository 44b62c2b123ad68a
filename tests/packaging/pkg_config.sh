#!/bin/sh
# Builds a host in C by what pkg-config says of the unpacked packages, and runs it on them.
#   pkg_config.sh PLACE LIBRARY_FOLDER VERSION SOURCES CC
set -eu
place=$1 library_folder=$2 version=$3 sources=$4 cc=$5
. "$(dirname "$0")/projector.sh"
PKG_CONFIG_LIBDIR=$place/root/usr/$library_folder/pkgconfig
export PKG_CONFIG_LIBDIR

found=$(pkg-config --modversion ovrafocus)
[ "$found" = "$version" ] || { echo "version $found, not $version"; exit 1; }
flags=$(pkg-config --cflags --libs ovrafocus)
as_sysroot=$(PKG_CONFIG_SYSROOT_DIR=$place/root pkg-config --cflags --libs ovrafocus)
[ "$flags" = "$as_sysroot" ] || { echo "$flags, but as the root of a system $as_sysroot"; exit 1; }

# shellcheck disable=SC2046,SC2086  # flags are several words
"$cc" -std=c11 -D_DEFAULT_SOURCE -Wall -Werror -I "$sources" -o "$place/pkg_config_host" \
    "$sources/tests/host_c/host.c" "$sources/tests/host_c/no_own_functions.c" \
    $flags $(pkg-config --variable=board_at_run_time ovrafocus)
LD_LIBRARY_PATH=$place/root/usr/$library_folder
export LD_LIBRARY_PATH
focus_with "$place/pkg_config_host" "$place"
