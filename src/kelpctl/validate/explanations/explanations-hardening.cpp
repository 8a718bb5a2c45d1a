#include "kelpctl/validate/explanations/explanation.h"

namespace KelpCtl {

namespace {

constexpr Explanation hardeningRows[] = {
    {"mode-half-executable", "Group or others may execute a file that its owner may not.",
     "Programs are found by the owner's permission and looked into; this one would run without that.",
     "Give the file the permissions of a program, or those of data.",
     "%attr(0755,root,root) %{_bindir}/%{name}"},
    {"desktop-file-second",
     "Something else than the application's desktop file lies in the directory of desktop files.",
     "Every file there starts something, and only the application's own is looked into. A link or a "
     "directory "
     "could become another one.",
     "Take it out; a package has one desktop file, which is a file.",
     "install -D notes.desktop %{buildroot}%{_datadir}/applications/%{name}.desktop"},
    {"integrity-file-second",
     "Something else than the package's own file lies in the directory of the integrity daemon.",
     "The daemon reads all files there, and only the package's own is looked into.",
     "Take it out; a package has one configuration of the daemon, which is a file.",
     "install -D watch.json %{buildroot}/etc/integrityd/config.d/%{name}.json"},
    {"directories-too-many",
     "The files lie in far more directories than there are files, or in one of more than 64 levels.",
     "Each directory takes room and time at every installation and removal.",
     "Put the files into fewer directories.", "%{_datadir}/%{name}/data"},
    {"desktop-mime-type-forbidden", "The application says that it handles packages.",
     "Who handles their type gets those that users mean to install.",
     "Take the type out of MimeType, in the desktop file.",
     "[Desktop Entry]\n"
     "MimeType=text/plain;"},
    {"scripts-other", "The package has a trigger, a file trigger or a verify script.",
     "They run as root, outside the sandbox, when other packages come and go. This is refused in developer "
     "mode "
     "too.",
     "Take %trigger..., %filetrigger..., %transfiletrigger..., %verifyscript, %preuntrans and %postuntrans "
     "out.",
     "# no \"%triggerin -- other-package\""},
    {"dependency-disguised",
     "The package requires something whose name holds \"rpmlib\", \"rtld\" or a slash, and that is neither "
     "of rpm "
     "nor of the loader nor a file.",
     "Dependencies with these words are not checked, as packing tools add them. No tool adds one like this.",
     "Require the package by its name, or the file by its full path.", "Requires: /usr/bin/env"},
    {"dependency-with-slash", "The package requires a module with a slash in its name.",
     "Such dependencies are not held against the lists; the device may not have what it names.",
     "Take the Requires out if the device does not need it.", "%global __requires_exclude ^golang\\\\("},
    {"file-capabilities", "A file has capabilities of the kernel.",
     "It would run with rights that the application does not have.", "Take %caps out of the list of files.",
     "%attr(0755,root,root) %{_bindir}/%{name}"},
    {"file-capabilities-tolerated", "A file has capabilities of the kernel, which this profile tolerates.",
     "It would run with rights that the application does not have otherwise.",
     "Take %caps out of the list of files, if the program runs without them.",
     "%attr(0755,root,root) %{_bindir}/%{name}"},
    {"owner-not-root-directory",
     "A directory that is not the package's own belongs to another user or group than root.",
     "The directory is shared: its owner could exchange what others have in it.",
     "Set the owner in the list of files, or leave the directory out.", "%defattr(-,root,root,-)"},
    {"owner-not-root-own-directory", "A directory of the package belongs to another user or group than root.",
     "The user may not exist on the device, or be able to change the application.",
     "Set the owner in the list of files.", "%defattr(-,root,root,-)"},
    {"special-mode-bits-directory", "A directory has the set-user-id, set-group-id or sticky bit.",
     "The bits come from the directory in which the package was built, and are dropped on the device.",
     "Give the directory plain permissions.", "%attr(0755,root,root) %dir %{_datadir}/%{name}"},
    {"file-in-place-of-directory", "A file or a link stands where the package has its own directory.",
     "The store puts a directory there. The package could never be installed.",
     "Install the file below the directory.", "install -D notes.db %{buildroot}%{_datadir}/%{name}/notes.db"},
    {"version-unusable",
     "Version or release hold other characters than letters, digits and \"._+~^%{}\", or two full stops in a "
     "row, or are longer than 255 bytes together.",
     "The store makes a directory of them, and tools write them into lines.", "Use plain versions.",
     "Version: 1.2.3\nRelease: 1"},
    {"version-long", "Version and release are longer than 128 bytes together.",
     "Nobody can read them in a list.", "Use shorter ones.", "Version: 1.2.3\nRelease: 1"},
    {"name-of-another", "A program or an icon has the name of another application.",
     "That application cannot be installed beside this one: the place is taken.",
     "Let the name begin with the package's own.",
     "%{_datadir}/icons/hicolor/86x86/apps/%{name}-document.png"},
};

} // namespace

std::span<const Explanation> hardeningExplanations() {
    return hardeningRows;
}

} // namespace KelpCtl
