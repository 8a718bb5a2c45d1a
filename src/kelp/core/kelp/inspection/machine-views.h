#pragma once

#include "kelp/core/kelp/inspection/records-view.h"
#include "kelp/core/kelp/inspection/rpm-view.h"
#include "kelp/core/kelp/inspection/sources-view.h"
#include "kelp/core/kelp/inspection/store-view.h"
#include "kelp/core/kelp/inspection/unread.h"

#include <optional>
#include <vector>

namespace Core::KELP {

/// All that a machine knows of its applications, read in one look: rpm's database is copied for each. A view
/// that could not be read is empty, which says nothing about the applications.
struct MachineViews {
    std::optional<std::vector<StoredPackage>> packages;
    std::optional<std::vector<RescuedTree>> rescued;
    std::optional<std::vector<JournalEntry>> takeOvers;
    std::optional<RpmView> rpm;
    std::optional<RegistryView> registry;
    std::optional<SourcesView> sources;
    std::vector<std::string> leftBehind; ///< Packages with published files that could not be removed.
    std::optional<std::string> removal;  ///< The package whose removal was begun.
    std::optional<UnfinishedInstallation> installation; ///< The one that was begun.
    Unread unread;

    static MachineViews read(const IConfiguration &configuration);

    /// Whether every place that could hold an application was read. Then an application that is nowhere is
    /// lost.
    bool isAllThere() const { return packages && rescued && takeOvers && rpm && rpm->isWhole; }
};

} // namespace Core::KELP
