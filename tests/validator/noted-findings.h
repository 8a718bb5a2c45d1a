#pragma once

#include "kelp/core/kelp/validator/framework/logger.h"

#include <string>
#include <utility>
#include <vector>

/// Notes findings by their ids, each with its strings if it has any: "desktop-qml-only",
/// "desktop-value-invalid(All,X-Velura-Application,IconMode)".
class NotedFindings {
public:
    Validator::FindingSink sink() {
        return [this](const Validator::Message &message) {
            std::string strings;
            for (const std::string &string : message.strings)
                strings += (strings.empty() ? "(" : ",") + string;
            noted_.push_back(std::string(message.entry.id) + (strings.empty() ? "" : strings + ')'));
        };
    }

    /// What was noted since the last call.
    std::vector<std::string> takeEach() { return std::exchange(noted_, {}); }

    /// The same with blanks between.
    std::string take() {
        std::string text;
        for (const std::string &finding : takeEach())
            text += (text.empty() ? "" : " ") + finding;
        return text;
    }

private:
    std::vector<std::string> noted_;
};
