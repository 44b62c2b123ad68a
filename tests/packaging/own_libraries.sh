#!/bin/sh
# Every run loads the launcher: it brings the server and its many libraries along only for a live page, and does
# without them where they are not installed.
#   own_libraries.sh LAUNCHER HOST PRELOADED_LIBRARY
set -eu
launcher=$1 host=$2 preloaded=$3
. "$(dirname "$0")/projector.sh"
LC_ALL=C
export LC_ALL

needed=$(readelf -d "$launcher" | sed -n 's/.*(NEEDED).*\[\(.*\)\]$/\1/p')
[ -n "$needed" ] || { echo "what the launcher needs is not known"; exit 1; }
if echo "$needed" | grep -e httplib -e ssl -e crypto -e brotli; then
    echo "the launcher loads these for every run"
    exit 1
fi

alone=$(mktemp -d)
trap 'rm -rf "$alone"' EXIT
cp "$launcher" "$preloaded" "$alone"
ln -s "$(dirname "$launcher")/units" "$(dirname "$launcher")/worlds" "$alone"
project "$alone/virtual-projector" -- "$host" help >"$alone/words"
grep -q akaf "$alone/words"
[ -z "$emulator" ] || exit 0  # runs in an emulator have no live page
code=0
project "$alone/virtual-projector" --live -- "$host" help 2>"$alone/words" || code=$?
wanted='virtual-projector: --live: libvirtual-projector-live.so is not beside the program and not installed: '
if [ $code -ne 2 ] || ! grep -q "^$wanted" "$alone/words" || [ "$(wc -l <"$alone/words")" -ne 1 ]; then
    echo "--live without its library ended with $code and said:"
    cat "$alone/words"
    exit 1
fi
