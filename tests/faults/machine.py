"""Machines to break: a root directory on disks of its own, each an ext4 file system in a file in memory."""

import json
import os
import pathlib
import subprocess
import sysconfig
import traceback

# What each disk holds, in MiB. Outer disks come first.
LAYOUTS = {
    "one": {"": 64},
    "many": {"": 16, "usr": 32, "var": 32, "opt": 32, "var/lib/rpm": 16},
    # What the machine begins with lies in the lower layer.
    "overlay": {"-lower": 64, "-upper": 64},
}
ENVIRONMENT = {"HOME": "/", "PATH": "/usr/sbin:/usr/bin", "LC_ALL": "C.UTF-8"}
# The machine's own libraries. A launcher that loses its way cannot write to them.
BOUND = ["usr/lib/" + sysconfig.get_config_var("MULTIARCH"), "usr/lib/rpm"]
# What may differ between machines that are equally well: the contents of databases are compared as what they say.
PASSED_OVER = ["/proc", "/dev", "/tmp", "/var/tmp", "/var/lib/rpm", "/var/lib/trusted-sources", "/lost+found", "/usr/lost+found",
               "/var/lost+found", "/opt/lost+found", "/var/lib/kelp/registry.next", "/opt/kelp/tmp/.kelp-staging"]


def run(*command, **options):
    return subprocess.run([str(word) for word in command], check=True, **options)


class Machine:
    """The disks `disks`/N.img, mounted at `root` while the object is used in a with statement."""

    bound, passed_over, is_overlay, is_new, second = BOUND, [*PASSED_OVER, *("/" + place for place in BOUND)], False, False, None

    def __init__(self, layout, disks, root):
        self.layout, self.disks, self.root = LAYOUTS[layout], pathlib.Path(disks), pathlib.Path(root)
        self.name, self.is_overlay = layout, layout == "overlay"

    def make(self):
        self.disks.mkdir(parents=True)
        self.is_new = True
        for disk, size in zip(self.images(), self.layout.values()):
            run("truncate", f"--size={size}M", disk)
            # Names and numbers that do not differ from run to run keep the order of directories the same.
            run("mkfs.ext4", "-q", "-N", 4096, "-U", "6b656c70-0000-4000-8000-000000000000", "-E",
                "hash_seed=6b656c70-0000-4000-8000-000000000000,lazy_itable_init=0,lazy_journal_init=0,nodiscard", disk)
        return self

    def copy_disks(self, disks):
        """Copies the disks as they are, with nothing flushed to them: the copies have what a power cut leaves."""
        pathlib.Path(disks).mkdir(parents=True, exist_ok=True)
        run("cp", "--sparse=always", *self.images(), disks)

    def __enter__(self):
        for image, place in zip(self.images(), self.layout):
            place = f"{self.root}{place}" if self.is_overlay else self.root / place
            os.makedirs(place, exist_ok=True)
            run("mount", "-o", "loop", image, place)
        if self.is_overlay:
            for directory in [f"{self.root}-upper/files", f"{self.root}-upper/work", self.root]:
                os.makedirs(directory, exist_ok=True)
            layers = "redirect_dir=on,lowerdir={0}-lower,upperdir={0}-upper/files,workdir={0}-upper/work".format(self.root)
            how = ["--bind", f"{self.root}-lower"] if self.is_new else ["-t", "overlay", "-o", layers, "layers"]
            run("mount", *how, self.root)
        if os.path.exists(self.root / "read-only"):
            run("mount", "-o", "remount,ro", self.root / "usr")
        for directory in self.bound:
            os.makedirs(self.root / directory, exist_ok=True)
            run("mount", "-o", "bind,ro", "/" + directory, self.root / directory)
        os.makedirs(self.root / "proc", exist_ok=True)
        run("mount", "-t", "proc", "proc", self.root / "proc")
        return self

    def __exit__(self, *_):
        run("umount", "-R", self.root)
        if self.is_overlay:
            run("umount", *(f"{self.root}{place}" for place in self.layout))

    def start(self, command, around=(), meanwhile=lambda process: None):
        """Runs a command of the machine, below the command `around` of this one. Returns its status and what it wrote."""
        with subprocess.Popen([*around, "chroot", self.root, *command], env=ENVIRONMENT, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, encoding="utf-8", errors="replace") as process:
            meanwhile(process)
            output = process.communicate()[0]
        return process.returncode, output

    def inside(self, function, *arguments):
        """What `function` returns when it runs with the machine's root directory as its own."""
        reading, writing = os.pipe()
        child = os.fork()
        if child == 0:
            try:
                os.chroot(self.root)
                os.chdir("/")
                with open(writing, "w") as pipe:
                    json.dump(function(*arguments), pipe)
                os._exit(0)
            except BaseException:
                traceback.print_exc()
                os._exit(1)
        os.close(writing)
        with open(reading) as pipe:
            text = pipe.read()
        if os.waitpid(child, 0)[1]:
            raise RuntimeError(f"{function.__name__} failed in the machine")
        return json.loads(text)

    def furnish(self, *programs):
        """What every machine has: rpm with an empty database, two people, and the program to break before others."""
        for directory in ["dev", "etc/kelp", "etc/rpm", "usr/bin", "usr/lib64", "usr/share", "var/lib/kelp", "var/lib/rpm",
                          "var/lib/trusted-sources", "var/tmp", "tmp"]:
            (self.root / directory).mkdir(parents=True, exist_ok=True)
        for name in ["bin", "lib", "lib64"]:
            (self.root / name).symlink_to("usr/" + name)
        run("cp", "-a", "/dev/null", "/dev/urandom", self.root / "dev")
        run("cp", "--dereference", "/usr/bin/sh", "/usr/bin/rpm", self.root / "usr/bin")
        for loader in pathlib.Path("/lib64").glob("ld-*"):
            (self.root / "usr/lib64" / loader.name).symlink_to(os.path.realpath(loader))
        for program, name in zip(programs, ["program", "driver"]):
            run("cp", program, self.root / name)
        (self.root / "etc/rpm/macros").write_text("%_dbpath /var/lib/rpm\n")
        (self.root / "etc/kelp/kelp.conf").write_text("[kelp]\n")
        (self.root / "etc/passwd").write_text("root:x:0:0::/:/bin/sh\n")
        (self.root / "etc/group").write_text("root:x:0:\nusers:x:100:alice,bob\n")
        self.start(["rpm", "--initdb"])

    def commit(self):
        """Has every disk's file system commit its journal: names and sizes, but not contents that nobody has flushed."""
        for place in [""] if self.is_overlay else self.layout:
            directory = os.open(self.root / place / "lost+found", os.O_RDONLY)
            if not os.fstatvfs(directory).f_flag & os.ST_RDONLY:
                os.utime(directory)
            os.fsync(directory)
            os.close(directory)

    def images(self):
        return [self.disks / f"{number}.img" for number in range(len(self.layout))]
