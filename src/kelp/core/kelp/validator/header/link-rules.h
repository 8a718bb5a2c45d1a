#pragma once

namespace Validator {

struct FileInfo;
struct MetaStage;

/// A symbolic link of a package leads to an entry of the same package. The target is resolved by its words
/// alone: "../" at its beginning is followed, "./" and ".." further on are names like any other.
void checkLink(const MetaStage &stage, const FileInfo &link);

} // namespace Validator
