"""What a machine holds, and what is wrong with it."""

import hashlib
import os
import re
import sqlite3
import stat
from pathlib import PurePath

from applications import APPLICATIONS, DATA, FOREIGN, KEY, Link, MOVED, RAN, STORE

# Directories that may stay when they are empty.
WORKSHOP = {"/opt/kelp", "/opt/kelp/tmp", "/opt/kelp/install", "/var/lib/kelp/left-behind"}


def contents(path):
    if path.endswith(".lock"):
        return "whoever held it last"
    text = open(path, "rb").read()
    if path == "/var/lib/kelp/registry":
        return sorted(re.sub(r"timestamp=\d+ ", "", line) for line in text.decode(errors="replace").splitlines())
    if path.endswith(".list"):
        return sorted(text.decode(errors="replace").splitlines())
    return text.decode() if len(text) < 200 and text.isascii() else hashlib.sha256(text).hexdigest()


def describe(path, status):
    result = [stat.filemode(status.st_mode), status.st_uid]
    if stat.S_ISLNK(status.st_mode):
        result.append(os.readlink(path))
    if stat.S_ISREG(status.st_mode):
        result += [contents(path), *(f"{name}={os.getxattr(path, name)!r}" for name in sorted(os.listxattr(path)))]
    return result


def trusted_sources():
    try:
        database = sqlite3.connect("file:/var/lib/trusted-sources/db.sqlite3?mode=ro", uri=True)
        return {f"{table}: {row}": [] for table in ["configuration", "sources", "packages"]
                for row in database.execute(f"SELECT * FROM {table}")}
    except sqlite3.Error as error:
        return {"trusted sources": [str(error)]}


def walk(passed_over, directory="/"):
    for entry in os.scandir(directory):
        if entry.path not in passed_over:
            if entry.path not in WORKSHOP:
                yield entry.path, describe(entry.path, entry.stat(follow_symlinks=False))
            if entry.is_dir(follow_symlinks=False):
                yield from walk(passed_over, entry.path)


def holdings(passed_over):
    return {**dict(walk(passed_over)), **trusted_sources()}


def headers(machine):
    """The applications that rpm has, each with what rpm objects to in its files."""
    names = machine.start(["rpm", "-qa", "--queryformat", "%{NAME}\\n"])[1].split()
    return {f"rpm: {name}": machine.start(["rpm", "-V", "--nodeps", name])[1].splitlines() for name in sorted(names)}


def snapshot(machine):
    return {**machine.inside(holdings, machine.passed_over), **headers(machine)}


def differences(found, wanted):
    """One line for each thing that a machine lacks, has too much or has in another way; of a tree its root alone."""
    lost, left = wanted.keys() - found.keys(), found.keys() - wanted.keys()
    return ([f"lost {name}" for name in wanted if name in lost and os.path.dirname(name) not in lost] +
            [f"{name} is {found[name]} instead of {wanted[name]}" for name in wanted
             if name in found and found[name] != wanted[name]] +
            [f"left {name}" for name in found if name in left and os.path.dirname(name) not in left])


def read(path):
    return open(path).read() if os.path.isfile(path) else None


def source_of(place):
    """Where a published file says that it comes from."""
    return os.readlink(place) if os.path.islink(place) else os.getxattr(place, "user.kelp.mapping.target").decode()


def flaws_of_file(app, path, place):
    if not os.path.exists(place):
        return [f"{place} is missing"]
    if read(place) is None or app.content(path) is None:
        return [f"{place} is no directory"] if read(place) != app.content(path) else []
    flaws = [f"{place} holds {read(place)!r}"] if read(place) != app.content(path) else []
    return flaws + ([f"{place} has another mode"] if stat.S_IMODE(os.stat(place).st_mode) != app.mode(path) else [])


def flaws_of_lists(app, current, published):
    directories = {str(parent) for place in published for parent in PurePath(place).parents if app.id in parent.parts}
    for name, wanted in {"symlink.list": published, "generated.dir.list": directories}.items():
        listed = (read(f"{current}/{name}") or "").splitlines()
        if sorted(listed) != sorted(wanted):
            yield f"{app.id}: {name} differs from what is published: {sorted(set(listed) ^ set(wanted))}"


def flaws_in_store(app):
    """What is missing to the application `app` in the store, judged by the table of the applications alone."""
    current, flaws = f"/opt/app/{app.id}/current", []
    published = {path: app.system_path(path, published=True) for path in app.files}
    for path, place in published.items():
        flaws += flaws_of_file(app, path, f"{current}/{path}") + flaws_of_file(app, path, place)
        try:
            if not isinstance(app.files[path], Link) and source_of(place) != f"{current}/{path}":
                flaws.append(f"{place} comes from {source_of(place)}")
        except OSError:
            flaws.append(f"{place} does not say where it comes from")
    descriptor = (read(f"{current}/velura.pkg") or "").splitlines()
    flaws += [f"{app.id}: its descriptor has no line {line}" for line in
              [f"id={app.id}", f"id={app.key}", f"subgroup={app.subgroup}", *([f"orgname={app.org}"] if app.org else [])]
              if line not in descriptor]
    return [*flaws, *flaws_of_lists(app, current, published.values())]


def traces(app, passed_over):
    """What a removed application has left."""
    home = f"/opt/app/{app.id}"
    return [f"{path} is left of {app.id}" for path, description in walk(passed_over)
            if path == home or f"{home}/" in str(description[2:])]


def closed_paths():
    """The paths that do not read as rpm brought them and the store publishes them: at no moment may one."""
    return [flaw for app in MOVED for path in app.files if app.system_path(path) == app.system_path(path, published=True)
            for flaw in flaws_of_file(app, path, app.system_path(path))]


def flaws_of_migration(machine, before):
    """What an undisturbed migration has not done, judged by the tables of applications.py alone."""
    names = headers(machine)
    return (machine.inside(flaws_outside_rpm, machine.passed_over) + unsound(machine, before) +
            [f"rpm still has {app.id}" for app in MOVED if f"rpm: {app.id}" in names])


def flaws_outside_rpm(passed_over):
    flaws = [flaw for app in MOVED for flaw in flaws_in_store(app)]
    lines = [f"event=I package={app.id} keyid={app.key}" for app in MOVED]
    moved = {f"package={app.id}" for app in MOVED}  # Others may be there as well.
    if [line for line in contents("/var/lib/kelp/registry") if moved & set(line.split())] != sorted(lines):
        flaws.append("the registry does not have a line for each application")
    bindings = trusted_sources()
    flaws += [f"{app.id} is not bound to its source" for app in MOVED
              if f"packages: {(app.id, STORE if app.client else '.no.source.apps')}" not in bindings]
    if "configuration: ('missing_source_allowed', 1)" not in bindings:
        flaws.append("the policy does not allow a missing source")
    flaws += [f"{new} does not hold the data of {old}" for old, new in [*DATA.items(), *zip(FOREIGN, FOREIGN)]
              if read(new) != "content of " + old]
    if f"/org.example/{KEY}/words.txt" not in (read("/opt/app/org.example.links/current/@resources/integrityd.json") or ""):
        flaws.append("the integrity file does not name the moved data")
    flaws += [f"{path} is left" for path, _ in walk(passed_over)
              if re.fullmatch(rf"{RAN}|/var/lib/kelp/(?!registry$|.*\.lock$|\.migration_).*|/opt/kelp/tmp/[^.].*", path)]
    flaws += [f"{stamp} is missing" for stamp in ["done", "skid_done", "integrityd_done"]
              if not os.path.exists(f"/var/lib/kelp/.migration_{stamp}")]
    return flaws


def unsound(machine, before):
    """The flaws of a machine that has met a failing disk: no application and nothing of anybody else may be lost."""
    in_rpm, flaws = headers(machine), []
    for app in APPLICATIONS:
        objections = in_rpm.get(f"rpm: {app.id}", ["no header"])
        missing = machine.inside(flaws_in_store, app) if not app.stays else ["it belongs to rpm"]
        if objections != before[f"rpm: {app.id}"] and missing:
            flaws.append(f"{app.id} is whole neither in rpm ({objections[0]}) nor in the store ({missing[0]})")
    return flaws + machine.inside(lambda: [f"lost {old}" for old, new in [*DATA.items(), *zip(FOREIGN, FOREIGN)]
                                           if "content of " + old not in (read(old), read(new))] +
                                   [f"{path} is left" for path, _ in walk(machine.passed_over) if re.search(rf"^{RAN}$|/\.kelp-[0-9a-f]{{12}}-\d+$", path)])
