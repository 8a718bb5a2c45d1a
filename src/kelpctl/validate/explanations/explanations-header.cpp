#include "kelpctl/validate/explanations/explanation.h"

namespace KelpCtl {

namespace {

constexpr Explanation headerRows[] = {
    {"name-not-reverse-domain",
     "The name of the package is not of three or more parts with full stops between.",
     "The name decides where the application may put its files; without a domain of your own in front, two "
     "developers take the same one.",
     "Name the package after a domain that you own, its parts reversed.", "Name: org.example.notes"},
    {"dependency-unstable", "The package requires something whose interface may change or go away.",
     "A later system may lack it, and the application stops working there.",
     "Use what `kelpctl rules` lists as allowed, if there is such a thing.",
     "kelpctl rules | grep \"^requires.allowed\""},
    {"dependency-not-allowed", "The package requires something that its profile does not allow.",
     "Only listed packages and libraries are on every device; anything else would not be installed, or would "
     "bring in what the application may not have.",
     "Take the Requires out, ship the library in /usr/share/ID/lib, or ask for another profile. A boolean "
     "dependency is never allowed.",
     "AutoReqProv: no\n"
     "Requires: halyardvitrine-qt5"},
    {"provides-not-allowed", "The package claims to provide something that is not its own.",
     "Other packages that need it would get this application in its place.",
     "Take the Provides out, or let it begin with the name of the package.",
     "%global __provides_exclude_from ^/usr/share/.*$"},
    {"provides-missing", "Packages of this profile have to provide a certain name, and this one does not.",
     "The system finds the one application of this kind by that name.",
     "Add the Provides that the finding names.", "Provides: mdm-client"},
    {"conflicts-not-allowed", "The package declares a conflict.",
     "An application could keep others off the device.", "Take the Conflicts out.",
     "# no \"Conflicts: other-package\""},
    {"conflicts-missing",
     "Packages of this profile have to conflict with a certain name, and this one does not.",
     "There can be only one application of this kind on a device.",
     "Add the Conflicts that the finding names.", "Conflicts: mdm-client"},
    {"obsoletes-not-allowed", "The package obsoletes another.",
     "An application could remove others from the device.",
     "Take the Obsoletes out; a new name is a new application.", "# no \"Obsoletes: org.example.old\""},
    {"vendor-discouraged", "The package names a vendor that is tolerated.",
     "The vendor is told by the signature, and the tag will not be accepted for ever.",
     "Undefine the vendor in the .spec file.", "%undefine vendor"},
    {"vendor-not-allowed", "The package names a vendor.",
     "Who made a package is told by its signature alone; a tag that says something else misleads.",
     "Undefine the vendor in the .spec file: build services set it by themselves.", "%undefine vendor"},
    {"scripts", "The package has a scriptlet, or a program for one.",
     "Scriptlets run as root, outside the sandbox. This is refused in developer mode too.",
     "Take %pre, %post, %preun, %postun, %pretrans and %posttrans out; do at the start of the application "
     "what they did.",
     "# no \"%post -p /sbin/ldconfig\""},
    {"special-mode-bits", "A file has the set-user-id, set-group-id or sticky bit.",
     "It would run with rights that the application does not have.", "Give the file plain permissions.",
     "%attr(0755,root,root) %{_bindir}/%{name}"},
    {"executable-mode", "A file that is not where programs are can be executed.",
     "Programs may only lie where they are checked as programs.",
     "Take the execute bits away, or move the program to /usr/libexec/ID.",
     "%attr(0644,root,root) %{_datadir}/%{name}/data.txt"},
    {"writable-by-others", "A file or directory can be written by its group or by everybody.",
     "Another application could change what this one runs or reads.",
     "Take the write permission of group and others away.", "%attr(0755,root,root) %dir %{_datadir}/%{name}"},
    {"writable-by-others-tolerated",
     "A file or directory can be written by its group or by everybody, which this profile tolerates.",
     "Another program could change what this application reads.",
     "Take the write permission of group and others away.", "%attr(0755,root,root) %dir %{_datadir}/%{name}"},
    {"owner-not-root", "A file belongs to another user than root.",
     "The user may not exist on the device, or be able to change the application.",
     "Set the owner in the list of files.", "%defattr(-,root,root,-)"},
    {"group-not-root", "A file belongs to another group than root.",
     "The group may not exist on the device, or be able to change the application.",
     "Set the group in the list of files.", "%defattr(-,root,root,-)"},
    {"link-exclusive-paths", "The package has a symbolic link.",
     "A link is judged as if what it leads to were in its place, so that it has to be allowed there.",
     "Nothing, if the link is meant. It must lead to something in the package.",
     "ln -s notes.db %{buildroot}%{_datadir}/%{name}/current.db"},
    {"link-target-not-allowed", "A symbolic link leads to no entry of the package.",
     "It could hand out files of the system or of other applications.",
     "Let the link lead to a file that the package lists; \"./\" and inner \"..\" are not followed.",
     "ln -s ../lib/libnotes.so.1 %{buildroot}%{_datadir}/%{name}/plugins/libnotes.so"},
    {"file-kind-unknown", "An entry is neither a file nor a directory nor a symbolic link.",
     "Devices, pipes and sockets give access to the system.", "Take the entry out of the list of files.",
     "# no \"%dev(c,1,3) /dev/something\""},
    {"file-extension-forbidden", "A name ends like the files of version control or of an editor.",
     "Such files are in packages by accident, and tell more than they should.",
     "Remove them at the end of %install.", "find %{buildroot} -name \"*.swp\" -delete"},
    {"directory-empty", "The package holds an empty directory.",
     "It is not needed to install the package; the application can make it.",
     "Take the %dir out of the list of files.", "# no \"%dir %{_datadir}/%{name}/cache\""},
};

} // namespace

std::span<const Explanation> headerExplanations() {
    return headerRows;
}

} // namespace KelpCtl
