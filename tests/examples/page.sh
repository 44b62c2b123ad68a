#!/bin/sh
# Builds and runs the examples with the unpacked packages, by the words of their page.
#   page.sh PLACE LIBRARY_FOLDER SOURCES PYTHON
set -eu
place=$1 library_folder=$2 sources=$3 python=$4
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cp -R "$sources/examples/." "$folder"
page=$folder/README.md
usr=$place/root/usr

PATH=$usr/bin:$(dirname "$python"):$PATH
PKG_CONFIG_PATH=$usr/$library_folder/pkgconfig
CMAKE_PREFIX_PATH=$usr
LD_LIBRARY_PATH=$usr/$library_folder
PYTHONDONTWRITEBYTECODE=1
export PATH PKG_CONFIG_PATH CMAKE_PREFIX_PATH LD_LIBRARY_PATH PYTHONDONTWRITEBYTECODE

# blocks KIND: what stands between ```KIND and ```.
blocks() {
    awk -v kind="$1" '
        /^```/ { if (inside) { inside = 0 } else { inside = 1; wanted = ($0 == "```" kind) } next }
        inside && wanted' "$page"
}

cd "$folder"
blocks "" | sed "s,/usr/share/virtual-projector,$usr/share/virtual-projector,g" >commands
if ! timeout 300 sh -eux commands >words 2>complaints; then
    cat words complaints
    exit 1
fi

# Each run of the page has brought its picture into focus, and one of them says what the page shows.
wanted=$(grep -c '^virtual-projector ' commands)
found=$(grep -c '^in focus at' complaints) || true
if [ "$wanted" -eq 0 ] || [ "$found" -ne "$wanted" ]; then
    cat complaints
    echo "$found of $wanted runs in focus"
    exit 1
fi
blocks text | grep -qxFf - complaints || { cat complaints; echo "the page shows something else"; exit 1; }

# So do the programs that CMake has made, and those that stand for themselves.
for host in build/host_c build/host_cpp build/host_glib build/host_libuv host_cpp host_glib host_libuv; do
    virtual-projector --scenario "$usr/share/virtual-projector/scenarios/first-light.json" -- "./$host" \
        >library.log 2>complaints || { cat complaints; echo "$host failed"; exit 1; }
    grep '^in focus at' complaints
done
