#!/usr/bin/env bash
# Measures the live watcher against a bare loop in C, a shell's pipe and find -delete, and prints ratios. Nothing stays
# behind. Needs root, for volumes of its own.
#   scripts/bench-watch.sh [--quick] [--only latency|rate|start|idle|storm]…
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/packages.sh
. scripts/packages.sh

options=()
while [ $# -gt 0 ]; do
  case $1 in
    --quick) options+=(--rounds 2 --samples 50 --folders 20000 --files 20000) ;;
    --only) options+=(--only "$2"); shift ;;
    *) echo "usage: scripts/bench-watch.sh [--quick] [--only latency|rate|start|idle|storm]..." >&2; exit 2 ;;
  esac
  shift
done

if [ "$(id -u)" -ne 0 ] || ! unshare -m true 2>/dev/null; then
  echo "== no measurement of the watcher: only root may mount volumes for it"
  exit 0
fi
install_packages "${packages_build[@]}" "${packages_bench[@]}" e2fsprogs mount procps
build bench
work=$(mktemp -d /tmp/varnel-bench.XXXXXX)
trap 'rm -rf "$work"' EXIT
trap 'exit 130' HUP INT TERM
unshare -m --propagation private \
  python3 bench/watch.py "$PWD/build/bench/bin/varnel" "$PWD/build/bench/bin" "$work" "${options[@]}"
