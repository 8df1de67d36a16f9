#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace korvel {

// Standard base64 with padding, as JSON carries blobs.
std::string EncodeBase64(const std::vector<std::uint8_t>& bytes);
// Nothing when the text is not base64 (wrong characters, wrong length or padding). Whitespace is ignored.
std::optional<std::vector<std::uint8_t>> DecodeBase64(std::string_view text);

} // namespace korvel
