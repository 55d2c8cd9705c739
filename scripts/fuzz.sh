#!/usr/bin/env bash
# Runs each fuzzer for a while; what it finds lands in its corpus.   scripts/fuzz.sh [SECONDS [TARGET…]]
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/packages.sh
. scripts/packages.sh
seconds=${1:-60}
[ $# -eq 0 ] || shift
install_packages "${packages_build[@]}" "${packages_clang[@]}"
build fuzz
if [ $# -eq 0 ]; then
  mapfile -t targets < <(find fuzz/corpus -mindepth 1 -maxdepth 1 -type d -printf '%f\n' | sort)
  set -- "${targets[@]}"
fi
status=0
for target in "$@"; do
  echo "== $target, $seconds seconds"
  grown=build/fuzz/corpus-$target
  mkdir -p "$grown"
  if ! (cd build/fuzz && bin/fuzz_"$target" -max_total_time="$seconds" -max_len=4096 -verbosity=0 \
    -artifact_prefix="found-$target-" "corpus-$target" "../../fuzz/corpus/$target") 2>"build/fuzz/log-$target"; then
    tail -n 40 "build/fuzz/log-$target"
    status=1
  fi
done
ls build/fuzz/found-* 2>/dev/null || echo "nothing found"
exit $status
