#!/bin/sh
# Every story in the living room: none ends badly, and each has its row.
#   stories.sh OVRAFOCUS-METHOD SCENARIOS
set -eu
table=$("$1" stories 1)
echo "$table"
# The day takes long and comes with more units only; the parts of a folder happen to one unit.
find "$2" -mindepth 1 -maxdepth 1 \( -name '*.json' -o -type d \) ! -name a-day.json | while read -r story; do
  name=$(basename "$story" .json)
  echo "$table" | grep -q "^| $name  *| *1 | .* | *0 |\$" || { echo "no good row for $name"; exit 1; }
done
echo "$table" | grep -q '^| all  *| *[1-9][0-9]* | .* | *0 |$'
# With what the bench says of it, a drawn unit is calibrated and focuses.
echo "$table" | grep -q '^| factory  *| *1 | 100 % |  100 % | 100 % |'
