#include "kelp/core/kelp/validator/qml/qml-imports.h"

#include "kelp/core/kelp/validator/configuration/pattern-set.h"
#include "kelp/core/kelp/validator/framework/mapped-file.h"
#include "kelp/core/kelp/validator/qml/qml-scanner.h"

#include <algorithm>

namespace Validator {

namespace {

constexpr std::string_view vitrineImport = "Halyard.Vitrine 1.0";

/// Remembered imports take a few megabytes at most.
constexpr std::size_t mostRemembered = 10'000;
constexpr std::size_t longestRemembered = 256;

bool isQuoted(std::string_view import) {
    return import.size() > 1 && import.front() == '"' && import.back() == '"';
}

/// For a text that isQuoted() accepts: it has at least two quotes.
std::string_view targetOf(std::string_view quoted) {
    return quoted.substr(1, quoted.size() - 2);
}

std::string textOf(const QmlImport &import) {
    std::string text(import.module);
    if (!import.version.empty())
        (text += ' ') += import.version;
    return text;
}

} // namespace

QmlImports::QmlImports(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                       std::shared_ptr<Logger> logger) :
    ValidatorBase(std::move(meta), std::move(config), std::move(logger)) {}

bool QmlImports::canValidate(const std::string &path, const std::string &) {
    return path.ends_with(".qml");
}

void QmlImports::validate(const std::string &path, const std::string &realPath) {
    remember(path, realPath);
    // An erroneous import fails all later files as well.
    if (failing_)
        report(failing_->first, failing_->second);
    extractImports();
    dropShipped();
    for (const auto &[import, objections] : imports_)
        report(import, objections);
    std::erase_if(imports_, [](const auto &entry) { return !entry.second.fail(); });
}

void QmlImports::extractImports() {
    const Common::FileIdentity identity = Common::identityOf(statusOf(realPath_));
    if (const auto known = byFile_.find(identity); known != byFile_.end()) {
        for (const auto &[import, objections] : known->second)
            judge(import, objections);
        return;
    }
    Imports found = scan();
    // Under its other names the file is not read again, even if its imports are too many or too long to keep:
    // they would only repeat their findings, and the first one that fails is kept anyway.
    if (remembered_ + found.size() > mostRemembered ||
        std::ranges::any_of(found, [](const auto &entry) { return entry.first.size() > longestRemembered; }))
        std::erase_if(found,
                      [](const auto &entry) { return !isQuoted(entry.first) || entry.second.isAbsolute; });
    remembered_ += found.size();
    byFile_.emplace(identity, std::move(found));
}

QmlImports::Imports QmlImports::scan() {
    Imports found;
    const auto file = MappedFile::open(realPath_);
    if (!file)
        return found;
    // Judges each import as soon as it is found: otherwise a file full of imports would be kept as a whole.
    // Two walks, since the report has all paths of the system before all modules.
    for (const bool isTurnOfPaths : {true, false}) {
        const auto takeInTurn = [&](const QmlImport &import) {
            if (import.module.starts_with('"') == isTurnOfPaths)
                take(textOf(import), found);
        };
        scanQmlImports(file->bytes(), takeInTurn, Passage(*file));
    }
    return found;
}

void QmlImports::take(const std::string &import, Imports &found) {
    // Checked for every import: this one is allowed, and so not kept.
    if (import == vitrineImport)
        logger_->setFlag(ValidatorFlag::ImportsVitrine, true);
    const Objections objections = objectionsTo(import);
    if (!objections.any())
        return;
    // One above the limit shows that there were too many.
    if (found.size() <= mostRemembered)
        found.emplace(import, objections);
    judge(import, objections);
}

/// Judges at once: otherwise a file full of imports would be kept as a whole. Only a relative path waits for
/// the files that the package ships.
void QmlImports::judge(const std::string &import, const Objections &objections) {
    if (isQuoted(import) && !objections.isAbsolute) {
        imports_.emplace(import, objections);
        return;
    }
    report(import, objections);
    // Repeated lines are not printed, so one import is enough for the later files.
    if (objections.fail() && !failing_)
        failing_ = {import, objections};
}

void QmlImports::report(const std::string &import, const Objections &objections) const {
    if (objections.isAbsolute)
        logger_->log(QmlRule::AbsoluteImport, {import});
    if (objections.listed)
        logger_->log(*objections.listed, {import});
}

QmlImports::Objections QmlImports::objectionsTo(const std::string &import) {
    if (const auto found = judged_.find(import); found != judged_.end())
        return found->second;
    const Objections objections{isQuoted(import) && targetOf(import).starts_with('/'), listed(import)};
    // Forgets all at once: a package in which every import differs is hostile, and only loses time.
    if (judged_.size() >= mostRemembered)
        judged_.clear();
    if (import.size() <= longestRemembered)
        judged_.emplace(import, objections);
    return objections;
}

/// A module in no list passes: the application may ship it.
std::optional<QmlRule> QmlImports::listed(const std::string &import) const {
    // Allowed first: the reserved expressions match all versions of all system modules.
    if (config_->allowedQmlImports().contains(import))
        return std::nullopt;
    if (config_->unstableQmlImports().contains(import) || config_->deprecatedQmlImports().contains(import))
        return QmlRule::UnstableImport;
    if (config_->reservedQmlImports().contains(import))
        return QmlRule::ReservedImport;
    return std::nullopt;
}

/// Takes out the relative paths that lead from this file to a file of the package.
void QmlImports::dropShipped() {
    std::erase_if(imports_, [this](const auto &entry) { return isShipped(entry.first); });
}

/// Whether a relative import leads to a file that the package ships in its directory of QML files. Such an
/// import passes, whatever the lists say. By the present lists each relative import passes anyway: it begins
/// with a quotation mark, as no row does, and an import in no list passes. Compares texts, so a path that
/// ends in a slash leads to no file.
bool QmlImports::isShipped(const std::string &import) const {
    const auto directory = std::filesystem::path(path_).parent_path();
    const std::string file = (directory / targetOf(import)).lexically_normal().string();
    return file.starts_with(config_->shareDir() + meta_->name() + "/qml/") && meta_->holds(file);
}

void QmlImports::finish() {
    // The import may be in any file, a program too, and the type is in the desktop file.
    if (logger_->getFlag(ValidatorFlag::ImportsVitrine) && !logger_->getFlag(ValidatorFlag::VitrineApp))
        logger_->log(QmlRule::VitrineTypeMissing);
}

} // namespace Validator
