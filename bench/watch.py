#!/usr/bin/env python3
"""Measure the live watcher side by side with other ways of removing files as they appear, and print ratios.

    watch.py VARNEL BINARIES WORK [--rounds N] [--samples N] [--folders N] [--files N]

BINARIES holds bare_watch, bare_scan and litter; WORK is a folder in a mount namespace of our own, which scripts/bench.sh
provides. Every contender works on an ext4 volume of its own, and all take turns within one run.
"""

import argparse
import contextlib
import glob
import os
import shutil
import signal
import statistics
import subprocess
import time


def run(*words, **more):
    return subprocess.run(words, check=True, stdout=subprocess.PIPE, stdin=subprocess.DEVNULL, text=True, **more).stdout


def percentile(values, share):
    ordered = sorted(values)
    return ordered[min(len(ordered) - 1, int(share * len(ordered)))]


def row(name, *figures):
    print("%-30s" % name + "".join("%13s" % figure for figure in figures))


class Contender:
    """A way of removing files from `folder` as they appear."""

    def __init__(self, name, words, sign, folder):
        self.name, self.words, self.sign, self.folder = name, words, sign, folder

    @contextlib.contextmanager
    def running(self, home):
        """While it runs: the seconds until it was ready, and its process."""
        note = os.path.join(home, "said")
        with open(note, "w") as said:
            begun = time.perf_counter()
            process = subprocess.Popen(self.words, stdin=subprocess.DEVNULL, stdout=said, stderr=said,
                                       env={**os.environ, "HOME": home}, start_new_session=True)
        try:
            while True:
                with open(note) as text:
                    if self.sign in text.read(4096):
                        break
                if process.poll() is not None or time.perf_counter() - begun > 300:
                    raise SystemExit("%s did not begin: %s" % (self.name, open(note).read()))
                time.sleep(0.0005)
            yield time.perf_counter() - begun, process
        finally:
            os.killpg(process.pid, signal.SIGTERM)
            process.wait(60)


def facts(pid, file, *keys):
    with open("/proc/%d/%s" % (pid, file)) as lines:
        found = dict(line.split(":", 1) for line in lines)
    return [int(found[key].split()[0]) for key in keys]


def family(pid):
    """The process and those that it started."""
    children = subprocess.run(["pgrep", "-P", str(pid)], stdout=subprocess.PIPE, text=True).stdout.split()
    return [pid, *map(int, children)]


def processor_seconds(pid):
    ticks = 0
    for each in family(pid):
        with open("/proc/%d/stat" % each) as text:
            fields = text.read().rsplit(")", 1)[1].split()
        ticks += int(fields[11]) + int(fields[12])
    return ticks / os.sysconf("SC_CLK_TCK")


def wake_ups(pid):
    return sum(facts(int(task.split("/")[-1]), "status", "voluntary_ctxt_switches")[0]
               for each in family(pid) for task in glob.glob("/proc/%d/task/*" % each))


class Bench:
    def __init__(self, args):
        self.args, self.work, self.volumes = args, args.work, 0
        self.bare, self.walk, self.litter = (os.path.join(args.binaries, name)
                                             for name in ("bare_watch", "bare_scan", "litter"))
        self.home = os.path.join(self.work, "home")
        os.makedirs(self.home, exist_ok=True)

    @contextlib.contextmanager
    def volume(self, files):
        """A new ext4 volume with room for that many files."""
        self.volumes += 1
        image, place = (os.path.join(self.work, "%s%d" % (what, self.volumes)) for what in ("image", "volume"))
        os.mkdir(place)
        with open(image, "w") as file:
            file.truncate(64 << 20 if files < 10000 else 2 << 30)
        run("mkfs.ext4", "-q", "-N", str(files + 1000), image)
        run("mount", "-o", "loop,noatime", image, place)
        try:
            os.mkdir(os.path.join(place, "share"))
            yield place
        finally:
            run("umount", place)
            os.remove(image)

    def contenders(self, places):
        """One on each volume: the yardstick, the watcher in both its ways, and a shell's pipe where there is one."""
        share = [os.path.join(place, "share") for place in places]
        one = [Contender("bare", [self.bare, share[0]], "ready", share[0]),
               Contender("varnel, volume (fanotify)", [self.args.varnel, "watch", places[1]], "WATCH started", share[1]),
               Contender("varnel, folder (inotify)", [self.args.varnel, "watch", share[2]], "WATCH started", share[2])]
        if shutil.which("inotifywait"):
            pipe = ("inotifywait -m -r -e create,moved_to --format %w%f '" + share[3] + "' | while IFS= read -r path; do "
                    'case ${path##*/} in ._*) rm -f -- "$path" ;; esac; done')
            one.append(Contender("inotifywait | rm", ["sh", "-c", pipe], "Watches established", share[3]))
        return one

    def homes(self, contenders):
        homes = [os.path.join(self.home, str(number)) for number in range(len(contenders))]
        for home in homes:
            os.makedirs(home, exist_ok=True)
        return homes

    def latency(self):
        print("\n== one file on a quiet volume: microseconds until it is gone, %d files each" % self.args.samples)
        with contextlib.ExitStack() as stack:
            contenders = self.contenders([stack.enter_context(self.volume(1000)) for _ in range(4)])
            for contender, home in zip(contenders, self.homes(contenders)):
                stack.enter_context(contender.running(home))
            pause = 600 // len(contenders)  # quiet for longer than a file's two events are gathered
            lines = run(self.litter, "latency", str(self.args.samples), str(pause),
                        *(contender.folder for contender in contenders)).splitlines()
        row("", "p50", "p99", "ratio p50", "above bare")
        samples = [[float(word) for word in line.split()] for line in lines]
        bare = statistics.median(samples[0])
        for contender, values in zip(contenders, samples):
            middle = statistics.median(values)
            row(contender.name, "%.0f" % middle, "%.0f" % percentile(values, 0.99), "%.2f" % (middle / bare),
                "%.2f ms" % ((middle - bare) / 1000))

    def rate(self):
        files = self.args.files
        print("\n== %d litter files by one writer: events per second until the last is gone, medians of %d rounds"
              % (files, self.args.rounds))
        with contextlib.ExitStack() as stack:
            contenders = self.contenders([stack.enter_context(self.volume(files)) for _ in range(4)])[:3]
            taken, spent, lost = ({contender.name: [] for contender in contenders} for _ in range(3))
            for _ in range(self.args.rounds):
                for contender, home in zip(contenders, self.homes(contenders)):
                    run("sh", "-c", 'cd "$1" && seq 0 $2 | sed s/^/0-/ | xargs mkdir -p', "sh", contender.folder,
                        str(files // 500 - 1))
                    with contender.running(home) as (_, process):
                        before = processor_seconds(process.pid)
                        written, after, left = map(float, self.storm_of(contender.folder, files, 1))
                        spent[contender.name].append((processor_seconds(process.pid) - before) / files * 1e6)
                    taken[contender.name].append(files / (written + after))
                    lost[contender.name].append(int(left))
                    self.sweep_up(contender.folder)
        row("", "per second", "ratio", "cpu us each", "lost")
        first = taken[contenders[0].name]
        for contender in contenders:
            values = taken[contender.name]
            row(contender.name, "%.0f" % statistics.median(values),
                "%.2f" % statistics.median(f / v for f, v in zip(first, values)),
                "%.1f" % statistics.median(spent[contender.name]), max(lost[contender.name]))

    def storm_of(self, folder, files, writers):
        return run(self.litter, "storm", folder, str(files), str(writers)).split()

    def start(self):
        print("\n== ready over %d folders, warm, and the memory that they cost, medians of %d rounds"
              % (self.args.folders, self.args.rounds))
        with self.volume(self.args.folders) as place:
            contenders = self.contenders([place] * 4)
            memory = {}
            for contender, home in zip(contenders, self.homes(contenders)):
                with contender.running(home) as (_, process):
                    memory[contender.name] = self.memory(process.pid)
            for box in range(self.args.folders // 500):
                for number in range(500):
                    os.makedirs(os.path.join(place, "share", str(box), str(number)))
            ready = {contender.name: [] for contender in contenders}
            walks = []
            for turn in range(self.args.rounds + 1):
                begun = time.perf_counter()
                run(self.walk, os.path.join(place, "share"))
                walk = time.perf_counter() - begun
                begun = time.perf_counter()
                run("find", os.path.join(place, "share"), "-false")
                if turn > 0:
                    walks.append((walk, time.perf_counter() - begun))
                for contender, home in zip(contenders, self.homes(contenders)):
                    with contender.running(home) as (seconds, process):
                        if turn > 0:
                            ready[contender.name].append(seconds)
                        else:
                            memory[contender.name] = self.memory(process.pid) - memory[contender.name]
        row("", "median s", "ratio walk", "bytes/folder")
        first = [walk for walk, _ in walks]
        row("one walk of them, bare", "%.3f" % statistics.median(first), "1.00")
        row("one walk of them, find", "%.3f" % statistics.median(find for _, find in walks),
            "%.2f" % statistics.median(find / walk for walk, find in walks))
        for contender in contenders:
            values = ready[contender.name]
            row(contender.name, "%.3f" % statistics.median(values),
                "%.2f" % statistics.median(value / walk for value, walk in zip(values, first)),
                "%.0f" % (memory[contender.name] * 1024 / self.args.folders))

    @staticmethod
    def memory(pid):
        """KiB."""
        return sum(facts(each, "status", "VmRSS")[0] for each in family(pid))

    def idle(self):
        seconds = 10
        print("\n== while nothing happens, %d seconds" % seconds)
        with contextlib.ExitStack() as stack:
            contenders = self.contenders([stack.enter_context(self.volume(1000)) for _ in range(4)])[1:3]
            processes = [stack.enter_context(contender.running(home))[1]
                         for contender, home in zip(contenders, self.homes(contenders))]
            for contender in contenders:
                run(self.litter, "latency", "1", "0", contender.folder)
            time.sleep(2)
            before = [(wake_ups(process.pid), processor_seconds(process.pid)) for process in processes]
            time.sleep(seconds)
            row("", "wake-ups", "cpu ms")
            for contender, process, (woken, spent) in zip(contenders, processes, before):
                row(contender.name, wake_ups(process.pid) - woken,
                    "%.0f" % ((processor_seconds(process.pid) - spent) * 1000))

    def storm(self):
        files = self.args.files
        print("\n== a storm of %d litter files by four processes, medians of %d rounds" % (files, self.args.rounds))
        with self.volume(files) as place:
            share = os.path.join(place, "share")
            contenders = self.contenders([place] * 4)[1:3]
            rows = {name: [] for name in ["find -delete", *(contender.name for contender in contenders)]}
            recoveries = dict.fromkeys(rows, 0)
            for turn in range(self.args.rounds + 1):
                written = float(run(self.litter, "make", share, str(files), "4").split()[0])
                begun = time.perf_counter()
                run("find", share, "-type", "f", "-name", "._*", "-delete")
                measured = {"find -delete": (written, time.perf_counter() - begun, 0)}
                self.sweep_up(share)
                for contender, home in zip(contenders, self.homes(contenders)):
                    with contender.running(home) as (_, process):
                        written, after, left = map(float, self.storm_of(share, files, 4))
                        if left:
                            raise SystemExit("%s left %d files" % (contender.name, left))
                        peak = max(facts(each, "status", "VmHWM")[0] for each in family(process.pid))
                        measured[contender.name] = (written, after, peak / 1024)
                    with open(os.path.join(home, "said")) as said:
                        recoveries[contender.name] += said.read().count(" RECOVER ")
                    self.sweep_up(share)
                if turn > 0:
                    for name, figures in measured.items():
                        rows[name].append(figures)
        row("", "writing s", "after it s", "ratio", "slowest", "together", "peak MiB", "sweeps")
        first = [after for _, after, _ in rows["find -delete"]]
        whole = [written + after for written, after, _ in rows["find -delete"]]
        for name, figures in rows.items():
            written, after, peak = zip(*figures)
            row(name, "%.2f" % statistics.median(written), "%.2f" % statistics.median(after),
                "%.2f" % statistics.median(a / f for a, f in zip(after, first)),
                "%.2f" % max(a / f for a, f in zip(after, first)),
                "%.2f" % statistics.median((w + a) / f for w, a, f in zip(written, after, whole)),
                "%.1f" % max(peak), recoveries[name])

    @staticmethod
    def sweep_up(share):
        for name in os.listdir(share):
            shutil.rmtree(os.path.join(share, name))
        run("sync")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("varnel")
    parser.add_argument("binaries")
    parser.add_argument("work")
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--samples", type=int, default=200)
    parser.add_argument("--folders", type=int, default=100000)
    parser.add_argument("--files", type=int, default=100000)
    parser.add_argument("--only", action="append", choices=["latency", "rate", "start", "idle", "storm"])
    bench = Bench(parser.parse_args())
    for name in bench.args.only or ["latency", "rate", "start", "idle", "storm"]:
        getattr(bench, name)()


if __name__ == "__main__":
    main()
