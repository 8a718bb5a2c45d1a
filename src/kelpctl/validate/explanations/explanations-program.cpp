#include "kelpctl/validate/explanations/explanation.h"

namespace KelpCtl {

namespace {

constexpr Explanation programRows[] = {
    {"libc-start-main-missing", "The main program does not link to __libc_start_main.",
     "It is no program, or one that starts in a way that the system does not support.",
     "Build it as an ordinary program, with main().", "g++ -o org.example.notes main.cpp"},
    {"main-not-exported", "The main program does not export main().",
     "The booster that starts applications faster looks for it, and starts the program slowly without it.",
     "Export main().", "Q_DECL_EXPORT int main(int argc, char *argv[])"},
    {"main-must-be-exported", "The main program uses Vitrine and does not export main().",
     "The booster that starts such applications calls it.",
     "Export main(), and keep the symbol when stripping.", "Q_DECL_EXPORT int main(int argc, char *argv[])"},
    {"rpath-empty", "The main program has no rpath.",
     "Nothing, if it needs no libraries of the package; otherwise they are not found.",
     "Set an rpath if the package ships libraries.", "g++ -Wl,-rpath,/usr/share/org.example.notes/lib ..."},
    {"rpath-not-allowed", "The rpath of the main program leads elsewhere than to libraries of the package.",
     "The program could load libraries of others.", "Set the rpath to the lib directory of the package.",
     "g++ -Wl,-rpath,/usr/share/org.example.notes/lib -Wl,--disable-new-dtags ..."},
    {"rpath-missing",
     "The main program needs a library that the package ships, but has no rpath that leads there.",
     "The library would not be found, and the program not start.",
     "Set the rpath to the lib directory of the package.",
     "g++ -Wl,-rpath,/usr/share/org.example.notes/lib -Wl,--disable-new-dtags ..."},
    {"main-binary-forbidden", "The package has a program, but the desktop file starts the QML runner.",
     "The program would never run.", "Start the program in Exec, or take it out.",
     "[Desktop Entry]\n"
     "Exec=org.example.notes"},
    {"main-binary-missing", "The package has no program /usr/bin/ID.", "There would be nothing to start.",
     "Install the program under the name of the package, or start the QML runner.",
     "install -D notes %{buildroot}%{_bindir}/%{name}"},
    {"libexec-not-elf", "A file below /usr/libexec/ID is no valid ELF file.",
     "The directory is for programs alone; scripts are not checked for what they run.",
     "Move data to /usr/share/ID.", "%{_datadir}/%{name}/data.txt"},
    {"noarch-with-programs", "The package holds programs, but says that it is for every architecture.",
     "It would be installed where the programs do not run.", "Take BuildArch out.",
     "# no \"BuildArch: noarch\""},
    {"executable-format",
     "An executable file is no ELF file of a supported word size and byte order, or its sections claim more "
     "than the file holds.",
     "It could not run, or hides what it needs. Scripts are not allowed.",
     "Take the execute bits away if it is data, or build it for the device.",
     "file %{buildroot}%{_bindir}/%{name}"},
    {"executable-location", "A program lies where programs may not be.",
     "Only programs in /usr/bin/ID and /usr/libexec/ID/ run in the sandbox of the application. A link to a "
     "program counts like a program in its place.",
     "Move it to /usr/libexec/ID.", "install -D helper %{buildroot}%{_libexecdir}/%{name}/helper"},
    {"main-binary-not-executable", "The main program is no executable ELF file.", "It could not be started.",
     "Set the execute bits, and ship a compiled program.", "%attr(0755,root,root) %{_bindir}/%{name}"},
    {"library-unstable", "The main program needs a library whose interface may change or go away.",
     "A later system may lack it, and the application stops working there.",
     "Use an allowed library, or ship your own in /usr/share/ID/lib.",
     "kelpctl rules | grep \"^library.allowed\""},
    {"library-not-allowed", "The main program needs a library that is neither allowed nor in the package.",
     "It may not be on the device, or give access that the profile does not have.",
     "Use an allowed library, or ship your own in /usr/share/ID/lib.",
     "readelf -d %{buildroot}%{_bindir}/%{name} | grep NEEDED"},
    {"qml-import-absolute", "A QML file imports a directory by its full path.",
     "It would run files that are not of the package.", "Import by a relative path.",
     "import \"../components\""},
    {"qml-import-embedded", "QML that is compiled into a program imports a module that is not allowed.",
     "It will not be found on devices that keep to the list.", "Import allowed modules.",
     "kelpctl rules | grep \"^import.allowed\""},
    {"qml-import-unstable", "A QML file imports a module whose interface may change or go away.",
     "A later system may lack it, and the page is not shown.", "Import an allowed module.",
     "kelpctl rules | grep \"^import.allowed\""},
    {"qml-import-not-allowed", "A QML file imports a module of the system that is not allowed.",
     "The module is not for applications of this profile, and may not be on the device.",
     "Import an allowed module, or ship your own below /usr/share/ID/qml.", "import QtQuick 2.6"},
};

} // namespace

std::span<const Explanation> programExplanations() {
    return programRows;
}

} // namespace KelpCtl
