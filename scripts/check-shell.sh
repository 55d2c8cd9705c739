#!/usr/bin/env bash
# Has shellcheck read every shell script. Ends with 77 where it is not installed.
set -euo pipefail
cd "$(dirname "$0")/.."
command -v shellcheck >/dev/null || { echo "SKIPPED: needs the program shellcheck"; exit 77; }
mapfile -t scripts < <(grep -rlE '^#!/(usr/bin/env |bin/)(ba)?sh$' .ci scripts tests packaging | sort)
shellcheck --external-sources "${scripts[@]}" scripts/packages.sh packaging/completions/varnel.bash
echo "${#scripts[@]} scripts"
