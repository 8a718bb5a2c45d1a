#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace ManagedConfiguration::Validator {

/// Whether a text, which comes in pieces, is one JSON object, nested at most 32 levels deep. Keeps none of
/// the text.
class JsonObjectCheck {
public:
    JsonObjectCheck();
    JsonObjectCheck(const JsonObjectCheck &) = delete;
    JsonObjectCheck &operator=(const JsonObjectCheck &) = delete;
    ~JsonObjectCheck();

    /// Reads on; false when the text cannot become such an object any more.
    bool feed(std::string_view piece);

    /// Whether the text, which ends here, is whole.
    bool finish();

private:
    struct Parser;
    std::unique_ptr<Parser> parser_;
};

/// Judges the configuration parameter files by which an application tells the device management what can be
/// configured.
class CPFValidator {
public:
    /// Where the system keeps the schemas.
    static std::string standardSchemasDirectory();

    /// The validator for a directory of schemas, one shared object for each.
    static std::shared_ptr<CPFValidator> instance(const std::filesystem::path &schemas);

    /// Whether a file at `path` would be a configuration parameter file of the package. Compares texts: such
    /// a path ends in ".json", and lies at any depth below the package's directory "managed-configuration".
    bool isConfigurationParameterFile(const std::string &package, const std::filesystem::path &path) const;

    /// Whether the file holds one JSON object, nested at most 32 levels deep. False for anything but a
    /// regular file. Takes a fixed amount of memory for any file. Raises a standard exception for a file that
    /// cannot be read.
    bool isValid(const std::filesystem::path &path) const;

private:
    CPFValidator() = default;
};

} // namespace ManagedConfiguration::Validator
