#pragma once

#include "kelp/core/kelp/incoming/unpack-pipeline.h"

#include <memory>

namespace KelpCtl {

/// Unpacks with two threads, some entries ahead of the verdicts. One thread decompresses the payload, makes
/// the files and writes the small ones. The other writes the contents of the larger files. Both have ended
/// when run() returns or raises. After a verdict raises, each thread stops as soon as it would hand on the
/// next entry or piece of a file.
class ThreadedPipeline final : public Core::KELP::UnpackPipeline {
public:
    ThreadedPipeline();
    ~ThreadedPipeline() override;

    void run(const UnpackAll &unpackAll, const Judge &judge) override;
    void write(int file, Common::Rpm::PackedFile::Piece piece, const std::filesystem::path &path) override;

private:
    struct Belts;

    std::unique_ptr<Belts> belts_;
};

} // namespace KelpCtl
