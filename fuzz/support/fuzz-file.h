#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>

/// Puts what the fuzzer made up where the code under test looks for it: in a file, which is kept in memory.
class FuzzFile {
public:
    FuzzFile(const std::uint8_t *data, std::size_t size);
    FuzzFile(const FuzzFile &) = delete;
    FuzzFile &operator=(const FuzzFile &) = delete;
    ~FuzzFile();

    /// Opens the file, as any path does, as long as the object lives.
    std::filesystem::path path() const;

private:
    int descriptor_;
};

/// Ends the program, as a finding of the fuzzer, when `holds` is false.
void require(bool holds);
