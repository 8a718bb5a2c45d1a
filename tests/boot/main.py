"""Boots a machine whose applications rpm has installed, with systemd as its first process, and checks the result.

The machine is Debian with the project's packages and the applications of scripts/faults, in a virtual machine without a
network. The checks read its disks from outside, after it has ended, and the reports of programs inside.

Rows:
  whole    the boot that takes the applications over: units of seven kinds that must start after it, packages whose scripts
           must not run, and requests to the bus in its place. Then a boot with damage. Prints what both cost
  layouts  disks that are read-only, directories on disks of their own, or behind links
  ends     poweroff, reboot, reset and SIGTERM during the take-over; then a boot
"""

import argparse
import os
import pathlib
import re
import shutil
import sys
import time
import traceback

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "faults"))

import applications
import cuts
import system
from applications import MOVED, PROJECT, build_packages, verbs
from guest import Hypervisor
from judgement import flaws_of_migration, headers, snapshot, unsound
from machine import run
from system import Disks, write

ROWS = ["whole", "layouts", "ends"]
KINDS = ["sysinit", "basic", "multi-user", "timer", "path", "socket", "udev"]
STAMP = "var/lib/kelp/.migration_done"
COSTS = "systemctl show -P UserspaceTimestampMonotonic -P FinishTimestampMonotonic | paste -sd ' ' | sed 's/^/times: /'\n"
# When the timer has had kelp-status run.
LOOK = COSTS + """until [ $(systemctl show -P ExecMainExitTimestampMonotonic kelp-status) != 0 ]; do sleep 1; done
su --login alice --command 'echo "session of $(id -un): $XDG_SESSION_ID"'
echo "failed: $(systemctl --failed --plain --no-legend | cut -d' ' -f1)"
systemctl show -p WantedBy -p RequiredBy -p TriggeredBy kelp-status
echo "cycles: $(journalctl -b | grep -c 'ordering cycle') $(systemd-analyze verify default.target 2>&1 | grep -c cycle)"
echo "condition: $(systemctl show -P ConditionResult kelp-launcher)"
journalctl -b -o cat -u kelp-launcher
systemctl status kelp-status
"""


def arguments():
    parser = argparse.ArgumentParser(prog="scripts/boot", description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--rows", nargs="+", choices=ROWS, default=ROWS)
    parser.add_argument("--cuts", type=int, metavar="N", help="only the first boot, and N of the states in which a power cut "
                        "could leave its disk: the launcher takes up each")
    parser.add_argument("--seed", default="", help="what the states depend on, as a commit")
    parser.add_argument("--keep", type=pathlib.Path, metavar="DIR", help="copy what the guests wrote to DIR")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    return parser.parse_args()


class Bench:
    """What the rows share: the hypervisor, the machine of the old world, and the list of what has failed."""

    def __init__(self, options, place):
        self.options, self.place, self.failed, self.checked = options, place, [], 0
        self.hypervisor = Hypervisor(place)
        self.passed_over = system.passed_over(place / "debian")
        self.old = self.disks("one disk", "old").make(place / "debian").remount([])
        with self.old:
            system.watch(self.old.root)
        self.plain = self.copy("plain")
        build_packages(place / "packages")
        verbs(f". {PROJECT}/samples/setup; build_samples {place}/samples 2>{place}/built")
        with self.old as machine:
            system.install(machine, os.environ["KELP_PACKAGES"])
            system.furnish(machine, place / "packages")
            self.before = snapshot(machine)

    def disks(self, layout, name):
        return Disks(layout, self.place / name, self.passed_over)

    def copy(self, name):
        self.old.copy_disks(self.place / name / "disks")
        return self.disks("one disk", name)

    def boot(self, name, disks, **how):
        start = time.monotonic()
        report = self.hypervisor.boot(disks, **how)
        print(f"-- {name}: booted in {time.monotonic() - start:.0f} s", flush=True)
        if self.options.keep:
            file = str(self.options.keep / re.sub(r"\W+", "-", name))
            write(pathlib.Path(file + ".report"), report)
            write(pathlib.Path(file + ".console"), self.hypervisor.console())
        return report

    def check(self, what, flaws):
        """Tells whether something holds: there is no flaw of it, or no text."""
        self.checked += 1
        print(f"{'FAILED  ' if flaws else 'ok      '} {what}", *(flaws or [])[:5], sep="\n    ", flush=True)
        if flaws:
            self.failed.append(what)

    def holds(self, what, report, *patterns, never=()):
        self.check(what, [f"no line is {pattern!r}" for pattern in patterns if not re.search(f"^{pattern}$", report, re.M)] +
                   [f"there is {found.group()!r}" for pattern in never if (found := re.search(pattern, report))])

    def moved(self, what, disks):
        with disks as machine:
            self.check(f"{what}: every application is in the store, with its data, and nothing is left over",
                       flaws_of_migration(machine, self.before))
            self.check(f"{what}: no script has run", ["one has"] * (machine.root / "a-script-ran").exists())


def first_boot(bench, begin=None):
    disks = bench.copy("whole")
    report = bench.boot("first boot", disks, afterwards=LOOK, begin=begin)
    bench.holds("the start ends, and nothing has failed", report, "start: running", "failed: ", "the end")
    bench.holds("what is wanted by targets, timer, path, socket and udev runs after the launcher", report,
                *(f"sentinel {kind} active" for kind in KINDS), never=["sentinel .*activating"])
    bench.holds("a session logs in", report, r"session of alice: \w+")
    bench.holds("there is no cycle", report, "cycles: 0 0")
    bench.holds("whoever asks for the bus, or a service, in the launcher's place is refused at once", report,
                "busctl list: status 1", "systemctl start late: status [01]")
    bench.holds("the journal has lines and no progress bar", report, r"\[I\] Package .* successfully migrated.*", never=["##"])
    bench.holds("kelp-status has looked, and no start waits for it", report, "WantedBy=", "RequiredBy=",
                "TriggeredBy=kelp-status.timer", ".*kelpctl status .*status=0/SUCCESS.*")
    bench.moved("the first boot", disks)
    return disks, report


def seconds(report):
    times = re.search(r"^times: (\d+) (\d+)$", report, re.M)
    return f"{(int(times[2]) - int(times[1])) / 1e6:.1f} s" if times else "?"


def whole(bench):
    disks, first = first_boot(bench)
    with disks as machine:
        (machine.root / "usr/bin/com.example.vpn").unlink()
    second = bench.boot("second boot", disks, afterwards=LOOK)
    bench.holds("the next start skips the launcher", second, "condition: no", *(f"sentinel {kind} inactive" for kind in KINDS))
    bench.holds("kelp-status fails for a damaged application, and names it", second, "failed: kelp-status.service",
                r".*com\.example\.vpn +\S+ +damaged +.*")
    plain = [bench.boot(f"{name} boot without the packages", bench.plain, afterwards=COSTS) for name in ["first", "second"]]
    print(f"the first boot took {seconds(first)}, the second {seconds(second)}; without the packages {seconds(plain[0])} and "
          f"{seconds(plain[1])} (user space, {bench.hypervisor.accelerator})")


def layouts(bench):
    for layout in list(system.LAYOUTS)[1:]:
        name = re.sub(r"\W+", "-", layout)
        with bench.old as old:
            disks = bench.disks(layout, name).make(old.root)
        read_only = disks.read_only
        disks.remount(read_only)
        if read_only:
            report = bench.boot(layout, disks, afterwards=LOOK + "kelpctl plan\n")
            bench.holds(f"{layout}: the units start, and nothing has failed", report, "failed: ", "condition: yes")
            bench.holds(f"{layout}: the plan tells it", report, "To move: 0;.*",
                        *(rf"{re.escape(app.id)} +1-1 +stay .*" for app in MOVED))
            with disks as machine:
                bench.check(f"{layout}: everything stays in rpm, whole", unsound(machine, bench.before) +
                            [f"{name} differs" for name, objections in headers(machine).items() if bench.before[name] != objections] +
                            ["there is a stamp"] * (machine.root / STAMP).exists())
            disks.remount([])
        bench.boot(f"{layout}, writable" if read_only else layout, disks)
        bench.moved(layout, disks)
        shutil.rmtree(bench.place / name)


# Not by `systemctl poweroff`, which asks logind, by the bus, which waits for the launcher.
ENDS = {**{target: f"systemctl start {target}.target --job-mode=replace-irreversibly --no-block" for target in ["poweroff", "reboot"]},
        "reset": "echo b >/proc/sysrq-trigger", "SIGTERM": "systemctl kill --signal=TERM kelp-launcher"}


def ends(bench):
    for name, command in ENDS.items():
        disks = bench.copy(name)
        report = bench.boot(name, disks, meanwhile="until [ -e /var/lib/kelp/takeover.journal ]; do :; done\n"
                            # stty waits until the line is out: a reset takes along what is not.
                            f"echo on the way\nstty -F /dev/ttyS1 -echo\n{command}")
        bench.holds(f"{name}: comes while applications are on their way, and the guest ends", report, "on the way",
                    never=["THE GUEST DID NOT END", *(["sentinel"] if name != "SIGTERM" else [])])
        bench.boot(f"the boot after {name}", disks)
        bench.moved(name, disks)
        shutil.rmtree(bench.place / name)


def cut(bench):
    begin = bench.place / "begin"
    with first_boot(bench, begin)[0] as machine:
        scenario = cuts.Cut(bench.before, snapshot(machine))
    start = time.monotonic()
    results = cuts.walk(bench, scenario, begin)
    for what, under_way, flaws in results:
        if flaws:
            bench.check(what, flaws)
    bench.check(f"{len(results)} states of the disk are whole after the next start; in {sum(way for _, way, _ in results)} of them "
                "applications were on their way", [what for what, _, flaws in results if flaws])
    print(f"{(time.monotonic() - start) / len(results):.1f} s for each state")


def main():
    options = arguments()
    place = PROJECT / "build/boot"
    applications.APPLICATIONS.extend(system.SCRIPTED)
    MOVED.extend(system.SCRIPTED)
    start = time.monotonic()
    bench = Bench(options, place)
    print(f"the machine is made in {time.monotonic() - start:.0f} s; its processor is {bench.hypervisor.accelerator}'s", flush=True)
    rows = [cut] if options.cuts else [{"whole": whole, "layouts": layouts, "ends": ends}[row] for row in options.rows]
    for row in rows:
        try:
            row(bench)
        except Exception:
            bench.check(f"the row {row.__name__} comes to its end", traceback.format_exc().splitlines()[-5:])
    print(f"\n{bench.checked} checks in {time.monotonic() - start:.0f} s, {len(bench.failed)} failed")
    return bool(bench.failed)


sys.exit(main())
