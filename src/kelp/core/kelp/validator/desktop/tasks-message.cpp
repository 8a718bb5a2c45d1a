#include "kelp/core/kelp/validator/desktop/tasks-message.h"

namespace Validator {

namespace {

constexpr CatalogueEntry catalogue[] = {
    {LogLevel::Error, "[desktop] Key '{0}' disallowed for background tasks"},
    {LogLevel::Error, "Invalid intent specification: {0}"},
    {LogLevel::Error, "Missing intent name: {0}"},
    {LogLevel::Error, "Non standard intent name: {0}"},
    {LogLevel::Error, "Unknown intent flag: {0}"},
    {LogLevel::Error, "Invalid background task specification: {0}"},
    {LogLevel::Error, "Unsupported background task type: {0}"},
    {LogLevel::Error, "Invalid characters in executable name: {0}"},
    {LogLevel::Error, "Executable missing or in wrong path: {0}"},
    {LogLevel::Error, "Permission not allowed for tasks: {0}"},
    {LogLevel::Error, "BaseTask permission is implicit, please remove it"},
    {LogLevel::Error, "Task permission needs to be in application too: {0}"},
    {LogLevel::Error, "Invalid condition specification: {0}"},
    {LogLevel::Error, "Unknown task condition: {0}"},
    {LogLevel::Error, "Unknown {0} condition subtype: {1}"},
};

} // namespace

Message messageOf(TasksMessage message, const std::vector<std::string> &strings) {
    return composeMessage(catalogue, static_cast<std::size_t>(message), strings);
}

} // namespace Validator
