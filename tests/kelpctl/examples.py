#!/usr/bin/env python3
"""Puts the example of each explanation into the sound package. One that draws the finding which it explains would
send makers in circles. Usage: examples.py build|judge KELPCTL SOUND.spec DIRECTORY"""

import configparser, json, os, re, subprocess, sys

step, kelpctl, spec, directory = sys.argv[1:]
sound = open(spec).read().replace("sound", "notes")
head, middle, make, desktop_file, end, rest = re.fullmatch(
    r"(.*?)(%description.*?%install\n)(.*?<<END\n(\[Desktop Entry\].*?)END\n.*?)(%files\n)(.*)", sound, re.S).groups()


def parsed(text):
    parser = configparser.RawConfigParser()
    parser.optionxform = str
    parser.read_string(text)
    return parser


def assignments(kind, text):
    """What an example sets, as {place: value}. Two that set one place differently go into packages of their own."""
    if kind == "desktop":
        return {("desktop", *key): value for group, keys in parsed(text).items() for key, value in
                (((group, name), value) for name, value in keys.items())}
    if kind == "manifest":
        return {("%install", "manifest"): f"echo '{text}' >%{{buildroot}}/manifest.json", ("%files", ""): "/manifest.json"}
    section, result = "", {}
    for line in text.splitlines() if kind in ("spec", "path") else []:
        if kind == "path":
            at = "%{buildroot}" + line
            result[("%install", line)] = f"mkdir -p {os.path.dirname(at)}; [ -e {at} ] || echo text >{at}"
            result[("%files", line)] = line
        elif line in ("%install", "%files"):
            section = line
        elif line and not line.startswith("#"):
            tag = re.match(r"(Name|Version|Release|BuildArch):", line)
            result[(section, tag.group() if tag else line)] = line
    return result


def build(name, source, sources=directory):
    defines = {"_topdir": directory + "/build", "_rpmdir": directory, "_rpmfilename": f"{name}.rpm", "_sourcedir": sources,
               "_binaries_in_noarch_packages_terminate_build": "0"}
    subprocess.run(["rpmbuild", "-bb", "--quiet", "--nodeps", source] +
                   [word for key, body in defines.items() for word in ("--define", f"{key} {body}")],
                   check=True, stderr=subprocess.DEVNULL)


def put_together(number, places):
    chosen = lambda section: "".join(line + "\n" for place, line in places.items() if place[0] == section)
    desktop, top, name = parsed(desktop_file.replace("%{name}", "org.example.notes")), head, f"{directory}/{number}"
    for place, value in places.items():
        if place[0] == "desktop":
            desktop.has_section(place[1]) or desktop.add_section(place[1])
            desktop.set(*place[1:], value)
        elif place[0] == "" and place[1].endswith(":"):
            top = re.sub("(?m)^" + place[1] + ".*\n", "", top)
    with open(name + ".desktop", "w") as file:
        desktop.write(file, space_around_delimiters=False)
    # The files that examples install, beside the package's own.
    files = (f"cp {name}.desktop usr/share/applications/%{{name}}.desktop\nchmod -R go-w .\ncd %{{_builddir}}\n"
             f"for f in notes helper libnotes.so.1; do cp %{{buildroot}}/usr/bin/%{{name}} $f; done\n"
             f"cp {name}.desktop notes.desktop\necho >notes.db\n" + "echo '{}' >watch.json\n")
    with open(name + ".spec", "w") as file:
        file.write(top + chosen("") + middle + make + files + chosen("%install") + end + chosen("%files") + rest)
    build(number, name + ".spec")


def judged(name, *options):
    return subprocess.run([kelpctl, "validate", *options, f"{directory}/{name}.rpm"], stdout=subprocess.PIPE, text=True)


os.makedirs(directory + "/build", exist_ok=True)
packages, wrong = [], []
rules = "\n" + subprocess.check_output([kelpctl, "rules", "--profile", "mdm"], text=True)
for finding in json.loads(subprocess.check_output([kelpctl, "explain", "--list", "--json"]))["findings"]:
    kind, text = finding["example"].values()
    assert text and finding["what"] and finding["why"] and finding["mend"], finding
    assert finding["topic"] is None or f"\n{finding['topic']}\t" in rules, finding
    wanted = assignments(kind, text)
    if wanted:
        # What only a client of the device management may have.
        wanted[("profile",)] = "mdm" if "mdm" in text else "regular"
        # rpmbuild adds nothing to a package of no architecture, of which a remedy could be wanting.
        wanted[("architecture",)] = "noarch" if "noarch" in text else "native"
        fitting = (p for p in packages if all(p[0].get(place, value) == value for place, value in wanted.items()))
        places, ids = next(fitting, None) or (packages.append(({}, [])) or packages[-1])
        places.update(wanted)
        ids.append(finding["id"])
# The sample that makers begin with, as docs/makers.md has it built.
sample = os.path.dirname(os.path.abspath(__file__)) + "/../../samples/compiled"
if step == "build":
    for number, (places, ids) in enumerate(packages):
        put_together(number, places)
    sys.exit(build("sample", sample + "/org.example.tally.spec", sample))
for number, (places, ids) in enumerate(packages):
    report = judged(number, "--output", "json", "--os-version", "5.0", "--profile", places[("profile",)])
    report = json.loads(report.stdout)["packages"][0]
    assert report["verdict"] != "incomplete", report
    wrong += {finding["id"] for finding in report["findings"]} & set(ids)
report = judged("sample", "--overrides", sample + "/overrides", "--fail-on", "warning")
assert report.returncode == 0 and re.search(r"\n  accepted: [12] overridden\n$", report.stdout), report.stdout
print(f"{sum(len(ids) for _, ids in packages)} examples in {len(packages)} packages; wrong: {wrong}")
sys.exit(bool(wrong))
