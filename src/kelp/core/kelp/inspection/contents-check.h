#pragma once

#include "kelp/core/kelp/inspection/unread.h"
#include "kelp/core/kelp/package/contents-list.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace Core::KELP {

/// One way in which a version's tree is not what its list says.
struct Difference {
    enum class Kind { Altered, Mode, Owner, Type, Gone, Extra, Attribute };

    Kind kind;
    std::string path; ///< In the version's directory.
    std::string text; ///< "has mode 600, and not 644".
    /// Of a configuration file, whose content people may change: to be told, and no fault.
    bool isExpected = false;
    ContentsEntry listed = {}; ///< Nothing of Extra.
};

/// "altered", "mode".
const char *nameOf(Difference::Kind kind);

/// Holds the tree of a version of the package against its list.
class ContentsCheck {
public:
    /// `version` is the version's directory itself, and no link to it.
    ContentsCheck(std::string id, std::filesystem::path version, const ContentsList &list) :
        id_(std::move(id)), version_(std::move(version)), list_(&list) {}

    /// What can be told without reading a file: all but content of the same length. What could not be looked
    /// at goes to `unread`, and nothing below it differs.
    std::vector<Difference> look(Unread &unread);

    /// The same, and the content of each file is read; `step` is called for each of them.
    std::vector<Difference> verify(Unread &unread, const std::function<void()> &step);

private:
    void compare(Unread &unread);
    void compareEntry(const ContentsEntry &listed, const ContentsEntry &found);
    void compareAttribute(const ContentsEntry &listed, Unread &unread);
    void readAll(Unread &unread, const std::function<void()> &step);
    void addExtra(const std::vector<ContentsEntry> &found);
    void add(Difference::Kind kind, const ContentsEntry &listed, std::string text);

    std::string id_;
    std::filesystem::path version_;
    const ContentsList *list_;
    std::vector<Difference> differences_;
    std::vector<const ContentsEntry *> comparable_; ///< Files that may have the content of their entry.
};

} // namespace Core::KELP
