#pragma once

#include "kelp/core/kelp/inspection/unread.h"
#include "kelp/core/kelp/package/contents-list.h"

#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace Core::KELP {

class OpenTree;

/// A file of a version: its entry in the list, and the found one, to be completed.
struct FoundFile {
    const ContentsEntry *listed;
    ContentsEntry *found;
};

/// Reads the attribute of one file, like lgetxattr(2).
using GetAttribute = std::function<long(char *value, std::size_t size)>;

/// Whether the file carries the id. If the look fails, the id counts as carried, and the failure goes to
/// `unread`.
bool carriesOwnId(const std::string &id, const std::string &path, Unread &unread, const GetAttribute &get);

/// Reads the files of a version that may have the listed content, and the attributes of those that should
/// carry the package's id. All arguments must outlive the object.
class ContentsReading {
public:
    ContentsReading(const std::string &id, const std::filesystem::path &version,
                    const std::vector<FoundFile> &files, const std::function<void()> &step) :
        id_(id), version_(version), files_(files), step_(step) {}

    /// Reads by two threads: most files are small, and the system's work for each takes longer than its
    /// bytes. Calls `step` for each file, from one thread at a time. An unreadable file is not completed.
    void run(Unread &unread);

private:
    struct Share {
        std::size_t begin;
        std::size_t end;
    };

    void readAll();
    Share takeShare(std::size_t done);
    void read(const FoundFile &file, OpenTree &tree, Unread &unread) const;

    const std::string &id_;
    const std::filesystem::path &version_;
    const std::vector<FoundFile> &files_;
    const std::function<void()> &step_;
    std::mutex mutex_; ///< Of all below, and `step_`.
    std::size_t next_ = 0;
    std::map<std::size_t, Unread> missed_; ///< By files, in any order of the threads.
};

} // namespace Core::KELP
