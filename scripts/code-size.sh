#!/usr/bin/env bash
# The largest source files and functions of the program (tests and benchmarks left out):
# the ten longest files by non-blank lines, and the ten longest functions by lines as
# pmccabe counts them (apt-get install pmccabe).
#
#     scripts/code-size.sh [N]
set -euo pipefail
cd "$(dirname "$0")/.."
count=${1:-10}
mapfile -t sources < <(git ls-files '*.cpp' '*.h' | grep -Ev '^(tests|bench)/')
echo "Longest files (non-blank lines):"
for file in "${sources[@]}"; do
    printf '%6d  %s\n' "$(grep -cv '^\s*$' "$file")" "$file"
done | sort -rn | head -n "$count"
echo
echo "Longest functions (lines, pmccabe):"
pmccabe "${sources[@]}" 2>/dev/null | awk -F'\t' '{ printf "%6d  %s\n", $5, $6 }' |
    sort -rn | head -n "$count"
