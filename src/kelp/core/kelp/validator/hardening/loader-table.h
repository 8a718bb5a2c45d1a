#pragma once

#include "kelp/core/kelp/validator/hardening/program-headers.h"

#include <string>
#include <string_view>
#include <vector>

namespace Validator {

/// What the loader reads of an ELF file: the dynamic table by the address that the program header gives, and
/// its texts by the last string table that is named there. The sections may show others.
struct LoaderTable {
    /// Whether there is one answer to what the loader reads, as AddressSpace has it. When there is none, the
    /// rest may lack something. False also for texts by the ten thousands or by megabytes.
    bool isTold = true;
    std::vector<std::string> needed;   ///< Each library once, in the order of the table.
    std::vector<std::string> rpaths;   ///< Of DT_RPATH, of which the loader heeds the last.
    std::vector<std::string> runpaths; ///< Of DT_RUNPATH.
    std::vector<std::string> filters;  ///< Of DT_AUXILIARY: loaded in front of this file, if it is there.
    bool hasHook = false; ///< DT_AUDIT, DT_DEPAUDIT or DT_FILTER: somebody else is asked for symbols.
};

/// Of a file with several tables, of which the loader takes one, all of them together. Takes no more time and
/// memory than a sound file of its size can, whatever the file is.
LoaderTable readLoaderTable(const MappedFile &file, const ProgramHeaders &headers);

} // namespace Validator
