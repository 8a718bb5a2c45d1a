#include "kelpctl/validate/explanations/explanation.h"

namespace KelpCtl {

namespace {

constexpr Explanation contentRows[] = {
    {"location-not-allowed", "A file lies where its profile does not let the package install.",
     "Everything outside the places of the application belongs to the system or to others. By a link, too, "
     "nothing can be put there.",
     "Move the file to /usr/share/ID; `kelpctl rules` lists all places.",
     "kelpctl rules --profile regular | grep ^path"},
    {"qml-only-not-noarch", "The application is all QML, but the package is for one architecture.",
     "Devices of other architectures could not install it for no reason.",
     "Declare the package as independent of the architecture.", "BuildArch: noarch"},
    {"debug-files", "The package holds debug symbols or sources.",
     "They belong into a package of their own, and take space on devices.",
     "Let rpmbuild make a debuginfo package, or none.", "%define debug_package %{nil}"},
    {"bin-directory-owned", "The package owns the directory /usr/bin itself.",
     "The directory belongs to the system, which would lose its permissions to the package.",
     "List the program, not the directory.",
     "%files\n"
     "%{_bindir}/%{name}"},
    {"hardcoded-path", "A file holds the path /home/defaultuser.",
     "The home directory is another one on other devices.",
     "Ask for the directory when the application runs.",
     "QStandardPaths::writableLocation(QStandardPaths::AppDataLocation)"},
    {"link-to-nothing",
     "A symbolic link leads to nothing in the package: it is broken, goes in a circle, or leads out of it.",
     "What will be there on a device is not known when the package is judged. This is refused in developer "
     "mode too.",
     "Let the link lead to a file of the package, or take it out.",
     "ln -s notes-1.db %{buildroot}%{_datadir}/%{name}/notes.db"},
    {"link-to-too-much",
     "Symbolic links bring more than 20,000 further names into the package, or directories more than 32 "
     "levels deep.",
     "Each name is judged like a file, which would take forever.",
     "Let links lead to files or to small directories, and not to a directory above them.",
     "ln -s data/small %{buildroot}%{_datadir}/%{name}/small"},
    {"link-replaces-directory",
     "A symbolic link stands in place of a directory whose content the system publishes.",
     "All that the link leads to would be published.",
     "Make it a directory, with links to single files in it.", "mkdir -p %{buildroot}%{_datadir}/%{name}"},
    {"path-impossible",
     "The path of an entry leads outside, is not plain, is longer than 2048 bytes or deeper than 64 "
     "directories; or the text of a link is empty or longer than that.",
     "It could write over files outside the directory into which the package is unpacked.",
     "Build the package with rpmbuild, from plain paths.", "%{_datadir}/%{name}/data.txt"},
    {"place-taken", "Two entries of the package would be in one place, or one stands below a file or a link.",
     "It is not decided which of them the device would get.",
     "List each file once; /usr/lib and /usr/lib64 are one place.", "%{_libdir}/qt5/qml/org/example/notes"},
    {"package-name-unusable", "Name, version and release of the package cannot be the name of a directory.",
     "The store keeps each version in a directory of that name.",
     "Use letters, digits and the signs that rpm allows.",
     "Name: org.example.notes\n"
     "Version: 1.4.2\n"
     "Release: 1"},
    {"payload-digest-wrong", "The payload is not the one for which the header was written.",
     "The file was damaged or changed after it was built; nothing else that is said of it counts.",
     "Build or fetch the package again.",
     "rpm --checksig --nosignature org.example.notes-1.4.2-1.noarch.rpm"},
    {"header-digest-wrong", "The header is not the one that was written when the package was built.",
     "The file was damaged or changed since; nothing in it can be believed.",
     "Build or fetch the package again.",
     "rpm --checksig --nosignature org.example.notes-1.4.2-1.noarch.rpm"},
    {"icon-wrong-size",
     "An icon that the profile requires is missing, is no PNG file, or has another size than its path says.",
     "The launcher would show a blurred icon, or none.", "Ship a PNG file of each required size.",
     "/usr/share/icons/hicolor/86x86/apps/org.example.notes.png"},
    {"manifest-invalid-json", "/manifest.json is no JSON object, or a huge one.",
     "The system could not tell for which versions the application is.", "Write one JSON object.",
     "{\"minOSVersion\": \"5.0\"}"},
    {"manifest-key-unknown", "/manifest.json has a key that nobody knows.",
     "It has no effect; perhaps another was meant.", "Take the key out, or correct its name.",
     "{\"minOSVersion\": \"5.0\", \"keepMediaActiveInBackground\": true}"},
    {"manifest-key-type", "A value in /manifest.json is of the wrong type.",
     "The system would ignore it, or misread it.", "Write true or false without quotes.",
     "{\"minOSVersion\": \"5.0\", \"keepMediaActiveInBackground\": true}"},
    {"manifest-version-missing",
     "/manifest.json does not say from which version of the system on the application runs.",
     "It would be installed on systems that lack what it needs.", "Add minOSVersion, or ship no manifest.",
     "{\"minOSVersion\": \"5.0\"}"},
    {"manifest-version-invalid", "minOSVersion is neither a text nor a list of texts.",
     "The system could not read it.", "Write the version in quotes, or several in brackets.",
     "{\"minOSVersion\": [\"5.0.1\", \"4.0.2.5\"]}"},
    {"manifest-version-incompatible",
     "The application needs a newer system than the target, or minOSVersion is no version.",
     "It would not run there.",
     "Lower minOSVersion if the application does run there, or judge for another target.",
     "kelpctl validate --os-version 5.1 org.example.notes.rpm"},
    {"manifest-version-incomparable", "minOSVersion names a version of one component beside others.",
     "The first version of a release line needs two components at least, for the line is all but the last of "
     "them.",
     "Write out the version.", "{\"minOSVersion\": [\"5.0.1\", \"4.0\"]}"},
    {"os-version-unknown", "The package has a manifest, and nobody said which version the target has.",
     "Nothing is refused for that; but whether the application runs there was not checked.",
     "Say the version.", "kelpctl validate --os-version 5.0 org.example.notes.rpm"},
    {"integrity-file-mismatch",
     "The configuration of the integrity daemon watches a file that the package does not ship.",
     "A package may only have its own files watched.", "Name paths of files that the package lists.",
     "{\"watch\": [\"elf:/usr/bin/org.example.notes\"]}"},
    {"integrity-file-invalid-json",
     "The configuration of the integrity daemon is no JSON object, or \"watch\" is no list.",
     "The daemon could not read it, and would watch nothing.", "Write an object with a list.",
     "{\"watch\": [\"file:/usr/share/org.example.notes/model\"]}"},
    {"parameter-file-invalid", "A configuration parameter file is not valid.",
     "The device management could not offer what it describes.",
     "Write one JSON object, as the schema of parameter files asks for.",
     "/usr/share/org.example.notes/managed-configuration/parameters.json"},
};

} // namespace

std::span<const Explanation> contentExplanations() {
    return contentRows;
}

} // namespace KelpCtl
