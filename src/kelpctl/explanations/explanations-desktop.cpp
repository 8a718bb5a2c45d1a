#include "kelpctl/explanations/explanation.h"

namespace KelpCtl {

namespace {

using enum ExampleKind;

constexpr Explanation desktopRows[] = {
    {"desktop-file-missing",
     "The package has no file /usr/share/applications/ID.desktop, or one that cannot be read.",
     "Without it the application cannot be shown or started.",
     "Ship the file under the whole name of the package.", Path,
     "/usr/share/applications/org.example.notes.desktop", "desktop-file"},
    {"desktop-file-missing-unchecked", "The package has no desktop file, which this profile allows.",
     "Nothing that a desktop file declares could be checked.",
     "Nothing, if the package has no application to show.", Path,
     "/usr/share/applications/org.example.notes.desktop", "desktop-file"},
    {"desktop-group-not-allowed", "The desktop file has a group that is not known.",
     "It has no effect, or one that is not allowed.",
     "Take the group out, or correct its name. A group of a share method must be named in X-Share-Methods. "
     "Actions of the desktop (\"Desktop Action NAME\") are not known: take their groups and the key Actions "
     "out.",
     Desktop,
     "[Desktop Entry]\n"
     "X-Share-Methods=mail\n"
     "[X-Share Method mail]",
     "group"},
    {"application-type-must-be-vitrine",
     "The application is started by the QML runner, but is not of the type vitrine-qt5.",
     "The runner starts applications of that type alone.", "Set the type.", Desktop,
     "[Desktop Entry]\n"
     "X-Pelago-Application-Type=vitrine-qt5",
     "key"},
    {"application-type-should-be-vitrine", "The application is of another type than vitrine-qt5.",
     "Applications that use Vitrine start faster with that type.",
     "Set the type if the application uses Vitrine. If it does not, as a program in C, keep the type that "
     "fits, and give that as the reason in a file for --overrides.",
     Desktop,
     "[Desktop Entry]\n"
     "X-Pelago-Application-Type=vitrine-qt5",
     "key"},
    {"application-type-missing",
     "The desktop file does not say of which type the application is, or names an unknown one.",
     "The system would not know how to start it.",
     "Write one of these, in small letters: vitrine-qt5 for an application that uses Vitrine, qt5 or "
     "qtquick2 for another of Qt, generic for one without Qt, and no-invoker for one that no booster is to "
     "start. A booster starts applications faster. All but vitrine-qt5 draw the warning "
     "application-type-should-be-vitrine, which a file for --overrides can accept.",
     Desktop,
     "[Desktop Entry]\n"
     "X-Pelago-Application-Type=vitrine-qt5",
     "key"},
    {"application-type-vitrine-advised",
     "QML files import Vitrine, but the application is of another type than vitrine-qt5.",
     "It starts slower than it could.", "Set the type.", Desktop,
     "[Desktop Entry]\n"
     "X-Pelago-Application-Type=vitrine-qt5",
     "key"},
    {"desktop-name-missing", "The desktop file has no Name.",
     "The launcher would show an application without a name.",
     "Add a Name. One in a language, like Name[de], does not do.", Desktop,
     "[Desktop Entry]\n"
     "Name=Notes",
     "key"},
    {"desktop-name-illegal",
     "The Name holds a character that shows nothing or cannot be shown, or nothing but blanks: a control "
     "character, one that sets the direction of reading, a special blank, one for private use, or bytes that "
     "are no UTF-8.",
     "It would be invisible, or look like another.",
     "Use letters, digits, punctuation and plain blanks, in UTF-8. `grep ^Name notes.desktop | od -c` shows "
     "what cannot be seen.",
     Desktop,
     "[Desktop Entry]\n"
     "Name=Notes"},
    {"desktop-icon-invalid", "The Icon is not the name of the package.",
     "The launcher looks icons up by the name of the package.",
     "Set Icon to the whole name of the package. The files of the icons have .png after it, the key has "
     "not.",
     Desktop,
     "[Desktop Entry]\n"
     "Icon=org.example.notes",
     "key"},
    {"desktop-exec-invalid", "The Exec line does not start the program of the package.",
     "An application may start its own program alone, or the QML runner with its own name.",
     "Start the program by its name or as /usr/bin/ID, or the QML runner with the name of the package: "
     "`halyard-qml ID` or `velura-qml ID`. Arguments may stand after it. A wrapper like `env` or `sh -c` is "
     "not allowed. Under the profile pwa none of these is allowed: Exec starts "
     "/usr/bin/io.tvk.browserstandalone.",
     Desktop,
     "[Desktop Entry]\n"
     "Exec=/usr/bin/org.example.notes",
     "key"},
    {"desktop-type-invalid", "The Type is not Application.", "Nothing else is shown in the launcher.",
     "Set the Type.", Desktop,
     "[Desktop Entry]\n"
     "Type=Application",
     "key"},
    {"desktop-qml-only", "The application is started by the QML runner.",
     "It needs no program, and its package may be noarch.", "Nothing is to be done.", Shell,
     "kelpctl validate --hide desktop-qml-only org.example.notes.rpm"},
    {"desktop-field-unknown", "A group of the desktop file has a key that is not known.",
     "It has no effect; perhaps another was meant.",
     "Take the key out, or correct its name. The finding may name X-Velura-SplashScreen for a key of "
     "X-Velura-Application: look in both groups.",
     Desktop,
     "[X-Velura-Application]\n"
     "Orientation=Portrait",
     "key"},
    {"desktop-value-invalid", "A key of the desktop file has a value that is not known.",
     "It has no effect; perhaps another was meant.", "Use one of the values of the key that are listed.",
     Desktop,
     "[X-Velura-Application]\n"
     "Orientation=Portrait\n"
     "IconMode=Crop",
     "key"},
    {"desktop-colour-invalid", "A colour is not \"#\" and three or six hexadecimal digits.",
     "The splash screen could not be drawn.", "Write the colour in hexadecimal digits.", Desktop,
     "[X-Velura-SplashScreen]\n"
     "GradientStartColor=#20407f",
     "key"},
    {"desktop-file-broken",
     "The desktop file cannot be read: it is malformed, has no group \"Desktop Entry\", repeats a group, or "
     "is huge.",
     "Nothing of it would be known to the system.",
     "Correct it until desktop-file-validate has nothing to say.", Desktop,
     "[Desktop Entry]\n"
     "Type=Application\n"
     "Name=Notes"},
    {"attestation-key-invalid", "The group Attestation has an unknown key.",
     "It has no effect; perhaps another was meant.", "Take the key out.", Desktop,
     "[Attestation]\n"
     "ActionOnBadAttestation=None",
     "key"},
    {"attestation-value-invalid", "ActionOnBadAttestation has an unknown value.",
     "The system would not know what to do when the attestation fails.", "Set None or RemoveAll.", Desktop,
     "[Attestation]\n"
     "ActionOnBadAttestation=RemoveAll",
     "key"},
    {"attestation-key-missing", "The group Attestation lacks ActionOnBadAttestation.",
     "The system would not know what to do when the attestation fails.",
     "Add the key, or take the group out.", Desktop,
     "[Attestation]\n"
     "ActionOnBadAttestation=None",
     "key"},
    {"capability-key-invalid", "The group X-Velura-Capabilities has an unknown key.",
     "It has no effect; perhaps another was meant.", "Use Input, UserInterface or ScreenOrientation.",
     Desktop,
     "[X-Velura-Capabilities]\n"
     "Input=Mouse;Tablet",
     "capability"},
    {"capability-value-invalid", "A capability has an unknown value, or an empty one by a \";\" at the end.",
     "The application would not be offered on devices that have what it supports.",
     "Use the values of the key that are listed, with \";\" between them and none at the end.", Desktop,
     "[X-Velura-Capabilities]\n"
     "ScreenOrientation=Landscape;Portrait",
     "capability"},
};

} // namespace

std::span<const Explanation> desktopExplanations() {
    return desktopRows;
}

} // namespace KelpCtl
