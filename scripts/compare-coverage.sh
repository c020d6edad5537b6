#!/usr/bin/env bash
# Compares two files.txt tables of scripts/coverage.sh: for every file in both,
# the percent before and after and the difference. A file that lost more than
# 5 points is flagged, and then the script ends with status 1, so that trimming
# the tests cannot quietly drop what they reached.
set -euo pipefail
if [ $# -ne 2 ] || ! [ -f "$1" ] || ! [ -f "$2" ]; then
    echo "usage: $0 BEFORE_FILES AFTER_FILES (files.txt of scripts/coverage.sh)" >&2
    exit 2
fi

# Columns of a table: path, lines hit, lines found, percent.
awk -v limit=5 '
    FNR == NR { before[$1] = $4; next }
    $1 in before {
        # Rounded to one decimal as in the tables, so 85.1 to 80.1 is exactly 5 points.
        diff = sprintf("%.1f", $4 - before[$1]) + 0
        flag = diff < -limit ? "  LOST" : ""
        if (flag != "") lost++
        printf "%-60s %6.1f %6.1f %+6.1f%s\n", $1, before[$1], $4, diff, flag
    }
    END {
        printf "%d file(s) lost more than %d points\n", lost, limit
        exit lost > 0
    }' "$1" "$2"
