#pragma once

#include <string_view>

namespace Validator {

struct FileInfo;
struct MetaStage;
class RpmMeta;

/// A symbolic link of a package leads to an entry of the same package. The target is resolved by its words
/// alone: "../" at its beginning is followed, "./" and ".." further on are names like any other.
void checkLink(const MetaStage &stage, const FileInfo &link);

/// Whether checkLink() has nothing against where the link leads.
bool leadsIntoPackage(const RpmMeta &meta, std::string_view path, std::string_view target);

} // namespace Validator
