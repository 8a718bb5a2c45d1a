#include "kelp/core/kelp/mending/finding.h"

#include <array>

namespace Core::KELP {

const char *nameOf(FindingKind kind) {
    // In the order of the enumeration; docs/recovery.md tells people what each of them means.
    constexpr std::array names = {"staged",
                                  "unfinished-update",
                                  "rescued",
                                  "unexamined",
                                  "unreadable-descriptor",
                                  "missing",
                                  "dead",
                                  "changed",
                                  "foreign",
                                  "unlisted",
                                  "stray",
                                  "stale-version",
                                  "leftover",
                                  "unreadable-lines",
                                  "unregistered",
                                  "unbound",
                                  "orphan-binding",
                                  "altered",
                                  "mode",
                                  "owner",
                                  "type",
                                  "gone",
                                  "attribute",
                                  "still-in-rpm"};
    return names.at(static_cast<std::size_t>(kind));
}

} // namespace Core::KELP
