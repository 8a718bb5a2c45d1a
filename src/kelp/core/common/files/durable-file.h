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

/// Writes `content` to `path`, replacing what it held, and has it on disk on return. Raises "Unable to open
/// PATH file for writing", or "Failed to write data to PATH file" and then leaves a file of undefined
/// content.
void writeDurably(const std::filesystem::path &path, std::string_view content);

/// Whether what an operation writes is on disk on its return. It can be left to a later flush of the
/// filesystem where something else that is on disk, such as a journal, has the operation repeated after a
/// power cut.
enum class Durability { Flushed, Deferred };

/// Gives `path` the new content in one step: after a failure or a kill it holds the old content or the new,
/// never a mix and never less; after a power cut too with Durability::Flushed, while a deferred one may then
/// have any content. Writes a neighbour with ".new" after the name and renames it over `path`; the rename
/// itself reaches the disk with what the filesystem writes next, in order. Raises as writeDurably does, with
/// the text naming `path`, and leaves no neighbour behind.
void replaceFile(const std::filesystem::path &path, std::string_view content, Durability durability);

/// replaceFile() with Durability::Flushed.
void replaceDurably(const std::filesystem::path &path, std::string_view content);

/// Has the content of a file on disk that was written by other means.
void flushFile(const std::filesystem::path &path);

/// Makes a file that holds `size` bytes of the filesystem's space, to be removed when they are needed. Raises
/// "Couldn't reserve space: PATH", and then leaves no file.
void reserveSpace(const std::filesystem::path &path, std::uintmax_t size);

/// More than any file of the system but the take-over journal comes to, in bytes.
constexpr std::uintmax_t longestText = std::uintmax_t(64) << 20;

/// What a file holds; nothing when there is none. Raises "Couldn't read file: PATH" for one that is there and
/// cannot be read, is longer than `longest`, or is no regular file: for the writer of a pipe nobody waits.
std::optional<std::string> readIfExists(const std::filesystem::path &path,
                                        std::uintmax_t longest = longestText);

/// The same of an open file, which `path` names. Raises std::filesystem::filesystem_error.
std::string readText(const FileDescriptor &file, const std::filesystem::path &path,
                     std::uintmax_t longest = longestText);

/// Has everything on disk that was written to the filesystem on which `path` lies.
void flushFilesystem(const std::filesystem::path &path);

/// The same for each filesystem on which one of the paths lies, or would lie where it is gone, once.
void flushFilesystems(const std::set<std::filesystem::path> &paths);

} // namespace Common
