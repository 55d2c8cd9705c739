#!/usr/bin/env python3
"""Make a littered folder tree, and the manifest of what a clean must do to it; or check a tree against a manifest.

    make_tree.py make ROOT [--entries N] [--seed N] [--litter SHARE] [--profile posix|fat] [--edges] [--manifest FILE]
    make_tree.py check ROOT MANIFEST --state made|cleaned|cleaned-watcher
    make_tree.py check ROOT MANIFEST --claimed FILE [--scope adhoc|watcher]

The same arguments give the same tree. It looks like a disk that Macs and PCs have shared: photo events, albums,
projects with many small folders, documents, fonts with their companions, unpacked archives, one very wide folder and
one very deep one. Profile fat makes only what exFAT, FAT and NTFS can hold; --edges adds names that a matcher of bytes
gets wrong, so leave it off when tools are compared. Exit status of check: 0 as promised, 1 not (it says how), 2 usage.

The manifest is one JSON object; paths are relative to ROOT and sorted:
    format, root, seed, entries, profile, edges
    totals          directories, files, symlinks, claimed, claimed_bytes, claimed_directories, protected, survivors,
                    inside_claimed, deepest, widest
    tallies         rule -> {count, bytes, directories}
    claimed         [path, rule, is_directory, bytes] of what a clean on demand takes
    protected       `._` files that stay for their type
    inside_claimed  what goes with a claimed folder
    survivors       what stays, the protected ones included
    watcher         {tallies, claimed, protected}: the same for the live rules
"""

import argparse
import json
import os
import random
import sys

LIVE_FILES = {".DS_Store": "dsstore", ".apdisk": "apdisk", ".VolumeIcon.icns": "volumeicon", "Thumbs.db": "thumbsdb",
              "desktop.ini": "desktopini"}
LIVE_FOLDERS = {".AppleDouble": "appledouble-dir", "__MACOSX": "macosx-dir"}
VOLUME_FOLDERS = {".fseventsd": "fseventsd", ".Spotlight-V100": "spotlight", ".TemporaryItems": "temporaryitems",
                  ".Trashes": "trashes", "$RECYCLE.BIN": "recyclebin", "System Volume Information": "sysvolinfo"}
LIVE = set(LIVE_FILES.values()) | set(LIVE_FOLDERS.values()) | {"appledouble"}
FONTS = ("ttf", "otf", "ttc", "dfont", "eps", "ps", "ai", "indd", "qxd")
TITLES = ("Summer", "Winter trip", "Kitchen", "Harbour", "Budget", "Concert", "Wedding", "Garden", "Sketches", "Invoices",
          "Été", "E\u0301te\u0301", "東京", "Straße", "Фото", "🎉 party")
SIZES = (163, 4096, 4096, 4096, 6148, 8192, 14848, 32768)


class Spent(Exception):
    """All entries are made."""


class Folder:
    def __init__(self, path, depth, claimed=False, claimed_live=False):
        self.path, self.depth, self.claimed, self.claimed_live = path, depth, claimed, claimed_live
        self.width = 0


class Maker:
    """Makes entries below a root and writes down what becomes of each."""

    def __init__(self, root, args):
        self.root, self.args, self.rng, self.left = root, args, random.Random(args.seed), args.entries
        self.claims = {"adhoc": [], "watcher": []}
        self.protected = {"adhoc": [], "watcher": []}
        self.inside, self.survivors = [], []
        self.kinds = {"directories": 0, "files": 0, "symlinks": 0}
        self.deepest = self.widest = 0

    def _path(self, folder, name):
        if self.left == 0:
            raise Spent
        self.left -= 1
        folder.width += 1
        self.widest = max(self.widest, folder.width)
        self.deepest = max(self.deepest, folder.depth + 1)
        return folder.path + name

    def _note(self, folder, path, rule, kept, is_folder, size):
        claim = [path, rule, is_folder, size]
        if folder.claimed:
            self.inside.append(path)
        elif rule:
            self.claims["adhoc"].append(claim)
        else:
            self.survivors.append(path)
            if kept:
                self.protected["adhoc"].append(path)
        if folder.claimed_live:
            return
        if kept:
            self.protected["watcher"].append(path)
        elif rule in LIVE:
            self.claims["watcher"].append(claim)

    def folder(self, parent, name, rule=None):
        path = self._path(parent, name)
        os.mkdir(self.root + path)
        self.kinds["directories"] += 1
        self._note(parent, path, rule, False, True, 0)
        return Folder(path + "/", parent.depth + 1, parent.claimed or rule is not None,
                      parent.claimed_live or rule in LIVE)

    def file(self, parent, name, rule=None, kept=False, size=0):
        path = self._path(parent, name)
        with open(self.root + path, "xb") as made:
            made.write(bytes(size))
        self.kinds["files"] += 1
        self._note(parent, path, rule, kept, False, size)

    def link(self, parent, name, target, rule=None):
        if self.args.profile == "fat":
            return
        path = self._path(parent, name)
        os.symlink(target, self.root + path)
        self.kinds["symlinks"] += 1
        self._note(parent, path, rule, False, False, len(os.fsencode(target)))

    # Litter

    def owed(self):
        made = self.args.entries - self.left
        return self.args.litter * made > len(self.claims["adhoc"])

    def companion(self, folder, name):
        kept = name.rpartition(".")[2].lower() in FONTS and "." in name
        self.file(folder, "._" + name, None if kept else "appledouble", kept, self.rng.choice(SIZES))

    def dress(self, folder, names):
        """Puts what Macs and PCs leave into a folder of those files."""
        if self.owed():
            self.file(folder, self.rng.choice((".DS_Store",) * 8 + (".ds_store",)), "dsstore", size=6148)
        if self.rng.random() < 0.15:
            name = self.rng.choice(("Thumbs.db", "thumbs.db", "desktop.ini", "Desktop.ini"))
            self.file(folder, name, "thumbsdb" if name.lower() == "thumbs.db" else "desktopini", size=self.rng.choice(SIZES))
        if self.owed() and self.rng.random() < 0.01:
            self.litter_folder(folder, ".AppleDouble", "appledouble-dir", files=min(len(names), 30))
        for name in names:
            if self.owed():
                self.companion(folder, name)

    def litter_folder(self, parent, name, rule, files=4):
        folder = self.folder(parent, name, rule)
        inner = self.folder(folder, "Store")
        for i in range(files):
            self.file(inner, "%04d.db" % i, size=self.rng.choice(SIZES))
        self.file(folder, "._Store", "appledouble", size=82)

    # What people keep

    def fixed(self, top):
        """What every tree holds, whatever its size."""
        for name, rule in VOLUME_FOLDERS.items():
            self.litter_folder(top, name, rule)
        box = self.folder(top, "Fixed")
        for name, rule in LIVE_FILES.items():
            self.file(box, name, rule, size=100)
        for name, rule in LIVE_FOLDERS.items():
            self.litter_folder(box, name, rule)
        self.litter_folder(self.folder(box, "folder of that name"), ".DS_Store", "dsstore")
        fonts = self.folder(box, "Fonts")
        for ending in FONTS:
            for name in ("face." + ending, "LOUD." + ending.upper()):
                self.file(fonts, name)
                self.companion(fonts, name)
        odd = self.folder(box, "Litter all the same")
        for name in ("._", "._a.ttf.zip", "._.DS_Store", "._ b", "._é"):
            self.file(odd, name, "appledouble", size=82)
        near = self.folder(box, "Near misses")
        for name in ("_.x", ".x", "DS_Store", ".DS_Store.old", "Thumbs.db.txt", "__MACOSX", ".AppleDouble", ".Trashes",
                     "$Recycle.bin", "System Volume Information", ".fseventsd"):
            self.file(near, name)
        wrong = self.folder(box, "Folders that are no litter")
        for name in ("Thumbs.db", "desktop.ini", "._folder", ".apdisk", "__MACOSX old"):
            self.file(self.folder(wrong, name), "keep.txt")
        links = self.folder(box, "Links")
        self.link(links, "up", "..")
        self.link(links, "nowhere", "missing")
        self.link(links, "__MACOSX", "../Fonts")
        self.link(links, "._link", "../Fonts", "appledouble")
        self.link(links, ".DS_Store", "missing", "dsstore")
        if self.args.edges:
            edges = self.folder(box, "Edges")
            self.file(edges, "._x.", "appledouble")
            self.file(edges, "._\u0301x")
            self.file(edges, "._.ttf", None, True)
            self.file(edges, "._line\nfeed", "appledouble")
        deep = self.folder(top, "Deep")
        for level in range(60):
            deep = self.folder(deep, "level %02d" % level)
            if level % 10 == 9:
                self.file(deep, ".DS_Store", "dsstore", size=6148)
        wide = self.folder(top, "Camera Roll")
        names = ["DSC%06d.JPG" % i for i in range(self.left // 25)]
        for name in names:
            self.file(wide, name)
        self.dress(wide, names)

    def fill(self, folder, count, pattern):
        names = [pattern % i for i in range(count)]
        for name in names:
            self.file(folder, name)
        self.dress(folder, names)

    def photos(self, home, n):
        self.fill(self.folder(home, "%s %d" % (self.rng.choice(TITLES), n)), self.rng.randrange(30, 300), "IMG_%05d.jpg")

    def albums(self, home, n):
        artist = self.folder(home, "%s band %d" % (self.rng.choice(TITLES), n))
        for album in range(self.rng.randrange(1, 6)):
            self.fill(self.folder(artist, "Album %d" % album), self.rng.randrange(6, 16), "%02d Track.mp3")

    def project(self, home, n, level=0):
        here = self.folder(home, "project-%d" % n if level == 0 else "part%d" % n)
        self.fill(here, self.rng.randrange(2, 14), "source%d.c")
        for part in range(self.rng.randrange(0, 4) if level < 7 else 0):
            self.project(here, part, level + 1)

    def documents(self, home, n):
        self.fill(self.folder(home, "%s papers %d" % (self.rng.choice(TITLES), n)), self.rng.randrange(3, 25), "Letter %d.pdf")

    def archive(self, home, n):
        box = self.folder(home, "archive %d" % n)
        self.fill(box, self.rng.randrange(3, 20), "item%d.png")
        if self.rng.random() < 0.7:
            self.litter_folder(box, "__MACOSX", "macosx-dir", files=self.rng.randrange(1, 12))

    def make(self):
        top = Folder("", 0)
        try:
            self.fixed(top)
            kinds = (self.photos, self.albums, self.project, self.documents, self.archive)
            homes = [self.folder(top, name) for name in ("Photos", "Music", "Projects", "Documents", "Downloads")]
            for n in range(self.args.entries):
                which = self.rng.choices(range(len(kinds)), (10, 14, 10, 16, 5))[0]
                kinds[which](homes[which], n)
        except Spent:
            pass


def tallies(claims):
    table = {}
    for _, rule, is_folder, size in claims:
        row = table.setdefault(rule, {"count": 0, "bytes": 0, "directories": 0})
        row["count"] += 1
        row["bytes"] += size
        row["directories"] += is_folder
    return table


def make(args):
    root = os.path.join(os.path.abspath(args.root), "")
    os.makedirs(root, exist_ok=True)
    if set(os.listdir(root)) - {"lost+found"}:
        sys.exit("make_tree.py: %s is not empty" % root)
    maker = Maker(root, args)
    maker.make()
    claims = {scope: sorted(found) for scope, found in maker.claims.items()}
    manifest = {
        "format": 1, "root": root[:-1], "seed": args.seed, "entries": args.entries - maker.left, "profile": args.profile,
        "edges": args.edges,
        "totals": dict(maker.kinds, claimed=len(claims["adhoc"]), claimed_bytes=sum(c[3] for c in claims["adhoc"]),
                       claimed_directories=sum(c[2] for c in claims["adhoc"]), protected=len(maker.protected["adhoc"]),
                       survivors=len(maker.survivors), inside_claimed=len(maker.inside), deepest=maker.deepest,
                       widest=maker.widest),
        "tallies": tallies(claims["adhoc"]), "claimed": claims["adhoc"], "protected": sorted(maker.protected["adhoc"]),
        "inside_claimed": sorted(maker.inside), "survivors": sorted(maker.survivors),
        "watcher": {"tallies": tallies(claims["watcher"]), "claimed": claims["watcher"],
                    "protected": sorted(maker.protected["watcher"])},
    }
    with open(args.manifest, "w", encoding="utf-8") if args.manifest else sys.stdout as out:
        json.dump(manifest, out, ensure_ascii=False, separators=(",", ":"))
        out.write("\n")
    return 0


def entries_of(root):
    """Every path below a root, relative to it."""
    pending = [""]
    while pending:
        below = pending.pop()
        with os.scandir(root + below) as listing:
            for entry in listing:
                if not below and entry.name == "lost+found":
                    continue
                yield below + entry.name
                if entry.is_dir(follow_symlinks=False):
                    pending.append(below + entry.name + "/")


def compare(found, promised):
    for word, paths in (("unexpected", found - promised), ("missing", promised - found)):
        for path in sorted(paths)[:10]:
            print("%s: %s" % (word, path))
        if len(paths) > 10:
            print("%s: %d more" % (word, len(paths) - 10))
    print("as promised" if found == promised else "differs")
    return 0 if found == promised else 1


def check(args):
    with open(args.manifest, encoding="utf-8") as text:
        manifest = json.load(text)
    root = os.path.join(os.path.abspath(args.root), "")
    watcher = args.state == "cleaned-watcher" or args.scope == "watcher"
    claims = (manifest["watcher"] if watcher else manifest)["claimed"]
    if args.claimed:
        with open(args.claimed, "rb") as text:
            data = text.read()
        rows = [os.fsdecode(row) for row in data.split(b"\0" if b"\0" in data else b"\n") if row]
        return compare({row.removeprefix(root).removeprefix("./") for row in rows}, {claim[0] for claim in claims})
    everything = set(manifest["survivors"]) | set(manifest["inside_claimed"]) | {claim[0] for claim in manifest["claimed"]}
    if args.state == "made":
        return compare(set(entries_of(root)), everything)
    gone = {claim[0] for claim in claims}
    folders = tuple(claim[0] + "/" for claim in claims if claim[2])
    stays = {path for path in everything if path not in gone and not path.startswith(folders)}
    return compare(set(entries_of(root)), stays)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    commands = parser.add_subparsers(dest="command", required=True)
    maker = commands.add_parser("make")
    maker.add_argument("root")
    maker.add_argument("--entries", type=int, default=200000)
    maker.add_argument("--seed", type=int, default=1)
    maker.add_argument("--litter", type=float, default=0.10)
    maker.add_argument("--profile", choices=("posix", "fat"), default="posix")
    maker.add_argument("--edges", action="store_true")
    maker.add_argument("--manifest")
    checker = commands.add_parser("check")
    checker.add_argument("root")
    checker.add_argument("manifest")
    asked = checker.add_mutually_exclusive_group(required=True)
    asked.add_argument("--state", choices=("made", "cleaned", "cleaned-watcher"))
    asked.add_argument("--claimed")
    checker.add_argument("--scope", choices=("adhoc", "watcher"), default="adhoc")
    args = parser.parse_args()
    return make(args) if args.command == "make" else check(args)


if __name__ == "__main__":
    sys.exit(main())
