#include "platform/managed-configuration/cpf-validator.h"

#include "kelp/core/common/files/file-descriptor.h"
#include "platform/managed-configuration/json-object-check.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <map>
#include <system_error>

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
    if (!std::filesystem::is_regular_file(path))
        return false;
    const Common::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    JsonObjectCheck check;
    std::array<char, 4096> block{};
    ssize_t got = file.get();
    while (got >= 0 && (got = ::read(file.get(), block.data(), block.size())) > 0) {
        // At the first byte that cannot be right: what is left of a file of any size is not read.
        if (!check.feed({block.data(), static_cast<std::size_t>(got)}))
            return false;
    }
    if (got < 0)
        throw std::filesystem::filesystem_error("cannot read", path,
                                                std::error_code(errno, std::system_category()));
    return check.finish();
}

} // namespace ManagedConfiguration::Validator
