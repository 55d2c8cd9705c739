#!/usr/bin/env bash
# Formats every source; with --check only says which ones are not formatted.
set -euo pipefail
cd "$(dirname "$0")/.."
formatter=$(command -v clang-format-14 || command -v clang-format) || { echo "needs clang-format-14" >&2; exit 1; }
mode=(-i)
[ "${1:-}" = --check ] && mode=(--dry-run --Werror)
find app core platform cli tests fuzz bench scripts \( -name '*.h' -o -name '*.cpp' -o -name '*.c' -o -name '*.mm' \) -print0 |
  xargs -0 "$formatter" "${mode[@]}"
