#pragma once

#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/rpm/extract-file-iterator.h"
#include "kelp/core/kelp/validator/framework/content-findings.h"

#include <filesystem>
#include <functional>
#include <optional>

namespace Core::KELP {

/// An entry of a package that is to be judged, in the staging directory or not.
struct UnpackedEntry {
    Common::Rpm::ExtractFileIterator::Entry entry;
    std::filesystem::path path;    ///< Below the staging directory.
    Common::FileDescriptor file{}; ///< Open, of a regular file alone.
    std::optional<Validator::ContentRule> refusal = {};
};

/// Takes entries from the unpacking to their verdicts: here each is judged before the next is unpacked. A
/// derived class may unpack ahead in other threads, since no verdict on an entry looks at another.
class UnpackPipeline {
public:
    using Judge = std::function<void(UnpackedEntry)>;
    /// Unpacks all entries and gives each on, in the order of the payload.
    using UnpackAll = std::function<void(const Judge &)>;

    virtual ~UnpackPipeline() = default;

    /// Calls `unpackAll` for all entries, and `judge` for each, in their order and in the calling thread. An
    /// exception of either ends both. One of `unpackAll` is raised once all entries unpacked before are
    /// judged.
    virtual void run(const UnpackAll &unpackAll, const Judge &judge) { unpackAll(judge); }

    /// Writes a piece of a file that is being unpacked: before that is judged, and after the pieces that
    /// came earlier. Raises as PackedFile::write() does, from here or from run().
    virtual void write(int file, Common::Rpm::PackedFile::Piece piece, const std::filesystem::path &path) {
        Common::Rpm::PackedFile::write(file, piece, path);
    }
};

} // namespace Core::KELP
