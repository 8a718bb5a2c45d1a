#include "kelp/core/kelp/package/contents-list.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/foreign-text.h"
#include "kelp/core/kelp/package/store-names.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <climits>
#include <sstream>
#include <string_view>

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCode;
using Common::FileDescriptor;
using Type = ContentsEntry::Type;

/// By descriptors: a directory of the tree may have another owner by now.
class TreeLook {
public:
    TreeLook(const fs::path &version, const MissedContents &missed, const ContentsVisit &visit) :
        version_(version), missed_(missed), visit_(visit) {}

    void run() {
        attempt({}, [&] { lookInto(AT_FDCWD, version_, {}); });
    }

private:
    static constexpr int directoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

    template<class Look>
    void attempt(const std::string &path, const Look &look) {
        try {
            look();
        } catch (const Error &error) {
            if (!missed_)
                throw;
            missed_(path, error);
        }
    }

    void lookInto(int parent, const std::string &name, const std::string &path) {
        const FileDescriptor directory(::openat(parent, name.c_str(), directoryFlags));
        const auto names = Common::namesIn(directory);
        if (!names)
            raise("Couldn't read directory: ", path);
        for (const std::string &entry : *names)
            if (std::string below = path.empty() ? entry : path + '/' + entry; !isStoreOwn(below))
                attempt(below, [&] { lookAt(directory.get(), entry, below); });
    }

    void lookAt(int directory, const std::string &name, const std::string &path) {
        constexpr unsigned lowModeBits = 0777;
        struct stat status = {};
        if (::fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
            raise("Couldn't look at ", path);
        ContentsEntry entry;
        entry.type = S_ISDIR(status.st_mode)   ? Type::Directory
                     : S_ISREG(status.st_mode) ? Type::File
                     : S_ISLNK(status.st_mode) ? Type::Link
                                               : Type::Other;
        entry.mode = status.st_mode & lowModeBits;
        entry.isPrivileged = S_ISREG(status.st_mode) && (status.st_mode & (S_ISUID | S_ISGID)) != 0;
        entry.owner = status.st_uid;
        entry.group = status.st_gid;
        entry.size = entry.type == Type::File ? static_cast<std::uint64_t>(status.st_size) : 0;
        if (entry.type == Type::Link)
            entry.target = targetOf(directory, name, path);
        entry.path = path;
        visit_(entry, directory, name);
        if (S_ISDIR(status.st_mode))
            lookInto(directory, name, path);
    }

    std::string targetOf(int directory, const std::string &name, const std::string &path) const {
        char text[PATH_MAX];
        const ssize_t size = ::readlinkat(directory, name.c_str(), text, sizeof text);
        if (size < 0)
            raise("Couldn't look at ", path);
        return {text, static_cast<std::size_t>(size)};
    }

    [[noreturn]] void raise(const char *words, const std::string &path) const {
        const int reason = errno;
        throw Error(ErrorCode::Filesystem, words + (path.empty() ? version_ : version_ / path).string(),
                    reason);
    }

    fs::path version_;
    const MissedContents &missed_;
    const ContentsVisit &visit_;
};

} // namespace

bool carriesId(const fs::path &file, const std::string &id) {
    // One byte more than the id, so that a longer value differs.
    std::string value(id.size() + 1, '\0');
    const ssize_t size = ::lgetxattr(file.c_str(), applicationIdAttribute, value.data(), value.size());
    return size >= 0 && std::string_view(value).substr(0, static_cast<std::size_t>(size)) == id;
}

std::vector<ContentsEntry> contentsOfTree(const fs::path &version, const MissedContents &missed,
                                          const ContentsVisit &visit, std::size_t expected) {
    std::vector<ContentsEntry> entries;
    entries.reserve(expected);
    const ContentsVisit keep = [&](ContentsEntry &entry, int directory, const std::string &name) {
        if (visit)
            visit(entry, directory, name);
        entries.push_back(std::move(entry));
    };
    TreeLook(version, missed, keep).run();
    return entries;
}

void forEachOfTree(const fs::path &version, const ContentsVisit &visit) {
    TreeLook(version, {}, visit).run();
}

} // namespace Core::KELP

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Type = ContentsEntry::Type;

constexpr std::string_view header = "kelp contents 1";
constexpr std::string_view types = "dfl"; ///< In the order of the enumeration.
constexpr std::size_t digestLength = 64;
constexpr std::size_t longLine = 256;
constexpr unsigned allModeBits = 0777;

/// In the order in which a list has their letters.
struct Flag {
    char letter;
    bool ContentsEntry::*isSet;
};
constexpr std::array flags = {Flag{'c', &ContentsEntry::isConfiguration},
                              Flag{'s', &ContentsEntry::isSignable}, Flag{'m', &ContentsEntry::isChanged},
                              Flag{'h', &ContentsEntry::isHashed}};
constexpr char privileged = 'p'; ///< After these, on the rare file that is.

/// Unwritten parts of it take no memory.
std::string reserved(std::size_t size) {
    std::string text;
    text.reserve(size);
    return text;
}

void formatEntry(std::ostream &lines, const ContentsEntry &entry) {
    lines << types.at(static_cast<std::size_t>(entry.type)) << ' ' << std::oct << entry.mode << std::dec
          << ' ' << entry.owner << ' ' << entry.group << ' ' << entry.size << ' '
          << (entry.digest.empty() ? "-" : entry.digest) << ' '
          << (entry.target.empty() ? "-" : Common::escapeWord(entry.target)) << ' ';
    for (const Flag &flag : flags)
        lines << (entry.*flag.isSet ? flag.letter : '-');
    lines << (entry.isPrivileged ? "p " : " ") << Common::escapeLine(entry.path) << '\n';
}

/// The words of one line; remembers whether one was wrong.
class Words {
public:
    explicit Words(std::string_view line) : rest_(line) {}

    std::string_view next() {
        const std::size_t end = rest_.find(' ');
        const std::string_view word = rest_.substr(0, end);
        isWhole_ = isWhole_ && end != std::string_view::npos && !word.empty();
        rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
        return word;
    }

    template<class Number>
    Number number(int base = 10) {
        const std::string_view word = next();
        Number number = 0;
        const auto result = std::from_chars(word.begin(), word.end(), number, base);
        isWhole_ = isWhole_ && result.ec == std::errc() && result.ptr == word.end();
        return number;
    }

    std::string_view rest() const { return rest_; }
    bool isWhole() const { return isWhole_; }

private:
    std::string_view rest_;
    bool isWhole_ = true;
};

bool parseFlags(std::string_view word, ContentsEntry &entry) {
    entry.isPrivileged = word.ends_with(privileged);
    if (entry.isPrivileged)
        word.remove_suffix(1);
    bool isWhole = word.size() == flags.size();
    for (std::size_t i = 0; isWhole && i < flags.size(); ++i) {
        entry.*flags.at(i).isSet = word[i] == flags.at(i).letter;
        isWhole = word[i] == flags.at(i).letter || word[i] == '-';
    }
    return isWhole;
}

/// Root acts on the paths of the list: they must not lead out.
bool isWithin(const std::string &path) {
    for (std::size_t begin = 0; begin <= path.size();) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        const std::string_view name(path.data() + begin, end - begin);
        if (name.empty() || name == "." || name == ".." || name.find('\0') != std::string_view::npos)
            return false;
        begin = end + 1;
    }
    return !isStoreOwn(path);
}

bool isDigest(std::string_view word) {
    return word.size() == digestLength &&
           word.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

std::optional<ContentsEntry> parseEntry(std::string_view line) {
    Words words(line);
    ContentsEntry entry;
    const std::string_view letter = words.next();
    entry.mode = words.number<unsigned>(8);
    entry.owner = words.number<std::uint32_t>();
    entry.group = words.number<std::uint32_t>();
    entry.size = words.number<std::uint64_t>();
    const std::string_view digest = words.next();
    const std::string_view target = words.next();
    const bool hasFlags = parseFlags(words.next(), entry);
    const std::size_t type = letter.size() == 1 ? types.find(letter) : std::string_view::npos;
    if (!words.isWhole() || !hasFlags || type == std::string_view::npos || entry.mode > allModeBits)
        return std::nullopt;
    entry.type = static_cast<Type>(type);
    entry.path = Common::unescapeLine(words.rest());
    if (entry.type == Type::File)
        entry.digest = digest;
    else if (entry.type == Type::Link)
        entry.target = Common::unescapeWord(target);
    const bool isWhole = entry.type == Type::File ? isDigest(digest) : digest == "-";
    return isWhole && (entry.type == Type::Link || target == "-") && isWithin(entry.path)
               ? std::optional(std::move(entry))
               : std::nullopt;
}

/// Takes the first line off a text; nothing when it has no complete line.
std::optional<std::string_view> takeLine(std::string_view &text) {
    const std::size_t end = text.find('\n');
    if (end == std::string_view::npos)
        return std::nullopt;
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end + 1);
    return line;
}

} // namespace

ContentsText::ContentsText(std::size_t expected, const std::string &foundOn) :
    lines_(reserved(expected * longLine), std::ios::ate) {
    lines_ << header << '\n';
    if (!foundOn.empty())
        lines_ << "found " << foundOn << '\n';
}

void ContentsText::add(const ContentsEntry &entry) {
    formatEntry(lines_, entry);
    ++count_;
}

std::string ContentsText::finish() {
    lines_ << "end " << count_ << '\n';
    return std::move(lines_).str();
}

std::string ContentsList::format() const {
    ContentsText text(entries.size(), foundOn);
    for (const ContentsEntry &entry : entries)
        text.add(entry);
    return text.finish();
}

std::optional<ContentsList> ContentsList::parse(const std::string &text) {
    constexpr std::string_view found = "found ";
    std::string_view rest = text;
    if (takeLine(rest) != header)
        return std::nullopt;
    ContentsList list;
    list.entries.reserve(static_cast<std::size_t>(std::ranges::count(rest, '\n')));
    if (rest.starts_with(found))
        list.foundOn = takeLine(rest).value_or(found).substr(found.size());
    while (const auto line = takeLine(rest)) {
        if (line->starts_with("end "))
            return rest.empty() && *line == "end " + std::to_string(list.entries.size())
                       ? std::optional(std::move(list))
                       : std::nullopt;
        auto entry = parseEntry(*line);
        if (!entry)
            return std::nullopt;
        list.entries.push_back(std::move(*entry));
    }
    return std::nullopt;
}

std::optional<ContentsList> ContentsList::read(const fs::path &version) {
    const auto text = Common::readIfExists(version / StoreName::contentsList);
    return text ? parse(*text) : std::nullopt;
}

void ContentsList::write(const fs::path &version, Common::Durability durability) const {
    Common::replaceFile(version / StoreName::contentsList, format(), durability);
}

bool isStoreOwn(const std::string &path) {
    std::string_view name = std::string_view(path).substr(0, path.find('/'));
    if (name.size() == path.size() && name.ends_with(".new"))
        name.remove_suffix(4);
    return name == StoreName::resources ||
           std::ranges::find(StoreName::files, name) != StoreName::files.end();
}

} // namespace Core::KELP
