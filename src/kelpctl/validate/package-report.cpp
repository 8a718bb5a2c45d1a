#include "kelpctl/validate/package-report.h"

#include "kelp/core/common/rpm/digest.h"
#include "kelp/core/kelp/validator/catalogue.h"

#include <cstring>
#include <stdexcept>

namespace KelpCtl {

/// These names are in documents that tools read, and never change.
std::string nameOf(Verdict verdict) {
    constexpr const char *names[] = {"accepted", "refused", "incomplete"};
    return names[static_cast<std::size_t>(verdict)];
}

std::string nameOf(Stage stage) {
    return stage == Stage::Header ? "header" : "files";
}

std::string fingerprintOf(const Validator::Message &message) {
    // No path or argument has a NUL.
    std::string text = std::string(message.entry.id) + '\0' + message.path;
    for (const std::string &argument : message.strings)
        text += '\0' + argument;
    return Common::Rpm::sha256Of(text);
}

namespace {

using Validator::CatalogueEntry;
using Validator::LogLevel;
using Validator::Message;

[[noreturn]] void raise() {
    throw std::runtime_error("The judge's report is malformed");
}

class Packer {
public:
    Packer &number(std::uint64_t value) {
        char bytes[sizeof value];
        std::memcpy(bytes, &value, sizeof value);
        bytes_.append(bytes, sizeof value);
        return *this;
    }
    Packer &text(std::string_view value) {
        number(value.size());
        bytes_ += value;
        return *this;
    }
    Packer &optionalText(const std::optional<std::string> &value) {
        return number(value ? 1 : 0).text(value.value_or(""));
    }
    std::string take() { return std::move(bytes_); }

private:
    std::string bytes_;
};

class Unpacker {
public:
    explicit Unpacker(std::string_view bytes) : bytes_(bytes) {}

    std::uint64_t number() {
        std::uint64_t value = 0;
        std::memcpy(&value, take(sizeof value).data(), sizeof value);
        return value;
    }
    template<class Enumeration>
    Enumeration oneOf(Enumeration last) {
        const std::uint64_t value = number();
        if (value > static_cast<std::uint64_t>(last))
            raise();
        return static_cast<Enumeration>(value);
    }
    std::string text() { return std::string(take(number())); }
    std::optional<std::string> optionalText() {
        const bool isThere = number() == 1;
        std::string value = text();
        return isThere ? std::optional(std::move(value)) : std::nullopt;
    }
    void requireEnd() const {
        if (!bytes_.empty())
            raise();
    }

private:
    std::string_view take(std::uint64_t size) {
        if (size > bytes_.size())
            raise();
        const std::string_view piece = bytes_.substr(0, size);
        bytes_.remove_prefix(size);
        return piece;
    }

    std::string_view bytes_;
};

/// By its id: the texts are this process's own.
CatalogueEntry entryOf(std::string_view id, LogLevel level) {
    static const std::map<std::string_view, CatalogueEntry> entries = [] {
        std::map<std::string_view, CatalogueEntry> all;
        for (const CatalogueEntry &entry : Validator::allFindings())
            all.emplace(entry.id, entry);
        return all;
    }();
    const auto found = entries.find(id);
    // The substitute for a message that could not be composed is in no catalogue.
    return found != entries.end() ? found->second : Message{level, ""}.entry;
}

void pack(Packer &packer, const Message &message) {
    packer.number(static_cast<std::uint64_t>(message.level)).text(message.text).text(message.entry.id);
    packer.number(message.entry.text == moreText ? 1 : 0).text(message.path).number(message.strings.size());
    for (const std::string &string : message.strings)
        packer.text(string);
}

Message unpackMessage(Unpacker &unpacker) {
    Message message{unpacker.oneOf(LogLevel::Info), unpacker.text()};
    message.entry = entryOf(unpacker.text(), message.level);
    if (unpacker.number() == 1)
        message.entry.text = moreText;
    message.path = unpacker.text();
    for (std::uint64_t left = unpacker.number(); left > 0; --left)
        message.strings.push_back(unpacker.text());
    return message;
}

} // namespace

std::string packed(const PackageReport &report) {
    Packer packer;
    packer.text(report.file).optionalText(report.id).optionalText(report.version);
    packer.text(report.sha256).text(report.profile).optionalText(report.osVersion);
    packer.number(static_cast<std::uint64_t>(report.verdict)).text(report.reason);
    packer.number(report.overridden).number(report.usedOverrides.size());
    for (const std::size_t line : report.usedOverrides)
        packer.number(line);
    packer.number(report.counts.size());
    for (const auto &[level, count] : report.counts)
        packer.number(static_cast<std::uint64_t>(level)).number(count);
    packer.number(report.findings.size());
    for (const ReportedFinding &finding : report.findings) {
        packer.number(static_cast<std::uint64_t>(finding.stage));
        pack(packer, finding.message);
        packer.text(finding.hint).text(finding.overridden);
    }
    return packer.take();
}

PackageReport unpacked(std::string_view bytes) {
    Unpacker unpacker(bytes);
    PackageReport report;
    report.file = unpacker.text();
    report.id = unpacker.optionalText();
    report.version = unpacker.optionalText();
    report.sha256 = unpacker.text();
    report.profile = unpacker.text();
    report.osVersion = unpacker.optionalText();
    report.verdict = unpacker.oneOf(Verdict::Incomplete);
    report.reason = unpacker.text();
    report.overridden = unpacker.number();
    for (std::uint64_t left = unpacker.number(); left > 0; --left)
        report.usedOverrides.insert(unpacker.number());
    for (std::uint64_t left = unpacker.number(); left > 0; --left) {
        const auto level = unpacker.oneOf(LogLevel::Info);
        report.counts[level] = unpacker.number();
    }
    for (std::uint64_t left = unpacker.number(); left > 0; --left) {
        const auto stage = unpacker.oneOf(Stage::Files);
        Message message = unpackMessage(unpacker);
        std::string hint = unpacker.text();
        report.findings.push_back({stage, std::move(message), std::move(hint), unpacker.text()});
    }
    unpacker.requireEnd();
    return report;
}

} // namespace KelpCtl
