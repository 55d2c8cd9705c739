#!/usr/bin/env bash
# Measures varnel against other tools and a bare loop, side by side, and prints ratios. Nothing stays behind.
#   scripts/bench.sh [--quick] [--entries N] [--rounds N]
set -euo pipefail
cd "$(dirname "$0")/.."
self=$PWD/scripts/bench.sh
# shellcheck source=scripts/packages.sh
. scripts/packages.sh

entries=1000000
removals=100000
rounds=9
watch=()
while [ $# -gt 0 ]; do
  case $1 in
    --quick) entries=100000 removals=20000 rounds=5 ;;
    --entries) entries=$2; shift ;;
    --rounds) rounds=$2; shift ;;
    *) echo "usage: scripts/bench.sh [--quick] [--entries N] [--rounds N]" >&2; exit 2 ;;
  esac
  shift
done

install_packages "${packages_build[@]}" "${packages_volumes[@]}" "${packages_bench[@]}" strace
build bench
if [ "$(id -u)" -eq 0 ] && [ -z "${VARNEL_BENCH_NAMESPACE:-}" ] && unshare -m true 2>/dev/null; then
  VARNEL_BENCH_NAMESPACE=1 exec unshare -m --propagation private "$self" --entries "$entries" --rounds "$rounds"
fi
[ "$entries" -ge 1000000 ] || removals=20000 watch=(--quick)

varnel=$PWD/build/bench/bin/varnel
bare=$PWD/build/bench/bin/bare_scan
work=$(mktemp -d /tmp/varnel-bench.XXXXXX)
clean_up() {
  cd /
  ! mountpoint -q "$work/exfat" || umount "$work/exfat"
  rm -rf "$work"
}
trap clean_up EXIT
trap 'exit 130' HUP INT TERM
export HOME=$work/home
mkdir "$HOME"

# shellcheck disable=SC2016 # the dollar sign is the name's own, here and below
folders='-iname .DS_Store -o -iname .AppleDouble -o -iname __MACOSX -o -iname .fseventsd -o -iname .Spotlight-V100
  -o -iname .TemporaryItems -o -iname .Trashes -o -iname "\$Recycle.bin" -o -iname "System Volume Information"'
files='-iname .DS_Store -o -iname .apdisk -o -iname .VolumeIcon.icns -o -iname Thumbs.db -o -iname desktop.ini
  -o -name "._*" ! -iname "*.ttf" ! -iname "*.otf" ! -iname "*.ttc" ! -iname "*.dfont" ! -iname "*.eps" ! -iname "*.ps"
  ! -iname "*.ai" ! -iname "*.indd" ! -iname "*.qxd"'
# The same question in other words: litter folders are named and not entered, other litter is named.
question="-mindepth 1 \\( -type d \\( $folders \\) -print -prune \\) -o \\( ! -type d \\( $files \\) -print \\)"
with_lengths="-printf '%s %p\\\\n'"
# shellcheck disable=SC2016
pattern='^(\._.*|\.DS_Store|\.apdisk|\.VolumeIcon\.icns|Thumbs\.db|desktop\.ini|\.AppleDouble|__MACOSX|\.fseventsd|\.Spotlight-V100|\.TemporaryItems|\.Trashes|\$Recycle\.bin|System Volume Information)$'
one_line() { printf '%s' "$1" | tr '\n' ' '; }

scans() { # scans ROOT MANIFEST PAUSE: before each run, PAUSE seconds pass
  python3 bench/make_tree.py check "$1" "$2" --state made >/dev/null
  (cd / && sh -c "exec find '$1' $(one_line "$question")") >"$work/found"
  python3 bench/make_tree.py check "$1" "$2" --claimed "$work/found" | sed 's/^/find and the manifest: /'
  "$varnel" scan --json "$1" |
    python3 -c 'import json,sys; [print(i["path"]) for i in json.load(sys.stdin)["items"]]' >"$work/claimed"
  python3 bench/make_tree.py check "$1" "$2" --claimed "$work/claimed" | sed 's/^/varnel and the manifest: /'
  python3 bench/side_by_side.py --rounds "$rounds" --before "sleep $3" "bare=$bare '$1'" \
    "varnel=$varnel scan --samples 0 '$1'" "find=find '$1' $(one_line "$question")" "bfs=bfs '$1' $(one_line "$question")" \
    "bfs with lengths=bfs '$1' $(one_line "${question//-print /$with_lengths }")" \
    "fd -j1=fdfind -j1 -u -i --no-ignore '$pattern' '$1'"
}

echo "== scan, $entries entries on $(stat -f -c %T "$work"), warm"
python3 bench/make_tree.py make "$work/tree" --entries "$entries" --manifest "$work/tree.json"
scans "$work/tree" "$work/tree.json" 0

echo
echo "== system calls of that scan"
strace -f -c -o "$work/calls" "$varnel" scan --samples 0 "$work/tree" >/dev/null
head -8 "$work/calls"
printf 'folders: %d, litter that is no folder: %d\n' "$(find "$work/tree" -type d | wc -l)" \
  "$(python3 -c 'import json,sys; print(sum(not c[2] for c in json.load(open(sys.argv[1]))["claimed"]))' "$work/tree.json")"

if [ -n "${VARNEL_BENCH_NAMESPACE:-}" ] && [ -c /dev/fuse ]; then
  echo
  echo "== scan, 50000 entries on an exFAT image through FUSE, warm"
  truncate -s 4G "$work/exfat.img"
  mkfs.exfat "$work/exfat.img" >/dev/null 2>&1
  mkdir "$work/exfat"
  loop=$(losetup -f --show "$work/exfat.img")
  mount.exfat-fuse "$loop" "$work/exfat" >/dev/null 2>&1
  losetup -d "$loop"
  python3 bench/make_tree.py make "$work/exfat/tree" --entries 50000 --profile fat --manifest "$work/exfat.json"
  # FUSE remembers names and facts for a second: without the pause each command profits from the one before it.
  scans "$work/exfat/tree" "$work/exfat.json" 1.2
  umount "$work/exfat"
else
  echo "== no scan of an exFAT image: only root may mount one"
fi

echo
echo "== clean, $removals entries, the litter made anew before every run"
rm -rf "$work/tree"
python3 bench/make_tree.py make "$work/tree" --entries "$removals" --manifest "$work/tree.json"
python3 -c 'import json,sys; print(*("tree/" + c[0] for c in json.load(open(sys.argv[1]))["claimed"]), sep="\0", end="")' \
  "$work/tree.json" >"$work/litter"
tar -C "$work" --null -T "$work/litter" -cf "$work/litter.tar"
# shellcheck disable=SC2016
names='\.AppleDouble|__MACOSX|\.fseventsd|\.Spotlight-V100|\.TemporaryItems|\.Trashes|\$Recycle\.bin|System Volume Information|\.DS_Store'
# -delete lists a folder's contents first, so it cannot prune: what lies in a litter folder must be named as well.
delete="-regextype posix-extended -mindepth 1 \\( -iregex '.*/($names)/.*' -o -type d \\( $folders \\) -o ! -type d \\( $files \\) \\) -delete"
remove="-mindepth 1 \\( -type d \\( $folders \\) -prune -o ! -type d \\( $files \\) \\) -exec rm -rf {} +"
sh -c "exec find '$work/tree' $(one_line "$delete")"
python3 bench/make_tree.py check "$work/tree" "$work/tree.json" --state cleaned | sed 's/^/find -delete and the manifest: /'
tar -C "$work" -xf "$work/litter.tar"
sh -c "exec bfs '$work/tree' $(one_line "$remove")"
python3 bench/make_tree.py check "$work/tree" "$work/tree.json" --state cleaned | sed 's/^/bfs -exec rm and the manifest: /'
python3 bench/side_by_side.py --rounds "$rounds" --before "tar -C '$work' -xf '$work/litter.tar'" \
  "find -delete=find '$work/tree' $(one_line "$delete")" "find -exec rm=find '$work/tree' $(one_line "$remove")" \
  "bfs -exec rm=bfs '$work/tree' $(one_line "$remove")" \
  "rm of a ready list=env -C '$work' xargs -0 -a litter rm -rf" "varnel=$varnel clean --yes --samples 0 '$work/tree'"
python3 bench/make_tree.py check "$work/tree" "$work/tree.json" --state cleaned | sed 's/^/varnel and the manifest: /'

echo
echo "== matching by itself"
build/bench/bin/matching_bench --benchmark_min_time=0.1 2>/dev/null

scripts/bench-watch.sh "${watch[@]}"
