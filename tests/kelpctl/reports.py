#!/usr/bin/env python3
"""Holds the fields of the reports against those that docs/formats.md lists. Usage: reports.py KELPCTL PACKAGES FORMATS.md"""

import json, os, re, subprocess, sys, tempfile
import xml.etree.ElementTree as xml

kelpctl, packages, document = sys.argv[1:]
listed = {}
for form, fields in re.findall(r"^\| `(jsonl?|sarif|gitlab|junit)` \| (.*?) \|", open(document).read(), re.M):
    listed.setdefault(form, set()).update(re.findall(r"`(.*?)`", fields))


def fields(value, path=""):
    """The paths of all values that are neither lists nor objects, nor empty ones."""
    if isinstance(value, xml.Element):
        path += ("/" if path else "") + value.tag
        own = {f"{path}@{name}" for name in value.keys()} | ({path} if (value.text or "").strip() else set())
        return own.union(*(fields(child, path) for child in value))
    if isinstance(value, dict):
        return set().union(*(fields(child, path + ("." if path else "") + name) for name, child in value.items()))
    return set().union(*(fields(child, path + "[]") for child in value)) if isinstance(value, list) else {path}


def run(form, *arguments):
    command = [kelpctl, "validate", "--output", form, *arguments, packages + "/faulty.rpm", "/nowhere.rpm"]
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    assert result.returncode == 2, result
    return result.stdout


with tempfile.NamedTemporaryFile("w") as overrides:
    overrides.write("# Known.\nrpath-leaves /usr/bin/* Built in.\n")
    overrides.flush()
    texts = {form: run(form, "--hide", "directory-empty", "--overrides", overrides.name) for form in ("json", "sarif", "gitlab", "junit")}
parsed = {form: xml.fromstring(text) if form == "junit" else json.loads(text) for form, text in texts.items()}
for form, value in parsed.items():
    assert fields(value) == listed[form], (form, fields(value) ^ listed[form])

faulty, missing = parsed["json"]["packages"]
line = json.loads(run("jsonl").splitlines()[0])
assert set(line) == set(faulty) | listed["jsonl"], set(line) ^ set(faulty)
assert (missing["verdict"], missing["reason"], missing["id"], missing["sha256"]) == (
    "incomplete", "Couldn't open rpm package: No such file or directory", None, None), missing
digest = subprocess.check_output(["sha256sum", packages + "/faulty.rpm"], text=True).split()[0]
assert (faulty["sha256"], faulty["id"]) == (digest, "org.example.faulty"), faulty
overridden = [f["path"] for f in faulty["findings"] if f["overridden"] == "Built in."]
assert overridden == ["/usr/bin/org.example.faulty"], overridden  # Not the one in another directory.
assert "rpath-leaves" in {f["id"] for f in faulty["findings"] if f["overridden"] is None}
run_ = parsed["sarif"]["runs"][0]
rules = [rule["id"] for rule in run_["tool"]["driver"]["rules"]]
assert [rules[result["ruleIndex"]] for result in run_["results"]] == [f["id"] for f in faulty["findings"]]
assert set(rules) == {f["id"] for f in faulty["findings"]}
assert len({issue["fingerprint"] for issue in parsed["gitlab"]}) == len(faulty["findings"])
assert "directory-empty" not in texts["json"]
print("all fields are those that are listed")
