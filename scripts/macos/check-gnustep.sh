#!/usr/bin/env bash
# Builds the core with the macOS layer on GNUstep and runs its tests, under the address and undefined-behaviour
# sanitizers. Ends with what was skipped and "N passed, N failed", or with 77 where the machine has no GNUstep.
set -euo pipefail
cd "$(dirname "$0")/../.."
# shellcheck source=scripts/packages.sh
. scripts/packages.sh
install_packages "${packages_gnustep[@]}" || { echo "SKIPPED: GNUstep cannot be installed"; exit 77; }

# Left out, for they are about what macOS or GNUstep does not have:
without=(
  # bind mounts, which show neither as another device nor as a mount where the system does not know them
  Executor.LeavesMountsAlone
  TreeRemover.StopsAtMountsAndTakesTheRest
  DirectoryOpen.EntersNoMount
  FSInfoIsMountPoint.IsTrueForABindMountOfTheSameVolume
  Walker.LeavesOutOtherVolumesAndMountsInSilence
  # Linux's own protected folders
  PathGuard.AddsTheFoldersOfThisSystem
  # a home folder that follows HOME: Foundation asks the user database
  CleanFlowPath.IsStandardisedBeforeAnythingElse
  CleanFlowGuard.RefusesProtectedPathsBeforeAnythingIsRead
  # Linux's own disk service
  AppPorts.EjectAMountedVolume
  # a file-system event service
  'AppOnTheSystem\..*'
  # Foundation's reader of property lists, of which GNUstep has its own
  'PropertyListText\..*'
  DiskEject.TakesADeviceByAnyTextualName
)
readonly labels='^(unit|disk|macos|app)$'

# A display of its own for AppKit's application, on a number that is free.
exec {display}< <(exec Xvfb -displayfd 1 -screen 0 800x600x24 -nolisten tcp 2>/dev/null)
server=$!
trap 'kill "$server" 2>/dev/null' EXIT
read -r -t 20 -u "$display" number || { echo "no display could be made"; exit 1; }
export DISPLAY=":$number"

[ -f build/gnustep/build.ninja ] || cmake --preset gnustep >/dev/null
cmake --build --preset gnustep --target core_tests disk_tests macos_tests darwin_tests app_tests appkit_tests varnel_main \
  -- --quiet
for test in "${without[@]}"; do
  ctest --preset gnustep -N -L "$labels" -R "^($test)\$" | grep -qx 'Total Tests: [1-9][0-9]*' ||
    { echo "$test is left out, and there is no such test"; exit 1; }
done

readonly results=$PWD/build/gnustep/results.xml
rm -f "$results"
ctest --preset gnustep -j "$(nproc)" --timeout 120 --output-junit "$results" -L "$labels" \
  -E "$(IFS='|' && echo "^(${without[*]})\$")" | grep -vE '^ +Start +[0-9]|\.\.\. +Passed|^$|sec\*proc' || true
python3 scripts/summarize-tests.py "$results"
echo "left out: ${without[*]}"
