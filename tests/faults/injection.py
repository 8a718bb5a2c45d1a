"""The points at which a command is broken: its calls that change something on disk, and those that only ask."""

import os
import re
import signal
import time

from applications import MET, published
from machine import BOUND

MAKING = ["open", "openat", "creat", "write", "pwrite64", "writev", "pwritev", "mkdir", "mkdirat", "mknodat", "symlink", "symlinkat",
          "link", "linkat", "rename", "renameat", "renameat2", "ftruncate", "truncate", "fallocate", "sendfile", "copy_file_range",
          "setxattr", "lsetxattr", "fsetxattr", "fsync", "fdatasync", "syncfs"]
OTHERS = ["unlink", "unlinkat", "rmdir", "chmod", "fchmod", "fchmodat", "chown", "fchown", "lchown", "fchownat",
          "utimensat", "removexattr", "lremovexattr", "fremovexattr"]
# rpm's database reads by pread64.
ASKING = ["openat", "read", "pread64", "getdents64", "newfstatat", "statx", "readlink", "readlinkat",
          "getxattr", "lgetxattr", "fgetxattr", "listxattr", "llistxattr", "flistxattr"]
# The end of the process, where it can be killed and nothing can fail.
END = ["exit_group"]
OPENING = ["open", "openat", "creat"]
KILLING = ["kill", "powercut", "latecut"]
# How many calls of the name fail, from the point on: of a bad block one, of a machine without memory or descriptors several.
WINDOWS = {"ask-eio": 1, "ask-enomem": 3, "ask-emfile": 12}
MODES = {
    **{mode: ("delay_enter=1000s", MAKING + OTHERS + END) for mode in KILLING},
    "eio": ("error=EIO", MAKING + OTHERS), "enospc": ("error=ENOSPC", MAKING),
    "enospc-from": ("error=ENOSPC", [name for name in MAKING if name not in OPENING]),
    "meet": ("delay_enter=300000", ["renameat2"]),
    "ask-eio": ("error=EIO", ASKING), "ask-enomem": ("error=ENOMEM", ASKING), "ask-emfile": ("error=EMFILE", ["openat"]),
}


class Point:
    """Call `index`, counted from one, of those of the process that have this name. `counts` has all names' counts there."""

    def __init__(self, name, index, counts, call, asks):
        self.name, self.index, self.counts, self.call, self.asks = name, index, counts, call, asks

    def __str__(self):
        return f"{self.name}:{self.index}"

    def suits(self, mode):
        return self.name in MODES[mode][1] and self.asks == (mode in WINDOWS) and (mode != "meet" or bool(self.target()))

    def target(self):
        """The published path that the call brings a file to. Without its desktop file an application is another one."""
        found = re.match(r'renameat2\(\d+<([^>]*)>, "\.kelp-[0-9a-f]+-\d+", \d+<.*>, "([^"]*)"', self.call)
        return "/".join(found.groups()) if found and "/applications>" not in self.call else ""

    def strace(self, mode, log):
        """The strace that breaks a command here. It follows other processes, which rpm's scripts are, only because that lets
        the kernel pass all other calls by; they count their own calls."""
        fault, names = MODES[mode]
        strace = ["strace", "-f", "--seccomp-bpf", "-s", "0", "-o", log]
        if mode != "enospc-from":
            last = self.index + WINDOWS.get(mode, 1) - 1
            return [*strace, "-e", f"trace={self.name}", "-e", f"inject={self.name}:{fault}:when={self.index}..{last}"]
        counts = {name: self.counts.get(name, 0) + (name != self.name) for name in names}
        return [*strace, "-e", "trace=" + ",".join("?" + name for name in names),
                *(word for name in names for word in ["-e", f"inject=?{name}:{fault}:when={counts[name]}+"])]

    def caller(self, log, strace):
        """Waits until `strace` holds the command here. Nothing where it has ended."""
        while strace.poll() is None:
            lines = log.read_text(errors="replace").splitlines() if log.exists() else []
            callers = [line.split()[0] for line in lines if f" {self.name}(" in line]
            if callers and callers.count(callers[0]) == self.index:
                return int(callers[0])
            time.sleep(0.001)

    def kill(self, log, strace):
        """Kills the command here, and `strace`: one that lives on holds the dead as well."""
        if caller := self.caller(log, strace):
            os.kill(caller, signal.SIGKILL)
            strace.kill()
            while os.path.exists(f"/proc/{caller}"):
                time.sleep(0.001)

    def meet(self, root, log, strace):
        """Puts somebody's file at the target here, between the look and the exchange."""
        if self.caller(log, strace):
            target = root / self.target().lstrip("/")
            made = target.with_name("met")
            made.write_text(MET)
            made.chmod(next(app.mode(path) for app, path in published(self.target())))
            made.replace(target)


def recording(log):
    return ["strace", "-y", "-s", "60", "-o", log, "-e", "signal=none", "-e", "trace=execve," + ",".join("?" + name for name in MAKING + OTHERS + END + ASKING)]


def changes_something(name, call):
    if name in OPENING:
        return re.search(r"O_CREAT|O_TRUNC", call) or name == "creat"
    return not re.match(r"\w+\([012]<|\w+\(\d+<(pipe|socket|/dev|/proc)", call)


def asks_for_something(name, call):
    return name in ASKING and not re.search(rf"\(\d+<(pipe|socket|anon_inode)|/{os.path.basename(BOUND[0])}[/>]|/ld\.so|[<\"]/dev/", call)


def points(log, root):
    """The points of a recorded run, in the order of the run. What was asked before the program began is none."""
    calls = open(log, errors="replace").read().replace(str(root), "").splitlines()
    begin = max(number for number, call in enumerate(calls) if call.startswith("execve("))
    counts, result = {}, []
    for number, call in enumerate(calls):
        name = call.split("(")[0]
        counts[name] = counts.get(name, 0) + 1
        changes = name in MAKING + OTHERS + END and changes_something(name, call)
        if changes or (number > begin and asks_for_something(name, call)):
            result.append(Point(name, counts[name], dict(counts), call, not changes))
    return result
