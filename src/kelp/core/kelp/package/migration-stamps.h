#pragma once

#include <array>

namespace Core::KELP {

/// A migration that is carried out once in the life of a machine, and the path of its stamp below the root
/// prefix: an empty file that says that it is done.
struct MigrationStamp {
    const char *name;
    const char *path;
    const char *pending = nullptr; ///< A file that says that work is left despite the stamp.
};

inline constexpr MigrationStamp rpmToStoreStamp = {"rpm_to_kelp", "var/lib/kelp/.migration_done",
                                                   "var/lib/kelp/takeover.journal"};
inline constexpr MigrationStamp organisationsToSkidStamp = {"org_to_skid",
                                                            "var/lib/kelp/.migration_skid_done"};
inline constexpr MigrationStamp integrityConfigurationStamp = {"new_integrityd",
                                                               "var/lib/kelp/.migration_integrityd_done"};

/// In the order in which they are carried out.
inline constexpr std::array migrationStamps = {rpmToStoreStamp, organisationsToSkidStamp,
                                               integrityConfigurationStamp};

} // namespace Core::KELP
