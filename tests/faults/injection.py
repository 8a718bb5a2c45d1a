"""The points at which a command is broken: its calls that change something on disk."""

import re

MAKING = ["open", "openat", "creat", "write", "pwrite64", "writev", "pwritev", "mkdir", "mkdirat", "mknodat", "symlink", "symlinkat",
          "link", "linkat", "rename", "renameat", "renameat2", "ftruncate", "truncate", "fallocate", "sendfile", "copy_file_range",
          "setxattr", "lsetxattr", "fsetxattr", "fsync", "fdatasync", "syncfs"]
OTHERS = ["unlink", "unlinkat", "rmdir", "chmod", "fchmod", "fchmodat", "chown", "fchown", "lchown", "fchownat",
          "utimensat", "removexattr", "lremovexattr", "fremovexattr"]
# The end of the process, where it can be killed and nothing can fail.
END = ["exit_group"]
OPENING = ["open", "openat", "creat"]
KILLING = ["kill", "powercut", "latecut"]
MODES = {
    "kill": ("signal=KILL", MAKING + OTHERS + END), "powercut": ("signal=KILL", MAKING + OTHERS + END),
    "latecut": ("signal=KILL", MAKING + OTHERS + END),
    "eio": ("error=EIO", MAKING + OTHERS), "enospc": ("error=ENOSPC", MAKING),
    "enospc-from": ("error=ENOSPC", [name for name in MAKING if name not in OPENING]),
}


class Point:
    """Call `index`, counted from one, of those of the process that have this name. `counts` has all names' counts there."""

    def __init__(self, name, index, counts, call=""):
        self.name, self.index, self.counts, self.call = name, index, counts, call

    def __str__(self):
        return f"{self.name}:{self.index}"

    def injections(self, mode):
        """Arguments for strace. Calls of other processes, as rpm's scripts are, neither count nor fail."""
        fault, names = MODES[mode]
        if mode != "enospc-from":
            return ["-e", f"trace={self.name}", "-e", f"inject={self.name}:{fault}:when={self.index}"]
        counts = {name: self.counts.get(name, 0) + (name != self.name) for name in names}
        return ["-e", "trace=" + ",".join("?" + name for name in names),
                *(word for name in names for word in ["-e", f"inject=?{name}:{fault}:when={counts[name]}+"])]


def recording(log):
    return ["strace", "-y", "-s", "60", "-o", log, "-e", "signal=none", "-e", "trace=" + ",".join("?" + name for name in MAKING + OTHERS + END)]


def changes_something(name, call):
    if name in OPENING:
        return re.search(r"O_CREAT|O_TRUNC", call) or name == "creat"
    return not re.match(r"\w+\([012]<|\w+\(\d+<(pipe|socket|/dev|/proc)", call)


def points(log, root):
    """The points of a recorded run, in the order of the run."""
    counts, result = {}, []
    for call in open(log, errors="replace").read().replace(str(root), "").splitlines():
        name = call.split("(")[0]
        if name in MAKING + OTHERS + END:
            counts[name] = counts.get(name, 0) + 1
            if changes_something(name, call):
                result.append(Point(name, counts[name], dict(counts), call))
    return result
