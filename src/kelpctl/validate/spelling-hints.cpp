#include "kelpctl/validate/spelling-hints.h"

#include "kelpctl/closest-word.h"

#include "kelp/core/kelp/validator/catalogue.h"

#include <vector>

namespace KelpCtl {

namespace {

/// The rules among which to look for the word in a finding's string 0.
struct Row {
    std::string_view id;
    std::string_view topic;
    std::string_view prefix = {}; ///< The text before the word in a rule; the text of a catalogue.
};

constexpr Row table[] = {
    {"desktop-group-not-allowed", "group"},
    // The finding may name the other group.
    {"desktop-field-unknown", "key", "X-Velura-Application/"},
    {"desktop-field-unknown", "key", "X-Velura-SplashScreen/"},
    {"desktop-value-invalid", "key", "{1}/{2}="},
    {"attestation-key-invalid", "key", "{1}/"},
    {"attestation-value-invalid", "key", "Attestation/{1}="},
    {"capability-key-invalid", "capability"},
    {"capability-value-invalid", "capability", "{1}="},
    {"sandbox-key-not-allowed", "key", "X-Application/"},
    {"sandbox-permission-not-allowed", "permission"},
    {"task-key-not-allowed", "task"},
    {"task-type-unsupported", "task", "Type="},
    {"task-condition-unknown", "condition"},
    {"intent-invalid", "intent"},
    {"intent-not-standard", "intent"},
    {"intent-flag-unknown", "intent", "NAME:"},
    {"manifest-key-unknown", "manifest-key"},
};

/// The word of a rule after the prefix; empty for a rule without one.
std::string_view wordOf(const Validator::Rule &rule, std::string_view prefix) {
    const std::string_view text = rule.text;
    // Expressions between slashes are no words.
    if (!text.starts_with(prefix) || text.starts_with('/') ||
        (rule.status != "allowed" && rule.status != "required"))
        return {};
    return text.substr(prefix.size(), text.find_first_of("=:", prefix.size()) - prefix.size());
}

} // namespace

std::string Hints::of(const Validator::Message &message) {
    std::vector<std::string> words;
    for (const auto &[id, topic, prefix] : table) {
        if (id != message.entry.id)
            continue;
        const std::string beginning = Validator::composeText(prefix, message.strings);
        for (const Validator::Rule &rule : rules())
            if (const auto word = rule.topic == topic ? wordOf(rule, beginning) : ""; !word.empty())
                words.emplace_back(word);
    }
    return words.empty() ? "" : closestWord(message.strings.front(), words);
}

const Validator::Rules &Hints::rules() {
    if (!rules_)
        rules_ = Validator::allRules(config_);
    return *rules_;
}

} // namespace KelpCtl
