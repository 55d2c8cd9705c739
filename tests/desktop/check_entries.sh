#!/usr/bin/env bash
# Holds what is installed for desktops against the tools that judge such files, and against one another.
#   check_entries.sh FOLDER METAINFO
set -euo pipefail
folder=$1 metainfo=$2
for program in desktop-file-validate appstreamcli python3; do
  command -v "$program" >/dev/null || {
    echo "SKIPPED: this machine has no $program"
    exit 77
  }
done

work=$(mktemp -d /tmp/varnel-entries.XXXXXX)
trap 'rm -rf "$work"' EXIT

desktop-file-validate --no-hints "$folder/com.quorin.Varnel.desktop" "$folder/file-managers/thunar.desktop"
sed 's|@PROGRAM@|"/usr/bin/varnel-desktop"|' "$folder/com.quorin.Varnel.autostart.desktop.in" >"$work/login.desktop"
desktop-file-validate --no-hints "$work/login.desktop"

# The judge looks for the entry beside the description.
mkdir -p "$work/share/metainfo" "$work/share/applications" "$work/share/icons/hicolor/scalable/apps"
cp "$metainfo" "$work/share/metainfo"
cp "$folder/com.quorin.Varnel.desktop" "$work/share/applications"
cp "$folder/icons/com.quorin.Varnel.svg" "$work/share/icons/hicolor/scalable/apps"
appstreamcli validate --no-net --explain "$work/share/metainfo/com.quorin.Varnel.metainfo.xml"

python3 - "$folder" <<'PYTHON'
import configparser, pathlib, runpy, shlex, sys, types, urllib.parse, xml.dom.minidom

folder = pathlib.Path(sys.argv[1])
for drawing in folder.glob("icons/*.svg"):
    xml.dom.minidom.parse(str(drawing))
entries = [*folder.glob("*.desktop"), *folder.glob("file-managers/*.desktop"), *folder.glob("file-managers/*.nemo_action")]
assert len(entries) == 5, entries
for entry in entries:
    parser = configparser.RawConfigParser(strict=True)
    parser.optionxform = str
    parser.read(entry, encoding="utf-8")
    commands = [parser[group]["Exec"] for group in parser.sections() if "Exec" in parser[group]]
    assert commands, entry
    for command in commands:
        assert command.split()[0] == "varnel-desktop", (entry, command)
    if entry.parent.name == "file-managers":
        assert any(parser[group].get("Name") == "Clean with Varnel" for group in parser.sections()), entry
        assert all(command.split()[1] in ("%U", "%F") for command in commands), entry

# Nemo puts the URLs into the command as they are, and has a shell's rules split it. GLib leaves these characters in a URL.
parser = configparser.RawConfigParser()
parser.optionxform = str
parser.read(folder / "file-managers/nemo.nemo_action", encoding="utf-8")
action = parser["Nemo Action"]
quote = {"double": '"', "single": "'"}.get(action.get("Quote"), "")
urls = ["file://" + urllib.parse.quote(path, safe="/!$&'()*+,;=:@")
        for path in ("/media/ana/Ana's Stick", '/media/ana/50 % "off" (new) & more; $HOME \\ #1/Bücher', "/media/ana/x y")]
assert "'" in urls[0]
command = action["Exec"].replace("%U", " ".join(quote + url + quote for url in urls))
assert shlex.split(command) == ["varnel-desktop", *urls], command

# Nautilus runs what it finds there; these stand for it and for the files that are selected.
class Item:
    def __init__(self, **labels):
        self.label = labels["label"]

    def connect(self, signal, action):
        assert signal == "activate"
        self.activate = action


class File:
    def __init__(self, uri):
        self.uri = uri

    def get_uri(self):
        return self.uri

    def get_uri_scheme(self):
        return self.uri.partition(":")[0]


repository = types.ModuleType("gi.repository")
repository.GObject = types.SimpleNamespace(GObject=type("GObject", (), {}))
repository.Nautilus = types.SimpleNamespace(MenuProvider=type("MenuProvider", (), {}), MenuItem=Item)
sys.modules.update({"gi": types.ModuleType("gi"), "gi.repository": repository})
extension = runpy.run_path(str(folder / "file-managers/nautilus.py"))
started = []
extension["subprocess"].Popen = started.append
menu = extension["VarnelMenu"]()
selected = [File(url) for url in [*urls, "mtp://camera/DCIM"]]
for window in ([], ["a window"]):
    item, = menu.get_file_items(*window, selected)
    item.activate(item)
    folder_item, = menu.get_background_items(*window, selected[0])
    folder_item.activate(folder_item)
assert item.label == "Clean with Varnel"
assert started == [["varnel-desktop", *urls], ["varnel-desktop", urls[0]]] * 2, started
assert menu.get_file_items([File("trash:///x")]) == []
PYTHON
