"""What is broken: a machine to begin with, a command on it, what follows, and how the end is judged."""

import os
import re
import shutil

from applications import (CHANGED, DEEP, KEY, MET, STORE, Application, Link, MOVED, Name, RULES, furnish, furnish_foreign, published,
                          verbs, write_tree)
from machine import LAYOUTS, run
from judgement import closed_paths, differences, flaws_in_store, flaws_of_migration, read, snapshot, traces, unsound


def stage(machine, app):
    staging = machine.root / "opt/kelp/tmp" / app.id
    shutil.rmtree(staging, ignore_errors=True)
    write_tree(app, staging, lambda path: path)


def was_refused(machine, flaw, written):
    """Whether it is about what the disk refused to remove, with the directories that hold it, and the log has said so."""
    path = flaw.removeprefix("left ")
    place = machine.root / path.lstrip("/")
    files = [f"/{os.path.relpath(os.path.join(directory, name), machine.root)}"
             for directory, _, names in os.walk(place) for name in names]
    return path != flaw and f"Input/output error [{path}" in written and all(
        f"Input/output error [{file}]" in written for file in files)


# What fails for good where the log has said so, and what it leaves undone: it is for doctor, or for people, to mend.
SETTLED = {"Failed to add client certificate|Couldn't bind": "(lost|left) (packages|sources|configuration|trusted sources)",
           "Couldn't move /": "(lost|left) /(home|srv|usr/share/common)/",
           "Couldn't add a package installation record": "(lost )?/var/lib/kelp/registry",
           "Couldn't determinate actual version directory": ".*left /opt/app/"}


def unsettled(flaws, written):
    told = [flaw for log, flaw in SETTLED.items() if re.search(log, written)]
    return [flaw for flaw in flaws if not any(re.match(settled, flaw) for settled in told)]


def false_success(status, output, notes, found, wanted):
    """What a run that ended well has not done. An old version or a scratch tree that stays is told, and the next repair takes
    it; of published files there are notes."""
    flaws = [] if status else [f"it says success, and {flaw}" for flaw in differences(found, wanted)
                               if flaw.removeprefix("left ") not in (output if flaw.startswith(("left /opt/app/", "left /opt/kelp/install/")) else notes)]
    return unsettled(flaws, output)


class TakeOver:
    """A start of the launcher on a machine of the old world. It is started twice more."""

    programs, command, layouts, is_hindered = ["kelp-launcher", "store-driver"], ["/program"], list(LAYOUTS), False

    def prepare(self, machine, packages):
        furnish(machine, packages)
        self.before = snapshot(machine)

    def window(self, points, layout):
        """The points to break. An overlay answers as other disks do."""
        return [point for point in points if layout != "overlay" or not point.asks]

    def watch(self, machine, process):
        """Opens all paths as long as the start runs."""
        self.closed = []
        while process.poll() is None:
            self.closed += machine.inside(closed_paths)

    def learn(self, machine):
        """The flaws of a machine that nothing has disturbed; every other is held against it."""
        if os.path.exists(machine.root / "var/lib/kelp/.migration_done") == self.is_hindered:
            self.closed.append("one start is not enough, or seems to be")
        self._twice(machine)
        self.wanted, self.known = snapshot(machine), unsound(machine, self.before)
        return self.closed + flaws_of_migration(machine, self.before) + self._flaws_of_survivors(machine)

    def judge_met(self, machine, target):
        """What is wrong but that somebody's file stands at a target: it is the application's now, or in the way."""
        [(app, path)] = published(target)
        before = dict(CHANGED)
        CHANGED.update({(app.id, other): app.content(other) for other, entry in app.files.items() if isinstance(entry, Name)})
        CHANGED[app.id, path] = MET
        flaws = machine.inside(closed_paths)
        output = self._twice(machine)
        flaws += [] if machine.inside(read, target) == MET else [f"lost {target}"]
        if isinstance(app.files[path], Link):
            # It stays in rpm, which objects to nothing else.
            run("ln", "-sfT", app.files[path], f"{machine.root}{target}")
            del CHANGED[app.id, path]
        flaws += self.flaws(machine, False)
        CHANGED.clear()
        CHANGED.update(before)
        return flaws, output

    def judge(self, machine, killed, written):
        """The flaws of a machine and what was written while they were looked for."""
        closed = [f"before the next start {flaw}" for flaw in machine.inside(closed_paths)]
        if machine.second:
            machine.start(self.command, *machine.second)
            closed += [f"before the start after it {flaw}" for flaw in machine.inside(closed_paths)]
        output = self._twice(machine)
        flaws = unsettled(self.flaws(machine, killed), written)
        # A killed machine is held to be as the undisturbed one, whose applications bear all that follows.
        return closed + (flaws or ([] if killed else self._flaws_of_survivors(machine))), output

    def flaws(self, machine, killed):
        if killed:
            return differences(snapshot(machine), self.wanted)
        return [flaw for flaw in unsound(machine, self.before) if flaw not in self.known]

    def claims(self, machine, status, output):
        """What the broken start itself has said that is not so: a stamp says that nobody stays who could come."""
        if not os.path.exists(machine.root / "var/lib/kelp/.migration_done"):
            return []
        return [f"the stamp is made, and {app.id} stays" for app in MOVED
                if not os.path.lexists(machine.root / f"opt/app/{app.id}/current")]

    def _flaws_of_survivors(self, machine):
        """What is wrong with an update and a removal of each application in the store."""
        flaws = []
        for app in MOVED:
            if os.path.lexists(machine.root / f"opt/app/{app.id}/current"):
                stage(machine, app)
                for operation in ["update", "remove"]:
                    status, output = machine.start(["/driver", operation, app.id, "2-1", app.subgroup])
                    flaws += output.splitlines()[-1:] if status else []
                flaws += machine.inside(traces, app, machine.passed_over)
        return flaws

    def _twice(self, machine):
        return "".join("-- again\n" + machine.start(self.command)[1] for _ in range(2))


class HinderedTakeOver(TakeOver):
    """A first start that the machine hinders; the hindrance is gone before the next ones. In the layout "one" it is a file
    whose link would be too long for the disk, and fails last of its application, an immutable file and a user's link. There
    the points are those of the roll-back. In "many" /usr is read-only, and the points are all calls that change something."""

    layouts, is_hindered, hindrance = ["one", "many"], True, {"one": f"""mkdir -p .{os.path.dirname(DEEP)}; echo >.{DEEP}
        chattr +i usr/share/org.example.shared/book.txt; cd usr/share; mv com.example.bundle moved
        ln -s moved com.example.bundle; chown -h 1000 com.example.bundle""", "many": "touch read-only"}
    relief = f"""[ ! -e read-only ] || mount -o remount,rw usr; rm -f read-only .{DEEP}
        chattr -i usr/share/org.example.shared/book.txt; cd usr/share
        [ ! -d moved ] || {{ rm com.example.bundle; mv moved com.example.bundle; }}"""

    def prepare(self, machine, packages):
        super().prepare(machine, packages)
        run("sh", "-ec", self.hindrance[machine.name], cwd=machine.root)

    def window(self, points, layout):
        ends = [n for n, point in enumerate(points) if re.search("ENAMETOOLONG|given-up", point.call)]
        return points[ends[0]:ends[-1] + 1] if layout == "one" else [point for point in points if not point.asks]

    def _twice(self, machine):
        run("sh", "-ec", self.relief, cwd=machine.root)
        return super()._twice(machine)


class StoreOperation:
    """One operation of the store. What it leaves must bear an update, or an installation, and a removal."""

    programs, id = ["store-driver"], "org.example.kept"

    def __init__(self, operation, subgroup):
        self.operation, self.subgroup = operation, subgroup
        self.command = self._words(operation, 2)

    def prepare(self, machine, _):
        for target in RULES.values():
            if "{" not in target:
                (machine.root / target.lstrip("/")).mkdir(parents=True, exist_ok=True)
        (machine.root / "usr/bin/somebodys").write_text("foreign")
        # Whoever uses the store has it on record: without, a package that has lost its descriptor is somebody's.
        (machine.root / "var/lib/kelp/registry").write_text(f"timestamp=1 event=I package={self.id} keyid=AB12\n")
        (machine.root / "var/lib/kelp/registry.lock").touch(0o600)
        machine.start(["/program", "recover", self.id])
        self.empty = snapshot(machine)
        if self.operation != "install":
            self._bring_in(machine, "install", 1)
        if self.operation != "remove":
            stage(machine, self._version(2))

    def learn(self, machine):
        self.done = snapshot(machine)
        flaws = machine.inside(flaws_in_store, self._version(2)) if self.operation != "remove" else []
        return flaws + self.judge(machine, False, "")[0]

    def claims(self, machine, status, output):
        notes = " ".join(path.read_text() for path in (machine.root / "var/lib/kelp/left-behind").glob("*"))
        return false_success(status, output, notes + f"/var/lib/kelp/left-behind/{self.id}", snapshot(machine), self.done)

    def judge(self, machine, killed, written):
        output = machine.start(["/program", "recover", self.id])[1]
        installed = f"installed {self.id}" in output
        flaws = ["the application is lost"] if self.operation == "update" and not installed else []
        status, text = self._bring_in(machine, "update" if installed else "install", 3)
        if status and not killed and f"Input/output error [{text.split()[-1]}]" in written:
            # What a failing disk did not give up, as the log said, is in the way: told again, and for somebody to mend.
            return [], output + text
        flaws += text.splitlines()[-1:] if status else machine.inside(flaws_in_store, self._version(3))
        status, more = machine.start(self._words("remove", 3))
        flaws += more.splitlines()[-1:] if status else []
        left = [flaw for flaw in differences(snapshot(machine), self.empty)
                if killed or not was_refused(machine, flaw, written)]
        return flaws + left, output + text + more

    def _words(self, operation, version):
        return ["/program", operation, self.id, f"{version}-1", self.subgroup]

    def _version(self, number):
        return Application(self.id, key="AB12", subgroup=self.subgroup, files={
            "data/same.txt": "same", "data/link": Link("same.txt"), f"data/only-in-{number}/file": "only",
            "data/deep/er/file": f"deep {number}", "icons/hicolor/86x86/apps/kept.png": f"icon {number}"})

    def _bring_in(self, machine, operation, version):
        stage(machine, self._version(version))
        return machine.start(self._words(operation, version))


class PeopleCommand:
    """kelpctl as it brings one package file in or out, or mends. What it leaves, doctor brings to the old state or the new one."""

    programs, id = ["kelpctl"], "org.example.sound"

    def __init__(self, installed, *words, damage="true"):
        # What is installed by then, the command's words, and what befell the machine before it.
        self.installed, self.command, self.damage = installed, ["/program", *words], damage

    def prepare(self, machine, packages):
        for version in [1, 2]:
            shutil.copy(packages.parent / f"sound-{version}.rpm", machine.root)
        shutil.copy(packages / "io.velura.dialer.rpm", machine.root)
        # A part of the system, for an rpm database without a record is taken for a lost one.
        machine.start(["rpm", "--force-debian", "--nodeps", "--install", "/io.velura.dialer.rpm"])
        furnish_foreign(machine.root)
        verbs(f"make_signature_database; sign {self.id} developer {KEY} CN=Developer; sign {self.id} client {STORE} CN=Store",
              IMAGE=str(machine.root))
        # Once in and out, so that what every machine has by then is there.
        for words in [["install", "/sound-2.rpm"], ["remove", self.id],
                      *(["install", f"/sound-{version}.rpm"] for version in self.installed)]:
            status, output = machine.start(["/program", *words])
            if status:
                raise SystemExit(output)
        run("sh", "-ec", self.damage, cwd=machine.root)
        self.old = self._state(machine)

    def learn(self, machine):
        self.new = self._state(machine)
        flaws = [] if differences(self.old, self.new) else ["it has changed nothing"]
        return flaws + self._sickness(machine)[0] + differences(self._state(machine), self.new)

    def claims(self, machine, status, output):
        return false_success(status, output, "", self._state(machine), self.new)

    def judge(self, machine, killed, written):
        sickness, output = self._sickness(machine)
        # What was to take a file's place in one step is in nobody's way, and written over by the next one.
        state = {name: thing for name, thing in self._state(machine).items() if not name.endswith(".new")}
        left = min(differences(state, self.new), differences(state, self.old), key=len)
        return sickness + [flaw for flaw in left if killed or not was_refused(machine, flaw, written)], output

    def _sickness(self, machine):
        outputs = [machine.start(["/program", *words])
                   for words in [["doctor", "--repair"], ["doctor"], ["status", "--check"]]]
        left = [line for line in outputs[1][1].splitlines() if outputs[1][0] and not re.match("this machine|  foreign:", line)]
        return left + ["status --check wants somebody"] * outputs[2][0], "".join(text for _, text in outputs)

    def _state(self, machine):
        """All but the registry: there a repaired update is an installation."""
        return {name: thing for name, thing in snapshot(machine).items() if name != "/var/lib/kelp/registry"}


class Look(PeopleCommand):
    """kelpctl as it looks at a machine. It says all that an undisturbed look says, or that it could not."""

    def learn(self, machine):
        self.lines = machine.start(self.command)[1].splitlines()
        return differences(self._state(machine), self.old)

    def claims(self, machine, status, output):
        missing = [f"it says success without: {line}" for line in self.lines if line not in output.splitlines()]
        return (missing if not status else []) + differences(self._state(machine), self.old)

    def judge(self, *_):
        return [], ""


# What doctor mends: a link that is gone, an update that leads nowhere, a binding or a descriptor that is gone.
DAMAGE = """rm usr/bin/org.example.sound; ln -s 9-9 opt/app/org.example.sound/next
sqlite3 var/lib/trusted-sources/db.sqlite3 'DELETE FROM packages'
rm opt/app/org.example.sound/2-1/velura.pkg; chmod 0 opt/app/org.example.sound/2-1/bin/*; chown -h 1:1 opt/app/org.example.sound/2-1; setfattr -x security.appid opt/app/org.example.sound/2-1/libexec/*"""
# What doctor does not see: content of the same length, of two files that change.
ALTERED = "cd opt/app/org.example.sound/2-1; for file in data/qml/*; do printf X | dd of=$file conv=notrunc status=none; done"
SCENARIOS = {"take-over": TakeOver(), "take-over-hindered": HinderedTakeOver()} | {
    f"{operation}-{mode}": StoreOperation(operation, subgroup) for operation in ["install", "update", "remove"]
    for mode, subgroup in {"links": "regular", "copies": "mdm"}.items()} | {
    "people-install": PeopleCommand([], "install", "/sound-2.rpm"), "people-update": PeopleCommand([1], "install", "/sound-2.rpm"),
    "people-remove": PeopleCommand([2], "remove", PeopleCommand.id),
    "people-repair": PeopleCommand([2], "doctor", "--repair", damage=DAMAGE),
    "people-policy": PeopleCommand([2], "policy", "missing-source", "allow"),
    "people-mend": PeopleCommand([2], "install", "--repair", "/sound-2.rpm", damage=ALTERED),
    "people-found": PeopleCommand([2], "doctor", "--repair", damage="rm opt/app/org.example.sound/2-1/contents.list"),
    "people-list": Look([2], "list"), "people-status": Look([2], "status", damage=DAMAGE),
    "people-doctor": Look([2], "doctor", damage=DAMAGE)}
