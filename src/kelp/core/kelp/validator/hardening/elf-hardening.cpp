#include "kelp/core/kelp/validator/hardening/elf-hardening.h"

#include "kelp/core/common/files/path-tests.h"
#include "kelp/core/kelp/validator/configuration/pattern-set.h"
#include "kelp/core/kelp/validator/framework/mapped-file.h"
#include "kelp/core/kelp/validator/framework/text.h"
#include "kelp/core/kelp/validator/hardening/hardening-findings.h"
#include "kelp/core/kelp/validator/hardening/loader-table.h"
#include "kelp/core/kelp/validator/hardening/program-headers.h"
#include "kelp/core/kelp/validator/program/elf-reader.h"
#include "kelp/core/kelp/validator/program/library-places.h"

#include <elf.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>

namespace Validator {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view systemDirectories[] = {"/lib/", "/lib64/", "/usr/lib/", "/usr/lib64/"};
constexpr std::string_view thirdParty = "3rdparty/";
constexpr std::string_view packageDirectories[] = {"/usr/share/", "/usr/libexec/", "/usr/lib/3rdparty/",
                                                   "/usr/lib64/3rdparty/"};

/// Whether the text begins with one of the loader's words. The loader leaves a longer word unchanged.
bool beginsWithWord(std::string_view text, std::string_view word) {
    if (!text.starts_with(word))
        return false;
    const char next = word.size() < text.size() ? text[word.size()] : '/';
    return word.ends_with('}') || !(isAlpha(next) || isDigit(next) || next == '_');
}

/// The piece with each such word replaced by a directory.
std::string expanded(std::string_view piece, std::string_view origin) {
    const std::pair<std::string_view, std::string_view> words[] = {
        {"$ORIGIN", origin}, {"${ORIGIN}", origin}, {"$LIB", "lib64"}, {"${LIB}", "lib64"}};
    std::string text;
    while (!piece.empty()) {
        const auto *word =
            std::ranges::find_if(words, [&](const auto &w) { return beginsWithWord(piece, w.first); });
        const bool isWord = word != std::end(words);
        text += isWord ? word->second : piece.substr(0, 1);
        piece.remove_prefix(isWord ? word->first.size() : 1);
    }
    return text;
}

bool isOfSystem(std::string_view directory) {
    return std::ranges::any_of(systemDirectories, [&](std::string_view system) {
        return directory.starts_with(system) && !directory.substr(system.size()).starts_with(thirdParty);
    });
}

/// Whether one directory of an rpath lies outside of the package's own directories and the system's library
/// directories, by the loader's rules for the file at `path`. An empty or relative directory counts as
/// outside: the loader takes it from the directory in which the program is started.
bool leavesLibraries(std::string_view piece, std::string_view path, const std::string &package) {
    if (!piece.starts_with('/') && !piece.starts_with('$'))
        return true;
    // A longer one cannot be a directory.
    const fs::path directory = expanded(piece.substr(0, PATH_MAX), path.substr(0, path.rfind('/')));
    if (!directory.is_absolute() || piece.size() > PATH_MAX)
        return true;
    const std::string resolved = (directory / "").lexically_normal();
    return !isOfSystem(resolved) && std::ranges::none_of(packageDirectories, [&](std::string_view own) {
        return resolved.starts_with(std::string(own) + package + '/');
    });
}

constexpr std::string_view libraryMark = ".so";
constexpr auto anyExecute = std::filesystem::perms::owner_exec | std::filesystem::perms::group_exec |
                            std::filesystem::perms::others_exec;

bool isLoadable(const ProgramHeaders &headers) {
    return headers.type == ET_EXEC || headers.type == ET_DYN;
}

/// Calls `use` for each piece of an rpath. The loader ignores an empty rpath.
template<class Use>
void forEachPiece(std::string_view rpath, const Use &use) {
    while (!rpath.empty()) {
        const std::size_t colon = rpath.find(':');
        use(rpath.substr(0, colon));
        // A colon at the end is followed by an empty piece.
        if (colon == rpath.size() - 1)
            use(std::string_view());
        rpath.remove_prefix(std::min(rpath.size(), std::min(colon, rpath.size()) + 1));
    }
}

} // namespace

ElfHardening::ElfHardening(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                           std::shared_ptr<Logger> logger) :
    ValidatorBase(std::move(meta), std::move(config), std::move(logger)) {}

void ElfHardening::validate(const std::string &path, const std::string &realPath) {
    remember(path, realPath);
    const auto file = MappedFile::open(realPath);
    if (!file || !beginsAsElf(file->bytes()))
        return;
    if (isLibraryPlace())
        libraries_.insert(path);
    auto known = knowledge_.find(file->identity());
    if (known == knowledge_.end())
        known = knowledge_.emplace(file->identity(), examine(*file)).first;
    judgePlace(known->second);
}

ElfHardening::Knowledge ElfHardening::examine(const MappedFile &file) {
    const ProgramHeaders headers = readProgramHeaders(file.bytes());
    Knowledge knowledge;
    knowledge.machine = {headers.machine, headers.bits};
    knowledge.isRunnable = isRunnable(file.bytes(), headers);
    for (const std::string_view interpreter : interpretersOf(file.bytes(), headers))
        if (!isLoaderOf(knowledge.machine, interpreter))
            knowledge.foreignLoader = interpreter;
    if (!isLoadable(headers))
        return knowledge;
    examineTable(readLoaderTable(file, headers), knowledge);
    // The kernel goes by the machine: with the other word size it would see another file.
    if (const ElfClass bits = bitsOf(headers.machine); bits != ElfClass::Unknown && bits != headers.bits)
        examineTable(readLoaderTable(file, readProgramHeaders(file.bytes(), bits)), knowledge);
    return knowledge;
}

void ElfHardening::examineTable(const LoaderTable &table, Knowledge &knowledge) {
    // Computed once: the lists have expressions, and a file may need thousands of libraries.
    Libraries unknown;
    std::ranges::copy_if(table.needed, std::inserter(unknown, unknown.end()),
                         [this](const std::string &library) { return !isKnown(library); });
    if (!table.isTold)
        knowledge.hidden = "what the loader reads depends on the system";
    else if (!knowledge.hidden)
        knowledge.hidden = hiddenLibrary(unknown);
    knowledge.hasHook = knowledge.hasHook || table.hasHook;
    for (const std::string &filter : table.filters) {
        const bool isLoaded = filter.find(libraryMark) != std::string::npos && !isKnown(filter);
        (isLoaded ? knowledge.filter : knowledge.otherFilter) = filter;
    }
    reportLibraries(table, unknown);
    reportRpaths(table);
}

/// A library that no section shows, and that the main binary could not have either.
std::optional<std::string> ElfHardening::hiddenLibrary(Libraries hidden) const {
    if (hidden.empty())
        return std::nullopt;
    if (const auto reader = ElfReader::create(realPath_))
        reader->forEachDynamicEntry([&](const ElfDynamicSection &entry) {
            if (const auto shown = hidden.find(entry.value); entry.tag == DT_NEEDED && shown != hidden.end())
                hidden.erase(shown);
            return hidden.empty();
        });
    return hidden.empty() ? std::nullopt : std::optional(*hidden.begin());
}

void ElfHardening::reportLibraries(const LoaderTable &table, const Libraries &unknown) {
    // The main binary's libraries have a rule of their own.
    const bool isMainBinary = path_ == config_->binDir() + meta_->name();
    for (const std::string &library : table.needed) {
        if (library.find('/') != std::string::npos)
            logger_->log(HardeningRule::LibraryByPath, {path_, library});
        else if (isShipped(library))
            neededLibraries_.insert(library);
        else if (!isMainBinary && unknown.contains(library))
            logger_->log(HardeningRule::LibraryNotAllowedElsewhere, {path_, library});
    }
}

void ElfHardening::reportRpaths(const LoaderTable &table) {
    if (table.rpaths.size() > 1)
        logger_->log(HardeningRule::RpathTwice, {path_});
    for (const auto *texts : {&table.rpaths, &table.runpaths})
        for (const std::string &text : *texts)
            forEachPiece(text, [this](std::string_view piece) {
                if (leavesLibraries(piece, path_, meta_->name()))
                    logger_->log(HardeningRule::RpathLeaves, {path_, piece});
            });
}

void ElfHardening::judgePlace(const Knowledge &knowledge) const {
    const bool isExecutable = Common::hasPermissions(realPath_, anyExecute);
    const bool isNamedLibrary = path_.find(libraryMark) != std::string::npos;
    if (isExecutable && isProgramPlace())
        judgeProgram(knowledge);
    else if (isNamedLibrary && !isOfArchitecture(knowledge.machine, meta_->architecture()))
        logger_->log(HardeningRule::ForeignMachine, {path_});
    if (isExecutable || isNamedLibrary || isLibraryPlace())
        judgeTable(knowledge);
}

void ElfHardening::judgeProgram(const Knowledge &knowledge) const {
    if (!knowledge.isRunnable || !isOfArchitecture(knowledge.machine, meta_->architecture()))
        logger_->log(HardeningRule::NotAProgram, {path_});
    if (knowledge.foreignLoader)
        logger_->log(HardeningRule::ForeignLoader, {path_, *knowledge.foreignLoader});
}

void ElfHardening::judgeTable(const Knowledge &knowledge) const {
    if (knowledge.hidden)
        logger_->log(HardeningRule::HiddenDynamic, {path_, *knowledge.hidden});
    if (knowledge.hasHook)
        logger_->log(HardeningRule::LoaderHook, {path_, "DT_AUDIT, DT_DEPAUDIT or DT_FILTER"});
    if (knowledge.filter)
        logger_->log(HardeningRule::LoaderHook, {path_, "DT_AUXILIARY: " + *knowledge.filter});
    if (knowledge.otherFilter)
        logger_->log(HardeningRule::Auxiliary, {path_, *knowledge.otherFilter});
}

/// Whether a file may be executable here without the name of a library.
bool ElfHardening::isProgramPlace() const {
    return beginsWith(path_, {"/usr/bin/", meta_->name()}) ||
           beginsWith(path_, {"/usr/libexec/", meta_->name(), "/"});
}

bool ElfHardening::isLibraryPlace() const {
    return std::ranges::any_of(libraryFolders, [this](const LibraryFolder &place) {
        return beginsWith(path_, {place.area, meta_->name(), place.folder});
    });
}

/// The paths at which the package has a library of that name.
std::vector<std::string> ElfHardening::placesOf(const std::string &library) const {
    std::vector<std::string> places;
    for (const auto &[area, folder] : libraryFolders) {
        std::string path = std::string(area) + meta_->name() + std::string(folder) + library;
        if (meta_->holds(path))
            places.push_back(std::move(path));
    }
    return places;
}

/// A name with a slash counts from where the program was started, and never as packaged.
bool ElfHardening::isShipped(const std::string &library) const {
    return library.find('/') == std::string::npos && !placesOf(library).empty();
}

bool ElfHardening::isKnown(const std::string &library) const {
    // Some rows match any ending, also one that makes the name a path.
    const bool isListed = config_->allowedLibraries().contains(library) ||
                          config_->unstableLibraries().contains(library) ||
                          config_->deprecatedLibraries().contains(library);
    return (isListed && library.find('/') == std::string::npos) || isShipped(library);
}

void ElfHardening::finish() {
    for (const std::string &library : neededLibraries_) {
        const std::vector<std::string> places = placesOf(library);
        if (std::ranges::none_of(places, [&](const std::string &p) { return libraries_.contains(p); }))
            logger_->log(HardeningRule::ShippedNoLibrary, {places.front()});
    }
}

void appendSearchRules(Rules &rules) {
    for (const std::string_view directory : systemDirectories)
        rules.push_back({"rpath", "harmless", std::string(directory) + '*'});
    for (const std::string_view directory : packageDirectories)
        rules.push_back({"rpath", "harmless", std::string(directory) + "ID/*"});
}

} // namespace Validator
