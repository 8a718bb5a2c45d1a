#pragma once

#include "kelp/core/kelp/inspection/unread.h"
#include "kelp/core/kelp/package/contents-list.h"

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace Core::KELP {

/// One difference between a version's tree and its list.
struct Difference {
    enum class Kind { Altered, Mode, Owner, Type, Gone, Extra, Attribute };

    Kind kind;
    std::string path; ///< In the version's directory.
    std::string text; ///< "has mode 600, and not 644".
    /// In a configuration file, whose content people may change: reported, but no fault.
    bool isExpected = false;
    ContentsEntry listed = {}; ///< Nothing of Extra.
};

/// "altered", "mode".
const char *nameOf(Difference::Kind kind);

struct FoundFile;

/// Holds the tree of a version of the package against its list.
class ContentsCheck {
public:
    /// `version` is the version's directory itself, and no link to it.
    /// `list` must outlive the object.
    ContentsCheck(std::string id, std::filesystem::path version, const ContentsList &list) :
        id_(std::move(id)), version_(std::move(version)), list_(&list) {}

    /// The differences that show without reading a file: all but content of the same length. An entry that
    /// could not be looked at goes to `unread`; no difference below it is reported.
    std::vector<Difference> look(Unread &unread);

    /// The same, and reads the content of each file whose size fits, by two threads. Calls `step` for each
    /// file, from one thread at a time.
    std::vector<Difference> verify(Unread &unread, const std::function<void()> &step);

private:
    std::vector<Difference> compare(Unread &unread,
                                    const std::function<void(const std::vector<FoundFile> &files)> &examine);
    void compareEntry(const ContentsEntry &listed, const ContentsEntry &found);
    void addExtra(const std::string &path);
    void add(Difference::Kind kind, const ContentsEntry &listed, std::string text);
    const ContentsEntry *find(const std::string &path);

    std::string id_;
    std::filesystem::path version_;
    const ContentsList *list_;
    std::size_t next_ = 0; ///< The entry after the one that was found last.
    std::unordered_map<std::string_view, std::size_t> places_; ///< Of all entries, once one is out of order.
    std::unordered_set<std::string> extra_;
    std::vector<Difference> differences_;
};

} // namespace Core::KELP
