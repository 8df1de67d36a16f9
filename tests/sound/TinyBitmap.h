#pragma once

// A small 24-bit bitmap file for picture tests: width x height pixels of one colour. Written with stb, so
// the program that includes this links PkgConfig::STB.

#include <cstdint>
#include <stb_image_write.h>
#include <stdexcept>
#include <string>
#include <vector>

namespace korvel::test {

inline void WriteTinyBitmap(const std::string& file, int width, int height, std::uint8_t red) {
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(width) * height * 3, 0);
    for (std::size_t i = 0; i < pixels.size(); i += 3)
        pixels[i] = red;
    if (stbi_write_bmp(file.c_str(), width, height, 3, pixels.data()) == 0)
        throw std::runtime_error("cannot write " + file);
}

} // namespace korvel::test
