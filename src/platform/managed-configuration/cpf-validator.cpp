#include "platform/managed-configuration/cpf-validator.h"

#include "kelp/core/common/files/path-tests.h"
#include "platform/managed-configuration/json-object-check.h"

#include <array>
#include <fstream>
#include <map>

namespace ManagedConfiguration::Validator {

std::string CPFValidator::standardSchemasDirectory() {
    return "/usr/share/managed-configuration/schemas";
}

std::shared_ptr<CPFValidator> CPFValidator::instance(const std::filesystem::path &schemas) {
    // The directory only tells instances apart: this stand-in reads no schemas.
    static std::map<std::filesystem::path, std::shared_ptr<CPFValidator>> instances;
    auto &instance = instances[schemas];
    if (!instance)
        instance.reset(new CPFValidator);
    return instance;
}

bool CPFValidator::isConfigurationParameterFile(const std::string &package,
                                                const std::filesystem::path &path) const {
    const std::string &text = path.native();
    return text.starts_with("/usr/share/" + package + "/managed-configuration/") && text.ends_with(".json");
}

bool CPFValidator::isValid(const std::filesystem::path &path) const {
    // A pipe would be waited for without end.
    if (!Common::isRegularFile(path))
        return false;
    std::ifstream file(path, std::ios::binary);
    JsonObjectCheck check;
    std::array<char, 4096> block{};
    while (file.read(block.data(), block.size()) || file.gcount() > 0) {
        // At the first byte that cannot be right: what is left of a file of any size is not read.
        if (!check.feed({block.data(), static_cast<std::size_t>(file.gcount())}))
            return false;
    }
    return check.finish();
}

} // namespace ManagedConfiguration::Validator
