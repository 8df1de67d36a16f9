#pragma once

// A small uncompressed 24-bit bitmap file for picture tests: width x height pixels of one colour.

#include <cstdint>
#include <fstream>
#include <string>

namespace korvel::test {

inline void WriteTinyBitmap(const std::string& file, int width, int height, std::uint8_t red) {
    const auto le32 = [](int v) {
        std::string out;
        for (int i = 0; i < 4; ++i)
            out += static_cast<char>((v >> (8 * i)) & 0xff);
        return out;
    };
    const int rowBytes = (width * 3 + 3) / 4 * 4;
    // File header, then the info header: 1 plane of 24 bits, no compression, 72 dpi.
    std::string b = "BM" + le32(54 + rowBytes * height) + le32(0) + le32(54) + le32(40) + le32(width) +
                    le32(height) + le32(1 | 24 << 16) + le32(0) + le32(rowBytes * height) + le32(2835) +
                    le32(2835) + le32(0) + le32(0);
    std::string row;
    for (int x = 0; x < width; ++x)
        row += std::string{0, 0, static_cast<char>(red)}; // blue, green, red
    row.resize(static_cast<std::size_t>(rowBytes), '\0');
    for (int y = 0; y < height; ++y)
        b += row;
    std::ofstream(file, std::ios::binary) << b;
}

} // namespace korvel::test
