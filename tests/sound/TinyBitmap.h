#pragma once

// A small uncompressed 24-bit bitmap file for picture tests: width x height pixels of one colour.

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

namespace korvel::test {

inline void WriteTinyBitmap(const std::string& file, int width, int height, std::uint8_t red) {
    const int rowBytes = (width * 3 + 3) / 4 * 4;
    const int size = 54 + rowBytes * height;
    std::vector<std::uint8_t> b;
    auto u16 = [&](int v) {
        b.push_back(static_cast<std::uint8_t>(v & 0xff));
        b.push_back(static_cast<std::uint8_t>((v >> 8) & 0xff));
    };
    auto u32 = [&](int v) {
        u16(v & 0xffff);
        u16((v >> 16) & 0xffff);
    };
    b.push_back('B');
    b.push_back('M');
    u32(size);
    u32(0);
    u32(54);
    u32(40);
    u32(width);
    u32(height);
    u16(1);
    u16(24);
    u32(0);
    u32(rowBytes * height);
    u32(2835);
    u32(2835);
    u32(0);
    u32(0);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            b.push_back(0);   // blue
            b.push_back(0);   // green
            b.push_back(red); // red
        }
        for (int pad = width * 3; pad < rowBytes; ++pad)
            b.push_back(0);
    }
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(b.data()), static_cast<std::streamsize>(b.size()));
}

} // namespace korvel::test
