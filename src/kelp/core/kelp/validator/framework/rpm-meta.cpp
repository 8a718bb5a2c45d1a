#include "kelp/core/kelp/validator/framework/rpm-meta.h"

#include "kelp/core/common/rpm/reader.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace Validator {

/// The views point into `fileNames`, which never changes.
struct RpmMeta::Record {
    // Both look-ups are built once: checks that walk the list for each link, import and library take time by
    // the square of a package, which may hold fifty thousand files.
    explicit Record(RpmFacts given) : facts(std::move(given)) {
        fileNames.reserve(facts.files.size());
        std::ranges::transform(facts.files, std::back_inserter(fileNames), &FileInfo::path);
        hashed.insert(fileNames.begin(), fileNames.end());
        sorted.assign(fileNames.begin(), fileNames.end());
        std::ranges::sort(sorted);
    }

    RpmFacts facts;
    std::vector<std::string> fileNames;
    std::unordered_set<std::string_view> hashed;
    std::vector<std::string_view> sorted;
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
    return record_->fileNames;
}

const std::vector<FileInfo> &RpmMeta::files() const {
    return record_->facts.files;
}

/// Byte by byte: "/a/" and "/a" are two paths, and so are all forms of one path that is not plain.
bool RpmMeta::holds(std::string_view path) const {
    return record_->hashed.contains(path);
}

bool RpmMeta::holdsBelow(std::string_view beginning) const {
    // Paths with one beginning stand together, and the first of them is the first that is not less than it.
    const auto found = std::ranges::lower_bound(record_->sorted, beginning);
    return found != record_->sorted.end() && found->starts_with(beginning);
}

std::size_t RpmMeta::impliedDirectories() const {
    std::size_t count = 0;
    std::string_view previous;
    // Paths below one directory stand together, so that what the path before does not begin with is new.
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
