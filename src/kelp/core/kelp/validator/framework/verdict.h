#pragma once

namespace Validator {

class Config;
class Logger;

/// Whether what was reported since the last verdict fails the package: a critical finding of the whole stage
/// always does, an error only while validation is enabled. Errors count for one verdict.
bool takeVerdict(Logger &logger, const Config &config);

} // namespace Validator
