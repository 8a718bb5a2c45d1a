"""Checks that the CMakeLists.txt of each folder below src/ lists exactly the folders whose files the folder includes.

The compiler cannot: include directories pass on from library to library, so it finds headers of unlisted folders too.
Also counts the parameters of constructors with initialisers: clang-tidy counts none where the body is empty.
"""

import pathlib
import re
import sys

SOURCES = pathlib.Path(__file__).resolve().parent.parent / "src"
# Programs choose which event log they link; libraries see its header alone.
SECOND_NAMES = {"platform/event-log": "event-log-interface"}


def declared(folder):
    library = re.search(r"kelp_library\(([\w-]+)(?:\s+DEPENDS([-\w\s]+?))?\s*(?:PRIVATE[^)]*)?\)",
                        (folder / "CMakeLists.txt").read_text())
    return library and (library[1], set((library[2] or "").split()))


def included(folder):
    sources = [path for path in folder.iterdir() if path.suffix in (".h", ".cpp") and path.name != "main.cpp"]
    return {name for path in sources for name in re.findall(r'^#include "(.*)/[^/"\n]*"', path.read_text(), re.M)}


def constructors(text):
    for match in re.finditer(r"\b([A-Z]\w*)\(((?:[^();]|\([^();]*\))*)\)\s*(?:noexcept )?:\s", text):
        parameters, nested = match[2], 1
        while nested:
            parameters, nested = re.subn(r"<[^<>]*>|\([^()]*\)|\{[^{}]*\}", "", parameters)
        yield match[1], parameters.count(",") + 1


libraries = {str(path.parent.relative_to(SOURCES)): declared(path.parent)
             for path in SOURCES.rglob("CMakeLists.txt") if declared(path.parent)}
names = {folder: library[0] for folder, library in libraries.items()} | SECOND_NAMES
complaints = []
for folder, (_, listed) in sorted(libraries.items()):
    used = {names.get(name, name) for name in included(SOURCES / folder) - {folder}}
    complaints += [f"src/{folder} includes files of {name} and does not list it" for name in sorted(used - listed)]
    complaints += [f"src/{folder} lists {name} and includes no file of it" for name in sorted(listed - used)]
most = int(re.search(r'ParameterThreshold, value: "(\d+)"', (SOURCES.parent / ".clang-tidy").read_text())[1])
complaints += [f"{path}: a constructor of {name} has {count} parameters, {most} at most"
               for path in sorted(SOURCES.rglob("*.[ch]*")) for name, count in constructors(path.read_text()) if count > most]
print(*complaints or [f"{len(libraries)} folders include what they list"], sep="\n")
sys.exit(bool(complaints))
