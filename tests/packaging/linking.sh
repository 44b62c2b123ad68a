#!/bin/sh
# What the page on integration says of linking and of the log, tried with the installed library: the link that fails,
# its words, the remedy, the start without the board, and the host's words apart from the log and together with it.
#   linking.sh PLACE LIBRARY_FOLDER SOURCES CC
set -eu
LC_ALL=C
export LC_ALL
place=$1 library_folder=$2 sources=$3 cc=$4
. "$(dirname "$0")/projector.sh"
library=$place/root/usr/$library_folder
PKG_CONFIG_LIBDIR=$library/pkgconfig
LD_LIBRARY_PATH=$library
export PKG_CONFIG_LIBDIR LD_LIBRARY_PATH
work=$place/linking
rm -rf "$work"
mkdir "$work"
cd "$work"
sed -n '/^## Linking/,/^## /p' "$sources/docs/integration.md" >linking.md
sed -n '/^## The log/,$p' "$sources/docs/integration.md" >log.md

cat >host.c <<'END'
#include <ovrafocus/ovrafocus.h>
#include <stdio.h>
int main(void) {
    fprintf(stderr, "word one\n");
    ovrafocus_init();
    fprintf(stderr, "word two\n");
    ovrafocus_deinit();
    return 0;
}
END

# fail WHAT FILE
fail() { echo "$1"; cat "$2"; exit 1; }

# link REMEDY: as the page says it, with the compiler and the pkg-config of this test.
link() {
    command=$(grep -o "\`cc host.c [^\`]*$1[^\`]*\`" linking.md | head -n 1 | tr -d '`')
    [ -n "$command" ] || fail "the page has no link with $1" linking.md
    cc() { command "$cc" "$@"; }
    eval "$command"
}

# as_on_page FILE: with the installed library in its usual place.
as_on_page() { sed -e "s,/[^ :]*/libovrafocus\.so,/usr/lib/x86_64-linux-gnu/libovrafocus.so,g" -e 's,^[^ ]*ld[^ ]*: ,/usr/bin/ld: ,' "$1"; }

# Every line that the page shows stands in the linker's words.
code=0
# shellcheck disable=SC2046  # flags are several words
"$cc" host.c $(pkg-config --cflags --libs ovrafocus) -o host 2>words || code=$?
[ $code -ne 0 ] || fail "a link without the board's libraries succeeds" linking.md
as_on_page words >shown
sed -n '/^```/,/^```/p' linking.md | grep -e '^/usr/bin/ld' -e '^collect2' >lines
[ "$(wc -l <lines)" -eq 3 ] || fail "the page shows other lines" lines
while IFS= read -r line; do grep -qxF -e "$line" shown || fail "the linker does not say: $line" shown; done <lines
echo "the link fails as shown"

link board_at_run_time || fail "the remedy does not help" linking.md
code=0
# shellcheck disable=SC2086  # the emulator's command is several words
$emulator ./host >words 2>&1 || code=$?
as_on_page words | sed 's,.*symbol lookup error,./host: symbol lookup error,' >shown
# The mipsel loader names another function first: it looks them up in another order.
if [ $code -ne 127 ] || ! grep -q '^\./host: symbol lookup error: .*: undefined symbol: ' shown; then
    fail "it ended with $code" words
fi
[ -n "$emulator" ] || grep -qxF -f shown linking.md || fail "the page shows another error than this" shown
project "$place/root/usr/bin/virtual-projector" -- ./host >library.log 2>words
echo "the remedy helps"

# A function that the host itself lacks is still an error.
sed 's/ovrafocus_init();/&no_such_function();/' host.c >wrong.c
# shellcheck disable=SC2046  # flags are several words
if "$cc" -Wno-implicit-function-declaration wrong.c $(pkg-config --cflags --libs ovrafocus) \
    $(pkg-config --variable=board_at_run_time ovrafocus) -o wrong 2>words_wrong; then
    fail "a host with an unknown function is linked" words_wrong
fi
grep -q "undefined reference to .no_such_function'" words_wrong || fail "it is not named" words_wrong

# Apart, and together.
printf 'word one\nword two\n' >wanted
cmp wanted words
grep -qx 'ovrafocus_init\.' library.log || fail "not the library's log" library.log
! grep 'word' library.log || exit 1
sed 's/^int main(void) {/&\n    setvbuf(stdout, NULL, _IOLBF, 0);/' host.c >lines.c
# shellcheck disable=SC2046  # flags are several words
"$cc" lines.c $(pkg-config --cflags --libs ovrafocus) $(pkg-config --variable=board_at_run_time ovrafocus) -o lines
project "$place/root/usr/bin/virtual-projector" -- ./lines >all.log 2>&1
grep -x -e 'word .*' -e 'ovrafocus_.*init\.' all.log >found
printf 'word one\novrafocus_init.\nword two\novrafocus_deinit.\n' >wanted
diff wanted found
if [ -z "$emulator" ]; then
    stdbuf -oL "$place/root/usr/bin/virtual-projector" -- ./host >all.log 2>&1
    grep -x -e 'word .*' -e 'ovrafocus_.*init\.' all.log | diff wanted -
fi
project "$place/root/usr/bin/virtual-projector" -- "$place/root/usr/bin/ovrafocus-host" --library-log library.log init akaf >words
grep -q '^ovrafocus_init\.$' library.log
! grep '^ovrafocus_\|^\[ovra' words || exit 1
echo "words and log apart, and together"
