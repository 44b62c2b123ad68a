#!/bin/sh
# ./dev as its user meets it: help that runs nothing, mistakes that are said before anything is built, what it wants
# where it may not install, and how far it is while it compiles. Its builder and packager are stand-ins.
#   dev_test.sh SOURCES
# shellcheck disable=SC2016  # what stands in single quotes is for the stand-ins
set -eu
LC_ALL=C
export LC_ALL
sources=$1
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
mkdir "$place/tree" "$place/programs" "$place/done"
cp "$sources/dev" "$place/tree/"
cp "$sources/CMakeLists.txt" "$place/tree/"
mkdir "$place/tree/scenarios"
cp "$sources/scenarios/first-light.json" "$place/tree/scenarios/"
cd "$place"

# The only programs that it finds: those that change nothing, and stand-ins that note that they were run.
for name in awk bash basename cat cut date dirname env expr find grep head kill mkdir nproc rm sed sleep sort tail tr true; do
    ln -s "$(env which "$name")" programs/
done
# stand_in NAME BODY: a program that notes its call, then does BODY.
stand_in() {
    printf '#!/bin/sh\necho "%s $*" >>"%s/calls"\n%s\n' "$1" "$place" "$2" >"programs/$1"
    chmod +x "programs/$1"
}
stand_in git 'exit 128'
stand_in id 'echo 1000'
stand_in dpkg-query 'exit 1'
stand_in apt-get ''
stand_in cmake ''
stand_in ctest ''

# dev CODE WORD...: runs it; what it said stands in words.
dev() {
    wanted=$1
    shift
    code=0
    : >calls
    PATH=$place/programs tree/dev "$@" >words 2>&1 </dev/null || code=$?
    [ $code -eq "$wanted" ] || { echo "./dev $* ended with $code, not $wanted:"; cat words; exit 1; }
}
# said TEXT / quiet: that it said so; that it has run nothing.
said() { grep -qF -e "$1" words || { echo "it did not say '$1', but:"; cat words; exit 1; }; }
quiet() { [ ! -s calls ] || { echo "it ran:"; cat calls; exit 1; }; }
never_ran() { if grep "^$1" calls; then exit 1; fi; }
fits() { awk 'length($0) > 80 { print "wider than 80 columns: " $0; bad = 1 } END { exit bad }' words; }

# Help.
dev 0
cp words overview
for way in help --help -h; do
    dev 0 $way
    cmp words overview
done
fits
sed -n 's/^  \([a-z]*\)  .*/\1/p' overview >commands
[ "$(wc -l <commands)" -eq 14 ] || { cat commands; exit 1; }
while read -r command; do
    dev 0 "$command" --help
    quiet
    fits
    if [ "$command" != help ]; then said "./dev $command"; fi
    cp words first
    dev 0 "$command" --anything -h
    cmp words first
    dev 0 help "$command"
    cmp words first
done <commands
echo "$(wc -l <commands) commands"

# Version: of a tree outside of git, and of one within.
dev 0 --version
grep -qx 'ovrafocus [0-9.]* (commit unknown)' words
stand_in git 'case $1 in rev-parse) ;; describe) echo 0123456789-dirty ;; esac'
dev 0 --version
grep -qx 'ovrafocus [0-9.]* (commit 0123456789-dirty)' words

# Mistakes, said before anything is installed, built or removed.
mkdir -p tree/build
dev 2 tests
said "there is no command 'tests'"
dev 2 help tests
said "there is no command 'tests'"
for mistake in "build all" "check host" "coverage 1" "docs x" "clean now" "budgets --twice" "package --asan" \
    "mipsel --size now" "test first_light" "mipsel first_light" "help test build"; do
    # shellcheck disable=SC2086  # several words
    dev 2 $mistake
    said "' was not expected"
    quiet
done
[ -d tree/build ]
dev 2 demo no-such-story
said "there is no story named no-such-story"
dev 0 demo list
said "first-light"
dev 0 clean
[ ! -d tree/build ]
dev 0 clean

# Packages are missing: without root and without sudo, and where sudo wants a password.
dev 2 build
said "dev: missing: g++ cmake ninja-build"
said "as root: apt-get install --no-install-recommends g++ cmake"
never_ran apt-get
stand_in sudo 'exit 1'
dev 2 build
said "dev: missing: g++ cmake ninja-build"
never_ran apt-get
# With sudo, and as root.
stand_in sudo '[ "$1" = -n ] && shift; exec "$@"'
dev 0 build
said "dev: installing g++ cmake ninja-build"
grep -q '^sudo .*apt-get install -y' calls
stand_in id 'echo 0'
dev 0 build
never_ran sudo
stand_in apt-get 'echo "E: no network"; exit 100'
dev 2 build
said "E: no network"
said "could not install g++"

# All is there: twice in a row; a build that fails; one that takes long.
stand_in dpkg-query 'printf installed'
dev 0 build
dev 0 build
never_ran apt-get
said "dev: compiling in build/default"
stand_in cmake '[ "$1" = --preset ] || { echo "FAILED: a.o"; echo "a.cpp:1: error: nothing is right"; exit 1; }'
dev 2 build
said "error: nothing is right"
said "dev: the build failed; all of it is in build/default.log"
stand_in cmake 'echo "CMake Error at CMakeLists.txt:1"; exit 1'
dev 2 test
said "CMake Error at CMakeLists.txt:1"
# The builder ends when it has been said how far it is.
stand_in cmake "[ \"\$1\" != --preset ] || exit 0
echo '[12/340] Building'
for i in 0 1 2 3 4 5 6 7 8 9; do
    ! grep -q 'build/default: \[12/340\], [0-9]* s\$' '$place/words' || exit 0
    sleep 1
done
exit 1"
OVRA_DEV_PROGRESS_S=1
export OVRA_DEV_PROGRESS_S
dev 0 build
said "dev: compiling in build/default: [12/340], "
echo "all as it should be"
