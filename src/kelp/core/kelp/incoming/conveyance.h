#pragma once

#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/rpm/extract-file-iterator.h"
#include "kelp/core/kelp/validator/framework/content-findings.h"

#include <filesystem>
#include <functional>
#include <optional>

namespace Core::KELP {

/// An entry of a package that lies in the staging directory, or does not, and is to be judged.
struct UnpackedEntry {
    Common::Rpm::ExtractFileIterator::Entry entry;
    std::filesystem::path path;    ///< Below the staging directory.
    Common::FileDescriptor file{}; ///< Open, of a regular file alone.
    std::optional<Validator::ContentRule> refusal = {};
};

/// How entries come from the unpacking to their verdicts: here each is judged before the next is unpacked.
/// One that derives from it may have them unpacked ahead, by other threads, as no verdict on an entry looks
/// at another.
class Conveyance {
public:
    using Judge = std::function<void(UnpackedEntry)>;
    /// Unpacks all entries and gives each on, in the order of the payload.
    using UnpackAll = std::function<void(const Judge &)>;

    virtual ~Conveyance() = default;

    /// Has all entries unpacked, and has `judge` called for each, in their order and by the calling thread.
    /// What either of them raises ends both, and is raised when all that was unpacked before has been judged.
    virtual void run(const UnpackAll &unpackAll, const Judge &judge) { unpackAll(judge); }

    /// Writes a piece of a file that is being unpacked: before that is judged, and after the pieces that
    /// came earlier. Raises as PackedFile::write() does, from here or from run().
    virtual void write(int file, Common::Rpm::PackedFile::Piece piece, const std::filesystem::path &path) {
        Common::Rpm::PackedFile::write(file, piece, path);
    }
};

} // namespace Core::KELP
