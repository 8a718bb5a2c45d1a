#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>
#include <vector>

namespace KelpCtl {

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

} // namespace KelpCtl
