#!/bin/sh
# Debian's own examination of packages finds nothing, and every override gives its reason and is needed.
#   lintian.sh PLACE LINTIAN OVERRIDES
set -eu
place=$1 lintian=$2 overrides=$3
words=$place/lintian.words
"$lintian" --allow-root --display-info --tag-display-limit 0 "$place"/made/*.deb >"$words" 2>&1 || true
# What is told as information counts where it is an override that overrides nothing.
if grep -v '^I: ' "$words" || grep -e unused-override -e mismatched-override "$words"; then exit 1; fi
grep -q '^I: ' "$words" || { echo "it has not even anything to inform about"; exit 1; }
for file in "$overrides"/*; do
    awk '/^#/ { reason = 1; next }
         { if (!reason) { print FILENAME ": no reason for " $0; exit 1 } reason = 0 }' "$file"
done
echo "nothing found"
