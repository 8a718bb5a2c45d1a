"""Breaks a command at every call that changes or reads something on disk, and judges the disks afterwards.

Scenarios: the launcher's start that takes the applications over, undisturbed or hindered at first; the store's operations,
publishing by links and by copies; and kelpctl's commands. A point is call number N of one system call. Modes:
  kill         the command is killed before the call
  powercut     the same, and the disks' files are copied at once, unflushed; all later steps use the copies
  latecut      as powercut, after the file systems have committed their journals of their own accord, without file contents
  eio, enospc  the call fails
  enospc-from  this call and every later one that needs space fails with ENOSPC
  meet         a file of somebody else appears at a published path just before the call that exchanges the path
  ask-eio, ask-enomem, ask-emfile
               a call that only reads fails, and the next calls of its name (WINDOWS in injection.py has their number)

Two undisturbed starts follow a broken start. After a kill, a power cut or failed reads, the machine must equal an undisturbed
one. In other modes every application must be whole, in rpm or in the store, and no foreign file may be lost. Every package in
the store must bear an update and a removal without a remnant, also after a broken operation of the store. After a broken
kelpctl, doctor must restore the old state or reach the new one. A command whose reads fail must not report a false success.
"""

import argparse
import collections
import copy
import functools
import multiprocessing
import os
import pathlib
import random
import re
import subprocess
import sys
import time

import injection
from applications import PROJECT, build_package_files, build_packages
from damages import DAMAGES, LIES
from judgement import flaws_of_migration
from machine import LAYOUTS, Machine, run
from scenarios import SCENARIOS


NOT_REACHED = "the run did not come to this call"


def arguments():
    parser = argparse.ArgumentParser(prog="scripts/faults", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--scenarios", nargs="+", choices=SCENARIOS, default=list(SCENARIOS))
    parser.add_argument("--modes", nargs="+", choices=injection.MODES, default=list(injection.MODES))
    parser.add_argument("--layouts", nargs="+", choices=LAYOUTS, default=list(LAYOUTS),
                        help="one: a single disk. many: /usr, /var, /opt and rpm's database have disks of their own. overlay: the "
                        "applications are in the lower layer")
    parser.add_argument("--sample", type=int, metavar="N", help="only N of all points")
    parser.add_argument("--seed", default="", help="what the sample depends on, as a commit")
    parser.add_argument("--calls", default="", metavar="REGEX", help="only points whose calls, as strace prints them, match")
    parser.add_argument("--point", metavar="MODE:NAME:INDEX", help="only this point, of the first scenario and layout, and "
                        "tell all about it")
    parser.add_argument("--twice", action="store_true", help="break the next start too, where chance will have it")
    parser.add_argument("--second", metavar="MODE:NAME:INDEX", help="with --point: where the next start is broken")
    parser.add_argument("--prove", action="store_true", help="only show that each kind of damage would be seen")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    return parser.parse_args()


class Trial:
    """A scenario on disks of one layout."""

    def __init__(self, name, layout, place):
        self.name, self.layout, self.place = name, layout, place / f"{name}-{layout}"
        self.scenario = copy.copy(SCENARIOS[name])

    def record(self, programs, packages):
        """Makes the disks that every machine starts with, and learns what an undisturbed run does."""
        with Machine(self.layout, self.place / "base", self.place / "root").make() as machine:
            machine.furnish(*(programs / program for program in self.scenario.programs))
            self.scenario.prepare(machine, packages)
        with self.machine(self.place / "recorded") as machine:
            log = self.place / "calls"
            watch = [functools.partial(self.scenario.watch, machine)] if hasattr(self.scenario, "watch") else []
            machine.start(self.scenario.command, injection.recording(log), *watch)
            self.points = injection.points(log, machine.root)
            self.points = self.scenario.window(self.points, self.layout) if watch else self.points
            self.flaws = self.scenario.learn(machine)
        return self

    def machine(self, place):
        Machine(self.layout, self.place / "base", "").copy_disks(place / "disks")
        return Machine(self.layout, place / "disks", place / "root")

    def broken(self, mode, point, slot, second=None):
        """The flaws of a machine whose run was broken at a point, and the next one at `second`; and what its runs wrote."""
        # strace counts the calls of each thread by itself, and threads share their work by chance.
        for _ in range(3):
            flaws, output = self.broken_once(mode, point, slot, second)
            if flaws != [NOT_REACHED]:
                break
        return flaws, output

    def broken_once(self, mode, point, slot, second):
        place = self.place / f"slot-{slot}"
        with self.machine(place) as machine:
            log = place / "calls"
            point_after = second and injection.Point(*second[1:], {}, "", False)
            machine.second = second and self.breaking(second[0], point_after, place / "next-calls", "")
            status, output = machine.start(self.scenario.command, *self.breaking(mode, point, log, machine.root))
            if not (status == -9 if mode in injection.KILLING else re.search("INJECTED|DELAYED", log.read_text())):
                return [NOT_REACHED], output
            if mode == "meet":
                return self.scenario.judge_met(machine, point.target())
            if mode in injection.WINDOWS:
                claims = self.scenario.claims(machine, status, output)
                flaws, output = self.judged(machine, mode, output, second)
                return claims + flaws, output
            if mode not in ("powercut", "latecut"):
                return self.judged(machine, mode, output, second)
            if mode == "latecut":
                machine.commit()
            machine.copy_disks(place / "cut")
            with Machine(self.layout, place / "cut", place / "cut-root") as cut:
                cut.second = machine.second
                return self.judged(cut, mode, output, second)

    def breaking(self, mode, point, log, root):
        """What to start a command with, so that it is broken at a point."""
        log.unlink(missing_ok=True)
        deed = {**dict.fromkeys(injection.KILLING, point.kill), "meet": functools.partial(point.meet, root)}.get(mode)
        return [point.strace(mode, log), *([functools.partial(deed, log)] if deed else [])]

    def judged(self, machine, mode, output, second):
        modes = {mode, second[0] if second else mode}
        flaws, more = self.scenario.judge(machine, modes <= {*injection.KILLING, *injection.WINDOWS}, output)
        return flaws, output + more


trials = []


def attempt(work):
    trial, mode, point, second = work
    slot = multiprocessing.current_process().name
    try:
        return work, trials[trial].broken(mode, trials[trial].points[point], slot, second)[0]
    except Exception as error:
        return work, [f"the harness failed: {error!r}"]


def all_work(options):
    work = [[(trial, mode, point, None) for trial in range(len(trials)) for point in range(len(trials[trial].points))
             if trials[trial].points[point].suits(mode) and re.search(options.calls, trials[trial].points[point].call)]
            for mode in options.modes]
    if not options.sample:
        return sum(work, [])
    # Each mode as often as another: calls that ask are five times as many as others.
    chance = random.Random(options.seed)
    work = sorted({chance.choice(points) for points in chance.choices([points for points in work if points], k=options.sample)})
    return [(*item[:3], second(chance, trials[item[0]].points)) for item in work] if options.twice else work


def second(chance, points):
    mode = chance.choice(["kill", "eio"])
    point = chance.choice([point for point in points if point.suits(mode)])
    return mode, point.name, chance.randint(1, point.index)


def report(trial, what, flaws):
    more = f" ... and {len(flaws) - 5} more" if len(flaws) > 5 else ""
    print(f"FAILED --scenarios {trial.name} --layouts {trial.layout} {what}\n    " + "\n    ".join(flaws[:5]) + more, flush=True)


def walk(options):
    tried, failed = collections.Counter(), collections.Counter()

    def count(trial, mode, what, flaws):
        tried[trial.name, trial.layout, mode] += 1
        if flaws:
            failed[trial.name, trial.layout, mode] += 1
            report(trial, what, flaws)

    for trial in trials:
        count(trial, "none", "undisturbed", trial.flaws)
    start = time.monotonic()
    with multiprocessing.Pool(options.jobs) as pool:
        for (trial, mode, point, second), flaws in pool.imap(attempt, all_work(options)):
            point = trials[trial].points[point]
            again = " --second {}:{}:{}".format(*second) if second else ""
            count(trials[trial], mode, f"--point {mode}:{point}{again}\n    {point.call[:150]}", flaws)
    print(f"\n{tried.total()} points in {time.monotonic() - start:.0f} s, {failed.total()} failed\n")
    print("| scenario | layout | mode | points | failed |\n| --- | --- | --- | ---: | ---: |")
    for key in tried:
        print("| " + " | ".join(key) + f" | {tried[key]} | {failed[key]} |")
    return bool(failed)


def tell(trial, options):
    mode, name, index = options.point.split(":")
    points = [point for point in trial.points if str(point) == f"{name}:{index}"]
    if not points:
        raise SystemExit(f"an undisturbed run has no such call {name}:{index} of the program")

    second = options.second and options.second.split(":")
    flaws, output = trial.broken(mode, points[0], "shown", second and (*second[:2], int(second[2])))
    print(points[0].call, output, *(flaws or ["nothing is wrong"]), sep="\n")
    return bool(flaws)


def prove(trial, packages):
    """Does each damage to a machine that was taken over without a fault, and says which one nobody sees."""
    unseen = 0
    for name, (commands, loses) in DAMAGES.items():
        with trial.machine(trial.place / "damaged") as machine:
            machine.start(trial.scenario.command)
            subprocess.run(["sh", "-ec", commands], cwd=machine.root, env={**os.environ, "PACKAGES": str(packages)}, check=True,
                           capture_output=True)
            views = {"compared with a whole machine": trial.scenario.flaws(machine, True),
                     "held against the table": set(flaws_of_migration(machine, trial.scenario.before)) - set(trial.flaws),
                     "looked through for losses": not loses or trial.scenario.flaws(machine, False)}
        blind = [view for view, flaws in views.items() if not flaws]
        unseen += bool(blind)
        print(f"{name}: " + ("NOT SEEN when " + ", ".join(blind) if blind else "seen"))
    return bool(unseen)


def prove_claims(programs, packages, place):
    """Does nothing, or too much, in place of each program, and says which one nobody sees."""
    unseen = 0
    trials = {name: Trial(name, "one", place).record(programs, packages) for name in {scenario for scenario, _ in LIES.values()}}
    for name, (scenario, commands) in LIES.items():
        with trials[scenario].machine(place / "lied-to") as machine:
            seen = trials[scenario].scenario.claims(machine, *machine.start(["sh", "-c", commands]))
        unseen += not seen
        print(f"{name}: " + ("seen" if seen else "NOT SEEN"))
    return bool(unseen)


def main():
    options = arguments()
    # The mount goes with the namespace that scripts/faults has made.
    place = PROJECT / "build/faults"
    run("mount", "-t", "tmpfs", "-o", "mode=0755", "kelp-faults", place)
    build_packages(place / "packages")
    build_package_files(place)
    programs = pathlib.Path(os.environ["KELP_PROGRAMS"])
    wanted = [(name, layout) for name in options.scenarios for layout in options.layouts
              if layout in getattr(SCENARIOS[name], "layouts", ["one", "many"])]
    for name, layout in wanted[:1] if options.point or options.prove else wanted:
        trials.append(Trial(name, layout, place).record(programs, place / "packages"))
    if options.prove:
        return prove(trials[0], place / "packages") | prove_claims(programs, place / "packages", place / "lies")
    return tell(trials[0], options) if options.point else walk(options)


sys.exit(main())
