#!/usr/bin/env bash
# Makes the Debian packages of this tree, from a clean copy of it.
#   scripts/package.sh           leaves them in build/package
#   scripts/package.sh FOLDER    leaves them in FOLDER
# What is there of earlier packages goes. The same commit makes the same packages on the same system, byte for byte.
set -euo pipefail
folder=$(realpath -m "${1:-$(dirname "$0")/../build/package}")
cd "$(dirname "$0")/.."
# shellcheck source=scripts/packages.sh
. scripts/packages.sh
{ command -v python3 && dpkg-checkbuilddeps packaging/debian/control; } >/dev/null 2>&1 ||
  install_packages "${packages_build[@]}" "${packages_package[@]}"

source=$folder/source
rm -rf "$source" "$folder"/varnel*.deb "$folder"/varnel*.buildinfo "$folder"/varnel*.changes
mkdir -p "$source"
tar -c --exclude-vcs --exclude=./build --exclude=./out --exclude="./$(realpath --relative-to=. "$source")" \
  --exclude=__pycache__ --exclude=compile_commands.json . | tar -x -C "$source"
mv "$source/packaging/debian" "$source/debian"
: "${SOURCE_DATE_EPOCH:=$(git log -1 --format=%ct 2>/dev/null || date +%s)}"
export SOURCE_DATE_EPOCH
scripts/debian-changelog.py "$SOURCE_DATE_EPOCH" >"$source/debian/changelog"

# debhelper gives the build a home of its own, in which there is no cache of the compiler's.
if command -v ccache >/dev/null; then
  CCACHE_DIR=$(ccache --get-config cache_dir)
  export CCACHE_DIR CCACHE_BASEDIR=${CCACHE_BASEDIR:-$source} CCACHE_NOHASHDIR=1
fi
log=$folder/build.log
(cd "$source" && dpkg-buildpackage --build=binary --no-sign --jobs=auto) >"$log" 2>&1 || {
  tail -n 60 "$log" >&2
  exit 1
}
ls "$folder"/varnel*.deb
