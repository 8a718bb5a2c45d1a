#pragma once

#include "kelp/core/common/errors/error.h"

#include <optional>
#include <string>
#include <vector>

namespace Core::KELP {

/// What could not be read in one look at a machine. One damaged file must not keep people from all others:
/// who looks goes on with what can be known, and tells these lines as well.
class Unread {
public:
    /// Returns what `read` returns. When that raises, its text is kept, and nothing is returned: what is
    /// there is unknown then, and must not be taken for absent.
    template<class Read>
    auto attempt(const Read &read) -> std::optional<decltype(read())> {
        try {
            return read();
        } catch (const std::exception &error) {
            add(Common::explainedText(error));
            return std::nullopt;
        }
    }

    /// Keeps a text, once however often it is added.
    void add(const std::string &text);

    /// In the order in which they were added; none when all could be read.
    const std::vector<std::string> &texts() const { return texts_; }

private:
    std::vector<std::string> texts_;
};

} // namespace Core::KELP
