#include "kelp/core/common/rpm/version.h"

#include <rpm/rpmver.h>

namespace Common::Rpm {

std::optional<Version> Version::parse(const std::string &text) {
    std::shared_ptr<rpmver_s> handle(rpmverParse(text.c_str()), rpmverFree);
    if (!handle)
        return std::nullopt;
    return Version(std::move(handle));
}

int Version::compare(const Version &other) const {
    return rpmverCmp(handle_.get(), other.handle_.get());
}

} // namespace Common::Rpm
