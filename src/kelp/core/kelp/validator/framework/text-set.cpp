#include "kelp/core/kelp/validator/framework/text-set.h"

#include <rpm/rpmcrypto.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

namespace Validator {

namespace {

constexpr std::size_t fewestSlots = 64;
constexpr std::size_t mostSlots = std::size_t(1) << 22;

/// Never 0. Of a digest for which nobody makes two texts at will: one of them would not be printed.
std::uint64_t digestOf(std::uint32_t kind, std::string_view text) {
    DIGEST_CTX context = rpmDigestInit(RPM_HASH_SHA256, RPMDIGEST_NONE);
    rpmDigestUpdate(context, &kind, sizeof kind);
    rpmDigestUpdate(context, text.data(), text.size());
    void *bytes = nullptr;
    size_t size = 0;
    rpmDigestFinal(context, &bytes, &size, 0);
    const std::unique_ptr<void, decltype(&std::free)> owner(bytes, std::free);
    std::uint64_t digest = 0;
    std::memcpy(&digest, bytes, std::min(size, sizeof digest));
    return std::max<std::uint64_t>(digest, 1);
}

} // namespace

bool TextSet::insert(std::uint32_t kind, std::string_view text) {
    if (4 * count_ >= 3 * slots_.size())
        grow();
    const bool isNew = place(digestOf(kind, text));
    count_ += isNew ? 1U : 0U;
    return isNew;
}

bool TextSet::place(std::uint64_t digest) {
    std::size_t slot = digest % slots_.size();
    while (slots_[slot] != 0 && slots_[slot] != digest)
        slot = (slot + 1) % slots_.size();
    return std::exchange(slots_[slot], digest) == 0;
}

void TextSet::grow() {
    const std::vector<std::uint64_t> old = std::exchange(slots_, {});
    const bool isFull = old.size() == mostSlots;
    slots_.resize(isFull ? fewestSlots : std::max(fewestSlots, 2 * old.size()));
    count_ = isFull ? 0 : count_;
    for (const std::uint64_t digest : old)
        if (digest != 0 && !isFull)
            place(digest);
}

} // namespace Validator
