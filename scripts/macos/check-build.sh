#!/usr/bin/env bash
# Compiles and links everything of the macOS program for both processors, with warnings as errors, looks at what came
# out, and lets the analyzer follow the objects. Ends with 77 where the machine cannot get what that needs.
set -euo pipefail
cd "$(dirname "$0")/../.."
scripts/macos/make-sdk.sh
scripts/make-icns.py --check
cmake --preset macos-check >/dev/null
cmake --build --preset macos-check -- --quiet
oldest=$(sed -n 's/^CMAKE_OSX_DEPLOYMENT_TARGET:[A-Z]*=//p' build/macos-check/CMakeCache.txt)
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:[A-Z]*=//p' build/macos-check/CMakeCache.txt)
app=build/macos-check/bin/Varnel.app
scripts/macos/check-binary.py "$app/Contents/Helpers/varnel" "$oldest"
scripts/macos/check-binary.py "$app/Contents/MacOS/Varnel" "$oldest"
scripts/macos/check-bundle.py "$app" "$version" "$oldest"
scripts/macos/analyze.py build/macos-check
