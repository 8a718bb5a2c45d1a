"""The system that is booted: Debian, the project's packages, the applications of tests/faults and samples, and what watches."""

import os
import shutil

import applications
from applications import OTHER_KEY, PROJECT, Application, verbs
from machine import PASSED_OVER, Machine, run

# What each disk holds, in MiB; which cannot be written to; and what is a link into /var.
LAYOUTS = {
    "one disk": ({"": 900}, [], []),
    "/usr read-only": ({"": 600, "usr": 700}, ["usr"], []),
    "all read-only but /var": ({"": 800, "var": 300}, [""], []),
    "/opt and /var on their own": ({"": 800, "opt": 100, "var": 300}, [], []),
    "/opt, /home and /srv as links": ({"": 900}, [], ["opt", "home", "srv"]),
}
# What asks for things that wait for the launcher, or that never end, when it is removed. It must not be run.
SCRIPTED = [Application(f"org.example.asks{number}", key=OTHER_KEY, files={}, script=f"touch /a-script-ran; {command}")
            for number, command in enumerate(["busctl list", "systemctl start systemd-logind", "sleep infinity", "reboot"])]
# Of the demo's samples those whose names the table does not have.
SAMPLES = ["org.example.notes", "org.example.reader", "org.example.ticker"]
# Below these, what Debian has brought is not looked at.
LOOKED_THROUGH = ["", "etc", "usr", "usr/bin", "usr/lib", "usr/libexec", "usr/share", "var", "var/lib"]

UNITS = {
    # Says whether the launcher has ended.
    "sentinel@.service": "[Service]\nType=oneshot\nRemainAfterExit=yes\nExecStart=/watch/tell sentinel %i",
    "sentinel@timer.timer": "[Timer]\nOnBootSec=1s",
    "sentinel@path.path": "[Path]\nPathExists=/etc/passwd",
    "knock.socket": "[Socket]\nListenStream=127.0.0.1:7070\nAccept=yes",
    "knock@.service": "[Service]\nStandardInput=socket\nExecStart=/watch/tell sentinel socket",
    "early.service": "[Unit]\nDefaultDependencies=no\nAfter=local-fs.target knock.socket\nBefore=kelp-launcher.service\n"
                     "[Service]\nExecStart=/watch/early",
    "late.service": "[Service]\nExecStart=/watch/late",
    # The bus is asked from the launcher's own place; and the timer does not wait for others to save a wake-up.
    "kelp-launcher.service.d/ask.conf": "[Service]\nExecStartPre=-/watch/ask\nExecStartPre=-/watch/mark begins\n"
                                        "ExecStartPost=-/watch/mark ended",
    "kelp-status.timer.d/soon.conf": "[Timer]\nAccuracySec=1s",
}
WANTED = {**{f"sentinel@{kind}.service": f"{kind}.target" for kind in ["sysinit", "basic", "multi-user"]},
          "sentinel@timer.timer": "timers.target", "sentinel@path.path": "paths.target", "knock.socket": "sockets.target",
          "early.service": "sysinit.target", "late.service": "multi-user.target"}
UDEV = 'ACTION=="add", KERNEL=="vda", TAG+="systemd", ENV{SYSTEMD_WANTS}+="sentinel@udev.service"\n'
SCRIPTS = {
    "tell": 'echo "$@ $(systemctl is-active kelp-launcher)" >/dev/ttyS1',
    "early": "exec >/dev/ttyS1 2>&1\nexec 3<>/dev/tcp/127.0.0.1/7070\n. /watch/meanwhile\nread -u 3\ntrue",
    "mark": 'mkdir -p /var/watch && echo "the launcher $1" >/var/watch/$1 && sync -f /var/watch',
    "ask": 'for command in "busctl list" "systemctl start late"; do timeout 30 $command >/dev/null 2>&1\n'
           'echo "$command: status $?"; done',
    "late": "exec >/dev/ttyS1 2>&1\n"
            'echo "start: $(systemctl is-system-running --wait)"\n. /watch/afterwards\necho "the end"\n'
            'systemctl poweroff',
}


class Disks(Machine):
    """The disks of a layout, as a machine for judgement. Only the watchers know how it was booted."""

    bound = ["dev"]

    def __init__(self, layout, place, passed_over):
        self.layout, self.read_only, self.links = LAYOUTS[layout]
        self.disks, self.root, self.passed_over = place / "disks", place / "root", passed_over

    def make(self, tree):
        self.disks.mkdir(parents=True)
        for disk, size in zip(self.images(), self.layout.values()):
            run("truncate", f"--size={size}M", disk)
            run("mkfs.ext4", "-q", "-E", "lazy_itable_init=0,lazy_journal_init=0,nodiscard", disk)
        with self:
            run("cp", "-a", *(path for path in tree.iterdir() if path.name not in ["dev", "proc", "lost+found"]), self.root)
            for name in self.links:
                (self.root / name).rename(self.root / "var" / name)
                (self.root / name).symlink_to(f"var/{name}")
        return self

    def remount(self, read_only):
        """Writes down which disks the next boots mount read-only."""
        self.read_only = read_only
        lines = [f"/dev/vd{chr(ord('a') + number)} /{place} ext4 {self.option(place)} 0 0"
                 for number, place in enumerate(self.layout)]
        with self:
            (self.root / "etc/fstab").write_text("\n".join(lines) + "\n")
        return self

    def option(self, place):
        return "ro" if place in self.read_only else "rw"


def passed_over(tree):
    """What judgement passes over in this system: what Debian has brought, and what a running system writes."""
    kept = {"/" + place for place in [*LOOKED_THROUGH, "opt", "srv", "home"]}
    brought = {f"/{place}/{name}".replace("//", "/") for place in LOOKED_THROUGH if (tree / place).is_dir()
               for name in os.listdir(tree / place)}
    return sorted({*PASSED_OVER, "/etc/.pwd.lock", "/etc/fstab", "/watch", "/var/watch", "/var/lib/private", *(brought - kept)})


def write(path, text, mode=0o644):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(text)
    path.chmod(mode)


def furnish(machine, packages):
    """Makes the machine of the old world, as far as the project's packages."""
    root = machine.root
    write(root / "etc/rpm/macros", "%_dbpath /var/lib/rpm\n")
    write(root / "etc/kelp/kelp.conf", "[kelp]\n")
    (root / "var/lib/rpm").mkdir(parents=True, exist_ok=True)
    machine.start(["rpm", "--initdb"])
    image = {"IMAGE": str(root)}
    verbs("add_user alice; add_user bob", **image)
    applications.furnish(machine, packages)
    verbs(f". {PROJECT}/samples/setup; install_rpms {' '.join(f'{packages.parent}/samples/{name}.rpm' for name in SAMPLES)}\n" +
          "".join(f"sign {name} developer $example_org CN=Example\n" for name in SAMPLES), **image)


def watch(root):
    """Puts in what reports from within."""
    units = root / "etc/systemd/system"
    for name, text in UNITS.items():
        write(units / name, text + "\n")
    for name, target in WANTED.items():
        (units / f"{target}.wants").mkdir(exist_ok=True)
        (units / f"{target}.wants/{name}").symlink_to(f"../{name if name in UNITS else 'sentinel@.service'}")
    write(root / "etc/udev/rules.d/99-sentinel.rules", UDEV)
    for name, text in SCRIPTS.items():
        write(root / f"watch/{name}", f"#!/bin/bash\n{text}\n", 0o755)


def install(machine, debs):
    shutil.copytree(debs, machine.root / "tmp/debs")
    status, output = machine.start(["sh", "-c", "dpkg --install /tmp/debs/*.deb"])
    if status:
        raise SystemExit(output)
    shutil.rmtree(machine.root / "tmp/debs")
