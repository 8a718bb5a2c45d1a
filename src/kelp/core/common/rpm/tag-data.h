#pragma once

#include <rpm/rpmtd.h>

#include <memory>

namespace Common::Rpm {

struct FreeTagData {
    void operator()(rpmtd data) const {
        rpmtdFreeData(data);
        rpmtdFree(data);
    }
};

/// librpm's container for what a header holds under a tag, freed with the data that it points at.
using TagData = std::unique_ptr<rpmtd_s, FreeTagData>;

inline TagData makeTagData() {
    return TagData(rpmtdNew());
}

} // namespace Common::Rpm
