#pragma once

// Pictures kept in libraries: decoded, scaled down to a size limit and stored as PNG bytes, so every record
// holds one format the renderer can show and no picture is larger than it needs to be.

#include "platform/ui/Control.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

namespace korvel {

struct TImageSize {
    int Width = 0;
    int Height = 0;
    bool operator==(const TImageSize&) const = default;
};

// Refusal limits, checked from the header before anything is decoded.
inline constexpr int kMaxPictureSide = 16384;
inline constexpr long long kMaxPicturePixels = 64LL * 1024 * 1024;
inline constexpr std::uintmax_t kMaxPictureFileBytes = 256ULL * 1024 * 1024;

// The size with the larger side at most maxSide, aspect kept; never enlarges, and no side drops below 1 px.
// An empty image gives {0, 0}; maxSide below 1 counts as 1.
TImageSize FitInside(TImageSize image, int maxSide);

// The largest rectangle of the image's aspect centred in box (may enlarge). An empty image or box gives an
// empty rectangle at the box's centre.
TRect FitRect(TImageSize image, TRect box);

// The pixel size from the header alone; nothing unless the bytes start a readable PNG, JPEG, BMP or GIF.
std::optional<TImageSize> ImageSizeOf(const std::vector<std::uint8_t>& bytes);

// Decodes a PNG, JPEG, BMP or GIF (first frame), scales it so the larger side is at most maxSide and returns
// it as PNG. Throws EKorvelError for anything else, for damaged data and for pictures beyond the limits
// above.
std::vector<std::uint8_t> FitPicture(const std::vector<std::uint8_t>& encoded, int maxSide);
// The same for a file; also refuses missing and unreadable files.
std::vector<std::uint8_t> LoadPictureFile(const std::filesystem::path& file, int maxSide);

} // namespace korvel
