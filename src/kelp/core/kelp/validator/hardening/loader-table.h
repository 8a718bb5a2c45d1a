#pragma once

#include "kelp/core/kelp/validator/hardening/program-headers.h"

#include <string>
#include <string_view>
#include <vector>

namespace Validator {

/// The loader's view of an ELF file: the dynamic table at the program header's address, and its texts from
/// the last string table named there. The sections may show others.
struct LoaderTable {
    /// Whether the loader's view is certain, by AddressSpace. If not, the rest may be incomplete. False also
    /// for tens of thousands or megabytes of texts.
    bool isTold = true;
    std::vector<std::string> needed;   ///< Each library once, in the order of the table.
    std::vector<std::string> rpaths;   ///< Of DT_RPATH, of which the loader heeds the last.
    std::vector<std::string> runpaths; ///< Of DT_RUNPATH.
    std::vector<std::string> filters;  ///< Of DT_AUXILIARY: loaded in front of this file, if it is there.
    bool hasHook = false; ///< DT_AUDIT, DT_DEPAUDIT or DT_FILTER: another object provides symbols.
};

/// Combines all tables of a file, of which the loader takes one. Takes no more time and memory than for a
/// sound file of its size.
LoaderTable readLoaderTable(const MappedFile &file, const ProgramHeaders &headers);

} // namespace Validator
