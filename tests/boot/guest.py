"""Guests: a system on its disks, booted by qemu and watched on its serial lines."""

import subprocess

from machine import run
from system import write

# An emulated start takes half a minute on an idle machine.
LONGEST = 900


class Hypervisor:
    """qemu with the kernel in a directory, and with the accelerator that a trial has shown to work."""

    def __init__(self, place):
        self.place, self.accelerator = place, "tcg"
        # A /dev/kvm may be there, and hang or abort.
        if self._qemu("kvm", "trial", [], 10) and "the trial is over" in self.console():
            self.accelerator = "kvm"

    def console(self):
        return (self.place / "console").read_text(errors="replace")

    def _qemu(self, accelerator, words, disks, seconds):
        """Whether the guest ended by itself. Its second serial line is for the watchers."""
        command = ["qemu-system-x86_64", "-accel", accelerator, "-smp", "2", "-m", "768", "-display", "none", "-monitor", "none",
                   "-nic", "none", "-no-reboot", "-kernel", self.place / "kernel", "-initrd", self.place / "ramdisk.cpio",
                   "-append", "console=ttyS0 panic=-1 no_timer_check quiet systemd.show_status=yes net.ifnames=0 " + words,
                   "-serial", f"file:{self.place}/console", "-serial", f"file:{self.place}/report", *disks]
        try:
            return subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                  timeout=seconds, check=False).returncode == 0
        except subprocess.TimeoutExpired:
            return False

    def boot(self, disks, meanwhile="", afterwards="", begin=None):
        """Boots `disks` until the guest ends, with shell commands to run beside the launcher and when all has started. Returns
        what the watchers have written. With a directory `begin`, leaves there how the only disk began, and the log of its writes."""
        with disks:
            write(disks.root / "watch/meanwhile", meanwhile + "\n")
            write(disks.root / "watch/afterwards", afterwards + "\n")
        options, words, names = [], [], [f"vd{letter}" for letter in "abcdef"]
        for name, image, place in zip(names, disks.images(), disks.layout):
            options += ["-blockdev", f"driver=raw,node-name={name},file.driver=file,file.filename={image}"]
            if begin:
                disks.copy_disks(begin)
                run("truncate", "--size=8G", begin / "log")
                options += ["-blockdev", f"driver=blklogwrites,node-name=logged,file={name},log.driver=file,log.filename={begin}/log"]
            options += ["-device", f"virtio-blk-pci,drive={'logged' if begin else name}"]
            # systemd wants /usr from the beginning, and mounts the rest.
            if place in ("", "usr"):
                words.append(f"disk={name}:{place}:{disks.option(place)}")
        ended = self._qemu(self.accelerator, " ".join(words), options, LONGEST)
        report = (self.place / "report").read_text(errors="replace").replace("\r", "")
        return report if ended else report + "THE GUEST DID NOT END\n" + self.console()[-3000:]
