#include "kelpctl/explanations/explanation.h"

namespace KelpCtl {

namespace {

using enum ExampleKind;

constexpr Explanation sandboxRows[] = {
    {"sandbox-sections-multiple",
     "The desktop file has more than one of X-Application, X-Fencebox and Fencebox.",
     "It is not clear which of them the sandbox follows.", "Keep X-Application alone.", Desktop,
     "[X-Application]\n"
     "OrganizationName=org.example\n"
     "ApplicationName=notes",
     "group"},
    {"sandbox-section-missing", "The desktop file has no section X-Application.",
     "Without it the sandbox does not know who the application is and what it may do, and does not start it.",
     "Add the section with the name of the package, split at its last full stop. Add Permissions only if the "
     "application needs some: `kelpctl rules permission` lists them.",
     Desktop,
     "[X-Application]\n"
     "OrganizationName=org.example\n"
     "ApplicationName=notes",
     "group"},
    {"sandbox-section-deprecated", "The section is called X-Fencebox.", "The name will not be read for ever.",
     "Rename it.", Desktop,
     "[X-Application]\n"
     "OrganizationName=org.example\n"
     "ApplicationName=notes",
     "group"},
    {"sandbox-key-not-allowed", "The section has a key that this profile does not allow.",
     "It has no effect, or one that the application may not have.",
     "Take the key out, or correct its name. The finding speaks of X-Fencebox also when the section is "
     "called X-Application.",
     Desktop,
     "[X-Application]\n"
     "OrganizationName=org.example\n"
     "ApplicationName=notes\n"
     "Permissions=Internet",
     "key"},
    {"sandbox-permission-not-allowed",
     "The application asks for a permission that its profile does not have.",
     "The sandbox would not grant it.",
     "Take it out, or correct its name. Permissions have \";\" between. Other profiles have more; the "
     "developer's certificate decides which one a device takes.",
     Desktop,
     "[X-Application]\n"
     "Permissions=Internet;Pictures",
     "permission"},
    {"sandbox-section-not-allowed", "The section is called Fencebox.", "The name is not read any more.",
     "Rename it to X-Application.", Desktop,
     "[X-Application]\n"
     "OrganizationName=org.example\n"
     "ApplicationName=notes",
     "group"},
    {"application-name-illegal",
     "ApplicationName is empty, or holds other characters than letters, digits, \"_\", \"-\" and \".\".",
     "Directories and D-Bus names are made of it.",
     "Begin with a letter, and go on with letters, digits, \"_\" and \".\". A key that is missing counts as "
     "empty.",
     Desktop,
     "[X-Application]\n"
     "ApplicationName=notes"},
    {"application-name-reserved",
     "ApplicationName holds .instance_, .task_, .velura_ or .service_, which the system puts after names.",
     "It would be taken for an instance, a task or a service of another application.",
     "Choose another name, for the package as well.", Desktop,
     "[X-Application]\n"
     "ApplicationName=notes",
     "name"},
    {"names-make-no-package-name",
     "OrganizationName and ApplicationName with a full stop between are not the name of the package.",
     "The system finds the one by the other.",
     "Split the name of the package at its last full stop: org.example.notes is of the organization "
     "org.example. What stands before it is OrganizationName, the rest ApplicationName.",
     Desktop,
     "[X-Application]\n"
     "OrganizationName=org.example\n"
     "ApplicationName=notes",
     "name"},
    {"package-name-too-long", "The name of the package is longer than 80 characters.",
     "Names that are made of it would be too long for D-Bus and for files.", "Shorten it.", Spec,
     "Name: org.example.notes"},
    {"organization-name-illegal",
     "OrganizationName is empty, or holds other characters than small letters, digits, \".\", \"_\" and "
     "\"-\".",
     "Directories and D-Bus names are made of it.",
     "Use small letters, digits, \".\", \"_\" and \"-\", and no capitals. A key that is missing counts as "
     "empty.",
     Desktop,
     "[X-Application]\n"
     "OrganizationName=org.example"},
    {"organization-name-digit-first", "A part of OrganizationName begins with a digit.",
     "D-Bus names cannot have such parts.",
     "Put a letter or an underscore in front, in the name of the package as well.", Desktop,
     "[X-Application]\n"
     "OrganizationName=org._1example"},
    {"organization-name-not-reverse-domain", "OrganizationName is no domain, its parts reversed.",
     "Two developers would take the same name.",
     "Use a domain of two or more parts that you own, in the name of the package as well.", Desktop,
     "[X-Application]\n"
     "OrganizationName=org.example"},
    {"application-name-dash-discouraged", "ApplicationName holds \"-\".",
     "D-Bus names cannot hold it: ExecDBus and ExecSystemService would not work.",
     "Use \"_\" or nothing, in the name of the package as well. An application that is published already "
     "keeps its name: give that as the reason in a file for --overrides.",
     Desktop,
     "[X-Application]\n"
     "ApplicationName=quick_notes"},
    {"application-name-dash", "ApplicationName holds \"-\", and ExecDBus or a system service is declared.",
     "D-Bus names cannot hold it, so that the service could not be reached.",
     "Use \"_\" or nothing, in the name of the package as well, or take the service out.", Desktop,
     "[X-Application]\n"
     "ApplicationName=quick_notes\n"
     "ExecDBus=/usr/bin/org.example.quick_notes --service"},
    {"system-service-invalid", "ExecSystemService does not start a program below /usr/libexec/ID/.",
     "A service may be a program of the package alone.",
     "Put the program there, and name it by its full path.", Desktop,
     "[X-Application]\n"
     "ExecSystemService=/usr/libexec/org.example.notes/service\n"
     "ExecSystemServiceUser=halyard-mdm\n"
     "ExecSystemServiceGroup=privileged"},
    {"system-service-incomplete",
     "Of ExecSystemService, ExecSystemServiceUser and ExecSystemServiceGroup not all are there.",
     "The service could not be started.", "Add those that are missing.", Desktop,
     "[X-Application]\n"
     "ExecSystemService=/usr/libexec/org.example.notes/service\n"
     "ExecSystemServiceUser=halyard-mdm\n"
     "ExecSystemServiceGroup=privileged"},
    {"system-service-owner", "The system service would run as somebody else than halyard-mdm and privileged.",
     "It would have rights that it may not have.", "Set user and group.", Desktop,
     "[X-Application]\n"
     "ExecSystemServiceUser=halyard-mdm\n"
     "ExecSystemServiceGroup=privileged"},
    {"exec-dbus-invalid",
     "ExecDBus starts neither /usr/bin/ID nor a program of the package below /usr/libexec/ID.",
     "D-Bus would start a program of somebody else for the application.",
     "Name a program of the package by its full path.", Desktop,
     "[X-Application]\n"
     "ExecDBus=/usr/bin/org.example.notes --service"},
    {"launcher-requires-invalid",
     "An application with a program of its own requires the launcher of QML applications.",
     "It does not need it, and would keep it on the device.", "Take the Requires out.", Spec,
     "# no \"Requires: libveluraapp-launcher\"", "requires"},
    {"launcher-requires-missing", "A QML-only application does not require the launcher that starts it.",
     "Without it the application does not start.", "Add the Requires.", Spec,
     "Requires: libveluraapp-launcher", "requires"},
};

} // namespace

std::span<const Explanation> sandboxExplanations() {
    return sandboxRows;
}

} // namespace KelpCtl
