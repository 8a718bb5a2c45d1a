#include "kelpctl/validate/threaded-pipeline.h"

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <utility>
#include <variant>
#include <vector>

namespace KelpCtl {

namespace {

/// Raised by Belt::put() when the taker is gone.
struct Abandoned {};

/// A bounded queue from one thread to another. It moves batches: a wake-up for each small file would cost as
/// much as the file.
template<class Item>
class Belt {
public:
    /// Up to `longest` items, at least two, can wait on the belt, and as many again be with the taker.
    explicit Belt(std::size_t longest) : longest_(longest) {}

    /// Waits for room. Raises Abandoned when the belt is closed.
    void put(Item item) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return isClosed_ || items_.size() < longest_; });
        if (isClosed_)
            throw Abandoned();
        items_.push_back(std::move(item));
        if (items_.size() == longest_ / 2)
            changed_.notify_all();
    }

    /// Calls `use` for each item, until the belt is closed and empty. Exceptions of `use` pass.
    template<class Use>
    void takeAll(const Use &use) {
        for (std::vector<Item> batch = take(); !batch.empty(); batch = take())
            for (Item &item : batch)
                use(std::move(item));
    }

    void close() {
        const std::lock_guard lock(mutex_);
        isClosed_ = true;
        changed_.notify_all();
    }

private:
    /// Nothing when the belt is closed and empty.
    std::vector<Item> take() {
        constexpr std::chrono::milliseconds patience(2);
        std::unique_lock lock(mutex_);
        while (!changed_.wait_for(lock, patience, [this] {
            return isClosed_ || items_.size() >= longest_ / 2;
        }) && items_.empty()) {
        }
        changed_.notify_all();
        return std::exchange(items_, {});
    }

    std::size_t longest_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Item> items_;
    bool isClosed_ = false;
};

/// Closes a belt when one of its sides ends, in whatever way.
template<class Item>
class Closing {
public:
    explicit Closing(Belt<Item> &belt) : belt_(belt) {}
    Closing(const Closing &) = delete;
    Closing &operator=(const Closing &) = delete;
    ~Closing() { belt_.close(); }

private:
    Belt<Item> &belt_;
};

} // namespace

using Common::Rpm::PackedFile;
using Core::KELP::UnpackedEntry;

namespace {

/// Of pieces, which take memory of up to 128 KiB each, or of entries, each with an open file.
constexpr std::size_t longestBelt = 64;
/// A shorter belt cannot work by halves.
constexpr std::size_t shortestBelt = 2;
/// Other open files of this process, a handful of them for each judged file.
constexpr std::size_t otherFiles = 40;

/// That many files can be open on each of the two belts, and with each of the two takers.
std::size_t beltLength() {
    struct rlimit files {};
    if (::getrlimit(RLIMIT_NOFILE, &files) != 0)
        return shortestBelt;
    const std::size_t left = files.rlim_cur - std::min<std::size_t>(files.rlim_cur, otherFiles);
    return std::clamp(left / 4, shortestBelt, longestBelt);
}

/// A file of one smaller piece is written at once: to hand the piece on would cost more.
constexpr std::size_t smallestPiece = 0x4000;

/// A piece of a file, and where it goes.
struct Load {
    int file;
    std::filesystem::path path;
    PackedFile::Piece piece;
};

} // namespace

struct ThreadedPipeline::Belts {
    Belt<std::variant<Load, UnpackedEntry>> unwritten{beltLength()};
    Belt<UnpackedEntry> written{beltLength()};
    bool isFileSplit = false; ///< Whether a piece of the present file is on the belt. Of the unpacking alone.

    void write() {
        const Closing source(unwritten);
        const Closing destination(written);
        unwritten.takeAll([this](std::variant<Load, UnpackedEntry> item) {
            if (const auto *load = std::get_if<Load>(&item))
                PackedFile::write(load->file, load->piece, load->path);
            else
                // After its pieces, so that its file is open until they are written.
                written.put(std::move(std::get<UnpackedEntry>(item)));
        });
    }
};

ThreadedPipeline::ThreadedPipeline() : belts_(std::make_unique<Belts>()) {}

ThreadedPipeline::~ThreadedPipeline() = default;

void ThreadedPipeline::run(const UnpackAll &unpackAll, const Judge &judge) {
    std::future<void> unpacking;
    std::future<void> writing;
    // Declared after the futures, so that the belts are closed before those wait for their threads. So no
    // exception here, of a verdict or a missing thread, leaves a thread waiting.
    const Closing source(belts_->unwritten);
    const Closing destination(belts_->written);
    unpacking = std::async(std::launch::async, [&] {
        const Closing end(belts_->unwritten);
        unpackAll([this](UnpackedEntry entry) {
            belts_->isFileSplit = false;
            belts_->unwritten.put(std::move(entry));
        });
    });
    writing = std::async(std::launch::async, [this] { belts_->write(); });
    belts_->written.takeAll(judge);
    // First: a failure of the writing has ended the unpacking as well.
    writing.get();
    unpacking.get();
}

void ThreadedPipeline::write(int file, PackedFile::Piece piece, const std::filesystem::path &path) {
    if (piece.size < smallestPiece && !belts_->isFileSplit)
        return PackedFile::write(file, piece, path);
    belts_->isFileSplit = true;
    belts_->unwritten.put(Load{file, path, std::move(piece)});
}

} // namespace KelpCtl
