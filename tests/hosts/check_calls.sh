#!/bin/sh
# Compares the tables of calls in docs/hosts.md with the library that is loaded into host programs: each call that it
# answers stands in the first table, each call of that table is answered, and none of the second is.
#   check_calls.sh PROJECT NM LIBRARY
# shellcheck disable=SC2016  # the backquotes are those of the page
set -eu
LC_ALL=C
export LC_ALL
project=$1
nm=$2
library=$3
page=docs/hosts.md
cd "$project"
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
failures=0

fail() {
    echo "$1"
    failures=$((failures + 1))
}

# The names in the first column of the tables whose heading begins so.
names_under() {
    awk -F ' *[|] *' -v heading="$1" '
        !/^[|]/ { inside = 0; next }
        $2 == heading { inside = 1; next }
        inside { n = split($2, piece, "`"); for (i = 2; i <= n; i += 2) print piece[i] }' "$page"
}

# A variant stands for the call it is one of: for large files, with checked buffers, with 64-bit times.
plain_names() {
    sed -e 's/^_ZNSt13random_device9_M_getvalEv$/std::random_device/' -e 's/^__//' -e 's/_2$//' -e 's/_chk$//' -e 's/_time64$//' -e 's/64$//' |
        sort -u
}

names_under Calls | sort >"$directory/listed"
names_under 'Calls not seen' | sort >"$directory/unseen"
[ -s "$directory/listed" ] || fail "$page lists no calls"
[ -s "$directory/unseen" ] || fail "$page lists no calls that are not seen"
sort "$directory/listed" "$directory/unseen" | uniq -d >"$directory/twice"
while read -r name; do fail "$page lists $name twice"; done <"$directory/twice"

# What is defined besides: functions of the board's libraries and two of the library's, the program's start, and names
# for the linker.
cat platform/*.h | sed -n 's/^[a-z].*[ *]\([a-zA-Z0-9_]*\)(.*/\1/p' >"$directory/others"
printf '%s\n' __libc_start_main app_callback_init get_app_callback >>"$directory/others"
"$nm" -D --defined-only "$library" | awk '$2 ~ /[A-Z]/ { print $3 }' | sed 's/@.*//' | grep -v -e '^vp_interposed_' -e '^__odr_asan' |
    grep -vxF -f "$directory/others" | plain_names >"$directory/answered"
[ "$(wc -l <"$directory/answered")" -gt 50 ] || fail "$library answers hardly a call: are its symbols there?"

comm -23 "$directory/answered" "$directory/listed" >"$directory/missing"
while read -r name; do fail "$page lacks the call $name"; done <"$directory/missing"
comm -13 "$directory/answered" "$directory/listed" >"$directory/strange"
while read -r name; do fail "$page has the call $name, which is not answered"; done <"$directory/strange"
comm -12 "$directory/answered" "$directory/unseen" >"$directory/seen"
while read -r name; do fail "$page says that the call $name is not seen, but it is answered"; done <"$directory/seen"

# Each call is tried by a way, or made as an object of its type.
cat tests/hosts/ways*.c* | sed -e 's/"[^"]*"//g' -e 's,//.*,,' >"$directory/tried"
while read -r name; do
    grep -qE "(^|[^a-z_])$name([ ]?[()]| [a-z]+;)" "$directory/tried" || fail "no way in tests/hosts tries the call $name"
done <"$directory/listed"

# An answer is one of three.
awk -F ' *[|] *' '
    !/^[|]/ { inside = 0; next }
    $2 == "Calls" || $2 == "Calls not seen" { inside = 1; next }
    inside && $3 !~ /^-+$/ && $3 != "simulated" && $3 != "passed through" && $3 != "refused" { print $3 }' \
    "$page" >"$directory/answers"
while read -r answer; do fail "$page has the answer $answer"; done <"$directory/answers"

echo "$(wc -l <"$directory/listed") calls are listed, $(wc -l <"$directory/answered") are answered"
exit "$((failures > 0))"
