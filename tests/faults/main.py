"""Breaks a start of the launcher at every call that changes something on disk, starts it twice more without a fault, and
holds the machine against one that was never disturbed.

A point is the name of a system call and which of these calls it is. Its modes:
  kill         the launcher is killed before the call
  powercut     the same, and the disks' files are copied at once, unflushed: the next starts have the copies
  eio, enospc  the call fails
  enospc-from  this call and every later one that needs space fails with ENOSPC

After kill and powercut everything must be as if nothing had happened. After the others every application must be whole,
in rpm or in the store, and nobody else's files may be lost.
"""

import argparse
import collections
import functools
import multiprocessing
import os
import pathlib
import random
import sys
import time

import injection
from applications import PROJECT, build_packages, furnish
from judgement import differences, flaws_of_migration, snapshot, unsound
from machine import LAYOUTS, Machine, run


def arguments():
    parser = argparse.ArgumentParser(prog="scripts/faults", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--modes", nargs="+", choices=injection.MODES, default=list(injection.MODES))
    parser.add_argument("--layouts", nargs="+", choices=LAYOUTS, default=list(LAYOUTS),
                        help="one: a single disk. many: /usr, /var, /opt and rpm's database have disks of their own")
    parser.add_argument("--sample", type=int, metavar="N", help="only N of all points")
    parser.add_argument("--seed", default="", help="what the sample depends on, as a commit")
    parser.add_argument("--point", metavar="MODE:NAME:INDEX", help="only this point, and tell all about it")
    parser.add_argument("--shell", action="store_true", help="with --point: end with a shell beside the machine")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    return parser.parse_args()


class Trial:
    """A command on a machine, broken at a point."""

    def __init__(self, place, layout, command):
        self.place, self.layout, self.command = pathlib.Path(place), layout, command

    def base(self, packages, program):
        """Makes the disks that every machine starts with, and learns what an undisturbed run makes of them."""
        with Machine(self.layout, self.place / "base", self.place / "root").make() as machine:
            furnish(machine, program, packages)
            self.before = snapshot(machine)
        with self.machine(self.place / "recorded") as machine:
            log = self.place / "calls"
            self.output = machine.start(self.command, injection.recording(log))[1] + self.twice(machine)
            self.points = injection.points(log, machine.root)
            self.wanted, self.known = snapshot(machine), unsound(machine, self.before)
            self.flaws = machine.inside(flaws_of_migration) + self.known
        return self

    def machine(self, place):
        Machine(self.layout, self.place / "base", "").copy_disks(place / "disks")
        return Machine(self.layout, place / "disks", place / "root")

    def twice(self, machine):
        return "".join("-- again\n" + machine.start(self.command)[1] for _ in range(2))

    def broken(self, mode, point, slot, then=lambda machine: None):
        """The flaws of a machine whose run was broken at a point, and what its runs wrote."""
        place = self.place / f"slot-{slot}"
        with self.machine(place) as machine:
            log = place / "calls"
            status, output = machine.start(self.command, ["strace", "-o", log, *point.injections(mode)])
            hit = status == -9 if mode in ("kill", "powercut") else "(INJECTED)" in log.read_text()
            if mode != "powercut":
                return self.judge(machine, mode, hit, output, then)
            machine.copy_disks(place / "cut")
            with Machine(self.layout, place / "cut", place / "cut-root") as cut:
                return self.judge(cut, mode, hit, output, then)

    def judge(self, machine, mode, hit, output, then):
        output += self.twice(machine)
        if not hit:
            return ["the run did not come to this call"], output
        if mode in ("kill", "powercut"):
            flaws = differences(snapshot(machine), self.wanted)
        else:
            flaws = [flaw for flaw in unsound(machine, self.before) if flaw not in self.known]
        then(machine)
        return flaws, output


def report(trial, mode, point, flaws):
    more = f" ... and {len(flaws) - 5} more" if len(flaws) > 5 else ""
    print(f"FAILED --layouts {trial.layout} --point {mode}:{point}\n    {point.call[:150]}\n    " + "\n    ".join(flaws[:5]) + more,
          flush=True)


def attempt(trials, work):
    layout, mode, point = work
    slot = multiprocessing.current_process().name
    try:
        return work, trials[layout].broken(mode, point, slot)[0]
    except Exception as error:
        return work, [f"the harness failed: {error!r}"]


def all_work(trials, options):
    work = [(layout, mode, point) for layout, trial in trials.items() for mode in options.modes for point in trial.points
            if point.name in injection.MODES[mode][1]]
    if options.sample and options.sample < len(work):
        chosen = random.Random(options.seed).sample(range(len(work)), options.sample)
        work = [work[number] for number in sorted(chosen)]
    return work


def walk(trials, options):
    tried, failed = collections.Counter(), collections.Counter()
    for layout, trial in trials.items():
        tried[layout, "none"] += 1
        if trial.flaws:
            failed[layout, "none"] += 1
            print(f"FAILED --layouts {layout}, undisturbed\n    " + "\n    ".join(trial.flaws), flush=True)
    start = time.monotonic()
    with multiprocessing.Pool(options.jobs) as pool:
        for (layout, mode, point), flaws in pool.imap(functools.partial(attempt, trials), all_work(trials, options)):
            tried[layout, mode] += 1
            if flaws:
                failed[layout, mode] += 1
                report(trials[layout], mode, point, flaws)
    print(f"\n{sum(tried.values())} points in {time.monotonic() - start:.0f} s\n")
    print("| layout | mode | points | failed |\n| --- | --- | ---: | ---: |")
    for layout, mode in tried:
        print(f"| {layout} | {mode} | {tried[layout, mode]} | {failed[layout, mode]} |")
    return bool(failed.total())


def tell(trial, options):
    mode, name, index = options.point.split(":")
    points = [point for point in trial.points if str(point) == f"{name}:{index}"]
    if not points:
        raise SystemExit(f"an undisturbed run has no call {name}:{index} that changes something")

    def shell(machine):
        if options.shell:
            run("bash", cwd=machine.root)

    flaws, output = trial.broken(mode, points[0], "shown", shell)
    print(points[0].call, output, *(flaws or ["nothing is wrong"]), sep="\n")
    return bool(flaws)


def main():
    options = arguments()
    # The mount goes with the namespace that scripts/faults has made.
    place = PROJECT / "build/faults"
    run("mount", "-t", "tmpfs", "-o", "mode=0755", "kelp-faults", place)
    build_packages(place / "packages")
    layouts = options.layouts[:1] if options.point else options.layouts
    trials = {layout: Trial(place / layout, layout, ["/program"]).base(place / "packages", os.environ["KELP_LAUNCHER"])
              for layout in layouts}
    return tell(trials[layouts[0]], options) if options.point else walk(trials, options)


sys.exit(main())
