#pragma once

// Whole files as bytes, for tests that make files or look into what was written.

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>

namespace korvel::test {

// The file's bytes; empty when it cannot be read.
std::string ReadAll(const std::filesystem::path& file);
// Replaces the file with exactly these bytes.
void WriteAll(const std::filesystem::path& file, std::string_view bytes);
void WriteAll(const std::filesystem::path& file, std::span<const std::uint8_t> bytes);

} // namespace korvel::test
