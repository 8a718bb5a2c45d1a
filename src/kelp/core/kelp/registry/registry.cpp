#include "kelp/core/kelp/registry/registry.h"

#include "kelp/core/common/errors/error.h"
#include "kelp/core/common/errors/log-stream.h"
#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/common/files/file-descriptor.h"
#include "kelp/core/common/files/filesystem.h"
#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/common/foreign-text.h"
#include "kelp/core/common/places.h"
#include "kelp/core/kelp/registry/registry-record.h"

#include <boost/interprocess/exceptions.hpp>
#include <boost/interprocess/sync/file_lock.hpp>
#include <boost/interprocess/sync/scoped_lock.hpp>
#include <boost/range/adaptor/reversed.hpp>

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <optional>
#include <set>
#include <sstream>
#include <string>

namespace fs = std::filesystem;

namespace Core::KELP {

fs::path registryFile() {
    return Common::belowRoot("var/lib/kelp/registry");
}

fs::path removalFile() {
    return Common::belowRoot("var/lib/kelp/removal");
}

std::optional<std::string> unfinishedRemoval() {
    Common::requireReadable(removalFile());
    const std::string text = Common::readIfExists(removalFile()).value_or("");
    // A text that is a path is no id: completing that removal would remove foreign files.
    return Common::asFileName(text.substr(0, text.find('\n')));
}

namespace {

using Common::LogLevel;
using Common::LogStream;

fs::path neighbour(const char *ending) {
    fs::path path = registryFile();
    return path += ending;
}

/// Only for root: a process that may read the file may lock it, and make us wait for ever.
bool createLockFile(const fs::path &path) {
    constexpr mode_t rootAlone = 0600;
    // Through a link it would change the mode of a foreign file, and a pipe would wait for a reader.
    const Common::FileDescriptor file(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, rootAlone));
    // An earlier version made it readable by everybody.
    if (file.get() >= 0 && ::fchmod(file.get(), rootAlone) == 0)
        return true;
    LogStream(LogLevel::Error) << "Couldn't create the registry lock file: " << path;
    return false;
}

/// Locks a file beside the registry: the registry itself is replaced meanwhile. The file is made and closed
/// before the lock: a descriptor that closes later would end the lock.
bool withExclusiveLock(const std::function<bool()> &function) {
    namespace interprocess = boost::interprocess;
    const fs::path path = neighbour(".lock");
    try {
        Common::createDirectories(path.parent_path());
        if (!createLockFile(path))
            return false;
        interprocess::file_lock lock(path.c_str());
        const interprocess::scoped_lock<interprocess::file_lock> guard(lock);
        return function();
    } catch (const interprocess::interprocess_exception &error) {
        LogStream(LogLevel::Error) << error;
        LogStream(LogLevel::Error) << "Couldn't get an exclusive registry lock";
    } catch (const std::exception &error) {
        LogStream(LogLevel::Error) << error;
    }
    return false;
}

/// The text of the registry, empty when there is none; nothing when it cannot be read.
std::optional<std::string> registryText() {
    const fs::path path = registryFile();
    try {
        // This tells absence from a failed look: taken for absence, the next write would drop all records.
        return Common::readIfExists(path).value_or("");
    } catch (const Common::Error &) {
        LogStream(LogLevel::Error) << "Couldn't open registry: " << path;
        return std::nullopt;
    }
}

/// Returns how many lines are bad; nothing when the registry cannot be read.
std::optional<std::size_t> loadRecords(const std::function<void(const RegistryRecord &)> &callback,
                                       Complaints complaints = Complaints::Logged) {
    const std::optional<std::string> text = registryText();
    if (!text)
        return std::nullopt;
    std::size_t bad = 0;
    std::istringstream stream(*text);
    for (std::string line; std::getline(stream, line);) {
        if (line.empty())
            continue;
        if (const auto record = parseRecord(line, complaints)) {
            callback(*record);
            continue;
        }
        // Skipped: one bad line must not cost the history of all others.
        ++bad;
        if (complaints == Complaints::Logged)
            LogStream(LogLevel::Warning) << "Bad registry record found: '" << line << "'";
    }
    return bad;
}

bool staysBeside(const RegistryRecord &added, const RegistryRecord &old) {
    switch (added.event()) {
    case RegistryEvent::Install:
    case RegistryEvent::Remove:
        return false;
    // Keeps the installation's time.
    case RegistryEvent::Update:
        return old.event() == RegistryEvent::Install;
    }
    return true;
}

/// The records with `added` after those that it does not supersede. The walk goes from new to old and follows
/// the chain of keys back: each record of the chain adds its previous keys.
std::vector<RegistryRecord> appended(const std::vector<RegistryRecord> &records,
                                     const RegistryRecord &added) {
    std::set<std::string> keys(added.previousKeyIds().begin(), added.previousKeyIds().end());
    keys.insert(added.keyId());

    std::vector<RegistryRecord> kept{added};
    for (const RegistryRecord &record : boost::adaptors::reverse(records)) {
        if (record.packageId() != added.packageId() || !keys.contains(record.keyId())) {
            kept.push_back(record);
            continue;
        }
        keys.insert(record.previousKeyIds().begin(), record.previousKeyIds().end());
        if (staysBeside(added, record))
            kept.push_back(record);
    }
    std::reverse(kept.begin(), kept.end());
    return kept;
}

/// Flushes the new content before the rename. Otherwise a power cut could leave an empty registry, and no
/// record of the keys.
bool writeNext(const std::string &content) {
    const fs::path next = neighbour(".next");
    try {
        Common::createDirectories(next.parent_path());
        // Not written into: it may be a link, or another name of the registry itself.
        std::error_code ignored;
        fs::remove(next, ignored);
        Common::writeDurably(next, content);
        return true;
    } catch (const std::exception &) {
        LogStream(LogLevel::Error) << "Couldn't write records to the next registry: " << next;
        return false;
    }
}

bool replaceByNext() {
    const fs::path next = neighbour(".next");
    const fs::path registry = registryFile();
    try {
        // Not flushed: until the rename is on disk, the old registry is whole.
        Common::move(next, registry);
        return true;
    } catch (const std::exception &error) {
        LogStream(LogLevel::Error) << error;
        LogStream(LogLevel::Error) << "Couldn't atomically update registry: " << next << " -> " << registry;
        return false;
    }
}

/// Keeps the file by a hard link, which takes no space, and which the later rename does not touch. After a
/// kill the next write finds that name, and makes no other.
bool keepDamaged() {
    const fs::path registry = registryFile();
    for (int number = 1;; ++number) {
        const fs::path kept = neighbour((".damaged-" + std::to_string(number)).c_str());
        std::error_code error;
        fs::create_hard_link(registry, kept, error);
        std::error_code ignored;
        if (!error || fs::equivalent(registry, kept, ignored))
            return true;
        if (error != std::errc::file_exists) {
            LogStream(LogLevel::Error)
                << "Couldn't keep the damaged registry: " << kept << ": " << error.message();
            return false;
        }
    }
}

bool append(std::span<const RegistryRecord> added, Complaints complaints = Complaints::Logged) {
    std::vector<RegistryRecord> records;
    const auto bad =
        loadRecords([&](const RegistryRecord &record) { records.push_back(record); }, complaints);
    if (!bad) {
        // A write without the records would lose them.
        LogStream(LogLevel::Error) << "Couldn't load registry records";
        return false;
    }
    if (*bad > 0 && !keepDamaged())
        return false;
    for (const RegistryRecord &record : added)
        records = appended(records, record);
    std::string content;
    for (const RegistryRecord &record : records)
        content += formatRecord(record) + "\n";
    // A kill between the two leaves an unused next registry, which the next write replaces.
    return writeNext(content) && replaceByNext();
}

} // namespace

bool Registry::foreachRecord(const std::function<void(const RegistryRecord &)> &callback) const {
    return withExclusiveLock([&] { return loadRecords(callback).has_value(); });
}

bool Registry::writeRecord(const RegistryRecord &record) const {
    return writeRecords({&record, 1});
}

bool Registry::writeRecords(std::span<const RegistryRecord> records) const {
    return withExclusiveLock([&] { return append(records); });
}

bool Registry::dropBadLines() const {
    return withExclusiveLock([] { return append({}, Complaints::Passed); });
}

} // namespace Core::KELP
