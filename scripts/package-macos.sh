#!/usr/bin/env bash
# Makes build/package/Varnel-VERSION.dmg for other people's Macs: builds for both processors, signs, has it notarised,
# and wraps it in a disk image. For a Mac with Xcode's tools; nobody has run it yet.
#   scripts/package-macos.sh 'Developer ID Application: NAME (TEAM)' NOTARY-PROFILE
# NOTARY-PROFILE is what `xcrun notarytool store-credentials` was told to call the credentials.
set -euo pipefail
cd "$(dirname "$0")/.."
if [ $# -ne 2 ]; then
  sed -n 's/^#   //p' "$0" >&2
  exit 2
fi
identity=$1 profile=$2
if [ "$(uname)" != Darwin ]; then
  echo "This makes a package of a Mac's own tools; run it on a Mac." >&2
  exit 1
fi

cmake --preset macos-universal
cmake --build --preset macos-universal
folder=$PWD/build/package
app=$folder/Varnel.app
rm -rf "$app"
mkdir -p "$folder"
ditto build/macos-universal/bin/Varnel.app "$app"

# From the inside out, because a signature covers what it encloses.
sign() { codesign --force --options runtime --timestamp --sign "$identity" "$@"; }
sign "$app/Contents/Helpers/varnel"
sign --entitlements packaging/macos/Varnel.entitlements "$app"
codesign --verify --deep --strict "$app"

# notarise FILE: waits for Apple's verdict. The tool counts any verdict as a success, "Invalid" as well.
notarise() {
  local answer id status
  answer=$(xcrun notarytool submit "$1" --keychain-profile "$profile" --wait --output-format plist)
  id=$(plutil -extract id raw -o - - <<<"$answer")
  status=$(plutil -extract status raw -o - - <<<"$answer")
  [ "$status" = Accepted ] && return
  xcrun notarytool log "$id" --keychain-profile "$profile" >&2 || true
  echo "$1 was not notarised: the verdict is \"$status\"." >&2
  exit 1
}

version=$(/usr/libexec/PlistBuddy -c 'Print CFBundleShortVersionString' "$app/Contents/Info.plist")
image=$folder/Varnel-$version.dmg
ditto -c -k --keepParent "$app" "$folder/Varnel.zip"
notarise "$folder/Varnel.zip"
xcrun stapler staple "$app"
rm -rf "$image" "$folder/image"
mkdir "$folder/image"
ditto "$app" "$folder/image/Varnel.app"
ln -s /Applications "$folder/image/Applications"
hdiutil create -volname Varnel -srcfolder "$folder/image" -format UDZO "$image"
sign "$image"
notarise "$image"
xcrun stapler staple "$image"
echo "$image"
