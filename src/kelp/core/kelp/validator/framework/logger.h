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

/// A set of texts, by their digests: a million take sixteen megabytes, whatever their size.
class TextSet {
public:
    /// Whether the text is new. After three million the set forgets all, so it takes at most 48 megabytes;
    /// then an old text may count as new again.
    bool insert(std::uint32_t kind, std::string_view text);

private:
    bool place(std::uint64_t digest);
    void grow();

    std::vector<std::uint64_t> slots_; ///< 0 for an empty one.
    std::size_t count_ = 0;
};

class Config;

/// Facts that the checkers of one stage share through the report; all are false at the start.
enum class ValidatorFlag : std::uint32_t {
    DesktopSeen = 0,          ///< The package has its desktop file, and that can be parsed.
    QmlOnlyApp = 1,           ///< The desktop file runs the application through the QML runner.
    VitrineApp = 2,           ///< The application type is "vitrine-qt5".
    NoSandboxSection = 3,     ///< The desktop file has no sandbox section.
    ElfSeen = 4,              ///< An ELF file of valid class and encoding was seen.
    MainBinaryExecutable = 5, ///< An executable ELF file has the main binary's path within its own.
    MainBinarySeen = 6,
    ImportsVitrine = 7,      ///< The application imports "Halyard.Vitrine 1.0".
    LibcStartMainSeen = 8,   ///< A symbol "__libc_start_main".
    MainSymbolSeen = 9,      ///< A symbol "main".
    OtherSymbolSeen = 10,    ///< A symbol of any other name.
    ShippedLibraryUsed = 11, ///< A needed library was found inside the package.
    RpathPresent = 12,
    RpathAcceptable = 13,
};

/// Takes the findings of a stage. Logger says which of the repeated ones are left out.
using FindingSink = std::function<void(const Message &)>;

/// No bound on what Logger remembers of one id.
constexpr std::size_t allOfId = std::numeric_limits<std::size_t>::max();

/// The report of one validation stage: prints findings on standard error, or passes them to a sink. Leaves
/// out repeated ones that it remembers (TextSet). Keeps the data for the verdict, and the flags that checkers
/// share.
class Logger {
public:
    /// An empty sink prints. From finding number `mostOfId` of an id on, repeated ones are passed on too: a
    /// sink that shows no more need not remember the rest.
    explicit Logger(FindingSink sink = {}, std::size_t mostOfId = allOfId);

    /// Reports a finding. Its text comes from the function
    ///
    ///     Message messageOf(Rule, const std::vector<std::string> &);
    ///
    /// which stands beside the type of the rule. If messageOf() fails, the report has a note (level Info) in
    /// place of the finding. A lack of memory is raised instead: a shortage of the machine must not turn an
    /// error of the package into a note.
    template<class Rule>
    void log(Rule rule, std::initializer_list<std::string_view> strings = {}) {
        const std::vector<std::string> copies(strings.begin(), strings.end());
        report([&] { return messageOf(rule, copies); });
    }

    /// Sets the file that later findings concern; empty for none.
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

    /// Makes `print` print the findings of later objects without a sink, in place of the report's own lines,
    /// which hold raw texts of the package.
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

/// Whether the findings since the last verdict fail the package. A critical finding of the whole stage always
/// does, an error only while validation is enabled. Errors count for one verdict.
bool takeVerdict(Logger &logger, const Config &config);

} // namespace Validator
