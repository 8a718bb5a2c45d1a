#include "kelpctl/validate/judged-before.h"

#include "kelpctl/validate/report-output.h"
#include "kelpctl/validate/run/channel.h"

#include <boost/json/array.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <fcntl.h>
#include <glib.h>
#include <link.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace KelpCtl {

namespace {

constexpr std::size_t alignment = 4;

std::size_t aligned(std::size_t size) {
    return (size + alignment - 1) / alignment * alignment;
}

std::string digitsOf(std::string_view bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        (text += digits[value >> 4U]) += digits[value & 0xfU];
    }
    return text;
}

/// The linker's note among others; empty if it is missing.
std::string idAmong(std::string_view notes) {
    ElfW(Nhdr) note{};
    while (notes.size() >= sizeof note) {
        std::memcpy(&note, notes.data(), sizeof note);
        const std::size_t content = sizeof note + aligned(note.n_namesz);
        const std::size_t end = content + aligned(note.n_descsz);
        if (end > notes.size())
            break;
        if (note.n_type == NT_GNU_BUILD_ID && notes.substr(sizeof note, 3) == "GNU")
            return digitsOf(notes.substr(content, note.n_descsz));
        notes.remove_prefix(end);
    }
    return {};
}

/// The program itself comes first.
int findId(dl_phdr_info *object, std::size_t, void *result) {
    for (ElfW(Half) i = 0; i < object->dlpi_phnum; ++i) {
        const ElfW(Phdr) &part = object->dlpi_phdr[i];
        auto &id = *static_cast<std::string *>(result);
        if (part.p_type == PT_NOTE && id.empty())
            id = idAmong({std::bit_cast<const char *>(object->dlpi_addr + part.p_vaddr), part.p_memsz});
    }
    return 1;
}

/// The id of this build of the program, in hexadecimal digits: builds with the same id judge alike. Empty if
/// it was linked without one.
std::string buildId() {
    std::string id;
    ::dl_iterate_phdr(findId, &id);
    return id;
}

namespace json = boost::json;

constexpr mode_t mode = 0644;

[[noreturn]] void raise(const std::string &text) {
    throw std::runtime_error(text + ": " + std::generic_category().message(errno));
}

Common::FileDescriptor locked(const std::string &file) {
    Common::FileDescriptor lock(
        ::open(file.c_str(), O_RDWR | O_CREAT | O_APPEND | O_NOCTTY | O_CLOEXEC, mode));
    struct stat status {};
    if (lock.get() < 0 || ::fstat(lock.get(), &status) != 0)
        raise("Couldn't open " + file);
    // The read of a pipe, or of a device without an end, would not return.
    if (!S_ISREG(status.st_mode))
        throw std::runtime_error("Couldn't open " + file + ": it is no regular file");
    if (::flock(lock.get(), LOCK_EX | LOCK_NB) != 0)
        raise("Another run holds " + file);
    return lock;
}

/// Not by librpm, which only the judges use.
class Digest {
public:
    Digest() = default;
    Digest(const Digest &) = delete;
    Digest &operator=(const Digest &) = delete;
    ~Digest() { g_checksum_free(checksum_); }

    void add(std::string_view text) {
        g_checksum_update(checksum_, reinterpret_cast<const guchar *>(text.data()), std::ssize(text));
    }
    std::string digits() { return g_checksum_get_string(checksum_); }

private:
    GChecksum *checksum_ = g_checksum_new(G_CHECKSUM_SHA256);
};

/// A field that the line lacks counts as null.
JudgedBefore::Key keyOf(const json::object &line, const json::object &conditions) {
    Digest digest;
    const auto add = [&](std::string_view name) {
        const json::value *value = line.if_contains(name);
        digest.add(json::serialize(value ? *value : json::value(nullptr)) + '\n');
    };
    for (const auto &condition : conditions)
        add(condition.key());
    add("profile");
    add("sha256");
    constexpr std::size_t digits = 16;
    const std::string text = digest.digits();
    return {std::stoull(text.substr(0, digits), nullptr, 16),
            std::stoull(text.substr(digits, digits), nullptr, 16)};
}

std::string digestOf(const std::string &file) {
    if (file.empty())
        return {};
    std::ifstream input(file, std::ios::binary);
    std::ostringstream text;
    text << input.rdbuf();
    Digest digest;
    digest.add(text.str());
    return digest.digits();
}

json::value nullIfEmpty(const std::string &text) {
    return text.empty() ? json::value(nullptr) : json::value(text);
}

bool hasWarning(const json::object &line) {
    return std::ranges::any_of(line.at("findings").as_array(), [](const json::value &finding) {
        const json::value *overridden = finding.as_object().if_contains("overridden");
        return finding.at("level") == "warning" && (!overridden || overridden->is_null());
    });
}

} // namespace

json::object conditionsOf(const JudgeOptions &options, const std::string &overridesFile) {
    const Validator::Config &profile = *options.profiles.front();
    return {{"kelpctl", KELP_VERSION},
            {"build", nullIfEmpty(buildId())},
            {"os_version", nullIfEmpty(profile.osVersion().value_or(""))},
            {"developer_mode", !profile.validationEnabled()},
            {"hidden", json::array(options.hidden.begin(), options.hidden.end())},
            {"overrides", nullIfEmpty(digestOf(overridesFile))}};
}

JudgedBefore::JudgedBefore(const std::filesystem::path &file, json::object conditions) :
    name_(file), conditions_(std::move(conditions)), file_(locked(file)) {
    readLines();
}

void JudgedBefore::readLines() {
    std::ifstream input("/proc/self/fd/" + std::to_string(file_.get()));
    std::string line;
    off_t end = 0;
    for (std::size_t number = 1; std::getline(input, line) && !input.eof(); ++number) {
        try {
            remember(line);
        } catch (const std::exception &) {
            throw std::runtime_error("Line " + std::to_string(number) + " of " + name_ + " is no report");
        }
        end += std::ssize(line) + 1;
    }
    if (input.bad())
        raise("Couldn't read " + name_);
    // The unfinished line of an interrupted run; any other text is foreign.
    if (!line.starts_with(jsonLineBeginning) && !jsonLineBeginning.starts_with(line))
        throw std::runtime_error(name_ + " holds something else than reports");
    if (!line.empty() && ::ftruncate(file_.get(), end) != 0)
        raise("Couldn't cut " + name_);
}

/// Replaces the verdict of an earlier line. Raises some exception for a line that is no report.
void JudgedBefore::remember(const std::string &line) {
    const json::value value = json::parse(line);
    const json::object &report = value.as_object();
    const json::string &verdict = report.at("verdict").as_string();
    verdicts_[keyOf(report, conditions_)] = verdict == nameOf(Verdict::Refused)    ? Newest::Refused
                                            : verdict != nameOf(Verdict::Accepted) ? Newest::Incomplete
                                            : hasWarning(report) ? Newest::AcceptedWithWarning
                                                                 : Newest::Accepted;
}

std::optional<KnownVerdict> JudgedBefore::find(const std::string &sha256, const std::string &profile) const {
    json::object line = conditions_;
    line["profile"] = profile;
    line["sha256"] = sha256;
    const auto found = verdicts_.find(keyOf(line, conditions_));
    if (found == verdicts_.end() || found->second == Newest::Incomplete)
        return std::nullopt;
    return KnownVerdict{found->second == Newest::Refused, found->second == Newest::AcceptedWithWarning};
}

void JudgedBefore::add(const std::string &text) {
    const off_t end = ::lseek(file_.get(), 0, SEEK_END);
    try {
        writeWhole(file_.get(), text);
    } catch (const std::system_error &error) {
        // The next run would cut it too; until then other readers find whole lines.
        [[maybe_unused]] const int result = ::ftruncate(file_.get(), end);
        throw std::runtime_error("Couldn't write to " + name_ + ": " + error.code().message());
    }
    remember(text);
}

} // namespace KelpCtl
