#pragma once

// Assessment files "Limi.*" of the older version, record by record, written byte by byte at the offsets of
// the layout and not through the reader, so a reader that gets an offset wrong cannot agree with it. Texts
// are written as the bytes given: they must already be in the OEM code page (850: "\x81" is "ü"). Header
// only, so the fuzz seed writer can use it without the test framework.

#include "platform/base/Blob.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <optional>
#include <string>

namespace korvel::test {

class TLimiFileBuilder {
public:
    // A record of any tag: its length (tag and body) unless given, the tag, the body.
    TLimiFileBuilder& Record(char tag, const TBlob& body, std::optional<std::uint16_t> length = {}) {
        const std::uint16_t l = length.value_or(static_cast<std::uint16_t>(body.size() + 1));
        bytes_.push_back(static_cast<std::uint8_t>(l & 0xFF));
        bytes_.push_back(static_cast<std::uint8_t>(l >> 8));
        bytes_.push_back(static_cast<std::uint8_t>(tag));
        bytes_.insert(bytes_.end(), body.begin(), body.end());
        return *this;
    }

    // "A": 34 bytes of header whose content does not count.
    TLimiFileBuilder& Header() { return Record('A', TBlob(34, 0x5A)); }

    // "H": the name as a short string of 40; lengthByte overrides the length written.
    TLimiFileBuilder& Name(const std::string& oem, std::optional<std::uint8_t> lengthByte = {}) {
        TBlob body(41, ' ');
        PutShortString(body, 0, 40, oem, lengthByte);
        return Record('H', body);
    }

    // "D": usage area at 0, the limit sets at 46, 50, 54 (L = 63), the additions at 62 (L = 159).
    TLimiFileBuilder& Usage(int usage, std::array<float, 3> limits,
                            std::optional<std::array<float, 24>> additions = {}) {
        TBlob body(additions ? 158 : 62, 0x11); // unused bytes are not zero in real files either
        body[0] = static_cast<std::uint8_t>(usage);
        for (std::size_t k = 0; k < 3; ++k)
            PutF32(body, 46 + 4 * k, limits[k]);
        if (additions) {
            for (std::size_t h = 0; h < 24; ++h)
                PutF32(body, 62 + 4 * h, (*additions)[h]);
        }
        return Record('D', body);
    }

    // "B": name and short as short strings of 5, then begin, end and N loudest.
    TLimiFileBuilder& Range(const std::string& name, const std::string& shortName, int begin, int end,
                            int loudestN = 0) {
        TBlob body(15, 0);
        PutShortString(body, 0, 5, name);
        PutShortString(body, 6, 5, shortName);
        body[12] = static_cast<std::uint8_t>(begin);
        body[13] = static_cast<std::uint8_t>(end);
        body[14] = static_cast<std::uint8_t>(loudestN);
        return Record('B', body);
    }

    const TBlob& Bytes() const { return bytes_; }

private:
    static void PutF32(TBlob& b, std::size_t offset, float v) {
        const auto u = std::bit_cast<std::uint32_t>(v);
        for (std::size_t i = 0; i < 4; ++i)
            b.at(offset + i) = static_cast<std::uint8_t>(u >> (8 * i));
    }
    static void PutShortString(TBlob& b, std::size_t offset, std::size_t capacity, const std::string& text,
                               std::optional<std::uint8_t> lengthByte = {}) {
        const std::size_t n = std::min(capacity, text.size());
        b.at(offset) = lengthByte.value_or(static_cast<std::uint8_t>(n));
        std::copy_n(text.begin(), n, b.begin() + static_cast<std::ptrdiff_t>(offset + 1));
    }

    TBlob bytes_;
};

} // namespace korvel::test
