#pragma once

#include <filesystem>
#include <string>
#include <string_view>

/// A text of many equal pieces.
std::string repeated(std::string_view piece, std::size_t times);

/// Writes a file, making its parents. Throws when it cannot.
void writeFile(const std::filesystem::path &path, std::string_view content);

/// The content of a file. Throws when it cannot be read.
std::string readFile(const std::filesystem::path &path);
