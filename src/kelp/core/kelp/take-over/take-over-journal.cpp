#include "kelp/core/kelp/take-over/take-over-journal.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/foreign-text.h"
#include "kelp/core/common/places.h"

#include <boost/lexical_cast.hpp>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCode;
using Common::escapeLine;
using Common::unescapeLine;

/// Another format gets another number: a program refuses an unknown one, and clears nothing.
constexpr const char *title = "kelp take-over 2";

char flag(bool isSet, char letter) {
    return isSet ? letter : '-';
}

void formatFile(std::ostream &lines, const JournalledFile &file) {
    lines << "file " << flag(file.isLinked, 'l');
    if (const auto &identity = file.identity)
        lines << ' ' << identity->device << ' ' << identity->inode << ' ' << identity->size << ' '
              << identity->modified;
    else
        lines << " - - - -";
    lines << ' ' << escapeLine(file.path) << '\n';
}

void formatTarget(std::ostream &lines, const JournalledTarget &target) {
    lines << "source " << escapeLine(target.source) << "\ntarget ";
    if (target.file)
        lines << *target.file;
    else
        lines << '-';
    lines << ' ' << escapeLine(target.path) << '\n';
}

void formatDirectory(std::ostream &lines, const JournalledDirectory &directory) {
    lines << "directory " << flag(directory.isGenerated, 'g') << flag(directory.isAbsent, 'a')
          << flag(directory.isRecorded, 'r') << ' ' << escapeLine(directory.path) << '\n';
}

void formatEntry(std::ostream &lines, const JournalEntry &entry) {
    lines << "package " << escapeLine(entry.id) << "\nversion " << escapeLine(entry.version) << "\nheader "
          << entry.instance << ' ' << escapeLine(entry.digest) << "\ndisks " << entry.store.inode << ' '
          << entry.store.born << ' ' << entry.staging.inode << ' ' << entry.staging.born << "\nstaging "
          << escapeLine(entry.path.native()) << '\n';
    if (entry.orgName)
        lines << "orgname " << escapeLine(*entry.orgName) << '\n';
    if (entry.appName)
        lines << "appname " << escapeLine(*entry.appName) << '\n';
    for (const auto &[key, value] : entry.extras)
        // Keys are our own words, without spaces; values of packages and certificates are escaped.
        lines << "extra " << key << ' ' << escapeLine(value) << '\n';
    for (const JournalledFile &file : entry.files)
        formatFile(lines, file);
    for (const JournalledTarget &target : entry.targets)
        formatTarget(lines, target);
    for (const JournalledDirectory &directory : entry.directories)
        formatDirectory(lines, directory);
}

Error damaged() {
    return {ErrorCode::Internal, "Couldn't read the take-over journal: " + TakeOverJournal::path().string() +
                                     "; see \"A journal that cannot be read\" in recovery.md"};
}

/// The words of one line, from the left. Raises for a word that is missing or of the wrong kind.
class Words {
public:
    explicit Words(const std::string &line) : rest_(line) {}

    std::string next() {
        const std::size_t end = rest_.find(' ');
        if (end == std::string::npos)
            throw damaged();
        std::string word = rest_.substr(0, end);
        rest_.erase(0, end + 1);
        return word;
    }

    template<class Number>
    Number nextNumber() {
        return numberOf<Number>(next());
    }

    /// The last value of a line, which alone may hold spaces.
    std::string rest() const { return unescapeLine(rest_); }

    template<class Number>
    Number lastNumber() const {
        return numberOf<Number>(rest_);
    }

private:
    template<class Number>
    static Number numberOf(const std::string &word) {
        // lexical_cast takes a negative number for a large one.
        if (std::is_unsigned_v<Number> && word.starts_with('-'))
            throw damaged();
        try {
            return boost::lexical_cast<Number>(word);
        } catch (const boost::bad_lexical_cast &) {
            throw damaged();
        }
    }

    std::string rest_;
};

/// A letter of `letters` or a dash at each place.
std::string parseFlags(Words &words, std::string_view letters) {
    std::string flags = words.next();
    bool isRight = flags.size() == letters.size();
    for (std::size_t i = 0; isRight && i < letters.size(); ++i)
        isRight = flags[i] == letters[i] || flags[i] == '-';
    if (!isRight)
        throw damaged();
    return flags;
}

JournalledFile parseFile(Words words) {
    JournalledFile file;
    file.isLinked = parseFlags(words, "l") == "l";
    // A look ahead: anything but a dash is the first of the four numbers.
    Words absent = words;
    if (absent.next() == "-") {
        for (int i = 0; i < 4; ++i)
            words.next();
    } else {
        Common::FileIdentity identity;
        identity.device = words.nextNumber<std::uint64_t>();
        identity.inode = words.nextNumber<std::uint64_t>();
        identity.size = words.nextNumber<std::uint64_t>();
        identity.modified = words.nextNumber<std::int64_t>();
        file.identity = identity;
    }
    file.path = words.rest();
    return file;
}

JournalledTarget parseTarget(Words words, const std::string &source, const JournalledFiles &files) {
    JournalledTarget target;
    target.source = source;
    Words absent = words;
    if (absent.next() == "-")
        words.next();
    else
        target.file = words.nextNumber<std::size_t>();
    target.path = words.rest();
    if (target.path.empty() || (target.file && *target.file >= files.size()))
        throw damaged();
    return target;
}

JournalledDirectory parseDirectory(Words words) {
    const std::string flags = parseFlags(words, "gar");
    return {words.rest(), flags[0] == 'g', flags[1] == 'a', flags[2] == 'r'};
}

/// `source` is that of the target whose line comes next.
void parsePart(const std::string &name, Words words, JournalEntry &entry,
               std::optional<std::string> &source) {
    // Each target stands right after its source.
    if (source.has_value() != (name == "target"))
        throw damaged();
    if (name == "file")
        entry.files.push_back(parseFile(std::move(words)));
    else if (name == "source")
        source = words.rest();
    else if (name == "target")
        entry.targets.push_back(parseTarget(std::move(words), *std::exchange(source, {}), entry.files));
    else if (name == "directory")
        entry.directories.push_back(parseDirectory(std::move(words)));
    else
        // The right action may depend on an unknown word.
        throw damaged();
}

void parseFact(const std::string &name, Words words, JournalEntry &entry,
               std::optional<std::string> &source) {
    if (name == "version") {
        entry.version = words.rest();
    } else if (name == "header") {
        entry.instance = words.nextNumber<std::uint32_t>();
        entry.digest = words.rest();
    } else if (name == "disks") {
        entry.store.inode = words.nextNumber<std::uint64_t>();
        entry.store.born = words.nextNumber<std::int64_t>();
        entry.staging.inode = words.nextNumber<std::uint64_t>();
        entry.staging.born = words.lastNumber<std::int64_t>();
    } else if (name == "staging") {
        entry.path = words.rest();
    } else if (name == "orgname") {
        entry.orgName = words.rest();
    } else if (name == "appname") {
        entry.appName = words.rest();
    } else if (name == "extra") {
        const std::string key = words.next();
        entry.extras[key] = words.rest();
    } else {
        parsePart(name, std::move(words), entry, source);
    }
}

/// Without these values the tree could be neither found nor used.
bool isComplete(const JournalEntry &entry) {
    return !entry.id.empty() && !entry.version.empty() && !entry.path.empty() && entry.store.inode != 0;
}

} // namespace

void JournalledTargets::push_back(const JournalledTarget &target) {
    const auto [path, source] =
        std::mismatch(target.path.rbegin(), target.path.rend(), target.source.rbegin(), target.source.rend());
    const std::string_view pathBegin(target.path.data(), static_cast<std::size_t>(target.path.rend() - path));
    const std::string_view sourceBegin(target.source.data(),
                                       static_cast<std::size_t>(target.source.rend() - source));
    if (beginnings_.empty() || beginnings_.back().path != pathBegin ||
        beginnings_.back().source != sourceBegin)
        beginnings_.push_back({std::string(pathBegin), std::string(sourceBegin), size()});
    ends_.push_back(std::string_view(target.path).substr(pathBegin.size()));
    files_.push_back(target.file ? static_cast<std::uint32_t>(*target.file) : none);
}

JournalledTarget JournalledTargets::operator[](std::size_t number) const {
    const auto next = std::ranges::upper_bound(beginnings_, number, {}, &Beginnings::first);
    const std::string end = ends_[number];
    const std::uint32_t file = files_[number];
    return {std::prev(next)->path + end, std::prev(next)->source + end,
            file == none ? std::nullopt : std::optional<std::size_t>(file)};
}

void JournalledTargets::shrinkToFit() {
    beginnings_.shrink_to_fit();
    ends_.shrinkToFit();
    files_.shrink_to_fit();
}

DirectoryMark markOf(const fs::path &path) {
    constexpr std::int64_t nanoseconds = 1'000'000'000;
    struct statx status = {};
    if (::statx(AT_FDCWD, path.c_str(), 0, STATX_INO | STATX_BTIME, &status) != 0)
        throw Error(ErrorCode::Filesystem,
                    "Couldn't look at " + path.string() + ": " + std::generic_category().message(errno));
    if ((status.stx_mask & STATX_BTIME) == 0)
        return {status.stx_ino, 0};
    // An overlay of several disks numbers its directories anew at each mount.
    struct statfs filesystem = {};
    const bool isOverlay =
        ::statfs(path.c_str(), &filesystem) == 0 && filesystem.f_type == OVERLAYFS_SUPER_MAGIC;
    return {isOverlay ? 1 : status.stx_ino, status.stx_btime.tv_sec * nanoseconds + status.stx_btime.tv_nsec};
}

fs::path TakeOverJournal::path() {
    return Common::rootPath() / "var/lib/kelp/takeover.journal";
}

std::string TakeOverJournal::format(const std::vector<JournalEntry> &entries,
                                    const std::vector<JournalEntry> &more) {
    std::ostringstream lines;
    lines << title << '\n';
    for (const auto *list : {&entries, &more})
        for (const JournalEntry &entry : *list)
            formatEntry(lines, entry);
    lines << "end " << entries.size() + more.size() << '\n';
    // Moved: the text is long.
    return std::move(lines).str();
}

std::vector<JournalEntry> TakeOverJournal::parse(std::string content) {
    const bool isTorn = !content.ends_with('\n');
    std::istringstream lines(std::move(content));
    std::vector<JournalEntry> entries;
    std::optional<std::string> source;
    std::string line;
    if (isTorn || !std::getline(lines, line) || line != title)
        throw damaged();
    while (std::getline(lines, line)) {
        Words words(line);
        const std::string name = words.next();
        if (name == "end") {
            // A file that was cut between two packages would look like a journal of fewer.
            const bool whole =
                !source && words.rest() == std::to_string(entries.size()) && !std::getline(lines, line);
            if (!whole || !std::ranges::all_of(entries, isComplete))
                throw damaged();
            return entries;
        }
        if (name == "package" && !source)
            entries.emplace_back().id = words.rest();
        else if (entries.empty())
            throw damaged();
        else
            parseFact(name, std::move(words), entries.back(), source);
    }
    throw damaged();
}

/// The tree will be moved or removed: it must be one that this program made.
void TakeOverJournal::requireWithin(const fs::path &temporaryDirectory,
                                    const std::vector<JournalEntry> &entries) {
    const auto isWithin = [&](const JournalEntry &entry) {
        const fs::path parent = entry.path.parent_path();
        std::error_code ignored;
        // Even if the directory was configured in another spelling when the path was written.
        return Common::isFileName(entry.path.filename()) &&
               (parent == temporaryDirectory || fs::equivalent(parent, temporaryDirectory, ignored));
    };
    if (!std::ranges::all_of(entries, isWithin))
        throw damaged();
}

std::vector<JournalEntry> TakeOverJournal::read(const fs::path &temporaryDirectory) {
    // It names every file on its way, and their number has no bound.
    constexpr std::uintmax_t anyLength = std::numeric_limits<std::uintmax_t>::max();
    std::optional<std::string> content = Common::readIfExists(path(), anyLength);
    // A missing journal is normal. An unreadable one raises: it may name the only copies.
    std::vector<JournalEntry> entries = content ? parse(std::move(*content)) : std::vector<JournalEntry>{};
    requireWithin(temporaryDirectory, entries);
    return entries;
}

std::set<std::string> TakeOverJournal::readIds(const fs::path &temporaryDirectory) {
    std::set<std::string> ids;
    for (JournalEntry &entry : read(temporaryDirectory))
        ids.insert(std::move(entry.id));
    return ids;
}

void TakeOverJournal::write(const std::vector<JournalEntry> &entries, const std::vector<JournalEntry> &more) {
    Common::createDirectories(path().parent_path());
    // In one step: a kill leaves the earlier journal, whose packages are all still on their way.
    Common::replaceDurably(path(), format(entries, more));
    // Its name too must be durable before the first package leaves rpm.
    Common::flushFile(path().parent_path());
}

void TakeOverJournal::remove() {
    Common::removeAll(path());
    // A journal that a power cut restores would only make the next start look again.
    Common::flushFile(path().parent_path());
}

} // namespace Core::KELP
