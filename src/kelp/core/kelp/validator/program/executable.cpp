#include "kelp/core/kelp/validator/program/executable.h"

#include "kelp/core/common/path-tests.h"
#include "kelp/core/kelp/validator/configuration/pattern-set.h"
#include "kelp/core/kelp/validator/program/elf-reader.h"
#include "kelp/core/kelp/validator/program/library-places.h"
#include "kelp/core/kelp/validator/program/program-findings.h"
#include "kelp/core/kelp/validator/qml/qml-findings.h"
#include "kelp/core/kelp/validator/qml/qml-scanner.h"

#include <elf.h>

#include <algorithm>
#include <unordered_set>

namespace Validator {

namespace {

constexpr std::string_view mainBinaries = "/usr/bin/";
constexpr std::string_view profileWithoutBinary = "pwa";
constexpr std::string_view vitrineImport = "Halyard.Vitrine 1.0";

bool isOwnerExecutable(const std::string &path) {
    return Common::isRegularFile(path) && Common::hasPermissions(path, std::filesystem::perms::owner_exec);
}

/// The libraries that a file links and that are not among the allowed ones, each once, in the file's order.
/// The views live as long as the reader.
std::vector<std::string_view> foreignLibraries(const IElfReader &reader,
                                               const Configuration::PatternSet &allowed) {
    std::vector<std::string_view> foreign;
    std::unordered_set<std::string_view> seen;
    reader.forEachDynamicEntry([&](const ElfDynamicSection &entry) {
        if (entry.tag == DT_NEEDED && seen.insert(entry.value).second && !allowed.contains(entry.value))
            foreign.push_back(entry.value);
        return false;
    });
    return foreign;
}

std::unordered_set<std::string> embeddedImports(std::string_view rodata) {
    std::unordered_set<std::string> imports;
    scanEmbeddedImports(rodata, [&](const QmlImport &import) {
        imports.insert(std::string(import.module) + ' ' + std::string(import.version));
    });
    return imports;
}

} // namespace

Executable::Executable(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                       std::shared_ptr<Logger> logger) :
    ValidatorBase(std::move(meta), std::move(config), std::move(logger)) {}

bool Executable::canValidate(const std::string &path, const std::string &realPath) {
    return path == std::string(mainBinaries) + meta_->name() || isOwnerExecutable(realPath);
}

void Executable::validate(const std::string &path, const std::string &realPath) {
    remember(path, realPath);
    reader_ = ElfReader::create(realPath);
    if (!reader_) {
        logger_->log(ExecutableRule::WrongFormat, {path_});
        return;
    }
    if (isMainBinary()) {
        logger_->setFlag(ValidatorFlag::MainBinarySeen, true);
        checkLibraries();
        checkRpath();
        checkElfTabs();
    }
    if (isElfExecutable())
        checkLocation();
    scanEmbeddedImports();
}

bool Executable::isMainBinary() const {
    return path_ == config_->binDir() + meta_->name();
}

bool Executable::isElfExecutable() const {
    if (!reader_->isValid()) {
        logger_->log(ExecutableRule::WrongFormat, {path_});
        return false;
    }
    logger_->setFlag(ValidatorFlag::ElfSeen, true);
    if (meta_->architecture() == "noarch")
        logger_->log(ExecutableRule::ArchitectureSpecific);
    return isOwnerExecutable(realPath_);
}

void Executable::checkLocation() const {
    if (path_.find(config_->binDir() + meta_->name()) != std::string::npos)
        logger_->setFlag(ValidatorFlag::MainBinaryExecutable, true);
    else if (!path_.starts_with(config_->libexecDir() + meta_->name() + '/') &&
             path_.find(".so") == std::string::npos)
        logger_->log(ExecutableRule::WrongLocation, {path_});
}

void Executable::checkLibraries() const {
    std::vector<std::string_view> libraries = foreignLibraries(*reader_, config_->allowedLibraries());
    std::erase_if(libraries, [this](std::string_view library) {
        const bool isKnown = config_->unstableLibraries().contains(library) ||
                             config_->deprecatedLibraries().contains(library);
        if (isKnown)
            logger_->log(ExecutableRule::UnstableLibrary, {library});
        return isKnown;
    });
    std::ranges::sort(libraries);
    for (const std::string_view library : libraries) {
        if (isShippedLibrary(library, *meta_, config_->shareDir()))
            logger_->setFlag(ValidatorFlag::ShippedLibraryUsed, true);
        else
            logger_->log(ExecutableRule::ForbiddenLibrary, {library});
    }
}

void Executable::checkRpath() const {
    if (reader_->rpath().empty())
        return;
    logger_->setFlag(ValidatorFlag::RpathPresent, true);
    if (isAllowedRpath(reader_->rpath(), meta_->name()))
        logger_->setFlag(ValidatorFlag::RpathAcceptable, true);
}

void Executable::checkElfTabs() const {
    bool startSeen = false;
    bool mainSeen = false;
    bool otherSeen = false;
    reader_->forEachSymbol([&](const ElfSymbol &symbol) {
        const bool isStart = symbol.name == "__libc_start_main";
        const bool isMain = symbol.name == "main";
        startSeen |= isStart;
        mainSeen |= isMain;
        otherSeen |= !isStart && !isMain;
        return false;
    });
    const auto setIf = [this](bool isSeen, ValidatorFlag flag) {
        if (isSeen)
            logger_->setFlag(flag, true);
    };
    setIf(startSeen, ValidatorFlag::LibcStartMainSeen);
    setIf(mainSeen, ValidatorFlag::MainSymbolSeen);
    setIf(otherSeen, ValidatorFlag::OtherSymbolSeen);
}

void Executable::scanEmbeddedImports() const {
    const std::unordered_set<std::string> imports = embeddedImports(reader_->rodata());
    if (imports.contains(std::string(vitrineImport)))
        logger_->setFlag(ValidatorFlag::ImportsVitrine, true);
    for (const std::string &import : imports) {
        if (!config_->allowedQmlImports().contains(import))
            logger_->log(QmlRule::EmbeddedImport, {import});
    }
}

void Executable::finish() {
    if (config_->name() == profileWithoutBinary)
        return;
    finishMainBinary();
    finishSymbols();
    if (!logger_->getFlag(ValidatorFlag::QmlOnlyApp))
        finishRpath();
}

void Executable::finishMainBinary() const {
    const bool isSeen = logger_->getFlag(ValidatorFlag::MainBinarySeen);
    const bool isQmlOnly = logger_->getFlag(ValidatorFlag::QmlOnlyApp);
    if (isSeen && isQmlOnly)
        logger_->log(ExecutableRule::MainBinaryForbidden);
    if (!isSeen && !isQmlOnly)
        logger_->log(ExecutableRule::MainBinaryMissing);
    if (!isQmlOnly && !logger_->getFlag(ValidatorFlag::MainBinaryExecutable))
        logger_->log(ExecutableRule::MainBinaryNotExecutable);
}

void Executable::finishSymbols() const {
    if (!logger_->getFlag(ValidatorFlag::MainBinarySeen))
        return;
    const bool isStrict =
        logger_->getFlag(ValidatorFlag::OtherSymbolSeen) && logger_->getFlag(ValidatorFlag::ImportsVitrine);
    if (!logger_->getFlag(ValidatorFlag::LibcStartMainSeen))
        logger_->log(ExecutableRule::NoLibcStartMain);
    if (!logger_->getFlag(ValidatorFlag::MainSymbolSeen))
        logger_->log(isStrict ? ExecutableRule::MainMustBeExported : ExecutableRule::MainNotExported);
}

void Executable::finishRpath() const {
    const bool isPresent = logger_->getFlag(ValidatorFlag::RpathPresent);
    if (!isPresent) {
        const bool needsNone = !logger_->getFlag(ValidatorFlag::ShippedLibraryUsed);
        logger_->setFlag(ValidatorFlag::RpathAcceptable, needsNone);
        logger_->log(ExecutableRule::RpathEmpty);
    }
    if (!logger_->getFlag(ValidatorFlag::RpathAcceptable))
        logger_->log(isPresent ? ExecutableRule::RpathNotAllowed : ExecutableRule::RpathMissing);
}

} // namespace Validator
