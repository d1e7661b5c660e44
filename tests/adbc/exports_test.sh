#!/bin/sh
# The driver exports its entry under two names, and nothing else that could meet a symbol of the process.
found=$(nm --dynamic --defined-only "$1" | awk '{ print $3 }' | sort | xargs)
[ "$found" = "AdbcDriverInit AdbcDriverVornInit" ] || { echo "exported: $found"; exit 1; }
