#pragma once

#include "kelp/core/common/files/durable-file.h"
#include "kelp/core/kelp/mappings/mapping-table.h"
#include "kelp/core/kelp/package/package-information.h"

#include <array>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

namespace Core::KELP {

struct PackageStaging;

/// The keys that every descriptor has, in the order in which they are missed.
inline constexpr std::array requiredDescriptorKeys = {"general.id", "general.version", "certificate.subgroup",
                                                      "certificate.id"};

/// Writes the descriptor of a version as Common::replaceFile() does. It is an ini file with the sections
/// [general], [certificate] and [prev_key_ids]. `extras` are further values, with keys "section.key". The
/// names of organisation and application are written together or not at all. Raises ErrorCode::Filesystem
/// "Couldn't create velura.pkg file: REASON"; then `path` is unchanged.
void writeDescriptor(const std::filesystem::path &path, const PackageStaging &staging,
                     const PackageInformation &extras, Common::Durability durability);

/// Does the same unless the file is there with that content already, so that one that is on disk stays so.
void ensureDescriptor(const std::filesystem::path &path, const PackageStaging &staging,
                      const PackageInformation &extras, Common::Durability durability);

/// Reads a descriptor. Keys without a value count as absent. Raises ErrorCode::Internal when the file is
/// missing, does not parse or lacks one of requiredDescriptorKeys. Raises ErrorCode::Filesystem when the
/// system cannot read the file, and when the entry there is too large or no regular file.
PackageInformation readDescriptor(const std::filesystem::path &path);

/// Whether the error that it raised is the machine's: a failed read may succeed the next time. A pipe or a
/// link to nowhere in the descriptor's place needs a person.
bool isFaultOfMachine(const std::exception &error);

/// The earlier key ids of a package's developer. They are in the order of their keys' texts, 10 before 2, as
/// in every other reader.
std::vector<std::string> previousKeyIds(const PackageInformation &information);

/// The rows by which the files of an installed version are published, by its descriptor's values.
std::vector<Mapping> publicationRows(const PackageInformation &information);

/// The rows of a package that is on its way into the store. With Rooted::Yes, those of publicationRows() once
/// its descriptor is written.
std::vector<Mapping> mappingsOf(const PackageForMigration &package, Rooted rooted);

} // namespace Core::KELP
