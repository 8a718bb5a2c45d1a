#include "kelpctl/explanations/machine-words.h"

#include <algorithm>

namespace KelpCtl {

namespace {

// Headings of docs/recovery.md.
constexpr std::string_view unfinished = "What is unfinished and has no repair";
constexpr std::string_view aside = "Files that were kept aside";
constexpr std::string_view foreign = "Something else in the store";
constexpr std::string_view contents = "Files that are not what they were";
constexpr std::string_view findings = "What doctor says";

constexpr const char *restart = "systemctl restart kelp-launcher";
constexpr const char *repair = "kelpctl doctor --repair";
constexpr const char *bringBack = "kelpctl install --repair FILE";

constexpr MachineWord words[] = {
    {"staged", "doctor", "The application is on its way from rpm into the store.",
     "Restart the launcher, which goes on. No other command touches the application meanwhile.", restart},
    {"unfinished-update", "doctor",
     "An installation, an update, a publication or a removal was begun, or has left published files that "
     "could not be taken back.",
     "--repair completes it or takes it back, unless something is in the way.", unfinished, true},
    {"rescued", "doctor", "The files of the application are kept aside, as they could not be published.",
     "--repair installs them when nothing is in their way. The shared data of people is moved by the "
     "launcher: see the heading.",
     aside, true},
    {"unexamined", "doctor",
     "Looking at the application, or at a directory that leads to applications, failed. The others were "
     "looked at.",
     "See to the reason that is given.", "An application that could not be looked at", true},
    {"unreadable-descriptor", "doctor",
     "The descriptor of the current version cannot be read, or names another application, version or key.",
     "--repair writes it anew where the machine proves its values. Otherwise kelpctl install --repair FILE "
     "makes "
     "it from the package file. Without that put a backup in place, or write it by hand. The application "
     "works.",
     "A descriptor that cannot be read", true},
    {"missing", "doctor", "A file of the application is not published.", "--repair publishes it.", findings,
     true},
    {"dead", "doctor",
     "A published file leads to, was copied from, or is listed for a file that the store has lost.",
     "Bring the file back from the package file of the version. Without a current version, install the "
     "application again.",
     contents, true},
    {"changed", "doctor", "A published copy has other content than the store's file, or is a link to it now.",
     "Run verify first: if the store's file is altered, install --repair brings it back. Then save the "
     "copy, perhaps somebody's work, and remove it. --repair publishes it anew.",
     "A published file that somebody has changed", true},
    {"foreign", "doctor", "Something that is not the application's is where a file belongs, or in the store.",
     "Look whose it is, and move it away. No repair touches it.", foreign, true},
    {"unlisted", "doctor", "The lists of the version do not tell all that is published.",
     "--repair writes them anew.", findings, true},
    {"stray", "doctor",
     "A published file that no list names: its version is gone, or does not publish it there.",
     "--repair removes what leads to nothing, unless the version may be on a filesystem that is not mounted, "
     "or rpm may need the file. See to any other.",
     "Published files without an application", true},
    {"stale-version", "doctor", "A version that no link names.", "--repair removes it.", findings, true},
    {"leftover", "doctor", "What a killed run has left.",
     "--repair removes what came out of a package file. The launcher clears its own directory before its "
     "next take-over. Of several whole versions without current, move away all but one, and --repair takes "
     "that.",
     findings, true},
    {"unreadable-lines", "doctor", "The registry has lines that are no records.",
     "--repair goes on without them, and keeps the file as registry.damaged-N.", findings, true},
    {"unregistered", "doctor", "The registry does not know that the application is installed.",
     "--repair records it, as of now. If all are unregistered, put a backup of the registry back first.",
     findings, true},
    {"unbound", "doctor",
     "The application is bound to no source, to an unknown one, or not to that of its certificate.",
     "--repair binds it, unless the source that it is bound to is gone. With a lost database look at kelpctl "
     "policy afterwards.",
     "A source that is gone", true},
    {"orphan-binding", "doctor", "A binding to a source, of an application that is nowhere.",
     "Install the application again, or give it up by kelpctl remove.", "An application that is lost", true},
    {"altered", "doctor, verify", "A file has other content, or a link another text, than was staged.",
     "Bring the file back from the package file of the version.", bringBack},
    {"mode", "doctor, verify",
     "A file or a directory of the application, or one that it publishes, has other permissions than the "
     "store gave it.",
     "--repair restores them. Of a directory that others use it tells the command.", contents, true},
    {"owner", "doctor, verify",
     "A file or a directory of the application, or one that it publishes, has another owner than the store "
     "gave it.",
     "--repair restores them. Of a directory that others use it tells the command.", contents, true},
    {"type", "doctor, verify", "Something of another kind is where a file of the version was.",
     "Bring the file back from the package file of the version.", bringBack},
    {"gone", "doctor, verify", "A file of the version is not there.",
     "Bring the file back from the package file of the version.", bringBack},
    {"attribute", "doctor, verify", "A file does not carry the application's id in security.appid.",
     "--repair restores it.", repair},
    {"still-in-rpm", "doctor",
     "rpm has a record of an application that is in the store. No update is let in.",
     "kelpctl plan tells whether the launcher takes the record away, or what is in its way.",
     "Nothing is let in", true},
    {"extra", "verify", "A file in the version that nobody staged.", "Look at it, and remove it.", contents,
     true},
    {"unlistable", "verify",
     "A version from before there were lists of what was staged, or one that has lost its list.",
     "Put a lost list back from a backup first. --repair lists what is there now, which proves nothing about "
     "the time before.",
     repair},
    {"unfinished", "status",
     "A take-over, an installation, an update, a publication or a removal was begun, or has left published "
     "files that could not be taken back.",
     "Restart the launcher for a take-over. Repair anything else.", restart},
    {"rescued", "status", "The files of the application are kept aside, as they could not be published.",
     "doctor names what is in the way. Remove that, then repair.", aside, true},
    {"damaged", "status",
     "The application is in the store. Its descriptor, its list of published files, its current version or a "
     "published file is missing, torn or another's.",
     "Repair before anything else. doctor names what is left for a person.", repair},
    {"store", "status", "The application is complete in the store, as far as its published files tell.",
     "Nothing. doctor and verify tell whether its files are as they were.", "kelpctl verify"},
    {"rpm", "status", "The application is in rpm, for the reason given.",
     "See what is in the way of its move.", "kelpctl plan"},
    {"lost", "status", "Registry or sources say that the application was installed, and it is nowhere.",
     "Install it again from its package file, or give it up by kelpctl remove.",
     "An application that is lost", true},
    {"unknown", "status", "The application, or what may have it, cannot be looked at.",
     "See to what the last lines name before you install, remove or repair it: kelpctl may go on without "
     "what it cannot read.",
     "A database that cannot be read", true},
};

} // namespace

std::span<const MachineWord> machineWords() {
    return words;
}

std::string helpOf(const MachineWord &word) {
    return word.isHeading ? "see \"" + std::string(word.help) + "\" in recovery.md" : std::string(word.help);
}

std::string helpFor(std::string_view finding) {
    const auto found = std::ranges::find(words, finding, &MachineWord::word);
    return found == std::end(words) || found->place == "status" ? "" : helpOf(*found);
}

std::string proseOf(const MachineWord &word) {
    return std::string(word.word) + " (" + std::string(word.place) +
           ")\n\nWhat it means: " + std::string(word.what) + "\n\nWhat to do: " + std::string(word.mend) +
           "\n\nHelp: " + helpOf(word) + "\n";
}

} // namespace KelpCtl
