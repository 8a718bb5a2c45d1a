#pragma once

#include "kelp/core/kelp/incoming/conveyance.h"

#include <memory>

namespace KelpCtl {

/// Unpacks by two threads, some entries ahead of the verdicts: one decompresses the payload and makes the
/// files, one writes their contents. Both have ended when run() returns or raises; when a verdict raises,
/// they finish their present entry.
class Lookahead final : public Core::KELP::Conveyance {
public:
    Lookahead();
    ~Lookahead() override;

    void run(const UnpackAll &unpackAll, const Judge &judge) override;
    void write(int file, Common::Rpm::PackedFile::Piece piece, const std::filesystem::path &path) override;

private:
    struct Belts;

    std::unique_ptr<Belts> belts_;
};

} // namespace KelpCtl
