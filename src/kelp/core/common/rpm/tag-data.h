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

/// librpm's container for the value of a header's tag, freed with its data.
using TagData = std::unique_ptr<rpmtd_s, FreeTagData>;

inline TagData makeTagData() {
    return TagData(rpmtdNew());
}

} // namespace Common::Rpm
