# shellcheck shell=bash
# shellcheck disable=SC2034 # the lists are for those that source this
# Sourced by the other scripts: what they need from Debian, and how it gets on the machine.

packages_build=(g++ cmake ninja-build ccache pkg-config libicu-dev nlohmann-json3-dev libasio-dev libmount-dev
  libsystemd-dev libcli11-dev libplist-dev qt6-base-dev qt6-svg-dev)
packages_package=(build-essential debhelper python3)
packages_volumes=(exfat-fuse exfatprogs fuse3 mount util-linux)
packages_test=(libgtest-dev libgmock-dev python3 procps clang-format-14 strace acl attr e2fsprogs xfsprogs btrfs-progs ntfs-3g
  bindfs squashfs-tools libfuse3-dev man-db dosfstools hfsutils user-mode-linux kmod busybox dbus-daemon dbus-bin
  python3-dbusmock udisks2 udev bash-completion zsh fish
  lintian shellcheck appstream desktop-file-utils logrotate xvfb openbox xdotool x11-utils imagemagick at-spi2-core trayer weston qt6-wayland qt6-gtk-platformtheme)
packages_clang=(clang-19 clang-tidy-19 libclang-rt-19-dev llvm-19)
packages_macos=(clang-19 lld-19 llvm-19 libc++-19-dev libc++abi-19-dev python3-clang-19 googletest librsvg2-bin)
command -v npm >/dev/null || packages_macos+=(npm)  # often there from elsewhere, in conflict with Debian's
packages_gnustep=(clang-19 libclang-rt-19-dev libgnustep-gui-dev libgnustep-base-dev gnustep-back0.29-cairo gobjc++-12
  libblocksruntime-dev xvfb)
packages_bench=(libbenchmark-dev bfs fd-find time python3 inotify-tools)

# install_packages NAME…: installs those that are missing; quick, and without the network, when none is.
install_packages() {
  local missing=() name
  for name in "$@"; do
    dpkg-query -W -f='${db:Status-Status}\n' "$name" 2>/dev/null | grep -qx installed || missing+=("$name")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  local root=()
  if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
      echo "These packages are missing and only root can install them: ${missing[*]}" >&2
      return 1
    fi
    root=(sudo)
  fi
  echo "installing: ${missing[*]}" >&2
  local install=("${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends)
  # The package lists may be missing or out of date; a source that does not answer is no reason to stop.
  "${install[@]}" "${missing[@]}" >/dev/null 2>&1 || {
    "${root[@]}" apt-get update -qq >/dev/null 2>&1 || true
    "${install[@]}" "${missing[@]}" >/dev/null
  }
}

# build PRESET: configures once, builds what is out of date.
build() {
  [ -f "build/$1/build.ninja" ] || cmake --preset "$1" >/dev/null
  cmake --build --preset "$1" -- --quiet >&2
}
