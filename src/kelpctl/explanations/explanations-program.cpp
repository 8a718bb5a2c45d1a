#include "kelpctl/explanations/explanation.h"

namespace KelpCtl {

namespace {

using enum ExampleKind;

constexpr Explanation programRows[] = {
    {"libc-start-main-missing", "The main program does not link to __libc_start_main.",
     "It is no program, or one that starts in a way that the system does not support.",
     "Build it as an ordinary program, with main().", Shell, "g++ -o notes main.cpp"},
    {"main-not-exported", "The main program does not export main().",
     "The booster that starts applications faster looks for it, and starts the program slowly without it.",
     "Declare it `Q_DECL_EXPORT int main(int argc, char *argv[])`, link with -rdynamic, and keep the symbol "
     "when stripping.",
     Shell,
     "g++ -rdynamic -o notes main.cpp\n"
     "readelf --dyn-syms notes | grep \" main$\""},
    {"main-must-be-exported", "The main program uses Vitrine and does not export main().",
     "The booster that starts such applications calls it.",
     "Declare it `Q_DECL_EXPORT int main(int argc, char *argv[])`, link with -rdynamic, and keep the symbol "
     "when stripping.",
     Shell,
     "g++ -rdynamic -o notes main.cpp\n"
     "readelf --dyn-syms notes | grep \" main$\""},
    {"rpath-empty", "The main program has no rpath.",
     "A program that needs no library of the package needs no rpath either. Otherwise its libraries are not "
     "found.",
     "If the program is missing, see main-binary-missing: this follows from it. Set an rpath if the package "
     "ships libraries. A linker may write it as RUNPATH, which does not count: add -Wl,--disable-new-dtags, "
     "until `readelf -d` shows RPATH. If the package ships none, give that as the reason in a file for "
     "--overrides.",
     Shell, "g++ -o notes main.cpp -Wl,-rpath,/usr/share/org.example.notes/lib -Wl,--disable-new-dtags",
     "rpath"},
    {"rpath-not-allowed", "The rpath of the main program leads elsewhere than to libraries of the package.",
     "The program could load libraries of others.",
     "Set the rpath to the lib directory of the package, /usr/share/ID/lib.", Shell,
     "g++ -o notes main.cpp -Wl,-rpath,/usr/share/org.example.notes/lib -Wl,--disable-new-dtags", "rpath"},
    {"rpath-missing",
     "The main program needs a library that the package ships, but has no rpath that leads there.",
     "The library would not be found, and the program not start.",
     "Set the rpath to the lib directory of the package. A linker may write it as RUNPATH, which does not "
     "count: add -Wl,--disable-new-dtags, until `readelf -d` shows RPATH.",
     Shell, "g++ -o notes main.cpp -Wl,-rpath,/usr/share/org.example.notes/lib -Wl,--disable-new-dtags",
     "rpath"},
    {"main-binary-forbidden", "The package has a program, but the desktop file starts the QML runner.",
     "The program would never run.",
     "Start the program in Exec, or take it out. A program for a background task has a name of its own, "
     "/usr/bin/ID.WORD.",
     Desktop,
     "[Desktop Entry]\n"
     "Exec=org.example.notes"},
    {"main-binary-missing", "The package has no program /usr/bin/ID, or what is there is no ELF file.",
     "There would be nothing to start.",
     "Install the compiled program under the name of the package, or start the QML runner. A script does not "
     "count: an application of QML alone needs no program, with `Exec=halyard-qml ID` in its desktop file "
     "and `Requires: libveluraapp-launcher` in its .spec file.",
     Spec,
     "%install\n"
     "install -D -m 0755 notes %{buildroot}%{_bindir}/%{name}\n"
     "\n"
     "%files\n"
     "%{_bindir}/%{name}"},
    {"libexec-not-elf", "A file below /usr/libexec/ID is no valid ELF file.",
     "The directory is for programs alone; scripts are not checked for what they run.",
     "Move data to /usr/share/ID. What a script does has to be in a compiled program.", Path,
     "/usr/share/org.example.notes/data.txt", "path"},
    {"noarch-with-programs", "The package holds programs, but says that it is for every architecture.",
     "It would be installed where the programs do not run.", "Take BuildArch out.", Spec,
     "# no \"BuildArch: noarch\"", "architecture"},
    {"executable-format",
     "An executable file is no ELF file of a supported word size and byte order, or its sections claim more "
     "than the file holds.",
     "It could not run, or hides what it needs. Scripts are not allowed.",
     "Build it for the device. A script is not allowed: what it does has to be in a compiled program. Take "
     "the execute bits away if it is data. A program that a task starts has to stay executable.",
     Shell, "file notes"},
    {"executable-location", "A program lies where programs may not be.",
     "Only programs in /usr/bin, named after the application, and in /usr/libexec/ID/ run in its sandbox. A "
     "link to a program counts like a program in its place.",
     "Name the main program after the whole package, /usr/bin/ID, and a program that a task starts "
     "/usr/bin/ID.WORD. Move others to /usr/libexec/ID. The links in /usr/lib/.build-id are rpmbuild's own, "
     "and count like the program to which they lead: switch them off.",
     Spec,
     "%define _build_id_links none\n"
     "\n"
     "%install\n"
     "install -D -m 0755 helper %{buildroot}%{_libexecdir}/%{name}/helper\n"
     "\n"
     "%files\n"
     "%{_libexecdir}/%{name}/helper",
     "path"},
    {"main-binary-not-executable", "The main program is no executable ELF file.", "It could not be started.",
     "Ship a compiled program, with the execute bits set. A script does not count. If the program is "
     "missing, see main-binary-missing: this follows from it.",
     Spec,
     "%files\n"
     "%attr(0755,root,root) %{_bindir}/%{name}"},
    {"library-unstable", "The main program needs a library whose interface may change or go away.",
     "A later system may lack it, and the application stops working there.",
     "Use an allowed library, or ship your own in /usr/share/ID/lib.", Shell,
     "kelpctl rules library | grep allowed", "library"},
    {"library-not-allowed", "The main program needs a library that is neither allowed nor in the package.",
     "It may not be on the device, or give access that the profile does not have.",
     "Use an allowed library, link it into the program, or ship your own in /usr/share/ID/lib, with an rpath "
     "to there. One that the package has in another directory does not count: move it there.",
     Shell, "readelf -d notes | grep NEEDED", "library"},
    {"qml-import-absolute", "A QML file imports a directory by its full path.",
     "It would run files that are not of the package.",
     "Import by a relative path, as in `import \"../components\"`.", Shell, "grep -rn '^import \"/' qml"},
    {"qml-import-embedded", "QML that is compiled into a program imports a module that is not allowed.",
     "It will not be found on devices that keep to the list.", "Import allowed modules.", Shell,
     "kelpctl rules import | grep allowed", "import"},
    {"qml-import-unstable", "A QML file imports a module whose interface may change or go away.",
     "A later system may lack it, and the page is not shown.",
     "Import an allowed module, if there is such a thing. The rules tell which of both it is, unstable or "
     "deprecated.",
     Shell, "kelpctl rules import | grep allowed", "import"},
    {"qml-import-not-allowed", "A QML file imports a module of the system that is not allowed.",
     "The module is not for applications of this profile, and may not be on the device.",
     "Import an allowed module, in a version that is listed; an import without a version fits none. Or ship "
     "a module below /usr/share/ID/qml, under a name and version of your own. A name that fits a pattern "
     "with the status reserved, like /^Qt.*$/, is never your own: name it as in `import "
     "org.example.notes.widgets 1.0`.",
     Shell, "kelpctl rules import | grep QtQuick", "import"},
};

} // namespace

std::span<const Explanation> programExplanations() {
    return programRows;
}

} // namespace KelpCtl
