#!/bin/sh
# Compares docs/porting.md with the library: every path, request, driver command, driver record and function of the
# board's libraries that the code knows stands in the page, and the page has no path that the code does not know.
#   check_porting.sh PROJECT
# shellcheck disable=SC2016  # the backquotes are those of the page
set -eu
LC_ALL=C
export LC_ALL
cd "$1"
page=docs/porting.md
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
failures=0

fail() {
    echo "$1"
    failures=$((failures + 1))
}

# All C++ code of the library in one file, in which no call is broken over lines.
find focusctrl tof -name '*.cpp' -o -name '*.h' | sort | xargs cat | tr '\n' ' ' | tr -s ' ' >"$directory/code"
find_all() { grep -oE "$1" "$directory/code" || true; }

# Every line of standard input stands in the page; $1 says what is missing.
expect_in_page() {
    [ -s "$directory/wanted" ] || fail "no $1 found in the code: the pattern is out of date"
    while read -r line; do
        grep -qF -- "$line" "$page" || fail "$page lacks the $1 $line"
    done <"$directory/wanted"
}

# Paths: literals, and the attributes of the ToF sensor by name.
tof=/sys/class/nd_tof/nds01
find_all '"/[a-z][a-zA-Z0-9_/.-]*"' | tr -d '"' | sort -u | grep -vx "$tof" >"$directory/literals"
{
    find_all '(write_sysfs_[a-z0-9]+|read_sysfs_[a-z0-9]+|read_whole_attribute)\("[a-z_]+"' | sed 's/.*"\(.*\)"/\1/'
    find_all '[a-z_]+_attribute = "[a-z_]+"' | sed 's/.*"\(.*\)"/\1/'
} | sed "s,^,$tof/," | sort -u >"$directory/attributes"
[ -s "$directory/attributes" ] || fail "no attributes found in the code: the pattern is out of date"
sort -u "$directory/literals" "$directory/attributes" >"$directory/paths"
sed 's/.*/| `&` |/' "$directory/paths" >"$directory/wanted"
expect_in_page path
sed -n 's/^| `\(\/[^`]*\)` .*/\1/p' "$page" | sort -u >"$directory/page_paths"
comm -13 "$directory/paths" "$directory/page_paths" >"$directory/strange"
while read -r path; do fail "$page has $path, which the code does not use"; done <"$directory/strange"

# Attributes are named by a literal, by a constant that was found above, or by the helpers' own parameter.
find_all '(write_sysfs_[a-z0-9]+|read_sysfs_[a-z0-9]+)\([^)]*tof_attributes' |
    grep -vE '\(("[a-z_]+"|name|step_attribute),' >"$directory/strange" || true
while read -r call; do fail "the attribute of this call is not known: $call)"; done <"$directory/strange"

# Requests: what ioctl is given is a constant, and its number stands in the page.
find_all 'ioctl\([a-z_.()]+, [a-zA-Z0-9_]+' | sed 's/.*, //' | sort -u >"$directory/requests"
while read -r request; do
    number=$(find_all "$request = 0x[0-9A-F]+" | sed 's/.*= //' | head -n 1)
    if [ -n "$number" ]; then echo "| \`$number\` |"; else fail "the number of the request $request is not known"; fi
done <"$directory/requests" >"$directory/wanted"
expect_in_page request

# Commands of the ToF driver.
sed -n '/^enum class DriverCommand/,/^};/s/^ *[a-z0-9_]* = \([0-9]*\),$/| \1 | address/p' tof/driver_records.h \
    >"$directory/wanted"
expect_in_page command

# Records: what is asserted of a driver's record stands in the page.
find_all 'offsetof\([A-Za-z0-9_]+, [a-z_0-9]+\) == [0-9]+\)' |
    grep -vE '\((ovra_permanent_record|app_callback_table|ovra_focus_[a-z]+)' |
    sed 's/offsetof(\(.*\), \(.*\)) == \([0-9]*\))/| `\1.\2` | \3 |/' | sort -u >"$directory/wanted"
find_all 'offsetof\([A-Za-z0-9_]+, [a-z_0-9]+\) == [0-9]+,' |
    grep -vE '\((ovra_permanent_record|app_callback_table|ovra_focus_[a-z]+)' |
    sed 's/offsetof(\(.*\), \(.*\)) == \([0-9]*\),/| `\1.\2` | \3 |/' | sort -u >>"$directory/wanted"
expect_in_page field

# Functions of the board's libraries.
cat platform/*.h | sed -n 's/^int \([a-zA-Z0-9_]*\)(.*/| `\1()` |/p' >"$directory/wanted"
expect_in_page function
declared=$(cat platform/*.h | grep -cE '^[a-z].*[a-z0-9_]\(.*(;|,)' || true)
typedefs=$(cat platform/*.h | grep -c '^typedef ' || true)
[ "$((declared - typedefs))" -eq "$(wc -l <"$directory/wanted")" ] ||
    fail "platform/ declares $((declared - typedefs)) functions, $(wc -l <"$directory/wanted") are looked for"

[ "$failures" -eq 0 ] && echo "$(wc -l <"$directory/paths") paths and all else, as in the code"
exit "$((failures > 0))"
