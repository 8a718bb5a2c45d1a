#include "kelpctl/validate/explanations/explanation.h"

namespace KelpCtl {

namespace {

constexpr Explanation desktopRows[] = {
    {"desktop-file-missing", "The package has no desktop file, or a broken one.",
     "Without it the application cannot be shown or started.", "Ship /usr/share/applications/ID.desktop.",
     "%{_datadir}/applications/%{name}.desktop"},
    {"desktop-file-missing-unchecked", "The package has no desktop file, which this profile allows.",
     "Nothing that a desktop file declares could be checked.",
     "Nothing, if the package has no application to show.", "%{_datadir}/applications/%{name}.desktop"},
    {"desktop-group-not-allowed", "The desktop file has a group that is not known.",
     "It has no effect, or one that is not allowed.",
     "Take the group out, or correct its name; groups of share methods must be named in X-Share-Methods.",
     "[Desktop Entry]\n"
     "X-Share-Methods=mail\n"
     "[X-Share Method mail]"},
    {"application-type-must-be-vitrine",
     "The application is started by the QML runner, but is not of the type vitrine-qt5.",
     "The runner starts applications of that type alone.", "Set the type.",
     "[Desktop Entry]\n"
     "X-Pelago-Application-Type=vitrine-qt5"},
    {"application-type-should-be-vitrine", "The application is of another type than vitrine-qt5.",
     "Applications that use Vitrine start faster with that type.",
     "Set the type if the application uses Vitrine.",
     "[Desktop Entry]\n"
     "X-Pelago-Application-Type=vitrine-qt5"},
    {"application-type-missing",
     "The desktop file does not say of which type the application is, or names an unknown one.",
     "The system would not know how to start it.",
     "Set one of vitrine-qt5, qt5, qtquick2, generic and no-invoker.",
     "[Desktop Entry]\n"
     "X-Pelago-Application-Type=vitrine-qt5"},
    {"application-type-vitrine-advised",
     "QML files import Vitrine, but the application is of another type than vitrine-qt5.",
     "It starts slower than it could.", "Set the type.",
     "[Desktop Entry]\n"
     "X-Pelago-Application-Type=vitrine-qt5"},
    {"desktop-name-missing", "The desktop file has no Name.",
     "The launcher would show an application without a name.", "Add a Name.",
     "[Desktop Entry]\n"
     "Name=Notes"},
    {"desktop-name-illegal", "The Name holds characters that cannot be shown, or nothing but blanks.",
     "It would be invisible, or look like another.", "Use letters, digits and punctuation.",
     "[Desktop Entry]\n"
     "Name=Notes"},
    {"desktop-icon-invalid", "The Icon is not the name of the package.",
     "The launcher looks icons up by the name of the package.", "Set the Icon.",
     "[Desktop Entry]\n"
     "Icon=org.example.notes"},
    {"desktop-exec-invalid", "The Exec line does not start the program of the package.",
     "An application may start its own program alone, or the QML runner with its own name.",
     "Start the program by its name, or the runner.",
     "[Desktop Entry]\n"
     "Exec=halyard-qml org.example.notes"},
    {"desktop-type-invalid", "The Type is not Application.", "Nothing else is shown in the launcher.",
     "Set the Type.",
     "[Desktop Entry]\n"
     "Type=Application"},
    {"desktop-qml-only", "The application is started by the QML runner.",
     "It needs no program, and its package may be noarch.", "Nothing.",
     "[Desktop Entry]\n"
     "Exec=halyard-qml org.example.notes"},
    {"desktop-field-unknown", "A group of the desktop file has a key that is not known.",
     "It has no effect; perhaps another was meant.", "Take the key out, or correct its name.",
     "[X-Velura-Application]\n"
     "Orientation=Portrait"},
    {"desktop-value-invalid", "A key of the desktop file has a value that is not known.",
     "It has no effect; perhaps another was meant.", "Use one of the values of the key.",
     "[X-Velura-Application]\n"
     "Orientation=Portrait\n"
     "IconMode=Crop"},
    {"desktop-colour-invalid", "A colour is not \"#\" and three or six hexadecimal digits.",
     "The splash screen could not be drawn.", "Write the colour in hexadecimal digits.",
     "[X-Velura-SplashScreen]\n"
     "GradientStartColor=#20407f"},
    {"desktop-file-broken",
     "The desktop file cannot be read: it is malformed, has no group \"Desktop Entry\", repeats a group, or "
     "is huge.",
     "Nothing of it would be known to the system.",
     "Correct it until desktop-file-validate has nothing to say.",
     "[Desktop Entry]\n"
     "Type=Application\n"
     "Name=Notes"},
    {"attestation-key-invalid", "The group Attestation has an unknown key.",
     "It has no effect; perhaps another was meant.", "Take the key out.",
     "[Attestation]\n"
     "ActionOnBadAttestation=None"},
    {"attestation-value-invalid", "ActionOnBadAttestation has an unknown value.",
     "The system would not know what to do when the attestation fails.", "Set None or RemoveAll.",
     "[Attestation]\n"
     "ActionOnBadAttestation=RemoveAll"},
    {"attestation-key-missing", "The group Attestation lacks ActionOnBadAttestation.",
     "The system would not know what to do when the attestation fails.",
     "Add the key, or take the group out.",
     "[Attestation]\n"
     "ActionOnBadAttestation=None"},
    {"capability-key-invalid", "The group X-Velura-Capabilities has an unknown key.",
     "It has no effect; perhaps another was meant.", "Use Input, UserInterface or ScreenOrientation.",
     "[X-Velura-Capabilities]\n"
     "Input=Mouse;Tablet"},
    {"capability-value-invalid", "A capability has an unknown value, or an empty one by a \";\" at the end.",
     "The application would not be offered on devices that have what it supports.",
     "Use the values of the key, with \";\" between them and none at the end.",
     "[X-Velura-Capabilities]\n"
     "ScreenOrientation=Landscape;Portrait"},
};

} // namespace

std::span<const Explanation> desktopExplanations() {
    return desktopRows;
}

} // namespace KelpCtl
