#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace Common {

class FileDescriptor;

// Writing that survives a power cut. All raise ErrorCode::Filesystem after logging the system's reason.

/// Replaces the content of `path`, durably. Raises "Unable to open PATH file for writing", or "Failed to
/// write data to PATH file". The latter, and a kill, leave a file of undefined content.
void writeDurably(const std::filesystem::path &path, std::string_view content);

/// Whether an operation's writes are on disk on its return. A later flush of the filesystem suffices if
/// something durable, such as a journal, makes the operation repeat after a power cut.
enum class Durability { Flushed, Deferred };

/// Gives `path` the new content in one step: after a failure or a kill it has the old content or the new,
/// never a mix. After a power cut that holds with Durability::Flushed; with Durability::Deferred the file may
/// then have any content. Writes the content to PATH.new and renames that to `path`. Does not flush the
/// rename: until the filesystem writes it, in order with its other changes, a power cut brings the old
/// content back. Raises as writeDurably() does, with `path` in the text, after removing PATH.new. A kill may
/// leave PATH.new; the next call replaces it.
void replaceFile(const std::filesystem::path &path, std::string_view content, Durability durability);

/// replaceFile() with Durability::Flushed.
void replaceDurably(const std::filesystem::path &path, std::string_view content);

/// Flushes the content of a file that was written by other means.
void flushFile(const std::filesystem::path &path);

/// In bytes. More than our files have, except the take-over journal and the lists of a huge application.
constexpr std::uintmax_t longestText = std::uintmax_t(64) << 20;

/// The content of a file; nothing when there is none. Raises "Couldn't read file: PATH" for one that cannot
/// be read, is longer than `longest`, or is not a regular file. Does not wait for the writer of a pipe.
std::optional<std::string> readIfExists(const std::filesystem::path &path,
                                        std::uintmax_t longest = longestText);

/// The same of an open file, which `path` names. Raises std::filesystem::filesystem_error.
std::string readText(const FileDescriptor &file, const std::filesystem::path &path,
                     std::uintmax_t longest = longestText);

/// Flushes all writes to the filesystem on which `path` lies.
void flushFilesystem(const std::filesystem::path &path);

/// The same, once for each filesystem on which one of the paths lies, or lay before its removal.
void flushFilesystems(const std::set<std::filesystem::path> &paths);

} // namespace Common
