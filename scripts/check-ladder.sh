#!/usr/bin/env bash
# Plants faults in a copy of the macOS layer, one at a time, and sees that the rung of the ladder that should find each
# one does. A rung that finds nothing proves nothing. Takes some twenty minutes.
#   scripts/check-ladder.sh [WORD…]   plants those whose names hold one of the words, or all
#   scripts/check-ladder.sh --fit     plants none, and sees at once whether each still fits its file
set -euo pipefail
cd "$(dirname "$0")/.."
isFitting=
if [ "${1:-}" = --fit ]; then
  isFitting=1
  shift
fi
readonly words=("$@") copy=build/ladder
found=0 missed=()

# The rungs: each ends with 0 where it finds nothing, and with 90 where it could not look.
readonly blind=90
interfaces() { scripts/macos/make-sdk.sh; }
compiler() {
  scripts/macos/make-sdk.sh && cmake --preset macos-check && cmake --build --preset macos-check -- --quiet
}
binary() {
  compiler || return $blind
  scripts/macos/check-binary.py build/macos-check/bin/varnel 13.0
}
bundle() {
  rm -rf build/macos-check/bin/Varnel.app  # what an earlier build put there must not pass for this one's
  compiler || return $blind
  scripts/macos/check-bundle.py build/macos-check/bin/Varnel.app 0.1.0 13.0
}
analyzer() {
  compiler || return $blind
  scripts/macos/analyze.py build/macos-check
}
# built TARGET…: for GNUstep, under the sanitizers. What does not compile there shows nothing of a run.
built() { cmake --preset gnustep && cmake --build --preset gnustep --target "$@" -- --quiet; }
gnustep() {
  built macos_tests core_tests || return $blind
  timeout 120 build/gnustep/bin/macos_tests &&
    timeout 120 build/gnustep/bin/core_tests --gtest_filter='SerialQueue*'
}
darwin() {
  built darwin_tests || return $blind
  timeout 120 build/gnustep/bin/darwin_tests
}
desktop() {
  built appkit_tests || return $blind
  timeout 120 build/gnustep/bin/appkit_tests
}
life() {
  built varnel_main || return $blind
  tests/macos/check_life.py build/gnustep/bin/varnel_main tests/data/macos/life.txt build/gnustep/pictures
}
pools() {
  gnustep || return $blind
  ! grep -q 'without pool' ladder.log
}

# look RUNG: its status; what it says goes to ladder.log.
look() {
  local status=0
  (set +e; "$1") >ladder.log 2>&1 || status=$?
  [ $status -ne 77 ] || status=$blind
  return $status
}

# ready: makes the copy that the faults are planted in, goes there, and sees that no rung finds anything yet.
ready() {
  # shellcheck source=scripts/packages.sh
  . scripts/packages.sh
  install_packages "${packages_build[@]}" "${packages_test[@]}" "${packages_macos[@]}" "${packages_gnustep[@]}"
  scripts/macos/make-sdk.sh

  export ASAN_OPTIONS=detect_leaks=0                # GNUstep's runtime leaks as it begins
  export NSZombieEnabled=YES CRASH_ON_ZOMBIE=YES  # whoever speaks to an object that is gone, ends

  mkdir -p "$copy/build"
  # Only what differs is copied, with today's date: what a fault left behind in the build must not look up to date.
  git ls-files --cached --others --exclude-standard | sort >"$copy/files"
  (cd "$copy" && find . -path ./build -prune -o -type f ! -name files -printf '%P\n' | sort | comm -13 files - |
    xargs -r -d '\n' rm)
  while read -r file; do
    cmp -s "$file" "$copy/$file" || { mkdir -p "$copy/$(dirname "$file")" && cp "$file" "$copy/$file"; }
  done <"$copy/files"
  rm -rf "$copy/build/macos"
  cp -r --reflink=auto build/macos "$copy/build/"
  cd "$copy"

  # A display of its own for AppKit's application.
  exec {display}< <(exec Xvfb -displayfd 1 -screen 0 800x600x24 -nolisten tcp 2>/dev/null)
  server=$!
  trap 'kill "$server" 2>/dev/null' EXIT
  read -r -t 20 -u "$display" number || { echo "no display could be made"; exit 1; }
  export DISPLAY=":$number"

  local rung
  for rung in binary bundle analyzer pools darwin desktop life; do
    look "$rung" || { cat ladder.log; echo "the rung $rung fails without any fault"; exit 1; }
  done
}

# plant FILE OLD NEW: the first OLD in FILE becomes NEW.
plant() {
  python3 - "$@" <<'PYTHON'
import sys
path, old, new = sys.argv[1:]
with open(path, encoding="utf-8") as text:
    source = text.read()
with open(path, "w", encoding="utf-8") as text:
    text.write(source.replace(old, new, 1))
PYTHON
}

# fault NAME RUNG FILE OLD NEW: plants it, and sees that RUNG finds it.
fault() {
  local name=$1 rung=$2 file=$3
  if [ ${#words[@]} -gt 0 ] && ! grep -qFf <(printf '%s\n' "${words[@]}") <<<"$name"; then return; fi
  if [[ "$(<"$file")" != *"$4"* ]]; then
    missed+=("$name")
    echo "NO FIT  $rung  $name: $file does not hold $4"
    return
  fi
  if [ -n "$isFitting" ]; then
    found=$((found + 1))
    return
  fi
  cp -p "$file" planted.before
  plant "$file" "$4" "$5"
  local status=0
  look "$rung" || status=$?
  case $status in
    0)
      missed+=("$name")
      echo "MISSED  $rung  $name"
      ;;
    "$blind")
      missed+=("$name")
      echo "BLIND   $rung  $name"
      tail -5 ladder.log
      ;;
    *)
      found=$((found + 1))
      echo "found   $rung  $name"
      ;;
  esac
  mv planted.before "$file"
  touch "$file"
}

[ -n "$isFitting" ] || ready

readonly layer=platform/macos frameworks=scripts/macos/sdk/frameworks

fault 'a selector that macOS does not have' interfaces $frameworks/Foundation.h \
  '- (NSString*)stringByStandardizingPath;' '- (NSString*)stringByStandardisingPath;'
fault 'a selector of another class' interfaces $frameworks/Foundation.h \
  '- (BOOL)boolValue;' '- (BOOL)boolValue; - (NSUInteger)addObject:(id)object;'
fault 'a result of another type' interfaces $frameworks/Foundation.h '- (NSUInteger)length;' '- (double)length;'
fault 'an argument of another class' interfaces $frameworks/Foundation.h \
  'fileURLWithPath:(NSString*)path' 'fileURLWithPath:(NSURL*)path'
fault 'a constant of another value' interfaces $frameworks/CoreServices.h 'FileEvents = 0x10' 'FileEvents = 0x20'
fault 'a class that macOS does not have' interfaces $frameworks/Foundation.h \
  '@interface NSNumber : NSObject' '@interface NSFigure : NSObject'
fault 'an interface of unknown age' interfaces $frameworks/CoreServices.h \
  'void FSEventStreamStop(FSEventStreamRef stream) API_AVAILABLE(macos(10.5));' \
  'void FSEventStreamStop(FSEventStreamRef stream);'

fault 'a misspelt selector' compiler $layer/MountNotifications.mm 'removeObserver:' 'removeObservers:'
fault 'a selector that only GNUstep has' compiler $layer/Unicode.mm 'lowercaseString]' 'stringByTrimmingSpaces]'
fault 'a selector that nothing else here uses' compiler $layer/Unicode.mm 'lowercaseString]' 'uppercaseString]'
fault 'an object of the wrong class' compiler $layer/MountedVolumes.mm \
  'fileURLWithPath:string(path)' 'fileURLWithPath:resourceKeys()'
fault 'nil where none is allowed' compiler $layer/MountedVolumes.mm 'fileURLWithPath:string(path)' 'fileURLWithPath:nil'
fault 'a framework that is not included' compiler $layer/EventStream.mm '#import <CoreServices/CoreServices.h>' ''
fault 'an interface that the oldest system lacks' compiler $frameworks/Foundation.h \
  'localizedStandardCompare:(NSString*)string API_AVAILABLE(macos(10.6))' \
  'localizedStandardCompare:(NSString*)string API_AVAILABLE(macos(14.0))'
fault 'a library function that the oldest system lacks' compiler $layer/SystemLog.cpp '#include <string>' \
  '#include <charconv>
#include <string>
inline void late(char* text) { std::to_chars(text, text + 20, 1.5); }'
fault 'a format that does not fit' compiler $layer/SystemLog.cpp '%{public}s' '%{public}d'
fault 'a block of the wrong kind' compiler $layer/MountNotifications.mm '^(NSNotification*)' '^(int)'
fault 'a callback of the wrong kind' compiler $layer/EventStream.mm 'std::size_t count, void*' 'int count, void*'
fault 'a number that does not fit' compiler $layer/EventStream.mm 'static_cast<std::int64_t>(count)' 'count'
fault 'a port without a definition' compiler $layer/CMakeLists.txt '  SystemLog.cpp
' ''

fault 'a flag that the service knows by another number' compiler core/watcher/EventStream.h 'mount = 0x40' 'mount = 0x20'

fault 'a program for one processor' binary CMakePresets.json '"arm64;x86_64"' '"arm64"'
fault 'a program for new systems alone' binary CMakePresets.json '"13.0"' '"14.0"'
fault 'a search path' binary $layer/CMakeLists.txt 'PRIVATE objc)' 'PRIVATE objc "-Wl,-rpath,/opt/lib")'

fault 'an object that leaks' analyzer $layer/MountedVolumes.mm \
  '[NSURL fileURLWithPath:string(path)]' '[[NSURL fileURLWithPath:string(path)] retain]'
fault 'an object released too often' analyzer $layer/MountedVolumes.mm \
  'if (values == nil) return std::nullopt;' 'if (values == nil) return std::nullopt; [values release];'

fault 'a stream that is not invalidated' gnustep $layer/EventStream.mm 'FSEventStreamInvalidate(stream_);' ''
fault 'a stream that is not released' gnustep $layer/EventStream.mm \
  'if (isCreated()) FSEventStreamRelease(stream_);' ''
fault 'a stream without events for files' gnustep $layer/EventStream.mm 'request.flags);' 'request.flags & 0x7U);'
fault 'a stream from the beginning of time' gnustep $layer/EventStream.mm 'request.since' '0'
fault 'a stream on no queue' gnustep $layer/EventStream.mm \
  'FSEventStreamSetDispatchQueue(stream_, static_cast<DispatchQueue&>(*queue_).native());' ''
fault 'paths that are no text' gnustep $layer/EventStream.mm \
  'if ([path isKindOfClass:[NSString class]])' 'if (path != nil)'
fault 'mounts taken for unmounts' gnustep $layer/MountNotifications.mm 'kind == Kind::didMount' 'kind != Kind::didMount'
fault 'observers that outlive their owner' gnustep $layer/MountNotifications.mm \
  'for (const auto& [token, observer] : observers_)' 'for (const auto& [token, observer] : decltype(observers_)())'
fault 'observers that stay after removal' gnustep $layer/MountNotifications.mm 'removeFromCenter(found->second);' ''
fault 'an observer that is not kept' gnustep $layer/ObjectiveC.h 'object_([object retain])' 'object_(object)'
fault 'hidden volumes' gnustep $layer/MountedVolumes.mm 'NSVolumeEnumerationSkipHiddenVolumes' '0'
fault 'a key too few' gnustep $layer/MountedVolumes.mm ', NSURLVolumeIsInternalKey ]' ' ]'
fault 'one key for another' gnustep $layer/MountedVolumes.mm \
  'flag(values, NSURLVolumeIsRemovableKey)' 'flag(values, NSURLVolumeIsInternalKey)'
fault 'a message that is hidden' gnustep $layer/SystemLog.cpp '%{public}s' '%{private}s'
fault 'a log of another name' gnustep $layer/SystemLog.cpp '"clean"' '"default"'
fault 'a queue that waits for itself' gnustep $layer/SerialQueue.cpp \
  'if (!isCurrent()) dispatch_sync_f' 'dispatch_sync_f'
fault 'a queue released twice' gnustep $layer/SerialQueue.cpp \
  'dispatch_release(queue_);' 'dispatch_release(queue_); dispatch_release(queue_);'
fault 'work that outlives the queue' gnustep $layer/SerialQueue.cpp 'dropped.swap(waiting_->works);' ''
fault 'cancelled work' gnustep $layer/SerialQueue.cpp 'if (!later->handle->isCancelled()) ' ''
fault 'a mount that is entered' gnustep platform/posix/Stepwise.cpp \
  'if (!here->isOnSameMount(*above)) return std::unexpected(EXDEV);' ''
fault 'a link that is followed' gnustep $layer/Directory.cpp 'O_DIRECTORY | O_NOFOLLOW |' 'O_DIRECTORY |'
fault 'a folder that fails like a file' gnustep $layer/RemovalFailure.cpp 'if (!isFolder) ' 'if (!isFolder || error != 0) '
fault 'a line end counted twice' gnustep $layer/Unicode.mm '++range.length' 'range.length += 0'
fault 'a slash that stays' gnustep $layer/Path.mm 'return standardized(text, ' 'if (!text.empty()) return text; return standardized(text, '
fault 'objects without a pool' pools $layer/MountedVolumes.mm '        @autoreleasepool {
            NSArray<NSURL*>*' '        {
            NSArray<NSURL*>*'

fault 'a share that is known by what its server tells' darwin $layer/VolumeIdentity.cpp \
  'if ((system.f_flags & MNT_LOCAL) == 0) return identity;' ''
fault 'a folder taken for a volume' darwin $layer/VolumeIdentity.cpp 'identity.born = root.' 'identity.born = status.'
fault 'two cards taken for one' darwin $layer/VolumeIdentity.cpp 'ATTR_VOL_INFO | ATTR_VOL_UUID' 'ATTR_VOL_INFO'

readonly appkit=app/appkit plist=packaging/macos/Info.plist.in

fault 'a misspelt action' compiler $appkit/MenuDrawing.mm '@selector(chooseFolder:)' '@selector(choosFolder:)'
fault 'an action that nobody answers' compiler $appkit/ApplicationDelegate.mm '- (void)showLog:' '- (void)showLogs:'
fault 'a setting of the wrong kind' compiler $appkit/AppKitDesktop.mm 'setBool:value forKey:string(key)' 'setBool:value forKey:key'
fault 'a format that does not fit a string' compiler $appkit/AppKitDesktop.mm '@"%@"' '@"%d"'
fault 'an error of the wrong class' compiler $appkit/AppKitDesktop.mm 'NSError* error = nil' 'NSString* error = nil'

fault 'a misspelt delegate method' bundle $appkit/ApplicationDelegate.mm '- (void)menuNeedsUpdate:' '- (void)menuNeedUpdate:'
fault 'a service that nobody answers' bundle $plist 'cleanUsingVarnel<' 'cleanWithVarnel<'
fault 'a place in the Dock' bundle $plist '<key>LSUIElement</key>' '<key>LSUIElements</key>'
# shellcheck disable=SC2016 # CMake's and Xcode's own notation
fault 'a variable that is not filled in' bundle $plist '${CMAKE_OSX_DEPLOYMENT_TARGET}' '$(DEPLOYMENT_TARGET)'
fault 'a disk that may not be asked for' bundle $plist \
  'NSRemovableVolumesUsageDescription' 'NSRemovableVolumeUsageDescription'

fault 'an application that never hears of its launch' bundle $appkit/ApplicationDelegate.mm \
  '- (void)applicationDidFinishLaunching:' '- (void)applicationDidFinishedLaunching:'
fault 'an application that never hears of its end' bundle $appkit/ApplicationDelegate.mm \
  '- (void)applicationWillTerminate:' '- (void)applicationWilTerminate:'
fault 'an icon that is not there' bundle $plist '<key>CFBundleIconFile</key>
	<string>Varnel<' '<key>CFBundleIconFile</key>
	<string>Icon<'
# shellcheck disable=SC2016 # CMake's own notation
fault 'a command line that is not inside' bundle $appkit/CMakeLists.txt '${HELPERS}/varnel)' '${HELPERS}/tool)'

fault 'an alert that leaks' analyzer $appkit/AppKitDesktop.mm \
  '[[[NSAlert alloc] init] autorelease]' '[[NSAlert alloc] init]'
fault 'an entry released too often' analyzer $appkit/MenuDrawing.mm \
  '[menu addItem:drawn(entry, target)];' '{ NSMenuItem* const one = drawn(entry, target); [menu addItem:one]; [one release]; }'

fault 'a status item that is not kept' desktop $appkit/AppKitDesktop.mm 'statusItem_.emplace(shown);' ''
fault 'a menu without its delegate' desktop $appkit/AppKitDesktop.mm '[menu setDelegate:delegate_];' ''
fault 'a menu that enables what it likes' desktop $appkit/AppKitDesktop.mm '[menu setAutoenablesItems:NO];' ''
fault 'an image that is no template' desktop $appkit/AppKitDesktop.mm '[image setTemplate:item.isTemplate];' ''
fault 'an entry without its path' desktop $appkit/MenuDrawing.mm \
  'if (entry.representedObject) [item' 'if (entry.representedObject && entry.submenu.size() > 9) [item'
fault 'an entry without its target' desktop $appkit/MenuDrawing.mm 'if (entry.action) [item setTarget:target];' ''
fault 'one command for another' desktop $appkit/MenuDrawing.mm \
  'return @selector(scanVolume:);' 'return @selector(cleanVolume:);'
fault 'a check mark on everything' desktop $appkit/MenuDrawing.mm \
  '== MenuItem::CheckState::on ?' '!= MenuItem::CheckState::on ?'
fault 'a menu that grows' desktop $appkit/MenuDrawing.mm '[menu removeAllItems];' ''
fault 'buttons from right to left' desktop $appkit/AppKitDesktop.mm \
  'for (const std::string& button : alert.buttons)
            [panel addButtonWithTitle:string(button)];' \
  'for (auto button = alert.buttons.rbegin(); button != alert.buttons.rend(); ++button)
            [panel addButtonWithTitle:string(*button)];'
fault 'an alert behind other windows' desktop $appkit/AppKitDesktop.mm 'bringToFront();
        return' 'return'
fault 'any answer taken for yes' desktop $appkit/AppKitDesktop.mm '== NSAlertFirstButtonReturn' '>= NSAlertFirstButtonReturn'
fault 'a report of another size' desktop $appkit/AppKitDesktop.mm '520, 240' '520, 24'
fault 'a report that can be edited' desktop $appkit/AppKitDesktop.mm '[view setEditable:NO];' ''
fault 'a warning that is none' desktop $appkit/AppKitDesktop.mm \
  'if (alert.style == Alert::Style::warning)' 'if (alert.style != Alert::Style::warning)'
fault 'a panel that cannot be cancelled' desktop $appkit/AppKitDesktop.mm \
  '[shown runModal] != NSModalResponseOK ||' '[shown runModal] == NSModalResponseStop ||'
fault 'a setting that is always there' desktop $appkit/AppKitDesktop.mm '== nil) return std::nullopt;
        return [defaults' '== defaults) return std::nullopt;
        return [defaults'
fault 'approval taken for consent' desktop $appkit/AppKitDesktop.mm \
  '== SMAppServiceStatusEnabled' '>= SMAppServiceStatusEnabled'
fault 'registration the wrong way round' desktop $appkit/AppKitDesktop.mm 'if (opens ? ' 'if (!opens ? '
fault 'work on the wrong thread' desktop $appkit/AppKitDesktop.mm \
  'dispatch_get_global_queue(QOS_CLASS_USER_INITIATED, 0)' 'dispatch_get_main_queue()'
fault 'a file that is known by its number alone' desktop $appkit/AppKitDesktop.mm \
  '[[[NSURL URLWithString:string(url)] filePathURL] path]' '[[NSURL URLWithString:string(url)] path]'
fault 'a launch that does not miss its log' desktop app/AppDelegate.cpp \
  'desktop_->writeToConsole("Varnel: log unavailable");' ''
fault 'a service of the wrong form' desktop $appkit/ApplicationDelegate.mm '[self cleanUsingVarnel:pasteboard];' ''
fault 'names that are no texts' desktop $appkit/ApplicationDelegate.mm 'if (!one) return std::nullopt;' 'if (!one) continue;'
fault 'an end that never comes' desktop $appkit/ApplicationDelegate.mm '::_exit(0);' ''

fault 'a launch that nobody hears of' life $appkit/main.mm '[application setDelegate:forwarder];' ''
fault 'a desktop without its delegate' life $appkit/main.mm 'desktop->setDelegate(forwarder);' ''
fault 'an icon in the Dock' life $appkit/main.mm \
  '[application setActivationPolicy:NSApplicationActivationPolicyAccessory];' ''
fault 'a volume that is kept in use' life $appkit/main.mm '::chdir("/")' '::chdir("/tmp")'
fault 'a pipe that ends it' life $appkit/main.mm '::signal(SIGPIPE, SIG_IGN);' ''
fault 'a stream with another flag' life core/watcher/Watcher.cpp \
  'request.latency = latency_;' 'request.latency = latency_; request.flags = 0x13;'
fault 'a stream with another latency' life app/AppDelegate.cpp 'latency = 0.25' 'latency = 0.5'
fault 'a stream that ends the wrong way round' life core/watcher/Watcher.cpp 'stream_->stop();
        stream_->invalidate();' 'stream_->invalidate();
        stream_->stop();'
fault 'a queue of another name' life $layer/SerialQueue.cpp \
  'dispatch_queue_create(label.c_str(), ' 'dispatch_queue_create((label + "2").c_str(), '
fault 'another word in an alert' life app/CleanAlerts.cpp 'Nothing to clean' 'Nothing to do'
fault 'a picture of nothing' life tests/macos/gnustep/Pictures.mm '[window orderFront:nil];
    [window display];' ''

if [ -n "$isFitting" ]; then
  echo "$found fit, ${#missed[@]} do not"
else
  echo "$found found, ${#missed[@]} missed"
fi
[ ${#missed[@]} -eq 0 ]
