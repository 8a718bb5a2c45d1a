#pragma once

namespace Validator {

struct FileInfo;
struct MetaStage;

/// The rules on an entry of the file list by its kind, then on the ending of its name.
void checkFile(const MetaStage &stage, const FileInfo &file);

/// Objects to every directory below which the package has nothing.
void checkEmptyDirectories(const MetaStage &stage);

} // namespace Validator
