# SPDX-License-Identifier: MIT
"""Puts "Clean with Varnel" into the menu of files and folders, where python3-nautilus is installed."""

import subprocess

from gi.repository import GObject, Nautilus


class VarnelMenu(GObject.GObject, Nautilus.MenuProvider):
    def get_file_items(self, *arguments):
        # Before version 43 a window came first.
        files = [file for file in arguments[-1] if file.get_uri_scheme() == "file"]
        if not files:
            return []
        item = Nautilus.MenuItem(name="Varnel::clean", label="Clean with Varnel",
                                 tip="Removes the litter that Macs and Windows PCs left here, after a question")
        item.connect("activate", lambda _: subprocess.Popen(["varnel-desktop"] + [file.get_uri() for file in files]))
        return [item]

    def get_background_items(self, *arguments):
        return self.get_file_items([arguments[-1]])
