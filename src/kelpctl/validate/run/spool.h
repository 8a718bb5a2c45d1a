#pragma once

#include "kelp/core/common/files/file-descriptor.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace KelpCtl {

/// Bytes that are all written before they are read, in their order. Few stay in memory. More go to a nameless
/// file in the directory for temporary files, which vanishes with the process.
class Spool {
public:
    /// Raises std::runtime_error when there is no room for the file.
    void append(std::string_view bytes);

    /// The next bytes, `most` at most; nothing after the last. Raises std::runtime_error.
    std::string take(std::size_t most);

    std::uint64_t size() const { return written_ + memory_.size(); }

private:
    void spill();

    std::string memory_;
    Common::FileDescriptor file_;
    std::uint64_t written_ = 0; ///< To the file.
    std::uint64_t taken_ = 0;
};

} // namespace KelpCtl
