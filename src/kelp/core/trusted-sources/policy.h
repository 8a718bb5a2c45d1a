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

/// Sets a switch durably. Makes a missing database, with its directory. After a kill before the return, the
/// switch has its old value or the new one. Raises as SQLiteDatabase does, also if the database lacks the
/// switch, and then leaves the switch as it was. Raises ErrorCode::Filesystem when the directory cannot be
/// made or flushed; if it was not flushed, a power cut may bring the old value back. The caller holds the
/// writers' lock.
void setPolicy(const IConfiguration &configuration, PolicySetting setting, bool isAllowed);

} // namespace Core::TrustedSources
