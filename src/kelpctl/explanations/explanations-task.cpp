#include "kelpctl/explanations/explanation.h"

namespace KelpCtl {

namespace {

using enum ExampleKind;

constexpr Explanation taskRows[] = {
    {"task-key-not-allowed", "The group of a background task has an unknown key.",
     "It has no effect; perhaps another was meant.", "Use Type, Exec, Permissions and Conditions.", Desktop,
     "[X-Task sync]\n"
     "Type=worker\n"
     "Exec=org.example.notes.sync",
     "task"},
    {"intent-invalid", "An entry of Intents is malformed.",
     "The system could not tell what the application serves.",
     "Begin with a capital letter, then perhaps \"/\" and a name, then perhaps \":\" and flags.", Desktop,
     "[X-Application]\n"
     "Intents=OpenURI:gui;X-Notes",
     "intent"},
    {"intent-name-missing", "An entry of Intents has no name.",
     "The system could not tell what the application serves.", "Add the name.", Desktop,
     "[X-Application]\n"
     "Intents=Start",
     "intent"},
    {"intent-not-standard", "An intent is neither Start nor OpenURI, and does not begin with X-.",
     "Other names are reserved for later systems.",
     "Use Start or OpenURI, or put X- in front of a name of your own.", Desktop,
     "[X-Application]\n"
     "Intents=X-Notes",
     "intent"},
    {"intent-flag-unknown", "An intent has an unknown flag, or a \":\" without one.", "It has no effect.",
     "Use \"gui\", or no \":\".", Desktop,
     "[X-Application]\n"
     "Intents=OpenURI:gui",
     "intent"},
    {"task-invalid", "The name of the group of a background task is malformed.",
     "The task could not be registered.",
     "Write \"X-Task\", a blank and two or more letters and digits, the first a letter. `kelpctl rules task` "
     "lists the keys and types.",
     Desktop,
     "[X-Task sync]\n"
     "Type=worker",
     "group"},
    {"task-type-unsupported", "The Type of a background task is not known.",
     "The system would not know when to start it.",
     "Use one of mdmclient, periodic, push, scheduled, session-start and worker.", Desktop,
     "[X-Task sync]\n"
     "Type=periodic",
     "task"},
    {"task-executable-name", "What stands after the name of the program in Exec of a task is malformed.",
     "The program could not be found.", "Write a letter, then letters, digits, \"-\" and \"_\".", Desktop,
     "[X-Task sync]\n"
     "Type=worker\n"
     "Exec=org.example.notes.sync"},
    {"task-executable-misplaced", "Exec of a task does not start a program of the package.",
     "A task may start programs of its own package alone. Whether the program is there is not checked: "
     "without it the task does nothing.",
     "A task starts /usr/bin/ID, or another program of the package in /usr/bin whose name is ID, a full stop "
     "and a word. Programs in /usr/libexec are not for tasks. A QML-only application has no /usr/bin/ID: "
     "compile a small program /usr/bin/ID.WORD for its task, as the runner cannot be one. The program is "
     "compiled, and executable.",
     Desktop,
     "[X-Task sync]\n"
     "Type=worker\n"
     "Exec=/usr/bin/org.example.notes.sync",
     "task"},
    {"task-permission-not-allowed", "A background task asks for a permission that no task may have.",
     "Without a window nobody sees that the application records or plays.",
     "Take it out. Permissions have \";\" between.", Desktop,
     "[X-Task sync]\n"
     "Type=worker\n"
     "Permissions=Internet",
     "task"},
    {"task-permission-implicit", "A background task asks for BaseTask.", "Every task has it.", "Take it out.",
     Desktop,
     "[X-Task sync]\n"
     "Type=worker\n"
     "Permissions=Internet",
     "task"},
    {"task-permission-not-of-application",
     "A background task asks for a permission that the application does not ask for.",
     "Users are asked for the permissions of the application.", "Add it to the application, or take it out.",
     Desktop,
     "[X-Application]\n"
     "Permissions=Internet\n"
     "[X-Task sync]\n"
     "Type=worker\n"
     "Permissions=Internet"},
    {"task-condition-invalid", "A condition of a task is malformed.",
     "The system would not know when to start the task.",
     "Write a name in small letters, then perhaps \":\" and a kind.", Desktop,
     "[X-Task sync]\n"
     "Type=worker\n"
     "Conditions=internet:wifi;charging",
     "condition"},
    {"task-condition-unknown", "A condition of a task is not known.",
     "The system would not know when to start the task.",
     "Use internet, battery-not-low, charging and idle. A kind of connection stands after internet, as in "
     "internet:wifi.",
     Desktop,
     "[X-Task sync]\n"
     "Type=worker\n"
     "Conditions=internet;idle",
     "condition"},
    {"task-condition-subtype-unknown", "A condition of a task has an unknown kind.",
     "The system would not know when to start the task.",
     "For internet use wifi, ethernet, cellular or wifi-or-ethernet; the others have none.", Desktop,
     "[X-Task sync]\n"
     "Type=worker\n"
     "Conditions=internet:wifi",
     "condition"},
};

} // namespace

std::span<const Explanation> taskExplanations() {
    return taskRows;
}

} // namespace KelpCtl
