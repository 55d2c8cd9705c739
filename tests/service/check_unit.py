#!/usr/bin/env python3
"""Check the watcher's service unit.

    check_unit.py verify UNIT VARNEL    what systemd itself finds wrong with it
    check_unit.py suffices UNIT VARNEL  a watch with no capability but those of the unit removes what it should, and
                                        makes no system call that the unit forbids

Exit status 77, with the reason, where this machine cannot tell.
"""

import os
import re
import signal
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from skipping import need, skip  # noqa: E402

NAMESPACE = "VARNEL_SERVICE_NAMESPACE"


def settings(unit, key):
    """The words of every line of that key."""
    with open(unit) as lines:
        return [word for line in lines if line.startswith(key + "=") for word in line.split("=", 1)[1].split()]


def verify(unit, varnel):
    need("systemd-analyze")
    with tempfile.TemporaryDirectory(prefix="varnel-unit.") as folder:
        # The build may lie in a folder whose name a unit would have to quote.
        program = os.path.join(folder, "varnel")
        os.symlink(varnel, program)
        with open(unit) as file:
            text, changes = re.subn(r"(?m)^ExecStart=\S+", lambda _: "ExecStart=" + program, file.read())
        assert changes == 1, "the unit starts one program"
        copy = os.path.join(folder, os.path.basename(unit))
        with open(copy, "w") as file:
            file.write(text)
        done = subprocess.run(["systemd-analyze", "verify", "--man=no", copy], stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    print(done.stdout, end="")
    # An unknown key or value is only a warning to systemd.
    return 1 if done.returncode != 0 or os.path.basename(unit) in done.stdout else 0


def allowed_calls(words):
    """The system calls that a filter's words name, sets opened up."""
    calls = set()
    waiting = list(words)
    while waiting:
        word = waiting.pop()
        if not word.startswith("@"):
            calls.add(word)
            continue
        listed = subprocess.run(["systemd-analyze", "syscall-filter", word], check=True, stdout=subprocess.PIPE,
                                stderr=subprocess.DEVNULL, text=True).stdout.splitlines()
        waiting += [line.strip() for line in listed[1:] if line.strip() and not line.strip().startswith("#")]
    return calls


def wait_until(what, condition):
    deadline = time.monotonic() + 20
    while not condition():
        if time.monotonic() > deadline:
            sys.exit("never came true: " + what)
        time.sleep(0.01)


def child_of(process):
    return int(subprocess.run(["pgrep", "-P", str(process)], check=True, stdout=subprocess.PIPE).stdout)


def suffices(unit, varnel):
    need("systemd-analyze", "strace", "setpriv", "unshare")
    if os.geteuid() != 0:
        skip("only root has capabilities to do without")
    if NAMESPACE not in os.environ:
        if subprocess.run(["unshare", "-m", "true"], stderr=subprocess.DEVNULL).returncode != 0:
            skip("this machine grants no mount namespace")
        os.environ[NAMESPACE] = "1"
        os.execvp("unshare", ["unshare", "-m", "--propagation", "private", sys.executable, *sys.argv])
    capabilities = [word.lower().removeprefix("cap_") for word in settings(unit, "CapabilityBoundingSet")]
    with tempfile.TemporaryDirectory(prefix="varnel-unit.") as folder:
        share, volume, home = (os.path.join(folder, name) for name in ("share", "volume", "home"))
        for path in (share, volume, home):
            os.mkdir(path)
        subprocess.run(["mount", "-t", "tmpfs", "volume", volume], check=True)
        calls, out = os.path.join(folder, "calls"), os.path.join(folder, "out")
        with open(out, "w") as file:
            watch = subprocess.Popen(
                ["setpriv", "--no-new-privs", "--bounding-set", "-all," + ",".join("+" + c for c in capabilities),
                 "strace", "-f", "-qq", "-o", calls, varnel, "watch", "--sweep-first", share, volume],
                stdin=subprocess.DEVNULL, stdout=file, start_new_session=True,
                # A leak checker traces the process itself, which only one can.
                env={**os.environ, "HOME": home, "ASAN_OPTIONS": "detect_leaks=0"})
        try:
            wait_until("the watch begins", lambda: "WATCH started" in open(out).read())
            started = child_of(watch.pid)
            worker = child_of(started)
            os.kill(worker, signal.SIGSTOP)  # or it would take the litter before it is given away
            litter = []
            for root in (share, volume):
                for name, mode in (("theirs", 0o700), ("sticky", 0o1777)):
                    box = os.path.join(root, name)
                    os.mkdir(box)
                    litter += [os.path.join(box, "._x"), os.path.join(box, "__MACOSX", "._y")]
                    os.mkdir(os.path.join(box, "__MACOSX"), 0o500)
                    for path in litter[-2:]:
                        open(path, "w").close()
                        os.chown(path, 65534, 65534)
                    os.chown(os.path.join(box, "__MACOSX"), 65534, 65534)
                    os.chown(box, 65533, 65533)
                    os.chmod(box, mode)
            os.kill(worker, signal.SIGCONT)
            wait_until("all litter goes", lambda: not any(os.path.exists(path) for path in litter))
            with open(calls) as lines:
                made = set(re.findall(r"(?m)^\d+ +(?:<\.\.\. )?(\w+)[( ]", lines.read()))
            os.kill(started, signal.SIGTERM)
            status = watch.wait(20)
        finally:
            try:
                os.killpg(watch.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass  # it has ended by itself
            subprocess.run(["umount", "-l", volume], check=True)
    assert {"open_by_handle_at", "inotify_add_watch", "unlinkat"} <= made, "both ways of watching were seen: %s" % made
    # A call without a name is younger than the tools of this system; it gets an error, and the program does without.
    named = {call for call in made if not call.startswith("syscall_0x")}
    forbidden = named - allowed_calls(settings(unit, "SystemCallFilter"))
    print("%d system calls, status %d, forbidden: %s" % (len(made), status, ", ".join(sorted(forbidden)) or "none"))
    return 1 if forbidden or status != 0 else 0


def main():
    check, unit, varnel = sys.argv[1:]
    return {"verify": verify, "suffices": suffices}[check](unit, varnel)


if __name__ == "__main__":
    sys.exit(main())
