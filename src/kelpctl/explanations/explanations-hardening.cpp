#include "kelpctl/explanations/explanation.h"

namespace KelpCtl {

namespace {

using enum ExampleKind;

constexpr Explanation hardeningRows[] = {
    {"mode-half-executable", "Group or others may execute a file that its owner may not.",
     "Programs are found by the owner's permission and looked into; this one would run without that.",
     "Give the file the permissions of a program, or those of data.", Spec,
     "%files\n"
     "%attr(0755,root,root) %{_bindir}/%{name}"},
    {"desktop-file-second",
     "Something else than the application's desktop file lies in the directory of desktop files.",
     "Every file there starts something, and only the application's own is looked into. A link or a "
     "directory could become another one.",
     "Name the application's own desktop file after the whole package, ID.desktop, and take all others out. "
     "It is a file, and no link.",
     Spec,
     "%install\n"
     "install -D -m 0644 notes.desktop %{buildroot}%{_datadir}/applications/%{name}.desktop\n"
     "\n"
     "%files\n"
     "%{_datadir}/applications/%{name}.desktop"},
    {"integrity-file-second",
     "Something else than the package's own file lies in the directory of the integrity daemon.",
     "The daemon reads all files there, and only the package's own is looked into.",
     "Take it out; a package has one configuration of the daemon, which is a file.", Spec,
     "%install\n"
     "install -D -m 0644 watch.json %{buildroot}/etc/integrityd/config.d/%{name}.json\n"
     "\n"
     "%files\n"
     "/etc/integrityd/config.d/%{name}.json"},
    {"directories-too-many",
     "The files lie in far more directories than there are files, or in one of more than 64 levels.",
     "Each directory takes room and time at every installation and removal.",
     "Put the files into fewer directories.", Path, "/usr/share/org.example.notes/data/notes.db"},
    {"desktop-mime-type-forbidden", "The application says that it handles packages.",
     "Who handles their type gets those that users mean to install.",
     "Take the type out of MimeType, in the desktop file. rpmbuild made a Provides of it, which then goes as "
     "well.",
     Desktop,
     "[Desktop Entry]\n"
     "MimeType=text/plain;",
     "mime-type"},
    {"scripts-other", "The package has a trigger, a file trigger or a verify script.",
     "They run as root, outside the sandbox, when other packages come and go. This is refused in developer "
     "mode too.",
     "Take %trigger..., %filetrigger..., %transfiletrigger..., %verifyscript, %preuntrans and %postuntrans "
     "out.",
     Spec, "# no \"%triggerin -- other-package\""},
    {"dependency-disguised",
     "The package requires something whose name holds \"rpmlib\", \"rtld\" or a slash, and that is neither "
     "of rpm nor of the loader nor a file.",
     "Dependencies with these words are not checked, as packing tools add them. No tool adds one like this.",
     "Require the package by its name, or the file by its full path.", Spec, "Requires: /usr/bin/env",
     "requires"},
    {"dependency-with-slash", "The package requires a module with a slash in its name.",
     "Such dependencies are not held against the lists; the device may not have what it names.",
     "Take the Requires out if the device does not need it.", Spec, "%global __requires_exclude ^golang",
     "requires"},
    {"file-capabilities", "A file has capabilities of the kernel.",
     "It would run with rights that the application does not have.", "Take %caps out of the list of files.",
     Spec,
     "%files\n"
     "%attr(0755,root,root) %{_bindir}/%{name}"},
    {"file-capabilities-tolerated", "A file has capabilities of the kernel, which this profile tolerates.",
     "It would run with rights that the application does not have otherwise.",
     "Take %caps out of the list of files, if the program runs without them.", Spec,
     "%files\n"
     "%attr(0755,root,root) %{_bindir}/%{name}"},
    {"owner-not-root-directory",
     "A directory that is not the package's own belongs to another user or group than root.",
     "The directory is shared: its owner could exchange what others have in it.",
     "Set the owner in the list of files, or leave the directory out.", Spec,
     "%files\n"
     "%defattr(-,root,root,-)"},
    {"owner-not-root-own-directory", "A directory of the package belongs to another user or group than root.",
     "The user may not exist on the device, or be able to change the application.",
     "Set the owner in the list of files.", Spec,
     "%files\n"
     "%defattr(-,root,root,-)"},
    {"special-mode-bits-directory", "A directory has the set-user-id, set-group-id or sticky bit.",
     "The bits come from the directory in which the package was built, and are dropped on the device.",
     "Give the directory plain permissions.", Spec,
     "%files\n"
     "%attr(0755,root,root) %dir %{_datadir}/%{name}"},
    {"file-in-place-of-directory", "A file or a link stands where a directory is published from.",
     "The store puts a directory there. The package could never be installed.",
     "Install the file below the directory.", Spec,
     "%install\n"
     "install -D -m 0644 notes.db %{buildroot}%{_datadir}/%{name}/notes.db\n"
     "\n"
     "%files\n"
     "%{_datadir}/%{name}/notes.db"},
    {"version-unusable",
     "Version or release hold other characters than letters, digits and \"._+~^%{}\", or two full stops in a "
     "row, or are longer than 255 bytes together.",
     "The store makes a directory of them, and tools write them into lines.", "Use plain versions.", Spec,
     "Version: 1.2.3\n"
     "Release: 1"},
    {"version-long", "Version and release are longer than 128 bytes together.",
     "Nobody can read them in a list.", "Use shorter ones.", Spec,
     "Version: 1.2.3\n"
     "Release: 1"},
    {"name-of-another", "A program or an icon has the name of another application.",
     "That application cannot be installed beside this one: the place is taken.",
     "Let the name begin with the package's own.", Path,
     "/usr/share/icons/hicolor/86x86/apps/org.example.notes-document.png"},
    {"elf-not-a-program",
     "A program is one that the kernel of a device does not take, or for another machine than the package.",
     "Who starts a program that the kernel does not take runs it as a script, which nobody has looked into.",
     "Build it for the architecture of the package.", Shell, "readelf -hl notes", "architecture"},
    {"elf-interpreter", "A program names another loader than that of the system.",
     "The loader runs first, with all rights of the application, and decides what is loaded.",
     "Link the program in the ordinary way.", Shell, "readelf -l notes | grep interpreter", "interpreter"},
    {"elf-hidden-dynamic",
     "The loader would read other libraries than the sections of the file show, or it depends on the system "
     "what it reads, or it would find other program headers in memory than the file has.",
     "Libraries are held against the lists by the sections, and loaded by the program headers.",
     "Build the file by an ordinary linker, and do not change it afterwards.", Shell, "readelf -d notes"},
    {"elf-loader-hook",
     "A file has DT_AUDIT, DT_DEPAUDIT or DT_FILTER, or DT_AUXILIARY with a library that is neither allowed "
     "nor in the package.",
     "The loader would load what it names, which is not held against the lists.",
     "Link without --audit, --depaudit, --filter and --auxiliary.", Shell,
     "readelf -d notes | grep -i -e audit -e filter", "library"},
    {"elf-foreign-machine", "A library is for another machine than the package.",
     "It cannot be loaded on the devices for which the package is.",
     "Leave it out of this package, or build it for the architecture of the package.", Shell,
     "file libnotes.so.1", "architecture"},
    {"elf-auxiliary", "A file has DT_AUXILIARY.", "The loader looks for symbols in what it names first.",
     "Link without --auxiliary.", Shell, "readelf -d libnotes.so.1 | grep -i auxiliary"},
    {"library-not-allowed-elsewhere",
     "Another file than the main program needs a library that is neither allowed nor in the package.",
     "It may not be on the device, or give access that the profile does not have.",
     "Use an allowed library, link it into the program, or ship your own in /usr/share/ID/lib, with an rpath "
     "to there.",
     Shell, "readelf -d libnotes.so.1 | grep NEEDED", "library"},
    {"library-by-path", "A file needs a library by a path.",
     "The loader takes the path from where the program was started, and looks nowhere else.",
     "Give the library a soname, and link by that.", Shell,
     "gcc -shared -Wl,-soname,libnotes.so.1 -o libnotes.so.1 notes.c"},
    {"library-shipped-not-elf",
     "A library that counts as shipped is not in the package's content, or no ELF file.",
     "The loader finds another one of the name, or none.", "Ship the library itself.", Spec,
     "%install\n"
     "install -D -m 0644 libnotes.so.1 %{buildroot}%{_datadir}/%{name}/lib/libnotes.so.1\n"
     "\n"
     "%files\n"
     "%{_datadir}/%{name}/lib/libnotes.so.1",
     "library"},
    {"rpath-leaves",
     "A piece of an rpath or runpath is empty, relative, or leads neither into the package nor to the "
     "libraries of the system.",
     "The program could load libraries of others, or whatever lies where it was started.",
     "Set the rpath to the lib directory of the package.", Shell,
     "g++ -o notes main.cpp -Wl,-rpath,/usr/share/org.example.notes/lib -Wl,--disable-new-dtags", "rpath"},
    {"rpath-twice", "A file has more than one rpath.", "The loader heeds the last, and the rules the first.",
     "Link with one rpath.", Shell, "readelf -d notes | grep -i -e rpath -e runpath", "rpath"},
    {"desktop-bytes",
     "The desktop file holds control characters, or characters that end lines in some programs and not in "
     "others, or a Name or Comment that leaves an override (U+202D, U+202E) or an isolate (U+2066 to U+2068) "
     "open, or ends what it has not begun.",
     "Its readers do not agree on such text: one shows another application than the next starts.",
     "Remove the characters. In comments those may stay that end no line.", Shell,
     "tr -d '\\000-\\010\\013-\\037\\177' <notes.desktop >clean.desktop"},
    {"desktop-direction",
     "A Name or Comment changes the direction of reading by characters for that alone (U+202A to U+202E, "
     "U+2066 to U+2069), and ends that again, or leaves an embedding open.",
     "It may look like another text than it is.",
     "Leave the characters out where the letters themselves give the direction.", Desktop,
     "[Desktop Entry]\n"
     "Name=Notes"},
    {"integrity-file-ambiguous",
     "The configuration of the integrity daemon has \"watch\" twice, or a second value after the first.",
     "Which of the two counts differs from reader to reader.", "Write one object with one \"watch\".", Spec,
     "%install\n"
     "install -d %{buildroot}/etc/integrityd/config.d\n"
     "echo '{\"watch\": [\"elf:%{_bindir}/%{name}\"]}' >%{buildroot}/etc/integrityd/config.d/%{name}.json\n"
     "\n"
     "%files\n"
     "/etc/integrityd/config.d/%{name}.json"},
};

} // namespace

std::span<const Explanation> hardeningExplanations() {
    return hardeningRows;
}

} // namespace KelpCtl
