#!/usr/bin/env python3
"""Let `varnel watch` run while volumes are written to, moved about on, mounted and unmounted at random.

    soak.py VARNEL WORK [--minutes N] [--seed N]

Two watchers run: one over the visible volumes, one over a folder. A model knows every file that must stay. Time and
again, and in the end, all litter must be gone and everything of the model be there as it was made, on the volumes and
beside them. In the end memory must have stayed flat, but for the paths that the loop guard remembers by design,
descriptors and threads must be as many as in the beginning, and no watcher may wake up while nothing happens. Runs as
root in a mount namespace of its own; scripts/soak.sh sees to that.
"""

import argparse
import os
import random
import re
import shutil
import signal
import statistics
import subprocess
import sys
import time

LITTER_FILES = ["._%s", "._%s.jpg", "._%s \u00e9"]
NEAR_MISSES = ["_.%s", "%s.DS_Store", "._%s.ttf", "x._%s", "Thumbs.db.%s", "%s.txt", "%s \u00e9"]
ONCE_PER_FOLDER = [".DS_Store", "Thumbs.db", "desktop.ini", ".apdisk", ".VolumeIcon.icns"]
LITTER_FOLDERS = ["__MACOSX", ".AppleDouble"]
ON_DEMAND_ONLY = [".Trashes", ".Spotlight-V100", ".TemporaryItems", "$RECYCLE.BIN"]
GUARD_ENTRY = 145  # bytes beside the path that the loop guard needs for each, tables included
SETTLING = 60


class Failure(Exception):
    pass


def run(*words):
    done = subprocess.run(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if done.returncode != 0:
        raise Failure("%s: %s" % (" ".join(words), done.stdout))
    return done.stdout


def wait_until(what, condition, patience=SETTLING):
    deadline = time.monotonic() + patience
    while True:
        found = condition()
        if not found:
            return
        if time.monotonic() > deadline:
            raise Failure("%s: %s" % (what, found))
        time.sleep(0.05)


def is_litter(name, is_folder):
    folded = name.lower()
    if is_folder:
        return folded in [".ds_store", *(each.lower() for each in LITTER_FOLDERS)]
    if name.startswith("._"):
        return not folded.endswith(".ttf")
    return folded in [each.lower() for each in ONCE_PER_FOLDER]


class Volume:
    """A place that is watched, or must not be touched, and the files that must be in it."""

    def __init__(self, place, make=None, mount="", is_watched=True, can_link=True):
        self.place, self.make, self.mount = place, make, mount
        self.is_watched, self.can_link = is_watched, can_link
        self.kept = {}  # path below the place: content; None for a link
        self.is_mounted, self.mounted_at = make is None, 0.0
        self.inner = []  # mounts inside

    def is_inside(self, below):
        """Whether that lies behind a mount inside the place."""
        return any(below.startswith(inner + "/") for inner in self.inner)

    def at(self, below):
        return os.path.join(self.place, below) if below else self.place


class Watcher:
    """A running watch, with what it needed of the machine over time."""

    def __init__(self, name, varnel, words, home):
        self.name, self.home = name, home
        self.note = os.path.join(home, "said")
        os.makedirs(home)
        with open(self.note, "w") as said:
            self.process = subprocess.Popen([varnel, "watch", *words], stdin=subprocess.DEVNULL, stdout=said, stderr=said,
                                            env={**os.environ, "HOME": home})
        wait_until(name + " does not begin", lambda: "" if "WATCH started" in self.text() else "silent")
        # The process that was started only looks after the one that works.
        with open("/proc/%d/task/%d/children" % (self.process.pid, self.process.pid)) as children:
            self.worker = int(children.read())
        self.memory = []  # seconds, KiB, KiB that the guard accounts for
        self.remembered, self.read_to = 0, 0
        self.paths = set()

    def text(self):
        with open(self.note, errors="replace") as said:
            return said.read()

    def lines(self, tag):
        return self.text().count(" " + tag)

    def status(self, key, task=None):
        name = "/proc/%d/%sstatus" % (self.worker, "task/%s/" % task if task else "")
        with open(name) as lines:
            return int(next(line for line in lines if line.startswith(key + ":")).split()[1])

    def sample(self, seconds):
        if self.process.poll() is not None:
            raise Failure("%s ended with %d: %s" % (self.name, self.process.returncode, self.text()[-2000:]))
        with open(self.note, "rb") as said:
            said.seek(self.read_to)
            new = said.read()
        whole = new.rfind(b"\n") + 1
        self.read_to += whole
        for path in re.findall(rb" WATCH \w[\w-]*  (.*)", new[:whole]):
            if path not in self.paths:
                self.paths.add(path)
                self.remembered += len(path) + GUARD_ENTRY
        self.memory.append((seconds, self.status("VmRSS"), self.remembered / 1024))

    def wake_ups(self):
        return sum(self.status("voluntary_ctxt_switches", task) for task in os.listdir("/proc/%d/task" % self.worker))

    def holds(self):
        """How many threads there are, and what the descriptors are of."""
        folder = "/proc/%d/" % self.worker
        links = sorted(re.sub(r"[\d/].*", "", os.readlink(folder + "fd/" + name)) or os.readlink(folder + "fd/" + name)
                       for name in os.listdir(folder + "fd"))
        return "%d threads, " % len(os.listdir(folder + "task")) + ", ".join(
            "%d %s" % (links.count(link), link) for link in sorted(set(links)))


class Soak:
    def __init__(self, args):
        self.args, self.random = args, random.Random(args.seed)
        self.work = args.work
        self.number = 0
        self.done = {}
        run("mount", "-t", "tmpfs", "top", "/media")  # no visible volume itself, other than /mnt would be
        self.volumes = [self.image("/media/ext4", "mkfs.ext4 -q -F -N 200000 {image}", "mount -o loop {image} {place}"),
                        self.image("/media/tmpfs", "true", "mount -t tmpfs -o size=1g card {place}")]
        loop = "L=$(losetup -f --show {image}) && %s $L {place} >/dev/null 2>&1; S=$?; losetup -d $L; exit $S"
        if shutil.which("mount.exfat-fuse"):
            self.volumes.append(self.image("/media/exfat", "mkfs.exfat {image} >/dev/null", loop % "mount.exfat-fuse",
                                           can_link=False))
        if shutil.which("ntfs-3g"):
            self.volumes.append(self.image("/media/ntfs", "mkntfs -F -Q -q {image}", loop % "ntfs-3g", can_link=False))
        self.disk = self.image(os.path.join(self.work, "disk"), "mkfs.ext4 -q -F -N 200000 {image}", "mount -o loop {image} {place}",
                               is_watched=False)
        for volume in [*self.volumes, self.disk]:
            self.mount(volume)
        # The watched folder and its unwatched neighbour lie on one volume, so that trees can move between them.
        self.share, self.beside = (Volume(os.path.join(self.disk.place, name), is_watched=name == "share")
                                   for name in ("share", "beside"))
        self.mac = Volume("/media/mac", is_watched=False)
        if shutil.which("bindfs"):
            source = os.path.join(self.work, "mac")
            os.mkdir(source)
            os.mkdir(self.mac.place)
            run("bindfs", "-o", "subtype=hfsplus", source, self.mac.place)
        for volume in (self.share, self.beside, self.mac):
            os.makedirs(volume.place, exist_ok=True)
        self.places = [*self.volumes, self.share, self.beside, self.mac]
        # With a sweep far away, for the first timer brings descriptors that stay.
        timer = ["--sweep-every", "1000"]
        self.watchers = [Watcher("the watch over volumes", args.varnel, timer, os.path.join(self.work, "one")),
                         Watcher("the watch over a folder", args.varnel, [*timer, self.share.place],
                                 os.path.join(self.work, "two"))]
        for volume in self.volumes:  # the first folder, so that there is somewhere to write
            self.make_folder(volume)

    def image(self, place, make, mount, **more):
        file = os.path.join(self.work, os.path.basename(place) + ".image")
        words = {"image": file, "place": place}
        os.makedirs(place, exist_ok=True)
        run("sh", "-c", "truncate -s 600M {image} && ".format(**words) + make.format(**words))
        return Volume(place, make=file, mount=mount.format(**words), **more)

    def mount(self, volume):
        # The driver of the last mount may still be on its way out.
        wait_until("%s cannot be mounted" % volume.place, lambda: self.problem("sh", "-c", volume.mount), 20)
        volume.is_mounted, volume.mounted_at = True, time.monotonic()
        if "tmpfs" in volume.mount:
            volume.kept.clear()

    @staticmethod
    def problem(*words):
        try:
            run(*words)
        except Failure as failure:
            return str(failure)
        return ""

    # What may happen.

    def name(self, patterns):
        self.number += 1
        return self.random.choice(patterns) % self.number

    def content(self):
        return "content %d" % self.number

    def somewhere(self, watched_only=False):
        """A place that is there, and a folder in it."""
        places = [place for place in self.places if place.is_mounted and (place.is_watched or not watched_only)]
        place = self.random.choice(places)
        folders = self.folders(place)
        return place, self.random.choice(folders) if folders else ""

    @staticmethod
    def folders(place):
        found = []
        for top, names, _ in os.walk(place.place):
            names[:] = [name for name in names if not is_litter(name, True) and name not in ON_DEMAND_ONLY and
                        not os.path.ismount(os.path.join(top, name)) and name != "lost+found"]
            found.append(os.path.relpath(top, place.place).replace(".", "", 1) if top == place.place
                         else os.path.relpath(top, place.place))
            if len(found) > 60:
                break
        return found

    def write(self, place, below, text):
        with open(place.at(below), "w") as file:
            file.write(text)

    def keep(self, place, below, text):
        self.write(place, below, text)
        place.kept[below] = text

    def make_folder(self, place=None):
        place, top = (place, "") if place else self.somewhere()
        if top.count("/") > 6:
            return
        below = os.path.join(top, self.name(["folder %s"]))
        os.mkdir(place.at(below))
        if self.random.random() < 0.5:
            name = self.random.choice(ONCE_PER_FOLDER)
            self.litter(place, os.path.join(below, name))

    def litter(self, place, below):
        """Writes what must go from a watched place, and stay anywhere else."""
        if place.is_watched:
            self.write(place, below, "litter")
        else:
            self.keep(place, below, "not ours")

    def make_kept(self):
        place, top = self.somewhere()
        self.keep(place, os.path.join(top, self.name(NEAR_MISSES)), self.content())

    def make_litter(self):
        place, top = self.somewhere()
        self.litter(place, os.path.join(top, self.name(LITTER_FILES)))

    def make_litter_folder(self):
        place, top = self.somewhere(watched_only=True)
        own = os.path.join(top, self.name(["unpacked %s"]))
        os.mkdir(place.at(own))
        folder = os.path.join(own, self.random.choice(LITTER_FOLDERS))
        # As a whole, or file by file, which the watcher may cut short.
        whole = self.random.random() < 0.5
        made = os.path.join(own, "parts") if whole else folder
        try:
            os.makedirs(os.path.join(place.at(made), "deep", "er"))
            for name in ("plain", "deep/._x", "deep/er/plain"):
                self.write(place, os.path.join(made, name), "inside")
        except OSError:
            if whole:
                raise
        if whole:
            os.rename(place.at(made), place.at(folder))

    def make_on_demand(self):
        place, top = self.somewhere()
        folder = os.path.join(top, self.random.choice(ON_DEMAND_ONLY))
        os.makedirs(place.at(folder), exist_ok=True)
        self.keep(place, os.path.join(folder, self.name(["trash %s"])), self.content())

    def make_link(self):
        place, top = self.somewhere(watched_only=True)
        if not place.can_link:
            return
        target = self.random.choice([self.beside, self.mac])
        os.symlink(target.place, place.at(os.path.join(top, self.name(["._link %s"]))))
        below = os.path.join(top, self.name(["link %s"]))
        os.symlink(target.place, place.at(below))
        place.kept[below] = None

    def a_kept(self):
        place = self.random.choice([place for place in self.places if place.is_mounted and place.kept] or [None])
        return (place, self.random.choice(list(place.kept))) if place else (None, None)

    def rename_kept(self):
        place, below = self.a_kept()
        if place is None:
            return
        # An exFAT driver notes no time in a folder in which something was renamed. Whoever begins to watch a volume a
        # moment after the mount cannot tell a file that was renamed in that moment from an old one.
        can_be_told = place.can_link or time.monotonic() - place.mounted_at > 1
        litter = (self.random.random() < 0.3 and place.is_watched and place.kept[below] is not None and can_be_told and
                  not place.is_inside(below))
        to = os.path.join(os.path.dirname(below), self.name(LITTER_FILES if litter else NEAR_MISSES))
        os.rename(place.at(below), place.at(to))
        content = place.kept.pop(below)
        if not litter:
            place.kept[to] = content

    def rescue_litter(self):
        """What is renamed in time is nobody's litter."""
        place, top = self.somewhere(watched_only=True)
        below, to = os.path.join(top, self.name(LITTER_FILES)), os.path.join(top, self.name(["rescued %s"]))
        self.write(place, below, self.content())
        try:
            os.rename(place.at(below), place.at(to))
        except FileNotFoundError:
            return
        # The watcher may have come between writing and renaming, but it must not come afterwards.
        place.kept[to] = self.content()

    def remove_kept(self):
        place, below = self.a_kept()
        if place is not None and len(place.kept) > 50:
            os.unlink(place.at(below))
            del place.kept[below]

    def grow_tree(self, place, below):
        for box in range(self.random.randrange(1, 5)):
            folder = os.path.join(below, "box %d" % box)
            os.makedirs(place.at(folder))
            for _ in range(self.random.randrange(4)):
                self.litter(place, os.path.join(folder, self.name(LITTER_FILES)))
                self.keep(place, os.path.join(folder, self.name(NEAR_MISSES)), self.content())

    def move_tree(self):
        """Within a place, or between the watched folder and its neighbour."""
        origin, target = self.random.choice([(self.share, self.beside), (self.beside, self.share)] +
                                            [(place, place) for place in self.places if place.is_mounted])
        below, to = self.name(["tree %s"]), self.name(["moved %s"])
        os.mkdir(origin.at(below))
        self.grow_tree(origin, below)
        if self.random.random() < 0.5:
            time.sleep(self.random.random() * 0.4)
        os.rename(origin.at(below), target.at(to))
        for path in [path for path in origin.kept if path.startswith(below + "/")]:
            content = origin.kept.pop(path)
            if not (target.is_watched and is_litter(os.path.basename(path), False)):
                target.kept[to + path[len(below):]] = content
        if origin.is_watched and not target.is_watched:
            # What the watcher had not removed before the move may stay, and what it was about to remove may go.
            self.unsure.append((target, to))
        self.grow_tree(target, os.path.join(to, self.name(["grown %s"])))

    def remove_tree(self):
        place, top = self.somewhere()
        if top:
            shutil.rmtree(place.at(top), ignore_errors=True)
            gone = not os.path.exists(place.at(top))
            for path in [path for path in place.kept if path.startswith(top + "/")]:
                if gone or not os.path.lexists(place.at(path)):
                    del place.kept[path]

    def burst(self, files=2000):
        place, top = self.somewhere(watched_only=True)
        below = os.path.join(top, self.name(["burst %s"]))
        os.mkdir(place.at(below))
        files = files if place.can_link else files // 10  # through FUSE each takes its time
        for number in range(files):
            self.write(place, os.path.join(below, "._%d" % number), "")
        self.keep(place, os.path.join(below, "kept"), self.content())

    def overflow(self):
        """More than the kernel's queue holds, while nobody reads it."""
        for watcher in self.watchers:
            os.kill(watcher.worker, signal.SIGSTOP)
        try:
            for place in (self.share, self.volumes[0]):
                if not place.is_mounted:
                    continue
                below = self.name(["overflow %s"])
                for box in range(20):
                    os.makedirs(place.at("%s/%d" % (below, box)))
                    for number in range(1000):
                        self.write(place, "%s/%d/._%d" % (below, box, number), "")
                self.keep(place, below + "/0/kept", self.content())
        finally:
            for watcher in self.watchers:
                os.kill(watcher.worker, signal.SIGCONT)

    def mount_inside(self):
        """What is mounted inside a volume is not of it."""
        place, top = self.somewhere(watched_only=True)
        if len(place.inner) > 2 or not place.can_link:
            return
        # Two levels down at least: what is mounted in /media/NAME/NAME is a visible volume.
        below = os.path.join(top, self.name(["around %s"]), self.name(["inner %s"]))
        os.makedirs(place.at(below))
        run("mount", "-t", "tmpfs", "inner", place.at(below))
        place.inner.append(below)
        for name in ("._precious", ".DS_Store"):
            self.keep(place, os.path.join(below, name), self.content())

    def unmount_inside(self, place=None):
        places = [place] if place else [place for place in self.places if place.inner]
        if not places:
            return
        place = self.random.choice(places)
        while place.inner:
            below = place.inner.pop()
            self.unmount(place.at(below))
            for path in [path for path in place.kept if path.startswith(below + "/")]:
                del place.kept[path]

    @staticmethod
    def unmount(path):
        # A batch that is just being handled holds the volume for a moment.
        wait_until("%s cannot be unmounted" % path, lambda: Soak.problem("umount", path), 20)

    def come_and_go(self):
        volume = self.random.choice(self.volumes)
        if not volume.is_mounted:
            self.mount(volume)
            return
        # Litter that nobody saw before the unmount is old litter after it, and stays.
        self.settle(volume)
        self.unmount_inside(volume)
        self.unmount(volume.place)
        volume.is_mounted = False
        under = os.path.join(volume.place, "._under")
        with open(under, "w") as file:
            file.write("under a mount point is no volume")
        time.sleep(self.random.random())
        if not os.path.exists(under):
            raise Failure("%s was removed from the folder under a mount point" % under)
        os.unlink(under)

    # What must hold.

    def surplus(self, place):
        """What lies in a place and should not, and what should and does not."""
        wrong, seen = [], set()
        for top, folders, files in os.walk(place.place):
            below = os.path.relpath(top, place.place)
            if top == place.place and "lost+found" in folders:
                folders.remove("lost+found")
            inside = place.is_inside(below + "/")
            for name in folders:
                if place.is_watched and not inside and is_litter(name, True):
                    wrong.append("stays: " + os.path.join(top, name))
            for name in files + [name for name in folders if os.path.islink(os.path.join(top, name))]:
                path = os.path.normpath(os.path.join(below, name))
                seen.add(path)
                if path not in place.kept and not self.is_unsure(place, path):
                    wrong.append("stays: " + os.path.join(top, name))
        wrong += ["gone: " + place.at(path) for path in place.kept if path not in seen and not self.is_unsure(place, path)]
        return wrong[:5]

    def is_unsure(self, place, path):
        return any(place is other and path.startswith(below + "/") and is_litter(os.path.basename(path), False)
                   and "/grown " not in path for other, below in self.unsure)

    def settle(self, place):
        wait_until("after %d actions" % sum(self.done.values()), lambda: self.surplus(place))

    def check(self):
        for place in self.places:
            if place.is_mounted:
                self.settle(place)
                for path, content in place.kept.items():
                    if content is not None and not self.is_unsure(place, path):
                        with open(place.at(path)) as file:
                            if file.read() != content:
                                raise Failure("%s is not what it was" % place.at(path))

    def go(self):
        weights = {self.make_kept: 30, self.make_litter: 60, self.make_folder: 6, self.make_litter_folder: 6,
                   self.make_on_demand: 4, self.make_link: 4, self.rename_kept: 15, self.rescue_litter: 5,
                   self.remove_kept: 25, self.move_tree: 3, self.remove_tree: 3, self.burst: 0.3, self.overflow: 0.06,
                   self.mount_inside: 0.5, self.unmount_inside: 0.5, self.come_and_go: 1}
        self.unsure = []
        self.check()
        began_with = [watcher.holds() for watcher in self.watchers]
        begun = time.monotonic()
        next_sample, next_check = 0.0, 15.0
        while (passed := time.monotonic() - begun) < self.args.minutes * 60:
            action = self.random.choices(list(weights), list(weights.values()))[0]
            action()
            self.done[action.__name__] = self.done.get(action.__name__, 0) + 1
            if passed > next_sample:
                next_sample = passed + 0.5
                for watcher in self.watchers:
                    watcher.sample(passed)
            if passed > next_check:
                self.check()
                next_check = time.monotonic() - begun + 15
        for volume in self.volumes:
            self.unmount_inside(volume)
            if not volume.is_mounted:
                self.mount(volume)
        self.unmount_inside(self.share) if self.share.inner else None
        self.check()
        self.report(began_with, time.monotonic() - begun)

    def report(self, began_with, seconds):
        problems = []
        print("%.0f seconds, %d actions: %s" % (seconds, sum(self.done.values()),
                                               ", ".join("%s %d" % pair for pair in sorted(self.done.items()))))
        time.sleep(3)
        before = [watcher.wake_ups() for watcher in self.watchers]
        time.sleep(10)
        for watcher, woken, held in zip(self.watchers, before, began_with):
            woken = watcher.wake_ups() - woken
            half = seconds / 2
            # The first half begins when everything has been used once.
            own = {late: [kib - guard for at, kib, guard in watcher.memory if at > seconds / 8 and (at > half) == late]
                   for late in (False, True)}
            first, second = (statistics.median(own[late] or [0]) for late in (False, True))
            print("%s: %d removed live, %d suppressed, %d failed, %d sweeps; VmRSS %.1f MiB at the end, of which the loop "
                  "guard remembers %.1f; the rest %.1f in the first half, %.1f in the second; %d wake-ups in 10 idle "
                  "seconds; %s, in the beginning %s"
                  % (watcher.name, len(watcher.paths), watcher.lines("SUPPRESS"), watcher.lines("FAIL"),
                     watcher.lines("RECOVER"), watcher.memory[-1][1] / 1024, watcher.memory[-1][2] / 1024, first / 1024,
                     second / 1024, woken, watcher.holds(), held))
            if second > first * 1.1 + 2048:
                problems.append("%s: memory grows" % watcher.name)
            if woken != 0:
                problems.append("%s: wakes up while nothing happens" % watcher.name)
            if watcher.holds() != held:
                problems.append("%s: holds more than in the beginning" % watcher.name)
            watcher.process.send_signal(signal.SIGTERM)
            if watcher.process.wait(10) != 0:
                problems.append("%s: ended with %d" % (watcher.name, watcher.process.returncode))
        if problems:
            raise Failure("; ".join(problems))

    def end(self):
        for watcher in self.watchers:
            if watcher.process.poll() is None:
                watcher.process.kill()
                watcher.process.wait()


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("varnel")
    parser.add_argument("work")
    parser.add_argument("--minutes", type=float, default=10)
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(10**6))
    args = parser.parse_args()
    print("seed %d" % args.seed, flush=True)
    soak = Soak(args)
    try:
        soak.go()
    except (Failure, OSError) as failure:
        print("FAILED, seed %d, after %s: %s" % (args.seed, soak.done, failure))
        for watcher in soak.watchers:
            lines = watcher.text().splitlines()
            unusual = [line for line in lines if not re.search(r" (WATCH|DEL  ) \w", line)]
            print("\n".join(["== %s said, beside what it removed:" % watcher.name, *unusual[-50:], "== and last:",
                             *lines[-10:]]))
        return 1
    finally:
        soak.end()
    print("passed, seed %d" % args.seed)
    return 0


if __name__ == "__main__":
    sys.exit(main())
