#include "kelp/core/kelp/validator/framework/logger.h"

#include "kelp/core/common/rpm/digest.h"
#include "kelp/core/kelp/validator/configuration/config.h"

#include <algorithm>
#include <iostream>
#include <string>
#include <utility>

namespace Validator {

namespace {

constexpr std::size_t fewestSlots = 64;
constexpr std::size_t mostSlots = std::size_t(1) << 22;

/// Never 0. From a cryptographic digest: of two texts that collide, one would not be printed.
std::uint64_t digestOf(std::uint32_t kind, std::string_view text) {
    constexpr std::size_t digits = 16;
    Common::Rpm::Digest digest;
    digest.update({reinterpret_cast<const char *>(&kind), sizeof kind});
    digest.update(text);
    return std::max<std::uint64_t>(std::stoull(digest.finish().substr(0, digits), nullptr, 16), 1);
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

namespace {

/// The number of flags in ValidatorFlag; the report does not know a new one until it is counted here.
constexpr std::uint32_t flagCount = 14;

/// By the number of the level. The form "report" of kelpctl validate has the same prefixes, tabs included.
constexpr const char *prefixes[] = {"(WARNING)\t", "(ERROR)\t\t", "(CRITICAL)\t", "(INFO)\t\t"};

/// Prints the raw text of the package, with control characters, unless setPrinting() replaces this.
void printLine(const Message &message) {
    const auto level = static_cast<std::size_t>(message.level);
    if (level < std::size(prefixes))
        std::cerr << prefixes[level] << message.text << '\n' << std::flush;
}

void (*print)(const Message &) = printLine;

void complain(const char *operation, ValidatorFlag flag) {
    std::cerr << "[validator] Unable to " << operation << " flag with key: \""
              << static_cast<std::uint32_t>(flag) << "\"\n";
}

} // namespace

Logger::Logger(FindingSink sink, std::size_t mostOfId) :
    sink_(sink ? std::move(sink) : print), mostOfId_(mostOfId) {
    for (std::uint32_t key = 0; key < flagCount; ++key)
        flags_.emplace(static_cast<ValidatorFlag>(key), false);
}

void Logger::report(Message message) {
    // Before the check for repetition: a line is printed once, but every file with the error fails.
    criticalSeen_ = criticalSeen_ || message.level == LogLevel::Critical;
    errorSeen_ = errorSeen_ || message.level == LogLevel::Error;
    if (message.path.empty())
        message.path = path_;
    std::size_t &count = counts_[message.entry.id];
    const bool isCounted = count >= mostOfId_;
    if (!isCounted && !printed_.insert(static_cast<std::uint32_t>(message.level), message.text))
        return;
    count += isCounted ? 0U : 1U;
    sink_(message);
}

void Logger::setFlag(ValidatorFlag flag, bool value) {
    if (const auto found = flags_.find(flag); found != flags_.end())
        found->second = value;
    else
        complain("set", flag);
}

bool Logger::getFlag(ValidatorFlag flag) const {
    if (const auto found = flags_.find(flag); found != flags_.end())
        return found->second;
    complain("get", flag);
    return false;
}

void Logger::setPrinting(void (*printing)(const Message &)) {
    print = printing;
}

bool takeVerdict(Logger &logger, const Config &config) {
    // An error counts only for its file. A critical finding stays, and fails every later verdict.
    const bool errorSeen = logger.errorSeen();
    logger.clearError();
    return logger.criticalSeen() || (errorSeen && config.validationEnabled());
}

} // namespace Validator
