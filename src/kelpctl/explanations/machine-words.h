#pragma once

#include <span>
#include <string>
#include <string_view>

namespace KelpCtl {

/// A word of kelpctl for the state of an application on a machine, or for a fault of it.
struct MachineWord {
    std::string_view word;
    std::string_view place; ///< The commands that use it: "doctor", "verify", "doctor, verify" or "status".
    std::string_view what;  ///< Its meaning.
    std::string_view mend;  ///< What to do.
    std::string_view help;  ///< The command that helps, or the heading in docs/recovery.md.
    bool isHeading = false;
};

/// All of them: those of doctor and verify in doctor's order, then those of status.
std::span<const MachineWord> machineWords();

/// The help for a finding without an automatic repair, such as "kelpctl remove ID" or "see HEADING in
/// recovery.md"; empty for a word that is no finding.
std::string helpFor(std::string_view finding);

/// The help in the form of helpFor().
std::string helpOf(const MachineWord &word);

/// All about a word as plain text.
std::string proseOf(const MachineWord &word);

} // namespace KelpCtl
