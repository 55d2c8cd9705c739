#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test. Ends with the line "N passed, N failed".
#   scripts/test.sh                all tests
#   scripts/test.sh --sanitizers   all tests under address+undefined and under thread sanitizers, by GCC and clang
#   scripts/test.sh -R PATTERN …   what follows goes to ctest
set -uo pipefail
cd "$(dirname "$0")/.." || exit 2
# shellcheck source=scripts/packages.sh
. scripts/packages.sh

presets=(dev)
needed=("${packages_build[@]}" "${packages_volumes[@]}" "${packages_test[@]}" "${packages_macos[@]}" "${packages_gnustep[@]}" "${packages_package[@]}")
if [ "${1:-}" = --sanitizers ]; then
  shift
  presets=(asan tsan clang-asan clang-tsan)
  needed+=("${packages_clang[@]}")
fi
install_packages "${needed[@]}" || exit 2

results=()
for preset in "${presets[@]}"; do
  # What is not built has no results, which the summary counts as a failure.
  results+=("build/$preset/results.xml")
  rm -f "build/$preset/results.xml"
  build "$preset" || continue
  echo "== tests, preset $preset"
  ctest --preset "$preset" -j "$(nproc)" --output-junit results.xml \
    --test-output-size-passed 100000 "$@" |
    grep -vE '^ +Start +[0-9]|\.\.\. +Passed|^$|sec\*proc'
done
exec python3 scripts/summarize-tests.py "${results[@]}"
