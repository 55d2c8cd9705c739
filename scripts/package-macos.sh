#!/usr/bin/env bash
# Makes build/package/Varnel-VERSION.dmg for other people's Macs: builds, adds the icon and the command line to the
# bundle, signs, has it notarised, and wraps it in a disk image. For a Mac with Xcode's tools; nobody has run it yet.
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

cmake --preset macos
cmake --build --preset macos
folder=$PWD/build/package
app=$folder/Varnel.app
rm -rf "$app" "$folder/icon"
mkdir -p "$folder/icon/Varnel.iconset"
ditto build/macos/bin/Varnel.app "$app"

# Quick Look draws the SVG once, at the largest size; the others are made from that.
qlmanage -t -s 1024 -o "$folder/icon" packaging/linux/icons/com.quorin.Varnel.svg >/dev/null
drawn=$folder/icon/com.quorin.Varnel.svg.png
for size in 16 32 128 256 512; do
  sips -z $size $size "$drawn" --out "$folder/icon/Varnel.iconset/icon_${size}x$size.png" >/dev/null
  sips -z $((2 * size)) $((2 * size)) "$drawn" --out "$folder/icon/Varnel.iconset/icon_${size}x$size@2x.png" >/dev/null
done
mkdir -p "$app/Contents/Resources" "$app/Contents/Helpers"
iconutil --convert icns --output "$app/Contents/Resources/Varnel.icns" "$folder/icon/Varnel.iconset"

# Not beside the application's program: on most Macs "Varnel" and "varnel" are one name.
cp build/macos/bin/varnel "$app/Contents/Helpers/varnel"

# From the inside out, because a signature covers what it encloses.
sign() { codesign --force --options runtime --timestamp --sign "$identity" "$@"; }
sign "$app/Contents/Helpers/varnel"
sign --entitlements packaging/macos/Varnel.entitlements "$app"
codesign --verify --deep --strict "$app"

version=$(/usr/libexec/PlistBuddy -c 'Print CFBundleShortVersionString' "$app/Contents/Info.plist")
image=$folder/Varnel-$version.dmg
ditto -c -k --keepParent "$app" "$folder/Varnel.zip"
xcrun notarytool submit "$folder/Varnel.zip" --keychain-profile "$profile" --wait
xcrun stapler staple "$app"
rm -rf "$image" "$folder/image"
mkdir "$folder/image"
ditto "$app" "$folder/image/Varnel.app"
ln -s /Applications "$folder/image/Applications"
hdiutil create -volname Varnel -srcfolder "$folder/image" -format UDZO "$image"
sign "$image"
xcrun notarytool submit "$image" --keychain-profile "$profile" --wait
xcrun stapler staple "$image"
echo "$image"
