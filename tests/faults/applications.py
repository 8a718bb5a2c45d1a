"""The applications of the machine that is broken, and what is to become of them: the table below is both."""

import os
import pathlib
import shutil
import subprocess
import tempfile

from machine import run

PROJECT = pathlib.Path(__file__).resolve().parents[2]
KEY, OTHER_KEY, STORE = "5a0c1e77d2f04b6e9a3381c4f7be20d91c5d6a01", "9be2740f1d6c48a3b5e1f09c2a7d84361f3e5b02", "c11e47a6"
ICONS = "/usr/share/icons/hicolor/86x86/apps"

# The mark of a script, or of a trigger, that has run.
RAN = "/srv/ran"

# Cannot be published on a disk of small blocks, which a link's text does not fit into. Not on disk, but in one scenario.
DEEP = "/usr/share/org.example.links" + ("/" + "x" * 240) * 4 + "/" + "y" * 60

# The package's tree and where the system has it; {id} and {org} are the application's.
RULES = {
    "bin": "/usr/bin", "connman/plugin": "/usr/lib/connman/plugins-vpn", "3rdparty": "/usr/lib/3rdparty/{id}",
    "data": "/usr/share/{id}", "manifest": "/usr/share/applications", "icons/hicolor/86x86/apps": ICONS,
    "connman/config": "/etc/connman/vpn-plugin", "integrityd": "/etc/integrityd/config.d", "libexec": "/usr/libexec/{id}",
    "vendor-common": "/usr/share/common/{org}",
}


class Link(str):
    """The text of a symbolic link."""


class Name(str):
    """The package path of which this one is another name."""


class Application:
    """`files` has the content, the Link or the Name of each package path."""

    def __init__(self, id, files, key=KEY, subgroup="regular", client=False, org="", stays=False, script=f": >{RAN}"):
        self.id, self.key, self.subgroup, self.client, self.org = id, key, subgroup, client, org
        self.stays, self.script = stays, script
        self.files = {f"bin/{id}": "#!/bin/sh\necho " + id, **files}
        if org:
            self.files[f"manifest/{id}.desktop"] = "\n".join([
                "[Desktop Entry]", "Type=Application", f"Name={id}", f"Exec=/usr/bin/{id}",
                "[X-Application]", f"OrganizationName={org}", f"ApplicationName={id.split('.')[-1]}"])

    def system_path(self, path, published=False):
        """Where the package brings a path of its tree, or where the store publishes it."""
        for source, target in RULES.items():
            if path.startswith(source + "/"):
                target = target.format(id=self.id, org=self.org)
                if published and source == "vendor-common":
                    target += "/" + self.key
                return target + path[len(source):]
        return "/" + path

    def mode(self, path):
        return 0o4755 if path.startswith("libexec/") else 0o755 if path.startswith("bin/") else 0o644

    def content(self, path):
        """What reading the path gives; nothing for a directory."""
        if (self.id, path) in CHANGED:
            return CHANGED[self.id, path]
        entry = self.files.get(path)
        if isinstance(entry, Name):
            return self.content(entry)
        return self.content(os.path.join(os.path.dirname(path), entry)) if isinstance(entry, Link) else entry


# What somebody has edited, and what somebody puts at a target while it is published.
CHANGED, MET = {("org.example.links", "data/colours.conf"): "paper=yellow"}, "somebody's work"
SHARED_FILE = '{"files": ["/usr/share/common/org.example/words.txt"]}'
APPLICATIONS = [
    Application("org.example.links", client=True, org="org.example", files={
        "data/first.txt": "Buy milk.", "data/second.txt": Name("data/first.txt"), "data/latest.txt": Link("first.txt"),
        "data/qml/main.qml": "Page { }", "data/pages": Link("qml"), "data/colours.conf": "paper=white",
        "icons/hicolor/86x86/apps/links.png": "icon", "integrityd/org.example.links.json": SHARED_FILE}),
    Application("org.example.shared", client=True, org="org.example", files={
        "vendor-common/words.txt": "note", "data/book.txt": "Call me Ishmael."}),
    Application("com.example.devices", key=OTHER_KEY, subgroup="mdm", client=True, files={
        "data/policy.json": "{}", "data/deep/er/file": "deep"}),
    Application("com.example.vpn", key=OTHER_KEY, subgroup="extended", files={
        "connman/plugin/example.so": "plugin", "connman/config/example.conf": "[example]"}),
    Application("com.example.bundle", key=OTHER_KEY, org="com.example", files={
        "3rdparty/lib/libx.so": "library", "libexec/helper": "help", "data/one": "both", "data/two": Name("data/one")}),
    # What rpm keeps: a part of the system, what nobody signed, what claims the system's icon, what leads out of itself.
    Application("io.velura.dialer", stays=True, files={"icons/hicolor/86x86/apps/phone.png": "phone"}),
    Application("net.example.unsigned", stays=True, files={}),
    Application("com.example.clash", key=OTHER_KEY, stays=True, files={"icons/hicolor/86x86/apps/phone.png": "phone"}),
    Application("com.example.outside", key=OTHER_KEY, stays=True, files={
        "data/deep/file": "", "data/loop": Link("deep/../../../data")}),
]
MOVED = [app for app in APPLICATIONS if not app.stays]

# People's data: the place before the start and after it.
DATA = {
    f"/{place}": f"/{os.path.dirname(os.path.dirname(place))}/{KEY}/common/{os.path.basename(place)}"
    for place in ["home/alice/.local/share/org.example/common/notes.db", "home/bob/.config/org.example/common/settings",
                  "srv/shared/org.example/common/team.db"]} | {
    f"/usr/share/common/{org}/list.txt": f"/usr/share/common/{org}/{key}/list.txt"
    for org, key in [("org.example", KEY), ("com.example", OTHER_KEY)]}
FOREIGN = ["/usr/share/org.example.links/mine.txt", "/usr/bin/somebodys", "/usr/share/common/com.other/file",
           "/usr/data/file", "/opt/somebodys/file", "/opt/app/photos/picture", "/opt/app/.snapshots/1/file"]


def published(target):
    """The applications that publish a path, each with its path of it."""
    return [(app, path) for app in MOVED for path in app.files if app.system_path(path, published=True) == target]


def write_tree(app, directory, place_of):
    """Writes an application's files below a directory, each where `place_of` its package path says."""
    for path, entry in app.files.items():
        place = directory / place_of(path).lstrip("/")
        place.parent.mkdir(parents=True, exist_ok=True)
        if isinstance(entry, Link):
            os.path.lexists(place) or place.symlink_to(entry)
        elif isinstance(entry, Name):
            os.link(directory / place_of(entry).lstrip("/"), place)
        else:
            place.write_text(entry)
            place.chmod(app.mode(path))


def spec(app):
    """The lines of the sub-package of one application."""
    listed = []
    for path in app.files:
        place = pathlib.Path(app.system_path(path))
        own = [str(parent) for parent in place.parents if app.id in parent.parts or (app.org or "-") in parent.parts]
        listed += [f"%dir {parent}" for parent in own]
        mode = "" if isinstance(app.files[path], Link) else f"%attr({app.mode(path):o},root,root) "
        listed.append(("%config " if place.suffix == ".conf" else "") + mode + str(place))
    return [f"%package -n {app.id}", "Summary: An application", f"%description -n {app.id}",
            f"%preun -n {app.id}", app.script, f"%postun -n {app.id}", app.script,
            *([f"%filetriggerun -n {app.id} -- /usr", app.script, f"%transfiletriggerpostun -n {app.id} -- /usr", app.script]
              if app.id == "io.velura.dialer" else []), f"%files -n {app.id}", *[DEEP] * (app.id in DEEP), *sorted(set(listed))]


def build_packages(directory):
    with tempfile.TemporaryDirectory() as workshop:
        source, lines = pathlib.Path(workshop, "source"), [
            "Name: faults", "Version: 1", "Release: 1", "Summary: Applications", "License: BSD-3-Clause",
            "BuildArch: noarch", "AutoReqProv: no", "%description", "Applications.", "%install",
            f"cp -a {workshop}/source/. %{{buildroot}}"]
        for app in APPLICATIONS:
            write_tree(app, source, app.system_path)
            os.makedirs(source / os.path.dirname(DEEP)[1:], exist_ok=True)
            (source / DEEP[1:]).touch()
            lines += spec(app)
        pathlib.Path(workshop, "spec").write_text("\n".join(lines) + "\n")
        verbs("build_rpm " + f"{workshop}/spec {directory}")


def build_package_files(directory):
    """Two versions of a package that the validator accepts."""
    spec = PROJECT / "tests/kelpctl/sound.spec"
    for version in [1, 2]:
        verbs(f"build_rpm {spec} {directory}/built --define 'sound_version {version}'\n"
              f"mv {directory}/built/org.example.sound.rpm {directory}/sound-{version}.rpm")


def verbs(commands, **variables):
    """Runs commands with the functions of scripts/image-verbs."""
    run("bash", "-ec", f". {PROJECT}/scripts/image-verbs\n{commands}", env={**os.environ, **variables},
        stdout=subprocess.DEVNULL)


def furnish_foreign(root):
    """What people have put where the store is, one of it behind a link."""
    (root / "srv/photos").mkdir(parents=True, exist_ok=True)
    (root / "opt/app").mkdir(parents=True, exist_ok=True)
    (root / "opt/app/photos").symlink_to("../../srv/photos")
    for place in FOREIGN:
        (root / place.lstrip("/")).parent.mkdir(parents=True, exist_ok=True)
        (root / place.lstrip("/")).write_text("content of " + place)


def furnish(machine, packages):
    """Makes the machine of the old world: all packages installed, and people's data."""
    root = machine.root
    shutil.copytree(packages, root / "tmp/rpms")
    status, output = machine.start(["sh", "-c", "rpm --force-debian --nodeps --install /tmp/rpms/*"])
    if status:
        raise SystemExit(output)
    shutil.rmtree(root / "tmp/rpms")
    (root / "usr/share/org.example.links/colours.conf").write_text(*CHANGED.values())
    shutil.rmtree(root / DEEP[1:].split("/x")[0] / ("x" * 240))
    furnish_foreign(root)
    for place in DATA:
        file = root / place.lstrip("/")
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text("content of " + place)
    # What a staged tree cannot have as a further name: a file with a capability, one of somebody's, one with a name elsewhere.
    os.setxattr(root / "usr/bin/com.example.vpn", "security.capability", bytes([0, 0, 0, 2, 0, 32, *[0] * 14]))
    os.chown(root / "usr/share/org.example.shared/book.txt", 1000, 0)
    os.link(root / "usr/share/org.example.links/first.txt", root / "usr/share/another-name")
    signatures = ["make_signature_database"]
    for app in APPLICATIONS:
        if app.id != "net.example.unsigned":
            system = " system" if app.id == "io.velura.dialer" else ""
            signatures.append(f"sign {app.id} developer {app.key} CN=Developer {app.subgroup}{system}")
        if app.client:
            signatures.append(f"sign {app.id} client {STORE} CN=Store")
    verbs("\n".join(signatures), IMAGE=str(root))
