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

/// A file of a version: what its list says, and what was found, to be completed.
struct FoundFile {
    const ContentsEntry *listed;
    ContentsEntry *found;
};

/// Asks for the attribute of one file, as lgetxattr(2) does.
using GetAttribute = std::function<long(char *value, std::size_t size)>;

/// Whether the file carries the id. What cannot be asked for counts as carried, and goes to `unread`.
bool carriesOwnId(const std::string &id, const std::string &path, Unread &unread, const GetAttribute &get);

/// Reads the files of a version of the package that may have the listed content, and asks for the
/// attributes of those that are to carry its id. What it was given must outlive the object.
class ContentsReading {
public:
    ContentsReading(const std::string &id, const std::filesystem::path &version,
                    const std::vector<FoundFile> &files, const std::function<void()> &step) :
        id_(id), version_(version), files_(files), step_(step) {}

    /// Two threads do it, for what the system does for a file takes longer than the few bytes of most. Calls
    /// `step` for each file, by one of them at a time. Of one that cannot be read nothing is completed.
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
    std::map<std::size_t, Unread> missed_; ///< By files, whoever came to them.
};

} // namespace Core::KELP
