#include "support/FileBytes.h"

#include <fstream>
#include <iterator>

namespace korvel::test {

std::string ReadAll(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void WriteAll(const std::filesystem::path& file, std::string_view bytes) {
    std::ofstream(file, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

void WriteAll(const std::filesystem::path& file, std::span<const std::uint8_t> bytes) {
    WriteAll(file, std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

} // namespace korvel::test
