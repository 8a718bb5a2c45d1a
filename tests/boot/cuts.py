"""Power cuts of a boot: its disk as any of them could leave it, by the log of qemu's driver blklogwrites."""

import multiprocessing
import random
import struct

from machine import run
from scenarios import TakeOver

FLUSH, DISCARD = 1, 4


class Cut(TakeOver):
    """A state as the launcher finds it at the next start."""

    command = ["/usr/sbin/kelp-launcher"]

    def __init__(self, before, wanted):
        self.before, self.wanted = before, wanted


def entries(log):
    """The writes and flushes of a log, in their order: a place on the disk and the bytes there, or nothing for a flush."""
    with open(log, "rb") as file:
        _, _, count, size = struct.unpack("<QQQI", file.read(28))
        place, result = size, []
        for _ in range(count):
            file.seek(place)
            sector, sectors, flags, _ = struct.unpack("<QQQQ", file.read(32))
            place += size
            if flags & DISCARD:
                raise SystemExit("the guest discards blocks, which states do not show")
            if sectors:
                file.seek(place)
                result.append((sector * size, file.read(sectors * size)))
                place += sectors * size
            if flags & FLUSH or not sectors:
                result.append(None)
    return result


def mark(log, text):
    """Where a write brought a text to the disk."""
    return next(number for number, entry in enumerate(log) if entry and text.encode() in entry[1])


def states(log, count, seed):
    """For `count` moments from the launcher's beginning on: the entries up to the last flush, all of which are on the disk, and
    those of the later ones that are there as well: all, none, or each by a coin."""
    chance = random.Random(seed)
    begin, end = mark(log, "the launcher begins"), mark(log, "the launcher ended")
    for moment in sorted(chance.randint(begin, end) for _ in range(count)):
        flushed = max((number for number in range(moment) if log[number] is None), default=0)
        kind = chance.choice(["all", "none", "coin"])
        later = [number for number in range(flushed, moment) if log[number] and
                 (kind == "all" or kind == "coin" and chance.random() < 0.5)]
        yield moment, kind, flushed, later


def write(image, log, numbers):
    with open(image, "r+b") as disk:
        for number in numbers:
            if log[number]:
                disk.seek(log[number][0])
                disk.write(log[number][1])


def take_up(work):
    """Brings a share of the states to a disk, one after the other, and has the launcher take up each. Returns for each state what
    it is, whether applications were on their way, and the flaws."""
    bench, scenario, begin, log, share, number = work
    state, base, done, results = bench.copy(f"state-{number}"), begin / f"flushed-{number}", 0, []
    run("cp", "--sparse=always", begin / "0.img", base)
    for moment, kind, flushed, later in share:
        write(base, log, range(done, flushed))
        run("cp", "--sparse=always", base, state.disks / "0.img")
        write(state.disks / "0.img", log, later)
        done = flushed
        try:
            with state as machine:
                under_way = (machine.root / "var/lib/kelp/takeover.journal").exists()
                flaws = scenario.judge(machine, True, "")[0]
        except Exception as error:
            under_way, flaws = False, [f"the harness failed: {error!r}"]
        results.append((f"cut after {moment} of {len(log)} writes, with {len(later)} after the last flush ({kind})", under_way, flaws))
    return results


def walk(bench, scenario, begin):
    log = entries(begin / "log")
    jobs, chosen = bench.options.jobs, list(states(log, bench.options.cuts, bench.options.seed))
    print(f"{len(log)} writes and flushes, {log.count(None)} of them flushes", flush=True)
    with multiprocessing.Pool(jobs) as pool:
        return sum(pool.map(take_up, [(bench, scenario, begin, log, chosen[number::jobs], number)
                                       for number in range(jobs)]), [])
