#pragma once

namespace Core {
class IConfiguration;
}

namespace Core::TrustedSources {

/// The two switches of the trusted sources.
enum class PolicySetting {
    MissingSource, ///< Whether packages without a source may be installed.
    WebPwa,        ///< Whether the source of web applications is allowed.
};

/// Sets a switch durably. After a kill before the return the switch has its old value or the new one. Makes a
/// missing database, with its directory. Raises as SQLiteDatabase does, also for a database that lacks the
/// switch; then the switch is as it was. Raises ErrorCode::Filesystem too: when the directory cannot be made,
/// and when it cannot be flushed. After the latter a power cut may bring the old value back. The caller holds
/// the writers' lock.
void setPolicy(const IConfiguration &configuration, PolicySetting setting, bool isAllowed);

} // namespace Core::TrustedSources
