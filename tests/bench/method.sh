#!/bin/sh
# The study of the method: in the laboratory every picture is good; one that is turned to the wall is not, and the
# host is told success.
#   method.sh OVRAFOCUS-METHOD
set -eu
table=$("$1" --quick)
echo "$table"
echo "$table" | grep -q '^| the laboratory .* 100 % | *0 of  4 |$'
echo "$table" | grep -q '^| turned to the wall  *| 20 deg .* 0 % | *4 of  4 |$'
