#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

struct rpmver_s;

namespace Common::Rpm {

/// A package version "[EPOCH:]VERSION[-RELEASE]" with rpm's order: digits compare as numbers, letters as
/// text. "~" sorts before everything, even the end of the text, and "^" right after that end
/// (rpm-version(7)).
class Version {
public:
    /// None when rpm refuses the text, as it does an empty one.
    static std::optional<Version> parse(const std::string &text);

    /// -1 when this version is the older one, 0 when neither is, 1 when it is the newer one. A missing epoch
    /// counts as 0, and a missing release stands before every release.
    int compare(const Version &other) const;

private:
    explicit Version(std::shared_ptr<rpmver_s> handle) : handle_(std::move(handle)) {}

    std::shared_ptr<rpmver_s> handle_;
};

} // namespace Common::Rpm
