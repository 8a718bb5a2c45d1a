#pragma once

#include "kelp/core/kelp/validator/framework/message.h"

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <limits>
#include <new>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Validator {

/// The texts that were seen, by their digests: a million of them take sixteen megabytes, whatever their size.
class TextSet {
public:
    /// Whether the text is a new one. Of more than three million the set forgets all, so that it takes no
    /// more than 48 megabytes, and may take a text for new again.
    bool insert(std::uint32_t kind, std::string_view text);

private:
    bool place(std::uint64_t digest);
    void grow();

    std::vector<std::uint64_t> slots_; ///< 0 for an empty one.
    std::size_t count_ = 0;
};

class Config;

/// Facts that the checkers of one stage leave for each other in the report; all are false at the start.
enum class ValidatorFlag : std::uint32_t {
    DesktopSeen = 0,          ///< The package has its desktop file.
    QmlOnlyApp = 1,           ///< The desktop file runs the application through the QML runner.
    VitrineApp = 2,           ///< The application type is "vitrine-qt5".
    NoSandboxSection = 3,     ///< The desktop file has no sandbox section.
    ElfSeen = 4,              ///< An ELF file of valid class and encoding was seen.
    MainBinaryExecutable = 5, ///< An executable ELF file lies on the main binary's path.
    MainBinarySeen = 6,
    ImportsVitrine = 7,      ///< The application imports "Halyard.Vitrine 1.0".
    LibcStartMainSeen = 8,   ///< A symbol "__libc_start_main".
    MainSymbolSeen = 9,      ///< A symbol "main".
    OtherSymbolSeen = 10,    ///< A symbol of any other name.
    ShippedLibraryUsed = 11, ///< A needed library was found inside the package.
    RpathPresent = 12,
    RpathAcceptable = 13,
};

/// Takes the findings of a stage, each distinct one once.
using FindingSink = std::function<void(const Message &)>;

/// No bound on what Logger remembers of one id.
constexpr std::size_t allOfId = std::numeric_limits<std::size_t>::max();

/// The report of one validation stage: turns findings into lines on standard error, or hands them to a sink
/// in place of that, each distinct one once; keeps what the verdict needs, and holds the flags by which
/// checkers leave facts for each other.
class Logger {
public:
    /// An empty sink prints. From an id's finding of the number `mostOfId` on, repeated ones are handed on
    /// too: who shows no more than that has nothing to remember for the rest.
    explicit Logger(FindingSink sink = {}, std::size_t mostOfId = allOfId);

    /// Reports a finding. The catalogue of the rule's type is the function
    ///
    ///     Message messageOf(Rule, const std::vector<std::string> &);
    ///
    /// beside the type. A message that cannot be composed is reported as one of level Info; where memory is
    /// missing for it, that is raised, as an error must not become a note by it.
    template<class Rule>
    void log(Rule rule, std::initializer_list<std::string_view> strings = {}) {
        const std::vector<std::string> copies(strings.begin(), strings.end());
        report([&] { return messageOf(rule, copies); });
    }

    /// The file in hand, which the findings concern from now on; empty for none.
    void setPath(std::string path) { path_ = std::move(path); }

    /// An unknown flag prints a line on standard error and changes nothing.
    void setFlag(ValidatorFlag flag, bool value);
    /// An unknown flag prints a line on standard error and is false.
    bool getFlag(ValidatorFlag flag) const;

    /// Whether an Error was reported since the last clearError().
    bool errorSeen() const { return errorSeen_; }
    /// Whether a Critical was reported.
    bool criticalSeen() const { return criticalSeen_; }
    void clearError() { errorSeen_ = false; }

    /// Has `print` print the findings of this process that no sink takes, in place of the report's own lines,
    /// which hold the texts as the package wrote them.
    static void setPrinting(void (*print)(const Message &));

private:
    template<class Compose>
    void report(const Compose &compose) {
        Message message{LogLevel::Info, "[validator] Error while construct message"};
        try {
            message = compose();
        } catch (const std::bad_alloc &) {
            throw;
        } catch (...) {
        }
        report(std::move(message));
    }
    void report(Message message);

    FindingSink sink_;
    std::string path_;
    std::size_t mostOfId_;
    std::unordered_map<std::string_view, std::size_t> counts_; ///< Of distinct findings, by id.
    TextSet printed_;
    std::unordered_map<ValidatorFlag, bool> flags_;
    bool errorSeen_ = false;
    bool criticalSeen_ = false;
};

/// Whether what was reported since the last verdict fails the package: a critical finding of the whole stage
/// always does, an error only while validation is enabled. Errors count for one verdict.
bool takeVerdict(Logger &logger, const Config &config);

} // namespace Validator
