#pragma once

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/files/durable-file.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace Core::KELP {

/// One entry of a version's tree.
struct ContentsEntry {
    enum class Type { Directory, File, Link, Other };

    Type type = Type::Other;
    unsigned mode = 0; ///< The low nine bits.
    std::uint32_t owner = 0;
    std::uint32_t group = 0;
    std::uint64_t size = 0;       ///< Of a file, in bytes.
    std::string digest;           ///< Of a file: the SHA-256 in lower-case hexadecimal digits.
    std::string target;           ///< Of a link: its text.
    bool isConfiguration = false; ///< The package expects people to change it.
    bool isSignable = false;      ///< The file carries the application's id.
    bool isChanged = false;       ///< It was not what the package brought when it was staged.
    bool isHashed = false;        ///< The digest was computed, and not taken from the package's header.
    bool isPrivileged = false;    ///< The file has the set-user-id or set-group-id bit.
    std::string path;             ///< Relative. Text, for lists are long and path objects are large.

    bool operator==(const ContentsEntry &) const = default;
};

/// The staged contents of a version: the file "contents.list" in its directory. docs/formats.md has the form.
struct ContentsList {
    /// Empty for a list made at the staging. A list made later, of a version that had none, has its day, as
    /// YYYY-MM-DD.
    std::string foundOn;
    std::vector<ContentsEntry> entries; ///< Each directory before what lies in it.

    /// The bytes of the file, and back. Nothing for text that is torn, is no such list, or names a path that
    /// leads out of the version or is one of the store's own. format() cannot take an entry of Type::Other.
    std::string format() const;
    static std::optional<ContentsList> parse(const std::string &text);

    /// The list of the version in a directory; nothing when it has none, or one that says nothing. Raises as
    /// Common::readIfExists() does.
    static std::optional<ContentsList> read(const std::filesystem::path &version);

    /// Replaces it in one step, as Common::replaceFile() does.
    void write(const std::filesystem::path &version, Common::Durability durability) const;
};

/// The text of a list, added entry by entry: its maker need not hold all entries at once.
class ContentsText {
public:
    /// `expected` is the likely number of entries: a text that grows takes twice the memory.
    explicit ContentsText(std::size_t expected, const std::string &foundOn = {});

    void add(const ContentsEntry &entry);

    /// Ends the text, and gives it away.
    std::string finish();

private:
    std::ostringstream lines_;
    std::size_t count_ = 0;
};

/// The attribute by which the platform knows whose a file is: its application's id.
inline constexpr const char *applicationIdAttribute = "security.appid";

/// Whether a file, and not what a link there leads to, carries this id. False also after a failed look.
bool carriesId(const std::filesystem::path &file, const std::string &id);

/// Whether a path in a version's directory is one of the store's own, which no list names: the descriptor,
/// the lists, the plan, the resources, and the temporary files of a killed run that wrote one.
bool isStoreOwn(const std::string &path);

/// Takes an entry that could not be looked at: its path in the version, "" for the version itself, and the
/// error, ErrorCode::Filesystem "Couldn't read directory: PATH" or "Couldn't look at PATH". Also takes a
/// Common::Error of the visit to the entry.
using MissedContents = std::function<void(const std::string &path, const Common::Error &error)>;

/// Visits each entry, by its name in an open directory. May fill in values, and take the entry.
using ContentsVisit = std::function<void(ContentsEntry &entry, int directory, const std::string &name)>;

/// The entries of a version's tree: each directory before what lies in it, and the names of one directory in
/// byte order. Leaves out the store's own names, and follows no link. Digests, and all flags but
/// `isPrivileged`, stay unset unless `visit` sets them. Leaves out an entry that cannot be looked at, and the
/// content of a directory that cannot be read. Gives the error to `missed`, or raises it if there is no
/// `missed`. `expected` is the likely number of entries: a list that grows takes twice the memory.
std::vector<ContentsEntry> contentsOfTree(const std::filesystem::path &version,
                                          const MissedContents &missed = {}, const ContentsVisit &visit = {},
                                          std::size_t expected = 0);

/// The same, one after the other. Raises what `visit` raises.
void forEachOfTree(const std::filesystem::path &version, const ContentsVisit &visit);

} // namespace Core::KELP
