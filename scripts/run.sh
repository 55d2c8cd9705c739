#!/usr/bin/env bash
# Cleans a disk with varnel, from nothing: installs what is missing, builds a release, and
#   scripts/run.sh        cleans a sample disk made for the purpose, with litter of every kind, and shows what survives;
#                         on a machine with a display it then starts the application;
#   scripts/run.sh PATH…  cleans the folders or volumes PATH, after showing what would go and asking.
set -euo pipefail
start=$PWD
cd "$(dirname "$0")/.."
self=$PWD/scripts/run.sh
# shellcheck source=scripts/packages.sh
. scripts/packages.sh

install_packages "${packages_build[@]}" "${packages_volumes[@]}"
build release
varnel=$PWD/build/release/bin/varnel

if [ $# -gt 0 ]; then
  cd "$start"
  exec "$varnel" clean "$@"
fi

if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ] && [ -z "${VARNEL_SAMPLE_ONLY:-}" ]; then
  VARNEL_SAMPLE_ONLY=1 "$self"
  echo
  echo "The application is started: its sparkles are in the status area. It ends with \"Quit Varnel\" in its menu."
  exec "$PWD/build/release/bin/varnel-desktop"
fi

# What is mounted in a mount namespace of our own is no concern of the rest of the machine.
if [ "$(id -u)" -eq 0 ] && [ -z "${VARNEL_SAMPLE_NAMESPACE:-}" ] && unshare -m true 2>/dev/null; then
  VARNEL_SAMPLE_NAMESPACE=1 exec unshare -m --propagation private "$self"
fi

work=$(mktemp -d /tmp/varnel-sample.XXXXXX)
loop=''
clean_up() {
  cd /
  ! mountpoint -q "$work/disk" || umount "$work/disk" || umount --lazy "$work/disk"
  [ -z "$loop" ] || losetup -d "$loop"
  rm -rf "$work"
}
trap clean_up EXIT
trap 'exit 130' HUP INT PIPE TERM

# A real exFAT volume where this machine lets us have one, else a folder.
mkdir "$work/disk" "$work/home"
make_volume() {
  [ -n "${VARNEL_SAMPLE_NAMESPACE:-}" ] && [ -c /dev/fuse ] || return 1
  truncate -s 64M "$work/disk.img"
  mkfs.exfat "$work/disk.img" >/dev/null 2>&1 || return 1
  loop=$(losetup -f --show "$work/disk.img" 2>/dev/null) || return 1
  local status=0
  mount.exfat-fuse "$loop" "$work/disk" >/dev/null 2>&1 || status=1
  losetup -d "$loop" # the kernel waits with that until the volume is unmounted
  loop=''
  return $status
}
if make_volume; then
  echo "A sample exFAT volume is mounted at $work/disk."
else
  echo "This machine lets us mount no exFAT volume; a folder stands for it: $work/disk"
fi

# Litter of all fourteen kinds between a person's own files.
cd "$work/disk"
recycled="\$RECYCLE.BIN/S-1-5-21"
mkdir -p DCIM/100CAM Music Fonts Archive/__MACOSX/Letters .fseventsd .Spotlight-V100/Store-V2 .TemporaryItems/folders.501 \
  .Trashes/501 "$recycled" 'System Volume Information' Music/.AppleDouble
printf 'photo' | tee DCIM/100CAM/DSC0001.JPG DCIM/100CAM/DSC0002.JPG >/dev/null
printf 'song' >'Music/01 Song.mp3'
printf 'font' >Fonts/Display.ttf
printf 'page' >Fonts/Poster.indd
printf 'letter' >'Archive/Letter to Ana.txt'
printf '\0\005\026\007litter' | tee DCIM/100CAM/._DSC0001.JPG 'Music/._01 Song.mp3' ._DCIM \
  'Archive/__MACOSX/Letters/._Letter to Ana.txt' Fonts/._Display.ttf Fonts/._Poster.indd >/dev/null
printf 'litter' | tee .DS_Store DCIM/.DS_Store .apdisk .VolumeIcon.icns DCIM/100CAM/Thumbs.db Music/desktop.ini \
  'Music/.AppleDouble/01 Song.mp3' .fseventsd/0000000000000001 .Spotlight-V100/Store-V2/store.db \
  .TemporaryItems/folders.501/draft .Trashes/501/old.jpg "$recycled/desktop.ini" \
  'System Volume Information/IndexerVolumeGuid' >/dev/null
cd /

export HOME=$work/home
echo
echo "\$ varnel clean $work/disk"
if [ -t 0 ] && [ -t 2 ]; then
  "$varnel" clean "$work/disk" || [ $? -eq 1 ] # who declines sees the rest all the same
else
  # Nobody is there to answer: a terminal of our own says yes. It goes through a shell, which must not read our paths.
  export varnel work
  # shellcheck disable=SC2016 # for that shell to expand
  SHELL=/bin/sh script -E never -qec 'exec "$varnel" clean "$work/disk"' /dev/null <<<y | tr -d '\r'
fi
echo
echo "\$ varnel log -n 40"
"$varnel" log -n 40
echo
echo "What survived:"
(cd "$work/disk" && find . -type f | sort | sed 's/^/  /')
