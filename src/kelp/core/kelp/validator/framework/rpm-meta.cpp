#include "kelp/core/kelp/validator/framework/rpm-meta.h"

#include "kelp/core/common/rpm/reader.h"
#include "kelp/core/common/rpm/tag-data.h"
#include "kelp/core/common/rpm/tags.h"

#include <rpm/header.h>
#include <rpm/rpmfi.h>
#include <rpm/rpmfiles.h>
#include <rpm/rpmtag.h>
#include <rpm/rpmtd.h>

#include <algorithm>
#include <mutex>
#include <span>
#include <unordered_set>
#include <utility>

namespace Validator {

namespace {

using Common::Rpm::Reader;
namespace Tag = Common::Rpm::Tag;

/// Programs count as scripts: "%post -p PROGRAM" leaves no script, but rpm runs the program.
constexpr std::int32_t scriptTags[] = {
    Tag::PreInstall,           Tag::PreUninstall,          Tag::PostInstall,
    Tag::PostUninstall,        Tag::PreTransaction,        Tag::PostTransaction,
    Tag::PreInstallProgram,    Tag::PreUninstallProgram,   Tag::PostInstallProgram,
    Tag::PostUninstallProgram, Tag::PreTransactionProgram, Tag::PostTransactionProgram,
};

/// Scripts that also run as root, when this package or another comes, goes or is verified. By numbers: librpm
/// has no names yet for the last six, but would keep them in its database.
constexpr std::int32_t otherScriptTags[] = {
    Tag::TriggerScripts,
    Tag::TriggerName,
    Tag::TriggerProgram,
    Tag::VerifyScript,
    Tag::VerifyScriptProgram,
    Tag::FileTriggerScripts,
    Tag::FileTriggerProgram,
    Tag::FileTriggerName,
    Tag::TransactionFileTriggerScripts,
    Tag::TransactionFileTriggerProgram,
    Tag::TransactionFileTriggerName,
    Tag::PreUninstallTransaction,
    Tag::PostUninstallTransaction,
    Tag::PreUninstallTransactionProgram,
    Tag::PostUninstallTransactionProgram,
    Tag::PreUninstallTransactionFlags,
    Tag::PostUninstallTransactionFlags,
};

/// Marks of dependencies on rpm itself, the loader or a file, and not on a package. rpmbuild adds such by
/// itself, so the maker may not have chosen them.
constexpr std::string_view marksOfNoPackage[] = {"rpmlib", "rtld", "/"};

/// Checks for entries, not texts: a script of an unusual type counts too.
bool hasAny(const Reader &reader, std::span<const std::int32_t> tags) {
    return std::ranges::any_of(tags,
                               [&](std::int32_t tag) { return headerIsEntry(reader.header(), tag) != 0; });
}

/// librpm gives null for a missing text: a file without an owner then is not root's.
std::string textOf(const char *text) {
    return text != nullptr ? text : "";
}

std::vector<FileInfo> filesOf(const Reader &reader) {
    // Raises for a list that contradicts itself: judged as a package without files, all of them would pass.
    const std::unique_ptr<rpmfi_s, decltype(&rpmfiFree)> iterator(
        rpmfilesIter(reader.fileList().get(), RPMFI_ITER_FWD), rpmfiFree);
    std::vector<FileInfo> files;
    files.reserve(rpmfilesFC(reader.fileList().get()));
    // Includes directories, and files that are never in the payload: all that the package claims to own.
    while (rpmfiNext(iterator.get()) >= 0)
        files.push_back({rpmfiFMode(iterator.get()), textOf(rpmfiFN(iterator.get())),
                         textOf(rpmfiFLink(iterator.get())), textOf(rpmfiFUser(iterator.get())),
                         textOf(rpmfiFGroup(iterator.get())), textOf(rpmfiFCaps(iterator.get()))});
    return files;
}

/// "(a if b)" and the like, which begin with a parenthesis as no name does.
bool isBoolean(std::string_view dependency) {
    return dependency.starts_with('(');
}

bool isOnNoPackage(std::string_view dependency) {
    return !isBoolean(dependency) && std::ranges::any_of(marksOfNoPackage, [&](std::string_view mark) {
        return dependency.find(mark) != std::string_view::npos;
    });
}

/// The soname of "libz.so.1()(64bit)"; "libz.so.1(ZLIB_1.2)(64bit)" keeps its tag.
std::string shortened(std::string_view dependency) {
    // The tag stays: by it the lists refuse a library, as for GLIBC_PRIVATE and Qt_5_PRIVATE_API. A boolean
    // dependency is not cut, which would hide its content.
    for (const std::string_view ending : {"(64bit)", "()", "(64bit)", "()"})
        if (!isBoolean(dependency) && dependency.ends_with(ending))
            dependency.remove_suffix(ending.size());
    return std::string(dependency);
}

/// The names as in the header. A boolean dependency is kept whole, so that nothing hides after its first
/// word.
void readRequirements(const Reader &reader, RpmFacts &facts) {
    const Common::Rpm::TagData data = Common::Rpm::makeTagData();
    // The texts stay in the reader's header; without the tag there are none.
    headerGet(reader.header(), Tag::RequireName, data.get(), HEADERGET_MINMEM);
    while (const char *dependency = rpmtdNextString(data.get())) {
        if (isOnNoPackage(dependency))
            facts.uncheckedRequirements.emplace_back(dependency);
        else
            facts.requirements.push_back(shortened(dependency));
    }
}

} // namespace

RpmFacts readRpmFacts(const Reader &reader) {
    RpmFacts facts;
    // A missing text is empty here: the checks refuse an empty name. Only the list of files below must be
    // complete.
    facts.name = reader.tagOr(Tag::Name, "");
    facts.version = reader.tagOr(Tag::Version, "");
    facts.release = reader.tagOr(Tag::Release, "");
    facts.vendor = reader.tagOr(Tag::Vendor, "");
    facts.architecture = reader.tagOr(Tag::Architecture, "");
    facts.provides = reader.dependencies(Tag::ProvideName);
    facts.obsoletes = reader.dependencies(Tag::ObsoleteName);
    facts.conflicts = reader.dependencies(Tag::ConflictName);
    facts.hasScripts = hasAny(reader, scriptTags);
    facts.hasOtherScripts = hasAny(reader, otherScriptTags);
    facts.files = filesOf(reader);
    readRequirements(reader, facts);
    return facts;
}

/// The views point into the paths of `facts`, which never change.
struct RpmMeta::Record {
    // Both look-ups are built once: a walk over the list for each link, import and library would take
    // quadratic time, and a package may have fifty thousand files.
    explicit Record(RpmFacts given) : facts(std::move(given)) {
        sorted.reserve(facts.files.size());
        std::ranges::transform(facts.files, std::back_inserter(sorted), &FileInfo::path);
        hashed.insert(sorted.begin(), sorted.end());
        std::ranges::sort(sorted);
    }

    RpmFacts facts;
    std::unordered_set<std::string_view> hashed;
    std::vector<std::string_view> sorted;
    // Copies of the paths of `files`, made at the first request.
    mutable std::once_flag areNamed;
    mutable std::vector<std::string> fileNames;
};

RpmMeta::RpmMeta(const std::filesystem::path &package) : RpmMeta(Common::Rpm::Reader(package)) {}

RpmMeta::RpmMeta(const Common::Rpm::Reader &package) : RpmMeta(readRpmFacts(package)) {}

RpmMeta::RpmMeta(RpmFacts facts) : record_(std::make_shared<const Record>(std::move(facts))) {}

const std::string &RpmMeta::name() const {
    return record_->facts.name;
}

const std::string &RpmMeta::version() const {
    return record_->facts.version;
}

const std::string &RpmMeta::release() const {
    return record_->facts.release;
}

const std::string &RpmMeta::vendor() const {
    return record_->facts.vendor;
}

const std::string &RpmMeta::architecture() const {
    return record_->facts.architecture;
}

bool RpmMeta::hasScripts() const {
    return record_->facts.hasScripts;
}

bool RpmMeta::hasOtherScripts() const {
    return record_->facts.hasOtherScripts;
}

const std::vector<std::string> &RpmMeta::requirements() const {
    return record_->facts.requirements;
}

const std::vector<std::string> &RpmMeta::uncheckedRequirements() const {
    return record_->facts.uncheckedRequirements;
}

const std::vector<std::string> &RpmMeta::provides() const {
    return record_->facts.provides;
}

const std::vector<std::string> &RpmMeta::obsoletes() const {
    return record_->facts.obsoletes;
}

const std::vector<std::string> &RpmMeta::conflicts() const {
    return record_->facts.conflicts;
}

const std::vector<std::string> &RpmMeta::fileNames() const {
    std::call_once(record_->areNamed, [this] {
        for (const FileInfo &file : record_->facts.files)
            record_->fileNames.push_back(file.path);
    });
    return record_->fileNames;
}

const std::vector<FileInfo> &RpmMeta::files() const {
    return record_->facts.files;
}

/// Byte by byte: "/a/" and "/a" are two paths, like all other spellings of one path.
bool RpmMeta::holds(std::string_view path) const {
    return record_->hashed.contains(path);
}

bool RpmMeta::holdsBelow(std::string_view beginning) const {
    // Paths with the same beginning are neighbours, and the first is the lower bound of that beginning.
    const auto found = std::ranges::lower_bound(record_->sorted, beginning);
    return found != record_->sorted.end() && found->starts_with(beginning);
}

std::size_t RpmMeta::impliedDirectories() const {
    std::size_t count = 0;
    std::string_view previous;
    // Paths below one directory are neighbours, so a directory that the path before lacks is new.
    for (const std::string_view path : record_->sorted) {
        const auto [end, unused] = std::ranges::mismatch(path, previous);
        const auto common = static_cast<std::size_t>(end - path.begin());
        for (std::size_t slash = path.find('/', std::max<std::size_t>(common, 1));
             slash != std::string_view::npos; slash = path.find('/', slash + 1))
            count += holds(path.substr(0, slash)) ? 0U : 1U;
        previous = path;
    }
    return count;
}

} // namespace Validator
