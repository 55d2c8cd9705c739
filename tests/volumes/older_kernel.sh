#!/usr/bin/env bash
# Runs tests that depend on the kernel under the one of user-mode Linux, which is Debian's own 6.1 and has drivers that
# machines for building often lack: FAT and HFS of the kernel. The system inside is this one, read-only, with its
# temporary folders in memory and the programs where they were built.
#   older_kernel.sh FOLDER-OF-PROGRAMS
set -euo pipefail
programs=$(realpath "$1")
skip() { echo "SKIPPED: $1"; exit 77; }
for needed in linux.uml hformat mkfs.vfat modprobe; do
  PATH=$PATH:/usr/sbin:/sbin command -v "$needed" >/dev/null || skip "needs $needed"
done

work=$(mktemp -d /tmp/varnel-kernel.XXXXXX)
trap 'rm -rf "$work"' EXIT

# The first program inside: prepares the system, runs the tests, tells the status and ends it.
cat >"$work/init" <<INIT
#!/bin/bash
export PATH=/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin HOME=/tmp/home LC_ALL=C.UTF-8
mount -t proc proc /proc
mount -t sysfs sys /sys
cp "$work/tests" /dev/tests
mkdir /dev/programs
mount --bind "$programs" /dev/programs
for folder in /tmp /run; do mount -t tmpfs tmpfs \$folder; done
mkdir -p "$programs"
mount --bind /dev/programs "$programs"
mkdir -p /tmp/home /tmp/modules/lib/modules
ln -s "/usr/lib/uml/modules/\$(uname -r)" "/tmp/modules/lib/modules/\$(uname -r)"
for module in vfat nls_cp437 nls_iso8859-1 nls_utf8 fuse loop hfs; do modprobe -q -d /tmp/modules \$module; done
echo BEGIN
bash /dev/tests </dev/null
echo "STATUS=\$?"
busybox halt -f
INIT
chmod +x "$work/init"

cat >"$work/tests" <<TESTS
set -eu
echo "kernel \$(uname -r)"
"$programs/volume_tests" --gtest_brief=1 --gtest_color=no --gtest_filter='SecondCard.*:MountsInside.*:MacFormats.*:EventStream.*:On/EventStreamContract.*:MountNotifications.*:*Remounts.*Before6_8:Watch.FollowsTheVolumes*:Watch.RemovesWhat*'
"$programs/disk_tests" --gtest_brief=1 --gtest_color=no --gtest_filter='Executor.*:ExecutorRace.*:TreeRemover.*:VolumeIdentity.*:Directory*:Watcher*:-*10000*'

# A card of the kernel's own FAT driver: litter goes, everything else stays as it was.
mkdir /tmp/card
truncate -s 40M /tmp/card.img
mkfs.vfat /tmp/card.img >/dev/null
mount -o loop,utf8 /tmp/card.img /tmp/card
mkdir -p /tmp/card/DCIM/100 "/tmp/card/System Volume Information" /tmp/card/__MACOSX/in
for file in DCIM/100/IMG_1.JPG DCIM/letter.txt ._Font.ttf; do echo "\$file" >"/tmp/card/\$file"; done
(cd /tmp/card && find . -type f -exec sha256sum {} + | sort) >/tmp/before
for file in ._DCIM DCIM/100/._IMG_1.JPG DCIM/.ds_store Thumbs.db __MACOSX/in/x; do echo x >"/tmp/card/\$file"; done
"$programs/varnel" clean --yes /tmp/card
(cd /tmp/card && find . -type f -exec sha256sum {} + | sort) >/tmp/after
diff /tmp/before /tmp/after
test ! -e /tmp/card/__MACOSX
test ! -e "/tmp/card/System Volume Information"
"$programs/varnel" scan /tmp/card | grep -qx '  nothing to clean'

# Two that clean one card at once, and one whose folder is still being filled.
unshare -m sh -c 'mount --bind /tmp/card /tmp && exec /dev/programs/disk_tests --gtest_brief=1 --gtest_color=no --gtest_filter=TreeRemover.Shares*:TreeRemover.RemovesAFolder*:ExecutorRace.Two*:VolumeIdentity.StaysWhileTheVolume*'

# A Mac's disk is left alone unless somebody says otherwise.
mkdir /tmp/mac
truncate -s 3M /tmp/mac.img
hformat -l Mac /tmp/mac.img >/dev/null
mount -t hfs -o loop /tmp/mac.img /tmp/mac
echo x >/tmp/mac/._x
if "$programs/varnel" clean --yes /tmp/mac; then exit 1; else test \$? = 3; fi
test -e /tmp/mac/._x
"$programs/varnel" clean --yes --mac-format /tmp/mac
test ! -e /tmp/mac/._x
TESTS

# Its console is a pipe; where it does not come to an end, it is ended.
timeout 900 linux.uml mem=768M root=/dev/root rootfstype=hostfs rootflags=/ ro init="$work/init" \
  con=null con0=null,fd:1 quiet </dev/null >"$work/log" 2>&1 || true
sed -n '/^BEGIN/,$p' "$work/log" | grep -vE '^(BEGIN|STATUS=|reboot:)' || true
status=$(sed -n 's/^STATUS=\([0-9]*\).*/\1/p' "$work/log" | tail -n 1)
if [ -z "$status" ]; then
  echo "the system inside did not come to an end; its last words:"
  tail -n 20 "$work/log"
  exit 1
fi
exit "$status"
