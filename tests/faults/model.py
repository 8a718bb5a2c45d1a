#!/usr/bin/env python3
# A model of the take-over: calls change a state, and all histories of them are tried. A package has a document and
# three targets. At two targets rpm has a file; the third has none, and lies in a directory of its own. Each call of a
# start may fail, or be the last one before a kill or a power cut. After a power cut each disk has lost any suffix of
# its unflushed changes. The next start may end like that too. Once in a history a person acts, between two starts or
# during one: the person puts a file at a path, or has rpm erase, renumber or install the first package. flaws_of()
# has the conditions that must hold at each moment, and those that must hold at the end.
#
#   model.py            checks that no history ends badly
#   model.py --prove    checks for each rule that without it a history does end badly
import itertools
import sys

# Flushes, each of some disks, and other rules.
RULES = {"trees before journal": "S", "journal": "J", "trees before targets": "S", "copies before targets": "T",
         "all before headers": "STJ", "headers before files": "R", "files of rpm before trees": "T", "all before the end": "STRJ",
         "rebuilt files before targets": "", "names are settled": "", "what comes out is looked at": "", "lists that stand stay": ""}
# Targets and what is beside them, the store with the temporary directory, rpm's database, the journal.
DISKS = {"target": "T", "beside": "T", "document": "T", "directory": "T", "tree": "S", "lists": "S", "header": "R", "journal": "J"}
TARGETS = 0, 1, 2


class Fault(Exception):
    pass


def require(holds):
    if not holds:
        raise Fault


def on_disk(state, disks):
    return {key: value[5:] for key, value in state.items() if "T" in disks and str(value).startswith("torn ")}


# One start, as TakeOver and TargetExchange do it. Call `fault` fails; before call `meeting` somebody does `deed`.
class Start(dict):
    def __init__(self, state, copies, lacks, fault=0, meeting=0, deed=None):
        super().__init__(state)
        self.copies, self.lacks, self.fault, self.meeting, self.deed = copies, lacks, fault, meeting, deed
        self.calls, self.log, self.left, self.whole, self.flaws = 0, [], [], set(), []
        self.each(lambda step: step(), [self.settle, self.survey], bool)

    def do(self, changes):
        if callable(changes) or any(self[key] != value for key, value in changes.items()):
            self.calls += 1
            for deed in [self.deed, "T"] if self.calls == self.meeting else []:
                self.note(deed)
            require(self.calls != self.fault)
            self.note(changes() if callable(changes) else changes)

    def note(self, changes):
        self.log += [changes] if changes else []
        self.update(on_disk(self, changes) if isinstance(changes, str) else changes)

    def flush(self, rule):
        self.do(lambda: "" if rule == self.lacks else RULES[rule])

    def swap(self, p, i, only_in=False):
        target, beside = (p, "target", i), (p, "beside", i)
        self.do(lambda: {} if only_in and self[target] else {target: self[beside], beside: self[target]})
        return not only_in or not self[beside]

    def each(self, step, items, failed):
        done = []
        for item in items:
            try:
                done += [item] if step(item) is not False else []
            except Fault:
                failed(item)
        return done

    # An entry of the journal is a package, its header, and what was staged: the files at its targets, and the document.

    def occupant(self, entry, i, place="target"):
        value = self[entry[0], place, i]
        return "nothing" if not value else "ours" if "store" in value else "rpms" if value == entry[2][i] else "somebodys"

    def swap_back(self, entry, i):
        self.swap(entry[0], i)
        if self.occupant(entry, i, "beside") != "ours":
            self.swap(entry[0], i)
            raise Fault

    def settle_name(self, entry, i, keeps=True):
        beside, found = self.occupant(entry, i, "beside"), self.occupant(entry, i)
        if self.lacks != "names are settled" and beside in ("rpms", "somebodys"):
            if keeps and beside == "rpms" and found == "ours":
                return
            if found in ("nothing", "ours"):
                self.swap(entry[0], i, only_in=True) if found == "nothing" else self.swap_back(entry, i)
        self.do({(entry[0], "beside", i): None})

    def make_beside(self, entry, i):
        if self.occupant(entry, i) in ("rpms", "nothing") and self.occupant(entry, i, "beside") != "ours":
            self.do({(entry[0], "directory"): True} if i == 2 else {})
            self.do({(entry[0], "beside", i): "torn store" if self.copies else "store"})

    def bring_in(self, entry, i):
        found = self.occupant(entry, i)
        self.make_beside(entry, i)
        if found in ("rpms", "nothing") and self.swap(entry[0], i, only_in=found == "nothing"):
            if self.occupant(entry, i, "beside") in ("rpms", "nothing") or self.lacks == "what comes out is looked at":
                return True
            self.swap_back(entry, i)
        self.do({(entry[0], "beside", i): None} if found != "ours" else {})
        return found == "ours"

    def give_back_target(self, entry, i):
        self.settle_name(entry, i)
        if self.occupant(entry, i) == "ours" and not entry[2][i]:
            self.do({(entry[0], "target", i): None})
        elif self.occupant(entry, i) == "ours":
            torn = "torn " * (self.lacks == "rebuilt files before targets")
            self.do({(entry[0], "beside", i): torn + "rebuilt"} if self.occupant(entry, i, "beside") == "nothing" else {})
            self.swap_back(entry, i)
            self.do({(entry[0], "beside", i): None})

    # The steps.

    def settle(self):
        going = self.each(self.goes_on, self["", "journal"], self.left.append)
        self.whole = {p for p, *_ in going if self[p, "lists"] == "whole"}
        self.carry_out(going)

    def goes_on(self, entry):
        p, header, _ = entry
        place, knows = self[p, "tree"] and self[p, "tree"][0], self[p, "header"]
        if knows in (None, header):
            keeps = place in ("version", "current") or not knows
            require(len(self.each(lambda i: self.settle_name(entry, i, keeps), TARGETS, bool)) == 3)
            if place in ("version", "current") or (place == "staged" and not knows):
                return True
            self.flaws += ["nothing is left of it"] if not knows and self["", "acted"] != "erased" else []
        self.give_back(entry)
        return False

    def give_back(self, entry):
        p = entry[0]
        require(len(self.each(lambda i: self.give_back_target(entry, i), TARGETS, bool)) == 3)
        self.do({(p, "directory"): None} if not self[p, "target", 2] and not self[p, "beside", 2] else {})
        self.flush("files of rpm before trees")
        self.drop_tree(p)

    def drop_tree(self, p):
        self.do({(p, "tree"): ("aside",), (p, "lists"): None} if self[p, "tree"] else {})
        self.each(lambda p: self.do({(p, "tree"): None}), [p], bool)

    def secure(self, rule, entries):
        return entries if entries and self.each(self.flush, [rule], lambda _: [*map(self.abandon, entries)]) else []

    def carry_out(self, entries):
        entries = self.secure("trees before targets", self.each(self.place, entries, self.abandon))
        if self.copies:
            entries = self.secure("copies before targets", self.each(self.prepare, entries, self.abandon))
        entries = self.secure("all before headers", self.each(self.publish, entries, self.abandon))
        self.each(lambda _: [self.do({(p, "header"): None}) for p, *_ in entries], [0], bool)
        entries = self.each(lambda entry: require(not self[entry[0], "header"]), entries, self.abandon)
        self.each(self.clear, self.secure("headers before files", entries), self.abandon)
        self.flush("all before the end")
        self.do({("", "journal"): tuple(self.left)})
        self.flush("journal")

    def place(self, entry):
        for place in ("version", "current"):
            self.do({(entry[0], "tree"): (place, entry[2])} if self[entry[0], "tree"][0] != "current" else {})

    def prepare(self, entry):
        for i in TARGETS:
            self.make_beside(entry, i)

    def publish(self, entry):
        p, stays = entry[0], self[entry[0], "header"] and entry[0] in self.whole
        is_brought = [self.bring_in(entry, i) or require(stays or not self[p, "header"]) for i in TARGETS]
        if not stays or self.lacks == "lists that stand stay":
            self.do({(p, "lists"): "short" if None in is_brought else "whole"})
        self.whole.add(p)

    def clear(self, entry):
        for i in TARGETS:
            self.do({(entry[0], "beside", i): None} if self.occupant(entry, i, "beside") != "somebodys" else {})
        self.do({(entry[0], "document"): None} if self[entry[0], "document"] == entry[2][3] else {})

    def abandon(self, entry):
        if not self[entry[0], "header"] or entry[0] in self.whole:
            return self.left.append(entry)
        self.flaws += ["a whole package is taken back"] if self[entry[0], "lists"] else []
        self.each(self.give_back, [entry], self.left.append)

    def survey(self):
        group = []
        for p in sorted({p for p, *_ in self} - {""} - {p for p, *_ in self.left}):
            self.each(self.drop_tree, [p] if self[p, "tree"] and self[p, "tree"][0] in ("staged", "aside") else [], bool)
            files = [self[p, "target", i] for i in TARGETS]
            if self[p, "header"] and not self[p, "tree"] and files[2] != "somebody's":
                entry = p, self[p, "header"], (*files[:2], None, self[p, "document"])
                self.flaws += ["a file of the store is staged"] if "store" in files[:2] else []
                group += self.each(lambda entry: self.do({(entry[0], "tree"): ("staged", entry[2])}), [entry], bool)
        if group:
            self.flush("trees before journal")
            self.do({("", "journal"): (*self.left, *group)})
            self.flush("journal")
            self.carry_out(group)


# The states that a crash during or after the calls of `log` can leave.
def crashes(before, log):
    base, pending = dict(before), dict.fromkeys("STRJ", ())
    for entry in log:
        if isinstance(entry, str):
            base = {key: value for changes in [base, *itertools.chain(*map(pending.get, entry))] for key, value in changes.items()}
            base |= on_disk(base, entry)
            pending |= dict.fromkeys(entry, ())
        else:
            last = DISKS[next(iter(entry))[1]]
            pending[last] += (entry,)
            cuts = [[changes[:n] for n in range(len(changes) + 1)] if disk != last else [changes] for disk, changes in pending.items()]
            for left in itertools.product(*cuts):
                yield {key: value for changes in [base, *itertools.chain(*left)] for key, value in changes.items()}


def put_file(key):
    return {key: "somebody's", ("", "acted"): "put", **({("A", "directory"): True} if 2 in key else {})}


# What somebody may do to the first package between two starts, while it is rpm's or in the journal.
def deeds(state):
    files = [("A", "target", 0), ("A", "target", 1), ("A", "document")]
    if not state["", "acted"] and (state["A", "header"] or any(p == "A" for p, *_ in state["", "journal"])):
        yield from map(put_file, [*files, ("A", "target", 2)])
        yield {("A", "header"): None, ("", "acted"): "erased", **dict.fromkeys(files)}
        yield {("A", "header"): 3, ("", "acted"): "installed", **dict.fromkeys(files, "rpm 3")}
        if state["A", "header"] or (state["A", "tree"] and state[files[0]] and state[files[1]]):
            yield {("A", "header"): 2, ("", "acted"): "installed"}


# What does not hold, at any moment or after a start that nothing disturbed.
def flaws_of(state, is_end):
    for p in sorted({p for p, *_ in state} - {""}):
        values, tree, header, lists = [state[p, "target", i] for i in TARGETS], state[p, "tree"], state[p, "header"], state[p, "lists"]
        acted, place = state["", "acted"] if p == "A" else "", tree and tree[0]
        is_published = place == "current" and set(values) <= {"store", "somebody's"}
        is_stored = is_published and lists and not header and "rpm" not in str(state[p, "document"])
        is_kept = header and not tree and not lists and values[2] == "somebody's" and "store" not in values
        if "torn" in str(values) or ("store" in values[:2] and place != "current") or (not all(values[:2]) and acted != "erased"):
            yield "a path does not open"
        if not header and acted != "erased" and not is_published:
            yield "rpm has forgotten what is not published"
        if header and acted != "installed" and not state[p, "document"]:
            yield "rpm has a package of which a file is gone"
        if is_end and not is_stored and not is_kept and (acted != "erased" or header or tree or any(values)):
            yield "an application is whole neither in rpm nor in the store"
        if is_end and (any(state[p, "beside", i] for i in TARGETS) or state["", "journal"] or (state[p, "directory"] and not values[2])):
            yield "something is left"


# The number of states, and a flaw, with the state in which it was found or in which the start began that has it.
def explore(packages, copies, lacks, each_call):
    state = {("", "journal"): (), ("", "acted"): ""}
    for p in packages:
        state |= {(p, "header"): 1, (p, "document"): "rpm 1", (p, "directory"): None, (p, "tree"): None, (p, "lists"): None}
        state |= {(p, place, i): "rpm 1" if place == "target" and i < 2 else None for place in ("target", "beside") for i in TARGETS}
    todo, seen = [state], set()
    while todo:
        state = todo.pop()
        if tuple(state.values()) in seen or seen.add(tuple(state.values())):
            continue
        whole = Start(state, copies, lacks)
        calls = range(1, whole.calls + 1) if each_call else []
        starts = [whole, *(Start(state, copies, lacks, fault=n) for n in calls)]
        if not state["", "acted"]:
            starts += [Start(state, copies, lacks, 0, n, put_file(("A", "target", i))) for n in calls for i in TARGETS]
        flaws = [*flaws_of(state, False), *flaws_of(whole, True)]
        for start in starts:
            is_lost = ("somebody's" in str(state) or start.meeting) and "somebody's" not in str(dict(start))
            flaws += start.flaws + ["somebody's file is lost"] * is_lost
            todo += crashes(state, start.log)
        if flaws:
            return len(seen), flaws[0], state
        todo += [{**state, **deed} for deed in deeds(state)]
    return len(seen), "no flaw"


failed = 0
for rule in RULES if "--prove" in sys.argv else [""]:
    for packages, copies, each_call in [("A", False, True), ("A", True, True), ("AB", False, False), ("AB", True, False)]:
        states, flaw, *where = explore(packages, copies, rule, each_call)
        if where or not rule:
            print(rule or packages, ["links", "copies"][copies], f"{states} states:", flaw, *where[:not rule], flush=True)
        if where:
            break
    failed += bool(where) != bool(rule)
sys.exit(failed)
