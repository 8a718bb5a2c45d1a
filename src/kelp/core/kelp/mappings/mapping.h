#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace Core::KELP {

/// One rule by which files of a stored package are published into the system: files below `source` in the
/// package's tree appear below `target` in the system.
class Mapping {
public:
    Mapping(std::string source, std::string target, std::int32_t requiresCopy, std::int32_t ownsDirectory) :
        source_(std::move(source)),
        target_(std::move(target)),
        requiresCopy_(requiresCopy),
        ownsDirectory_(ownsDirectory) {}

    /// A path in the package's tree, without a leading "/".
    const std::string &source() const { return source_; }
    /// A system path that ends in "/".
    const std::string &target() const { return target_; }
    /// Not 0 when files below the target cannot be links. One such source that exists in a package switches
    /// all of the package's mappings to copies.
    std::int32_t requiresCopy() const { return requiresCopy_; }
    /// Not 0 when the target directory belongs to the package alone. It goes with the package, if empty then.
    std::int32_t ownsDirectory() const { return ownsDirectory_; }

private:
    std::string source_;
    std::string target_;
    std::int32_t requiresCopy_;
    std::int32_t ownsDirectory_;
};

} // namespace Core::KELP
