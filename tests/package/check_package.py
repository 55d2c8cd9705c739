#!/usr/bin/env python3
"""Check the Debian packages.

    check_package.py dependencies FOLDER    what they are said to be built from is what the scripts install
    check_package.py build FOLDER           they are made in FOLDER, from a clean copy of the sources
    check_package.py lintian FOLDER         lintian finds nothing wrong with them
    check_package.py desktop FOLDER         the application's entries are valid and lead to what is installed
    check_package.py install FOLDER         they are installed, work, and go without a trace

Exit status 77, with the reason, where this machine cannot tell.
"""

import filecmp
import glob
import gzip
import os
import re
import shutil
import stat
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ElementTree

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from skipping import need, skip  # noqa: E402

NAMESPACE = "VARNEL_PACKAGE_NAMESPACE"
HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.normpath(os.path.join(HERE, "..", ".."))
CONTROL = os.path.join(ROOT, "packaging", "debian", "control")

# What lintian may say, and why. What concerns one package alone is in packaging/debian/*.lintian-overrides.
EXCEPTIONS = {
    "bogus-mail-host": "the project has no address for mail yet; packaging/debian/control will name it",
    "bogus-mail-host-in-debian-changelog": "the same",
}

# What dpkg and its triggers write for any package.
BOOKKEEPING = ["/var/lib/dpkg/", "/var/log/dpkg.log", "/var/cache/man/", "/var/cache/debconf/", "/etc/ld.so.cache",
               "/var/cache/ldconfig/", "/usr/share/applications/mimeinfo.cache",
               "/usr/share/icons/hicolor/icon-theme.cache"]


def run(*words, **options):
    """Runs a program that must succeed, and gives what it prints."""
    done = subprocess.run(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          **options)
    assert done.returncode == 0, "%s: status %d\n%s" % (" ".join(words), done.returncode, done.stdout)
    return done.stdout


def packages(folder):
    """The two packages, without those of the debugging symbols."""
    found = sorted(path for path in glob.glob(os.path.join(folder, "varnel*.deb")) if "-dbgsym_" not in path)
    if not found:
        skip("no packages were built")
    assert [os.path.basename(path).split("_")[0] for path in found] == ["varnel-desktop", "varnel"], found
    return found


def dependencies(_):
    need("bash")
    with open(CONTROL) as file:
        field = re.search(r"(?m)^Build-Depends:((?:\n? .*)*)", file.read()).group(1)
    declared = {re.match(r"[a-z0-9.+-]+", part.strip()).group() for part in field.split(",") if part.strip()}
    installed = set(run("bash", "-c", '. "$1"; echo "${packages_build[@]}" "${packages_package[@]}"', "bash",
                        os.path.join(ROOT, "scripts", "packages.sh")).split())
    # What every build of a package has, what only makes ours quicker, and what our script is helped by.
    installed -= {"g++", "build-essential", "ccache", "debhelper", "python3"}
    declared -= {"debhelper-compat"}
    print("only in packaging/debian/control: %s; only in scripts/packages.sh: %s"
          % (sorted(declared - installed), sorted(installed - declared)))
    return 0 if declared == installed else 1


def build(folder):
    shutil.rmtree(folder, ignore_errors=True)
    need("dpkg-buildpackage", "dpkg-checkbuilddeps", "dh")
    unmet = subprocess.run(["dpkg-checkbuilddeps", CONTROL], stderr=subprocess.PIPE, text=True)
    if unmet.returncode != 0:
        skip(unmet.stderr.strip())
    print(run(os.path.join(ROOT, "scripts", "package.sh"), folder), end="")
    packages(folder)
    return 0


def lintian(folder):
    need("lintian")
    packages(folder)
    return subprocess.run(["lintian", "--allow-root", "--info", "--display-info", "--pedantic",
                           "--fail-on=error,warning,info,pedantic", "--suppress-tags=" + ",".join(EXCEPTIONS),
                           *glob.glob(os.path.join(folder, "*.changes"))]).returncode


def desktop(folder):
    need("appstreamcli", "desktop-file-validate", "dpkg-deb")
    package = packages(folder)[0]
    with tempfile.TemporaryDirectory(prefix="varnel-desktop.") as root:
        run("dpkg-deb", "-x", package, root)
        share = os.path.join(root, "usr", "share")
        entries = glob.glob(os.path.join(share, "applications", "*.desktop"))
        metadata = glob.glob(os.path.join(share, "metainfo", "*.xml"))
        assert len(entries) == 1 and len(metadata) == 1, (entries, metadata)
        print(run("desktop-file-validate", "--warn-kde", *entries), end="")
        # There is no network to look at links with, and no reason to fail because of it.
        print(run("appstreamcli", "validate", "--no-net", "--pedantic", *metadata), end="")

        component = ElementTree.parse(metadata[0]).getroot()
        version = run("dpkg-deb", "-f", package, "Version").strip()
        assert component.find("releases/release").get("version") == version, "the newest release is this one"
        assert component.findtext("launchable") == os.path.basename(entries[0])
        with open(entries[0]) as file:
            entry = file.read()
        for program in re.findall(r"(?m)^(?:Try)?Exec=(\S+)", entry):
            assert os.path.basename(program) == program or program.startswith("/usr/bin/"), program
            assert os.access(os.path.join(root, "usr", "bin", os.path.basename(program)), os.X_OK), program
        icons = set(re.findall(r"(?m)^Icon=(\S+)", entry))
        assert icons, entry
        for icon in icons:
            assert glob.glob(os.path.join(share, "icons", "hicolor", "*", "apps", icon + ".*")), icon
    return 0


class PrivateSystem:
    """The folders in which packages are installed, laid over those of this machine, which stay as they are."""

    FOLDERS = ["usr", "etc", "var"]

    def __init__(self, place):
        run("mount", "-t", "tmpfs", "private", place)
        self.before, self.written = os.path.join(place, "before"), os.path.join(place, "written")
        os.mkdir(self.before)
        run("mount", "--rbind", "/", self.before)
        for folder in self.FOLDERS:
            upper, work = os.path.join(self.written, folder), os.path.join(place, "work", folder)
            os.makedirs(upper)
            os.makedirs(work)
            run("mount", "-t", "overlay", "private", "/" + folder, "-o",
                "lowerdir=%s/%s,upperdir=%s,workdir=%s" % (self.before, folder, upper, work))
        # The services of this machine have no part in all this.
        run("mount", "-t", "tmpfs", "private", "/run")

    def changes(self):
        """What is otherwise than before, but for what dpkg writes about itself."""
        found = []
        for folder, subfolders, files in os.walk(self.written):
            for path in (os.path.join(folder, name) for name in subfolders + files):
                seen = path[len(self.written):]
                if not any((seen + "/").startswith(own) or seen == own for own in BOOKKEEPING):
                    found += self.change(path, seen)
        return sorted(found)

    def change(self, path, seen):
        now, before = os.lstat(path), self.before + seen
        if not os.path.lexists(before):
            # A device 0, 0 stands for what was removed.
            return [] if stat.S_ISCHR(now.st_mode) else ["new: " + seen]
        then = os.lstat(before)
        if (now.st_mode, now.st_uid, now.st_gid) != (then.st_mode, then.st_uid, then.st_gid):
            return ["another kind of file, owner or mode: " + seen]
        if stat.S_ISREG(now.st_mode) and not filecmp.cmp(path, before, shallow=False):
            return ["another content: " + seen]
        if stat.S_ISLNK(now.st_mode) and os.readlink(path) != os.readlink(before):
            return ["another target: " + seen]
        return []


def write(path, text):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w") as file:
        file.write(text)


def check_installed(version):
    """The programs, the manual, the service and the completions, each found by those who look for it."""
    for program in ("varnel", "varnel-desktop"):
        assert shutil.which(program) == "/usr/bin/" + program
        assert run(program, "--version") == "%s %s\n" % (program, version)
        assert run("man", "-w", program) == "/usr/share/man/man1/%s.1.gz\n" % program
        assert run("dpkg", "--verify", program) == ""
    with tempfile.TemporaryDirectory(prefix="varnel-installed.") as home:
        write(home + "/stick/._litter", "")
        write(home + "/stick/letter", "")
        run("varnel", "clean", "--yes", home + "/stick", env={**os.environ, "HOME": home})
        assert os.listdir(home + "/stick") == ["letter"]

    unit = "/lib/systemd/system/varnel-watch.service"
    assert run("systemd-analyze", "verify", unit) == ""
    wanted = [folder for folder in glob.glob("/etc/systemd/system/*.wants/*") if "varnel" in folder]
    assert not wanted, "what deletes files is enabled by a person: %s" % wanted
    for shell in ("bash", "zsh", "fish"):
        print(shell, run(sys.executable, os.path.join(HERE, "check_completions.py"), shell, "/usr/bin/varnel"), end="")


def check_rotation(log):
    """The log is rotated under a writer that has it open."""
    with open(log, "a") as writer:
        writer.write("one line\n")
        writer.flush()
        run("logrotate", "--force", "--state", "/var/lib/logrotate/varnel", "/etc/logrotate.d/varnel")
        writer.write("another line\n")
    with open(log) as now, gzip.open(log + ".1.gz", "rt") as then:
        assert (then.read(), now.read()) == ("one line\n", "another line\n")
    os.remove("/var/lib/logrotate/varnel")


class RecordedServices:
    """In the place of the service manager: it takes down what it is asked, and starts nothing."""

    SYSTEMCTL, POLICY, CALLS, ACTIVE = "/usr/bin/systemctl", "/usr/sbin/policy-rc.d", "/run/calls", "/run/active"

    def __init__(self):
        os.makedirs("/run/systemd/system")
        self.originals = {}
        self.replace(self.SYSTEMCTL, """echo "$*" >>%s
            case "$*" in
              *is-enabled*) echo disabled ;;
              *is-active*) test -e %s ;;
            esac
            """ % (self.CALLS, self.ACTIVE))
        if os.path.exists(self.POLICY):  # of machines that start no services at all
            self.replace(self.POLICY, "exit 0\n")

    def replace(self, path, script):
        self.originals[path] = path + ".original"
        os.rename(path, path + ".original")
        write(path, "#!/bin/sh\n" + script)
        os.chmod(path, 0o755)

    def restore(self):
        for path, original in self.originals.items():
            os.replace(original, path)

    def asked(self):
        """What was done to services since the last time."""
        with open(self.CALLS) as file:
            calls = file.read()
        os.remove(self.CALLS)
        return re.findall(r"(?m)\b(start|restart|try-restart|stop|enable|disable|mask|unmask)\b.* (\S+\.service)$", calls)


def install(folder):
    need("dpkg", "unshare", "systemd-analyze", "logrotate", "man")
    found = packages(folder)
    if os.geteuid() != 0:
        skip("only root can install a package")
    if not os.path.islink("/lib"):
        skip("the folders of this machine are laid out in the old way")
    if subprocess.run(["dpkg-query", "-W", "varnel", "varnel-desktop"], capture_output=True).stdout:
        skip("varnel is installed on this machine")
    if NAMESPACE not in os.environ:
        if subprocess.run(["unshare", "-m", "true"], stderr=subprocess.DEVNULL).returncode != 0:
            skip("this machine grants no mount namespace")
        os.environ[NAMESPACE] = "1"
        os.execvp("unshare", ["unshare", "-m", "--propagation", "private", sys.executable, *sys.argv])
    os.environ["PATH"] = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"
    os.environ["LC_ALL"] = "C.UTF-8"
    version = run("dpkg-deb", "-f", found[0], "Version").strip()
    log, env = "/var/log/varnel/Library/Logs/Varnel/varnel.log", "/etc/varnel/watch.env"
    place = tempfile.mkdtemp(prefix="varnel-system.")
    system = PrivateSystem(place)
    try:
        services = RecordedServices()
        run("dpkg", "--install", *found)
        assert services.asked() == [], "what deletes files is not started by an installation"
        check_installed(version)
        write(services.ACTIVE, "")
        run("dpkg", "--install", *found)
        assert services.asked() == [("restart", "varnel-watch.service")]
        check_installed(version)
        write(env, "VARNEL_PATHS=/srv/share\n")
        write(log, "")
        check_rotation(log)

        run("dpkg", "--remove", "varnel", "varnel-desktop")
        assert services.asked() == [("stop", "varnel-watch.service")]
        assert not shutil.which("varnel") and not shutil.which("varnel-desktop")
        for kept in (log, log + ".1.gz", env, "/etc/logrotate.d/varnel"):
            assert os.path.exists(kept), kept
        run("dpkg", "--purge", "varnel", "varnel-desktop")
        services.restore()
        left = system.changes()
    finally:
        # The mounts go with this process; without them the place is an empty folder.
        run("umount", "--lazy", place)
        os.rmdir(place)
    print("\n".join(left) or "nothing is left")
    return 1 if left else 0


def main():
    check, folder = sys.argv[1:]
    checks = {"dependencies": dependencies, "build": build, "lintian": lintian, "desktop": desktop, "install": install}
    return checks[check](os.path.abspath(folder))


if __name__ == "__main__":
    sys.exit(main())
