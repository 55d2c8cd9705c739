# SPDX-License-Identifier: MIT
"""UDisks2 as a test wants it: a template for python3-dbusmock.

Parameters:
  journal   the file that takes a line for each call: method, object, and "force" where that was asked for
  drives    name -> its properties
  blocks    name -> number, and where there is one: drive, table, encrypted (names of other objects), isLoop
  do        "Method name" -> the shell command that does it; its failure is the method's
  failures  "Method name" -> what the calls answer one after the other, an empty list meaning no more failures;
            null is a success
  answer    what GetManagedObjects answers instead of the objects
  ready     the file that says that everything stands
"""
import subprocess

import dbus

import dbusmock

BUS_NAME = "org.freedesktop.UDisks2"
MAIN_OBJ = "/org/freedesktop/UDisks2"
SYSTEM_BUS = True
IS_OBJECT_MANAGER = True

PREFIX = BUS_NAME + "."


def block(name):
    return dbus.ObjectPath("/org/freedesktop/UDisks2/block_devices/" + name if name else "/")


def drive(name):
    return dbus.ObjectPath("/org/freedesktop/UDisks2/drives/" + name if name else "/")


def add(mock, path, interface, properties, methods=()):
    """Adds an interface, with the object where that is new; each method takes options alone."""
    name = path.rsplit("/", 1)[1]
    entries = [(method, "a{sv}", "", 'self.perform("%s %s", args[0])' % (method, name)) for method in methods]
    if path not in dbusmock.get_objects():
        mock.AddObject(path, PREFIX + interface, dbus.Dictionary(properties, signature="sv"), entries)
        dbusmock.get_object(path).perform = mock.perform
    else:
        dbusmock.get_object(path).AddProperties(PREFIX + interface, dbus.Dictionary(properties, signature="sv"))
        dbusmock.get_object(path).AddMethods(PREFIX + interface, entries)


def load(mock, parameters):
    failures = parameters.get("failures", {})
    commands = parameters.get("do", {})

    def fail(text):
        raise dbus.exceptions.DBusException(text, name=PREFIX + "Error.Failed")

    def perform(call, options):
        with open(parameters["journal"], "a", encoding="utf-8") as journal:
            journal.write(call + (" force" if options.get("force", False) else "") + "\n")
        if failures.get(call):
            text = failures[call].pop(0)
            if text is not None:
                fail(text)
        if call in commands:
            done = subprocess.run(commands[call], shell=True, capture_output=True, text=True, check=False)
            if done.returncode != 0:
                fail(done.stderr.strip())

    mock.perform = perform
    for name, properties in parameters.get("drives", {}).items():
        add(mock, drive(name), "Drive", properties, ("PowerOff", "Eject"))
    for name, facts in parameters.get("blocks", {}).items():
        add(mock, block(name), "Block", {
            "DeviceNumber": dbus.UInt64(facts["number"]),
            "Drive": drive(facts.get("drive")),
            "CryptoBackingDevice": block(facts.get("encrypted")),
            "Symlinks": dbus.Array([dbus.Array(b"/dev/x\0", signature="y")], signature="ay"),
        })
        add(mock, block(name), "Filesystem", {"Size": dbus.UInt64(1)}, ("Unmount",))
        add(mock, block(name), "Encrypted", {"HintEncryptionType": "luks"}, ("Lock",))
        if "table" in facts:
            add(mock, block(name), "Partition", {"Number": dbus.UInt32(1), "Table": block(facts["table"])})
        if facts.get("isLoop"):
            add(mock, block(name), "Loop", {"Autoclear": False}, ("Delete",))
    if "answer" in parameters:
        mock.AddMethod("org.freedesktop.DBus.ObjectManager", "GetManagedObjects", "", "s",
                       "ret = %r" % parameters["answer"])
    with open(parameters["ready"], "w", encoding="utf-8"):
        pass
