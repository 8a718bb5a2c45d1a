#pragma once

#include "kelp/core/kelp/validator/configuration/config.h"
#include "kelp/core/kelp/validator/framework/logger.h"
#include "kelp/core/kelp/validator/framework/rpm-meta.h"

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Validator {

/// One rule of a checker, for people. In the text ID stands for the name of the package, another word in
/// capitals for any name or path of that kind, and "*" for any text. Regular expressions stand between
/// slashes.
struct Rule {
    std::string_view topic;  ///< What kind of thing it is about, "key" for example.
    std::string_view status; ///< "allowed", "required", "optional", "unstable", "deprecated", "reserved", ...
    std::string text;
};

using Rules = std::vector<Rule>;

/// Appends a rule for each of the texts, with `prefix` in front.
template<class Texts>
void appendRules(Rules &rules, std::string_view topic, std::string_view status, const Texts &texts,
                 std::string_view prefix = {}) {
    for (const auto &text : texts)
        rules.push_back({topic, status, std::string(prefix) + std::string(text)});
}

/// A checker of one file. Its findings go to the report, and are never exceptions.
class ISubValidator {
public:
    virtual ~ISubValidator() = default;

    /// Judges a file: `path` is its name in the package, `realPath` its present place unpacked.
    virtual void validate(const std::string &path, const std::string &realPath) = 0;
};

/// A checker that chooses its files among all files of a package.
class IValidator : public ISubValidator {
public:
    /// Whether this file concerns the checker. Asked once for every file of the package, so that the checker
    /// can remember facts about files that it does not judge.
    virtual bool canValidate(const std::string &path, const std::string &realPath) = 0;

    /// Called once, when all files have been seen.
    virtual void finish() = 0;
};

/// The base of all checkers. `Interface` is ISubValidator or IValidator.
template<class Interface>
class ValidatorBase : public Interface {
protected:
    ValidatorBase(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                  std::shared_ptr<Logger> logger) :
        meta_(std::move(meta)), config_(std::move(config)), logger_(std::move(logger)) {}

    /// Keeps the strings of a validate() call.
    void remember(const std::string &path, const std::string &realPath) {
        path_ = path;
        realPath_ = realPath;
    }

    std::shared_ptr<RpmMeta> meta_;
    std::shared_ptr<Config> config_;
    std::shared_ptr<Logger> logger_;
    std::string path_;
    std::string realPath_;
};

} // namespace Validator
