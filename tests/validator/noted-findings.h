#pragma once

#include "kelp/core/kelp/validator/framework/logger.h"

#include <string>
#include <utility>

/// Notes findings by their ids, one behind the other, each with its strings if it has any:
/// "desktop-qml-only desktop-value-invalid(All,X-Velura-Application,IconMode)".
class NotedFindings {
public:
    Validator::FindingSink sink() {
        return [this](const Validator::Message &message) {
            std::string strings;
            for (const std::string &string : message.strings)
                strings += (strings.empty() ? "(" : ",") + string;
            text_ += (text_.empty() ? "" : " ") + std::string(message.entry.id);
            text_ += strings.empty() ? "" : strings + ')';
        };
    }

    /// What was noted since the last call.
    std::string take() { return std::exchange(text_, ""); }

private:
    std::string text_;
};
