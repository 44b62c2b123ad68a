#!/bin/sh
# run.sh MODULES FILE.test.mjs: runs a file of page tests by node, all in one browser.
# run.sh MODULES --types TSCONFIG: checks the pages' types.
# Ends with 77 where that cannot be done, and says why.
modules=$1

left_out() {
  echo "left out: $*"
  exit 77
}

command -v node >/dev/null 2>&1 || left_out "there is no node"
[ -d "$modules" ] || left_out "$modules is not there; ./dev test fetches it"
if [ "$2" = --types ]; then
  exec node "$modules/.bin/tsc" -p "$3"
fi
[ -x "${OVRA_CHROMIUM:-/usr/bin/chromium}" ] || left_out "there is no Chromium"
exec node --test "$2"
