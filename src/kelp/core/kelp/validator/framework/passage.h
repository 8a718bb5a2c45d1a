#pragma once

#include "kelp/core/kelp/validator/framework/mapped-file.h"
#include "kelp/core/kelp/validator/framework/text.h"

#include <algorithm>
#include <string_view>

namespace Validator {

/// Goes forward through a text of any length, piece by piece: a mapped file releases the passed memory.
class Passage {
public:
    /// Through a text outside of a mapped file.
    Passage() = default;
    /// Through the content of a file, which must outlive the object.
    explicit Passage(const MappedFile &file) : file_(&file) {}

    /// As MappedFile::passed() does.
    void passed(std::size_t size) const {
        if (file_ != nullptr)
            file_->passed(size);
    }

    /// Where the first `wanted` at or after `from` begins; npos when there is none. `wanted` is not empty.
    std::size_t find(std::string_view text, std::string_view wanted, std::size_t from = 0) const {
        return search(text, wanted, wanted.size(), from);
    }
    std::size_t find(std::string_view text, char wanted, std::size_t from = 0) const {
        return search(text, wanted, 1, from);
    }

    /// Takes the longest beginning of `text` that holds only characters of the class, and returns it.
    template<class Class>
    std::string_view takeLeading(std::string_view &text, Class isInClass) const {
        std::size_t size = 0;
        for (std::size_t part = piece; part == piece; size += part) {
            part = leading(text.substr(size, piece), isInClass).size();
            passed(part);
        }
        const std::string_view taken = text.substr(0, size);
        text.remove_prefix(size);
        return taken;
    }

private:
    template<class Wanted>
    std::size_t search(std::string_view text, Wanted wanted, std::size_t size, std::size_t from) const {
        for (std::size_t at = from; at < text.size(); at += piece) {
            // Includes the beginning of the next piece, where a match may end.
            const std::string_view part = text.substr(at, piece + size - 1);
            const std::size_t found = part.find(wanted);
            passed(std::min(found, part.size()));
            if (found != std::string_view::npos)
                return at + found;
        }
        return std::string_view::npos;
    }

    static constexpr std::size_t piece = std::size_t(1) << 20;

    const MappedFile *file_ = nullptr;
};

} // namespace Validator
