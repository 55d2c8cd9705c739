#!/usr/bin/env bash
# Lets `varnel watch` run for a while among random writes, moves, mounts and unmounts, and says whether it did all that
# it should and nothing else.   scripts/soak.sh [MINUTES] [SEED]
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/packages.sh
. scripts/packages.sh
minutes=${1:-10}
seed=(${2:+--seed "$2"})

if [ "$(id -u)" -ne 0 ] || ! unshare -m true 2>/dev/null; then
  echo "Only root, in a mount namespace of its own, may mount the volumes for it." >&2
  exit 2
fi
install_packages "${packages_build[@]}" "${packages_volumes[@]}" e2fsprogs ntfs-3g bindfs python3
build release
work=$(mktemp -d /tmp/varnel-soak.XXXXXX)
trap 'rm -rf "$work"' EXIT
trap 'exit 130' HUP INT TERM
# With the namespace go the mounts, and with the process the watchers.
unshare -m -p -f --kill-child --mount-proc --propagation private \
  python3 tests/soak/soak.py "$PWD/build/release/bin/varnel" "$work" --minutes "$minutes" "${seed[@]}"
