#include "kelp/core/kelp/validator/desktop/desktop-intents.h"

#include "kelp/core/kelp/desktop-file/desktop-file.h"
#include "kelp/core/kelp/validator/configuration/pattern.h"
#include "kelp/core/kelp/validator/desktop/desktop-findings.h"
#include "kelp/core/kelp/validator/desktop/desktop-vocabulary.h"

namespace Validator {

namespace {

using Configuration::Pattern;

constexpr std::string_view taskTypes[] = {"mdmclient", "periodic",      "push",
                                          "scheduled", "session-start", "worker"};
constexpr std::string_view taskKeys[] = {"Type", "Exec", "Permissions", "Conditions"};
/// A task has no window: users would not see that it records or plays.
constexpr std::string_view forbiddenPermissions[] = {"Base", "Audio", "Camera", "Microphone"};
/// Other names without "X-" are reserved for later systems.
constexpr std::string_view standardIntents[] = {"Start", "OpenURI"};
constexpr std::string_view intentFlags[] = {"gui"};

constexpr std::string_view connections[] = {"wifi", "ethernet", "cellular", "wifi-or-ethernet"};
constexpr ValueRow conditions[] = {
    {"internet", connections},
    {"battery-not-low", {}},
    {"charging", {}},
    {"idle", {}},
};

/// An intent. Groups: its name; "/" and a further part; ":" and flags. Intents and tasks come from the
/// package, so they are matched within the limits of Pattern. Each expression is compiled at its first use,
/// since most applications have neither.
const Pattern &intentPattern() {
    static const Pattern pattern(
        "^((?:(?!X-)[A-Z][A-Za-z0-9-]+)|(?:X-[A-Z][A-Za-z0-9-]+))(\\/[A-Za-z][A-Za-z0-9-]+)?(:.*$)?");
    return pattern;
}

const Pattern &taskGroupPattern() {
    static const Pattern pattern("^(?:X-Task|X-Service) +([A-Za-z][A-Za-z0-9]+)$");
    return pattern;
}

const Pattern &programSuffixPattern() {
    static const Pattern pattern("^([A-Za-z][A-Za-z0-9-_]+)$");
    return pattern;
}

/// Groups: the condition, its subtype.
const Pattern &conditionPattern() {
    static const Pattern pattern("^([a-z][a-z0-9-]+)(?::([a-z][a-z0-9-]+))?$");
    return pattern;
}

} // namespace

DesktopIntents::DesktopIntents(std::shared_ptr<RpmMeta> meta, std::shared_ptr<Config> config,
                               std::shared_ptr<Logger> logger) :
    ValidatorBase(std::move(meta), std::move(config), std::move(logger)) {}

void DesktopIntents::validate(const std::string &path, const std::string &realPath) {
    // There are no permissions to compare a task's with, and the application is refused already.
    if (logger_->getFlag(ValidatorFlag::NoSandboxSection))
        return;
    remember(path, realPath);
    entry_ = Core::KELP::readDesktopFile(realPath);
    section_ = entry_ ? sandboxSectionOf(*entry_) : nullptr;
    if (section_ == nullptr)
        return;
    const std::vector<std::string> permissions = entry_->stringVectorValue(*section_, "Permissions");
    appPermissions_ = {permissions.begin(), permissions.end()};
    for (const std::string &intent : entry_->stringVectorValue(*section_, "Intents"))
        checkIntent(intent);
    for (const std::string &group : entry_->groups()) {
        if (!isTaskGroup(group))
            continue;
        checkTaskKeys(group);
        checkTask(readTask(group));
    }
}

void DesktopIntents::checkIntent(const std::string &intent) {
    const auto captures = intentPattern().captures(intent);
    if (!captures) {
        logger_->log(TasksMessage::IntentInvalid, {intent});
        return;
    }
    const std::string &name = captures->at(0);
    // The part after the name is free: only the name itself is the system's.
    if (!isOneOf(standardIntents, name) && !name.starts_with("X-")) {
        logger_->log(TasksMessage::IntentNotStandard, {name});
        return;
    }
    if (const std::string &flags = captures->at(2); !flags.empty())
        checkIntentFlags(flags.substr(1));
}

void DesktopIntents::checkIntentFlags(const std::string &flags) {
    std::string_view rest = flags;
    // Empty flags count, so that a lone ":" is refused.
    for (bool isLast = false; !isLast;) {
        const std::string_view flag = rest.substr(0, rest.find('|'));
        if (!isOneOf(intentFlags, flag))
            logger_->log(TasksMessage::IntentFlagUnknown, {flag});
        isLast = flag.size() == rest.size();
        rest.remove_prefix(isLast ? flag.size() : flag.size() + 1);
    }
}

void DesktopIntents::checkTaskKeys(const std::string &group) {
    for (const std::string &key : entry_->groupKeys(group)) {
        if (!isOneOf(taskKeys, key))
            logger_->log(TasksMessage::KeyDisallowed, {key});
    }
}

IntentSpec DesktopIntents::readTask(const std::string &group) const {
    return {group, entry_->value(group, "Type"), entry_->value(group, "Exec"),
            entry_->stringVectorValue(group, "Permissions"), entry_->stringVectorValue(group, "Conditions")};
}

void DesktopIntents::checkTask(const IntentSpec &task) {
    // All checks run, even after a failure: they look at different keys.
    checkGroup(task);
    checkType(task);
    checkExec(task);
    for (const std::string &permission : task.permissions)
        checkPermission(permission);
    for (const std::string &condition : task.conditions)
        checkCondition(condition);
}

void DesktopIntents::checkGroup(const IntentSpec &task) {
    if (!taskGroupPattern().matches(task.group))
        logger_->log(TasksMessage::TaskInvalid, {task.group});
}

void DesktopIntents::checkType(const IntentSpec &task) {
    if (!isOneOf(taskTypes, task.type))
        logger_->log(TasksMessage::TypeUnsupported, {task.type});
}

void DesktopIntents::checkExec(const IntentSpec &task) {
    if (task.exec.empty())
        return;
    const std::string_view program = programOf(task.exec);
    // The first form that matches the beginning decides: the other cannot apply.
    for (const std::string &form : {meta_->name(), "/usr/bin/" + meta_->name()}) {
        if (program == form)
            return;
        if (program.starts_with(form + ".")) {
            if (!programSuffixPattern().matches(program.substr(form.size() + 1)))
                logger_->log(TasksMessage::ExecutableNameInvalid, {program});
            return;
        }
    }
    logger_->log(TasksMessage::ExecutableMisplaced, {program});
}

void DesktopIntents::checkPermission(const std::string &permission) {
    if (isOneOf(forbiddenPermissions, permission))
        logger_->log(TasksMessage::PermissionNotAllowed, {permission});
    else if (permission == "BaseTask")
        logger_->log(TasksMessage::BaseTaskImplicit);
    // Users grant the application's permissions, and a task must not get around them.
    else if (!appPermissions_.contains(permission))
        logger_->log(TasksMessage::PermissionNotOfApplication, {permission});
}

void DesktopIntents::checkCondition(const std::string &condition) {
    const auto captures = conditionPattern().captures(condition);
    if (!captures) {
        logger_->log(TasksMessage::ConditionInvalid, {condition});
        return;
    }
    const std::string &name = captures->at(0);
    const std::string &subtype = captures->at(1);
    const ValueRow *row = findRow(conditions, name);
    if (row == nullptr)
        logger_->log(TasksMessage::ConditionUnknown, {name});
    else if (!subtype.empty() && !isOneOf(row->values, subtype))
        logger_->log(TasksMessage::ConditionSubtypeUnknown, {name, subtype});
}

void appendTaskRules(Rules &rules) {
    for (const std::string_view key : taskKeys)
        if (key != "Type")
            rules.push_back({"task", "allowed", std::string(key)});
    appendRules(rules, "task", "allowed", taskTypes, "Type=");
    appendRules(rules, "task", "forbidden", forbiddenPermissions, "Permissions=");
    rules.push_back({"task", "forbidden", "Permissions=BaseTask"});
    for (const auto &[name, subtypes] : conditions) {
        rules.push_back({"condition", "allowed", std::string(name)});
        appendRules(rules, "condition", "allowed", subtypes, std::string(name) + ':');
    }
    appendRules(rules, "intent", "allowed", standardIntents);
    rules.push_back({"intent", "allowed", "X-NAME"});
    appendRules(rules, "intent", "allowed", intentFlags, "NAME:");
}

} // namespace Validator
