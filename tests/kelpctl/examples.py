#!/usr/bin/env python3
"""Puts the example of each explanation into the sound package. One that draws the finding which it explains would
send makers in circles. Usage: examples.py KELPCTL SOUND.spec DIRECTORY"""

import configparser, json, os, re, subprocess, sys

kelpctl, spec, directory = sys.argv[1:]
sound = open(spec).read().replace("sound", "notes")
parts = re.fullmatch(r"(.*?)(%description.*?%install\n)(.*?<<END\n(\[Desktop Entry\].*?)END\n.*?)(%files\n)(.*)", sound, re.S)


def assignments(kind, text):
    """What an example sets, as {place: value}. Two that set one place differently go into packages of their own."""
    if kind == "desktop":
        parser = configparser.RawConfigParser()
        parser.optionxform = str
        parser.read_string(text)
        return {("desktop", group, key): value for group in parser.sections() for key, value in parser[group].items()}
    if kind == "manifest":
        return {("manifest",): text}
    section, result = "", {}
    for line in text.splitlines() if kind == "spec" else []:
        if line in ("%install", "%files"):
            section = line
        elif line and not line.startswith("#"):
            tag = re.match(r"(Name|Version|Release|BuildArch):", line)
            result[(section, tag.group() if tag else line)] = line
    return result or {("path", line): "" for line in text.splitlines() if kind == "path"}


def build(number, places):
    chosen = lambda section: "".join(line + "\n" for place, line in places.items() if place[0] == section)
    head, desktop = parts[1], configparser.RawConfigParser()
    desktop.optionxform = str
    desktop.read_string(parts[4].replace("%{name}", "org.example.notes"))
    for (_, group, key), value in ((place, value) for place, value in places.items() if place[0] == "desktop"):
        desktop.has_section(group) or desktop.add_section(group)
        desktop.set(group, key, value)
    for place in places:
        if place[0] == "" and place[1].endswith(":"):
            head = re.sub("(?m)^" + place[1] + ".*\n", "", head)
    name = f"{directory}/{number}"
    with open(name + ".desktop", "w") as file:
        desktop.write(file, space_around_delimiters=False)
    files = {place[1]: "text" for place in places if place[0] == "path"}
    files.update({"/manifest.json": places[place] for place in places if place[0] == "manifest"})
    install = f"cp {name}.desktop usr/share/applications/%{{name}}.desktop\nchmod -R go-w .\n"
    for path, content in files.items():
        install += f"mkdir -p .{os.path.dirname(path)}\n[ -e .{path} ] || echo '{content}' >.{path}\n"
    # The files that examples install, beside the package's own.
    install += ("cd %{_builddir}\ncp %{buildroot}/usr/bin/%{name} notes\nfor f in helper libnotes.so.1; do cp notes $f; done\n"
                f"cp {name}.desktop notes.desktop\necho >notes.db\n" + "echo '{}' >watch.json\n")
    with open(name + ".spec", "w") as file:
        file.write(head + chosen("") + parts[2] + parts[3] + install + chosen("%install") + parts[5] +
                   chosen("%files") + parts[6] + "".join(path + "\n" for path in files))
    defines = {"_topdir": directory + "/build", "_rpmdir": directory, "_rpmfilename": f"{number}.rpm",
               "__os_install_post": "%{nil}", "_binaries_in_noarch_packages_terminate_build": "0"}
    subprocess.run(["rpmbuild", "-bb", "--quiet", "--nodeps", name + ".spec"] +
                   [word for key, body in defines.items() for word in ("--define", f"{key} {body}")],
                   check=True, stderr=subprocess.DEVNULL)
    return name + ".rpm"


def drawn(profile, package):
    command = [kelpctl, "validate", "--output", "json", "--os-version", "5.0", "--profile", profile, package]
    report = json.loads(subprocess.run(command, stdout=subprocess.PIPE).stdout)["packages"][0]
    assert report["verdict"] != "incomplete", report
    return {finding["id"] for finding in report["findings"]}


os.makedirs(directory + "/build", exist_ok=True)
packages = []  # Pairs of places and examples.
rules = subprocess.check_output([kelpctl, "rules", "--profile", "mdm"], text=True)
for finding in json.loads(subprocess.check_output([kelpctl, "explain", "--list", "--json"]))["findings"]:
    kind, text = finding["example"].values()
    assert finding["topic"] is None or f"\n{finding['topic']}\t" in "\n" + rules, finding
    wanted = assignments(kind, text)
    if wanted:
        # What only a client of the device management may have.
        wanted[("profile",)] = "mdm" if "mdm" in text else "regular"
    fitting = (p for p in packages if all(p[0].get(place, value) == value for place, value in wanted.items()))
    places, findings = next(fitting, None) or (packages.append(({}, [])) or packages[-1])
    places.update(wanted)
    if wanted:
        findings.append(finding["id"])
wrong = []
for number, (places, findings) in enumerate(filter(lambda package: package[1], packages)):
    wrong += drawn(places[("profile",)], build(number, places)) & set(findings)
# The sample that makers begin with, as docs/makers.md has it built.
sample = os.path.dirname(os.path.abspath(__file__)) + "/../../samples/compiled"
subprocess.run(["rpmbuild", "-bb", "--quiet", "--nodeps", "--define", f"_sourcedir {sample}", "--define", f"_topdir {directory}/build",
                "--define", f"_rpmdir {directory}", "--define", "_rpmfilename sample.rpm", sample + "/org.example.tally.spec"],
               check=True, stderr=subprocess.DEVNULL)
report = subprocess.run([kelpctl, "validate", "--overrides", sample + "/overrides", "--fail-on", "warning",
                         directory + "/sample.rpm"], stdout=subprocess.PIPE, text=True)
assert report.returncode == 0 and report.stdout.endswith("\n  accepted: 1 overridden\n"), report.stdout
print(f"{sum(len(findings) for _, findings in packages)} examples in {len(packages)} packages; wrong: {wrong}")
sys.exit(bool(wrong))
