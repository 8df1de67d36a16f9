#include "platform/text/Base64.h"

#include <array>

namespace korvel {

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int DigitOf(char c) {
    if (c >= 'A' && c <= 'Z')
        return c - 'A';
    if (c >= 'a' && c <= 'z')
        return c - 'a' + 26;
    if (c >= '0' && c <= '9')
        return c - '0' + 52;
    if (c == '+')
        return 62;
    if (c == '/')
        return 63;
    return -1;
}

} // namespace

std::string EncodeBase64(const std::vector<std::uint8_t>& bytes) {
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    size_t i = 0;
    for (; i + 2 < bytes.size(); i += 3) {
        std::uint32_t v = (std::uint32_t{bytes[i]} << 16) | (std::uint32_t{bytes[i + 1]} << 8) | bytes[i + 2];
        for (int shift : {18, 12, 6, 0})
            out += kAlphabet[(v >> shift) & 63];
    }
    const size_t rest = bytes.size() - i;
    if (rest > 0) {
        std::uint32_t v = std::uint32_t{bytes[i]} << 16;
        if (rest == 2)
            v |= std::uint32_t{bytes[i + 1]} << 8;
        out += kAlphabet[(v >> 18) & 63];
        out += kAlphabet[(v >> 12) & 63];
        out += rest == 2 ? kAlphabet[(v >> 6) & 63] : '=';
        out += '=';
    }
    return out;
}

std::optional<std::vector<std::uint8_t>> DecodeBase64(std::string_view text) {
    std::string clean;
    clean.reserve(text.size());
    for (char c : text)
        if (c != ' ' && c != '\n' && c != '\r' && c != '\t')
            clean += c;
    if (clean.size() % 4 != 0)
        return std::nullopt;
    std::vector<std::uint8_t> out;
    out.reserve(clean.size() / 4 * 3);
    for (size_t i = 0; i < clean.size(); i += 4) {
        std::array<int, 4> d{};
        int padding = 0;
        for (size_t k = 0; k < 4; ++k) {
            char c = clean[i + k];
            if (c == '=') {
                // Padding only at the end of the last group, and never in its first two places.
                if (i + 4 != clean.size() || k < 2)
                    return std::nullopt;
                ++padding;
                d[k] = 0;
            } else {
                if (padding > 0)
                    return std::nullopt;
                d[k] = DigitOf(c);
                if (d[k] < 0)
                    return std::nullopt;
            }
        }
        std::uint32_t v = (std::uint32_t(d[0]) << 18) | (std::uint32_t(d[1]) << 12) |
                          (std::uint32_t(d[2]) << 6) | std::uint32_t(d[3]);
        out.push_back(static_cast<std::uint8_t>(v >> 16));
        if (padding < 2)
            out.push_back(static_cast<std::uint8_t>((v >> 8) & 0xFF));
        if (padding < 1)
            out.push_back(static_cast<std::uint8_t>(v & 0xFF));
    }
    return out;
}

} // namespace korvel
