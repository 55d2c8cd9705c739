#!/usr/bin/env bash
# Runs clang-tidy over every source of the product; any finding is an error. scripts/tidy.sh [FILE…]
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/packages.sh
. scripts/packages.sh
install_packages "${packages_build[@]}" "${packages_test[@]}" "${packages_clang[@]}"
[ -f build/tidy/build.ninja ] || cmake --preset tidy >/dev/null
if [ $# -eq 0 ]; then
  mapfile -t sources < <(find app core platform/posix platform/linux cli -name '*.cpp' ! -name '*_test.cpp' | sort)
  set -- "${sources[@]}"
fi
printf '%s\0' "$@" | xargs -0 -n 1 -P "$(nproc)" clang-tidy-19 -p build/tidy --quiet --warnings-as-errors='*'
