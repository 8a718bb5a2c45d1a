#include "kelp/core/kelp/mappings/mapping-files.h"

#include "kelp/core/common/copy.h"
#include "kelp/core/common/extended-attributes.h"
#include "kelp/core/common/filesystem.h"
#include "kelp/core/common/or-raise.h"
#include "kelp/core/common/path-tests.h"

namespace fs = std::filesystem;

namespace Core::KELP {

namespace {

using Common::Error;
using Common::ErrorCode;
using Common::LogLevel;
using Common::LogStream;

/// The sole mark that tells a copied mapping from an unrelated file.
constexpr const char *targetAttribute = "user.kelp.mapping.target";

/// A relative target counts from the mapping's own directory: counted from the working directory, a healthy
/// link of the system such as "sh -> dash" would look broken and be lost.
bool isBroken(const fs::path &mapping) {
    // Nothing is there, as a rule: told by one look, without an exception on the way.
    if (fs::symlink_status(mapping).type() == fs::file_type::not_found)
        return false;
    return isMapping(mapping) && !Common::exists(mapping.parent_path() / mappingTarget(mapping));
}

void removeIfBroken(const fs::path &mapping) {
    try {
        if (!isBroken(mapping))
            return;
        LogStream(LogLevel::Info) << "Cleaning up broken mapping: " << mapping;
        Common::removeAll(mapping);
    } catch (const std::exception &error) {
        LogStream(LogLevel::Warning) << error;
        LogStream(LogLevel::Warning) << "Couldn't clean up broken mapping";
    }
}

/// A copy has its attribute before it has its name: one without would be nobody's, and stay for good.
void copyAsMapping(const fs::path &source, const fs::path &target) {
    if (Common::isSymlink(source) && Common::isDirectory(source))
        Common::createSymlink(source, target);
    else
        Common::copyInOneStep(source, target, [&](const fs::path &copy) {
            Common::setExtendedAttribute(copy, targetAttribute, source.string());
        });
}

} // namespace

fs::path mappingTarget(const fs::path &path) {
    try {
        return Common::isSymlink(path) ? Common::readSymlink(path)
                                       : fs::path(Common::extendedAttribute(path, targetAttribute));
    } catch (const std::exception &) {
        throw Error(ErrorCode::Internal, "Coulnd't retrieve target of " + path.string() + " mapping");
    }
}

bool isMapping(const fs::path &path) {
    try {
        mappingTarget(path);
        return true;
    } catch (const Error &) {
        return false;
    }
}

bool isMappingOf(const fs::path &path, const fs::path &source) {
    try {
        const fs::path target = mappingTarget(path);
        const bool isCopiedLink = Common::isSymlink(path) && Common::isSymlink(source);
        return target == source || (isCopiedLink && target == Common::readSymlink(source));
    } catch (const Error &) {
        return false;
    }
}

void createMapping(const fs::path &source, const fs::path &target, MappingMode mode) {
    removeIfBroken(target);
    if (Common::exists(target))
        throw Error(ErrorCode::FileConflict,
                    "Attempt to overwrite existing file using mapping: " + target.string());
    Common::orRaise(ErrorCode::Filesystem,
                    "Couldn't create mapping: " + source.string() + " -> " + target.string(), [&] {
                        if (mode == MappingMode::Link)
                            Common::createSymlink(source, target);
                        else
                            copyAsMapping(source, target);
                    });
}

} // namespace Core::KELP
