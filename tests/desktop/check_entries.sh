#!/usr/bin/env bash
# Holds what is installed for desktops against the tools that judge such files, and against one another.
#   check_entries.sh FOLDER METAINFO
set -euo pipefail
folder=$1 metainfo=$2
for program in desktop-file-validate appstreamcli python3; do
  command -v "$program" >/dev/null || {
    echo "this machine has no $program"
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
import configparser, pathlib, sys, xml.dom.minidom

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
compile((folder / "file-managers/nautilus.py").read_text(), "nautilus.py", "exec")
PYTHON
