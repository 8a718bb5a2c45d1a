#include "kelp/core/kelp/validator/program/executable.h"

#include "kelp/core/kelp/validator/configuration/pattern-set.h"
#include "kelp/core/kelp/validator/framework/mapped-file.h"
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

/// By the unpacked file's bits: while it is judged they are the package's.
bool isOwnerExecutable(const std::string &path) {
    const struct stat status = statusOf(path);
    return S_ISREG(status.st_mode) && (status.st_mode & S_IXUSR) != 0;
}

/// The linked libraries of a file that are not allowed, each once, in the file's order. The views live as
/// long as the reader.
std::vector<std::string_view> foreignLibraries(const IElfReader &reader,
                                               const Configuration::PatternSet &allowed) {
    std::vector<std::string_view> foreign;
    std::unordered_set<std::string_view> seen;
    reader.forEachDynamicEntry([&](const ElfDynamicSection &entry) {
        // Matches each name once, even if a hostile file repeats it.
        if (entry.tag == DT_NEEDED && seen.insert(entry.value).second && !allowed.contains(entry.value))
            foreign.push_back(entry.value);
        return false;
    });
    return foreign;
}

} // namespace

Executable::Executable(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                       std::shared_ptr<Logger> logger) :
    ValidatorBase(std::move(meta), std::move(config), std::move(logger)) {}

/// Takes the main binary even if it is not executable: without the bits it must not count as missing.
bool Executable::canValidate(const std::string &path, const std::string &realPath) {
    return path == std::string(mainBinaries) + meta_->name() || isOwnerExecutable(realPath);
}

void Executable::validate(const std::string &path, const std::string &realPath) {
    remember(path, realPath);
    const Common::FileIdentity identity = Common::identityOf(statusOf(realPath));
    const auto known = contents_.find(identity);
    // Otherwise a large file with twenty thousand names would be read as many times.
    if (known != contents_.end() && !isMainBinary())
        judgePlace(known->second);
    else
        contents_[identity] = judgeWhole();
}

Executable::Content Executable::judgeWhole() {
    reader_ = ElfReader::create(realPath_);
    if (reader_ && isMainBinary()) {
        logger_->setFlag(ValidatorFlag::MainBinarySeen, true);
        checkLibraries();
        checkRpath();
        checkElfTabs();
    }
    // After the walks above: a file that exceeds the reader's budget in them is invalid from then on.
    const Content content = reader_ && reader_->isValid() ? Content::Elf : Content::NotValid;
    judgePlace(content);
    if (reader_)
        scanEmbeddedImports();
    return content;
}

void Executable::judgePlace(Content content) const {
    if (content != Content::Elf) {
        logger_->log(ExecutableRule::WrongFormat, {path_});
        return;
    }
    logger_->setFlag(ValidatorFlag::ElfSeen, true);
    // A warning: on a device of its architecture the program still runs.
    if (meta_->architecture() == "noarch")
        logger_->log(ExecutableRule::ArchitectureSpecific);
    if (isOwnerExecutable(realPath_))
        checkLocation();
}

bool Executable::isMainBinary() const {
    return path_ == config_->binDir() + meta_->name();
}

void Executable::checkLocation() const {
    // With any text after the name: programs of tasks are named NAME.SUFFIX there.
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
        // Found only through an rpath, which finish() then requires.
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
    // Set only after the walk: setting a flag takes a look-up, and a program may have a million symbols.
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
    // Judged as soon as it is found: otherwise data full of imports would be kept as a whole.
    const auto judge = [this](const QmlImport &embedded) {
        const std::string import = std::string(embedded.module) + ' ' + std::string(embedded.version);
        if (import == vitrineImport)
            logger_->setFlag(ValidatorFlag::ImportsVitrine, true);
        // Only a note: text that looks like an import may be a message or a template.
        if (!config_->allowedQmlImports().contains(import))
            logger_->log(QmlRule::EmbeddedImport, {import});
    };
    Validator::scanEmbeddedImports(reader_->rodata(), judge, reader_->passage());
}

void Executable::finish() {
    // Only here are all flags known: desktop file and programs come in any order.
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
    // Vitrine's booster calls main(); others start a program without it in the ordinary way. A program
    // without other symbols tells nothing about main().
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
        // Without an rpath the loader finds the system's libraries, but not the package's own.
        const bool needsNone = !logger_->getFlag(ValidatorFlag::ShippedLibraryUsed);
        logger_->setFlag(ValidatorFlag::RpathAcceptable, needsNone);
        logger_->log(ExecutableRule::RpathEmpty);
    }
    if (!logger_->getFlag(ValidatorFlag::RpathAcceptable))
        logger_->log(isPresent ? ExecutableRule::RpathNotAllowed : ExecutableRule::RpathMissing);
}

} // namespace Validator
