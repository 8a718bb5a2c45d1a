#pragma once

#include "kelp/core/common/rpm/reader.h"

#include <filesystem>
#include <string>

namespace Common::Rpm {

/// What a package says of the bytes of its payload, which librpm does not check when it reads a package.
class PayloadDigest {
public:
    /// Reads the header; the payload is not touched.
    PayloadDigest(std::filesystem::path package, const Reader &header);

    /// Reads the payload and holds it against its digest, or, in packages of old, header and payload against
    /// theirs. True for a package that has none. Raises ErrorCode::FileNotFound "Couldn't open rpm package".
    /// Needs nothing but the file, so that it may run in a thread of its own.
    bool isRight() const;

private:
    std::filesystem::path package_;
    std::string expected_; ///< In hexadecimal digits; empty for none.
    int algorithm_ = 0;    ///< As rpm numbers them.
    bool coversHeader_ = false;
};

} // namespace Common::Rpm
