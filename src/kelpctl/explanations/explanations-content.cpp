#include "kelpctl/explanations/explanation.h"

namespace KelpCtl {

namespace {

using enum ExampleKind;

constexpr Explanation contentRows[] = {
    {"location-not-allowed", "A file lies where its profile does not let the package install.",
     "Everything outside the places of the application belongs to the system or to others. By a link, too, "
     "nothing can be put there.",
     "Move the file to /usr/share/ID, or leave it out, and let the program look for it there: "
     "bindtextdomain() for translations, for one. A unit of systemd, an autostart file or a D-Bus service "
     "file has no effect there: declare a background task in the desktop file, by a group \"X-Task NAME\". "
     "`kelpctl explain task-executable-misplaced` and `kelpctl rules task` tell how. Data for all "
     "applications of an organization go to /usr/share/common/ORGANIZATION, named after OrganizationName in "
     "the desktop file. List files and the package's own directory, never a directory of the system. "
     "/usr/lib/.build-id is rpmbuild's own, in every package with programs: switch it off as in the example. "
     "A device has no place for documents, manual pages and licences: use neither %doc nor %license, and "
     "remove what `make install` puts there.",
     Spec,
     "%define _build_id_links none\n"
     "\n"
     "%install\n"
     "rm -rf %{buildroot}%{_docdir} %{buildroot}%{_mandir} %{buildroot}%{_datadir}/licenses\n"
     "\n"
     "%files\n"
     "%{_datadir}/%{name}\n"
     "%{_datadir}/applications/%{name}.desktop",
     "path"},
    {"qml-only-not-noarch", "The application is all QML, but the package is for one architecture.",
     "Devices of other architectures could not install it for no reason.",
     "Declare the package as independent of the architecture.", Spec, "BuildArch: noarch"},
    {"debug-files", "The package holds debug symbols or sources.",
     "They belong into a package of their own, and take space on devices.",
     "Let rpmbuild make a debuginfo package, or none.", Spec, "%define debug_package %{nil}"},
    {"bin-directory-owned", "The package owns the directory /usr/bin itself.",
     "The directory belongs to the system, which would lose its permissions to the package.",
     "List the program, not the directory.", Spec,
     "%files\n"
     "%{_bindir}/%{name}",
     "path"},
    {"hardcoded-path", "A file holds the path /home/defaultuser.",
     "The home directory is another one on other devices.",
     "Ask for the directory when the application runs, by QStandardPaths::writableLocation() for one. A "
     "program that was built below this directory holds its path in debug information and in assertions: "
     "build it elsewhere, and strip it.",
     Shell, "grep -rl /home/defaultuser \"$RPM_BUILD_ROOT\""},
    {"link-to-nothing",
     "A symbolic link leads to nothing in the package: it is broken, goes in a circle, or leads out of it.",
     "What will be there on a device is not known when the package is judged. This is refused in developer "
     "mode too.",
     "Let the link lead to a file of the package, or take it out.", Spec,
     "%install\n"
     "install -D -m 0644 notes.db %{buildroot}%{_datadir}/%{name}/notes-1.db\n"
     "ln -s notes-1.db %{buildroot}%{_datadir}/%{name}/notes.db\n"
     "\n"
     "%files\n"
     "%{_datadir}/%{name}"},
    {"link-to-too-much",
     "Symbolic links bring more than 20,000 further names into the package, or directories more than 32 "
     "levels deep.",
     "Each name is judged like a file, which would take forever.",
     "Let links lead to files or to small directories, and not to a directory above them.", Shell,
     "find -L \"$RPM_BUILD_ROOT\" | wc -l"},
    {"link-replaces-directory",
     "A symbolic link stands in place of a directory whose content the system publishes.",
     "All that the link leads to would be published.",
     "Make it a directory, with links to single files in it.", Spec,
     "%install\n"
     "mkdir -p %{buildroot}%{_datadir}/%{name}\n"
     "\n"
     "%files\n"
     "%dir %{_datadir}/%{name}"},
    {"path-impossible",
     "The path of an entry leads outside, is not plain, is that of a file and ends in a slash, is longer "
     "than 2048 bytes or deeper than 64 directories; or the text of a link is empty or longer than that.",
     "It could write over files outside the directory into which the package is unpacked.",
     "Build the package with rpmbuild, from plain paths.", Path, "/usr/share/org.example.notes/data.txt"},
    {"place-taken",
     "Two entries of the package would be in one place on the device, or one would stand below another that "
     "is a file or a link.",
     "It is not decided which of them the device would get.",
     "Look at `rpm -qlvp FILE.rpm`. The same name in /usr/lib and /usr/lib64 is one place: install to one of "
     "them alone. The same holds for an entry twice in the list, and for files below a name that is a link: "
     "make that a directory. rpmbuild packs none of the latter two; other tools do.",
     Spec,
     "%files\n"
     "%{_datadir}/%{name}"},
    {"package-name-unusable", "Name, version and release of the package cannot be the name of a directory.",
     "The store keeps each version in a directory of that name.",
     "Use letters, digits and the signs that rpm allows.", Spec,
     "Name: org.example.notes\n"
     "Version: 1.4.2\n"
     "Release: 1"},
    {"payload-digest-wrong", "The payload is not the one for which the header was written.",
     "The file was damaged or changed after it was built; nothing else that is said of it counts.",
     "Build or fetch the package again.", Shell,
     "rpm --checksig --nosignature org.example.notes-1.4.2-1.noarch.rpm"},
    {"header-digest-wrong", "The header is not the one that was written when the package was built.",
     "The file was damaged or changed since; nothing in it can be believed.",
     "Build or fetch the package again.", Shell,
     "rpm --checksig --nosignature org.example.notes-1.4.2-1.noarch.rpm"},
    {"icon-wrong-size",
     "An icon that the profile requires is missing, is no PNG file, or has another size than its path says.",
     "The launcher would show a blurred icon, or none.",
     "The finding names the path; `file` shows the size that an icon has. Ship PNG files of 86, 108, 128 and "
     "172 pixels a side, each under the package's name in the directory of its size, and list them in "
     "%files. An SVG file does not count. `rsvg-convert -w 86 -h 86 notes.svg -o notes.png` makes one of a "
     "drawing.",
     Path,
     "/usr/share/icons/hicolor/86x86/apps/org.example.notes.png\n"
     "/usr/share/icons/hicolor/108x108/apps/org.example.notes.png\n"
     "/usr/share/icons/hicolor/128x128/apps/org.example.notes.png\n"
     "/usr/share/icons/hicolor/172x172/apps/org.example.notes.png",
     "icon"},
    {"manifest-invalid-json", "/manifest.json is no JSON object, or a huge one.",
     "The system could not tell for which versions the application is.", "Write one JSON object.", Manifest,
     "{\"minOSVersion\": \"5.0\"}"},
    {"manifest-key-unknown", "/manifest.json has a key that nobody knows.",
     "It has no effect; perhaps another was meant.", "Take the key out, or correct its name.", Manifest,
     "{\"minOSVersion\": \"5.0\", \"keepMediaActiveInBackground\": true}", "manifest-key"},
    {"manifest-key-type", "A value in /manifest.json is of the wrong type.",
     "The system would ignore it, or misread it.", "Write true or false without quotes.", Manifest,
     "{\"minOSVersion\": \"5.0\", \"keepMediaActiveInBackground\": true}", "manifest-key"},
    {"manifest-version-missing",
     "/manifest.json does not say from which version of the system on the application runs.",
     "It would be installed on systems that lack what it needs.", "Add minOSVersion, or ship no manifest.",
     Manifest, "{\"minOSVersion\": \"5.0\"}", "manifest-key"},
    {"manifest-version-invalid", "minOSVersion is neither a text nor a list of texts.",
     "The system could not read it.",
     "Write the version in quotes, or several in brackets. A list holds the first version that fits in each "
     "release line; one of them has to fit the system.",
     Manifest, "{\"minOSVersion\": [\"5.0.1\", \"4.0.2.5\"]}"},
    {"manifest-version-incompatible",
     "The application needs a newer system than the target, or minOSVersion is no version.",
     "It would not run there.",
     "Write digits with full stops between. Lower minOSVersion if the application does run there, or judge "
     "for another target. Of a list, one version has to fit.",
     Shell, "kelpctl validate --os-version 5.1 org.example.notes.rpm"},
    {"manifest-version-incomparable", "minOSVersion names a version of one component beside others.",
     "The first version of a release line needs two components at least, for the line is all but the last of "
     "them.",
     "Write out the version.", Manifest, "{\"minOSVersion\": [\"5.0.1\", \"4.0\"]}"},
    {"os-version-unknown", "The package has a manifest, and nobody said which version the target has.",
     "Nothing is refused for that; but whether the application runs there was not checked.",
     "Say the version, as a device of the target shows it.", Shell,
     "kelpctl validate --os-version 5.0 org.example.notes.rpm"},
    {"integrity-file-mismatch",
     "The configuration of the integrity daemon watches a file that the package does not ship.",
     "A package may only have its own files watched.",
     "Name paths of files that the package lists, with the leading slash: as they stand, or after elf: or "
     "file:, which make no difference here. The first entry that fits none ends the check, and the others "
     "are not looked at. An object without \"watch\" watches nothing.",
     Spec,
     "%install\n"
     "install -d %{buildroot}/etc/integrityd/config.d\n"
     "echo '{\"watch\": [\"elf:%{_bindir}/%{name}\"]}' >%{buildroot}/etc/integrityd/config.d/%{name}.json\n"
     "\n"
     "%files\n"
     "/etc/integrityd/config.d/%{name}.json",
     "watch"},
    {"integrity-file-invalid-json",
     "The configuration of the integrity daemon is no JSON object, or \"watch\" is no list.",
     "The daemon could not read it, and would watch nothing.", "Write an object with a list.", Spec,
     "%install\n"
     "install -d %{buildroot}/etc/integrityd/config.d\n"
     "echo '{\"watch\": [\"file:%{_datadir}/%{name}/qml/main.qml\"]}' "
     ">%{buildroot}/etc/integrityd/config.d/%{name}.json\n"
     "\n"
     "%files\n"
     "/etc/integrityd/config.d/%{name}.json"},
    {"parameter-file-invalid",
     "A configuration parameter file, any /usr/share/ID/managed-configuration/*.json, is not valid.",
     "The device management could not offer what it describes.",
     "Write one JSON object, with nothing after it. A package is judged by the schema {\"type\": "
     "\"object\"}; on a device the schemas in /usr/share/managed-configuration/schemas may ask for more.",
     Spec,
     "%install\n"
     "install -d %{buildroot}%{_datadir}/%{name}/managed-configuration\n"
     "echo '{\"server\": {\"type\": \"string\"}}' "
     ">%{buildroot}%{_datadir}/%{name}/managed-configuration/parameters.json\n"
     "\n"
     "%files\n"
     "%{_datadir}/%{name}/managed-configuration/parameters.json"},
};

} // namespace

std::span<const Explanation> contentExplanations() {
    return contentRows;
}

} // namespace KelpCtl
