#include "kelpctl/validate/lookahead.h"

#include "kelpctl/validate/belt.h"

#include <future>
#include <variant>

namespace KelpCtl {

using Common::Rpm::PackedFile;
using Core::KELP::UnpackedEntry;

namespace {

/// Pieces of at most 128 KiB, which are what takes memory, or entries, each of which has its file open.
constexpr std::size_t longestBelt = 64;
/// A file of one smaller piece is written at once: to hand the piece on would cost more.
constexpr std::size_t smallestPiece = 0x4000;

/// A piece of a file, and where it goes.
struct Load {
    int file;
    std::filesystem::path path;
    PackedFile::Piece piece;
};

} // namespace

struct Lookahead::Belts {
    Belt<std::variant<Load, UnpackedEntry>> unwritten{longestBelt};
    Belt<UnpackedEntry> written{longestBelt};
    bool isFileSplit = false; ///< Whether a piece of the present file is on the belt. Of the unpacking alone.

    void write() {
        const Closing source(unwritten);
        const Closing destination(written);
        unwritten.takeAll([this](std::variant<Load, UnpackedEntry> item) {
            if (const auto *load = std::get_if<Load>(&item))
                PackedFile::write(load->file, load->piece, load->path);
            else
                // Behind its pieces, so that its file is open until they are written.
                written.put(std::move(std::get<UnpackedEntry>(item)));
        });
    }
};

Lookahead::Lookahead() : belts_(std::make_unique<Belts>()) {}

Lookahead::~Lookahead() = default;

void Lookahead::run(const UnpackAll &unpackAll, const Judge &judge) {
    // When this is left by an exception, the belts are closed, and the futures wait for their threads.
    std::future<void> unpacking = std::async(std::launch::async, [&] {
        const Closing destination(belts_->unwritten);
        unpackAll([this](UnpackedEntry entry) {
            belts_->isFileSplit = false;
            belts_->unwritten.put(std::move(entry));
        });
    });
    std::future<void> writing = std::async(std::launch::async, [this] { belts_->write(); });
    {
        const Closing source(belts_->written);
        belts_->written.takeAll(judge);
    }
    // First, as what ended it has ended the unpacking as well, which was further.
    writing.get();
    unpacking.get();
}

void Lookahead::write(int file, PackedFile::Piece piece, const std::filesystem::path &path) {
    if (piece.size < smallestPiece && !belts_->isFileSplit)
        return PackedFile::write(file, piece, path);
    belts_->isFileSplit = true;
    belts_->unwritten.put(Load{file, path, std::move(piece)});
}

} // namespace KelpCtl
