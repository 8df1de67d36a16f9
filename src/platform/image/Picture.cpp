#include "platform/image/Picture.h"

#include "platform/Errors.h"
#include "platform/ui/PictureBox.h"

#include <algorithm>
#include <climits>
#include <fstream>
#include <memory>
#include <stb_image.h>
#include <stb_image_resize.h>
#include <stb_image_write.h>
#include <string>

namespace korvel {

namespace {

// stb would also take TGA, PSD, HDR and others; TGA has no signature, so random bytes could pass for one.
// Only formats recognisable by their first bytes are accepted.
bool IsAcceptedFormat(const std::vector<std::uint8_t>& bytes) {
    const std::string format = DetectImageFormat(bytes);
    return format == "png" || format == "jpeg" || format == "bmp" || format == "gif";
}

// The size as stb reads it, for the accepted formats only.
std::optional<TImageSize> HeaderSize(const std::vector<std::uint8_t>& bytes) {
    if (bytes.size() > static_cast<std::size_t>(INT_MAX) || !IsAcceptedFormat(bytes))
        return std::nullopt;
    int w = 0;
    int h = 0;
    int comp = 0;
    if (stbi_info_from_memory(bytes.data(), static_cast<int>(bytes.size()), &w, &h, &comp) == 0 || w <= 0 ||
        h <= 0)
        return std::nullopt;
    return TImageSize{w, h};
}

struct TClaimedSize {
    long long Width = 0;
    long long Height = 0;
};

void CheckLimits(TClaimedSize size, const std::string& what) {
    const std::string dims = std::to_string(size.Width) + " x " + std::to_string(size.Height) + " pixels";
    if (size.Width > kMaxPictureSide || size.Height > kMaxPictureSide)
        throw EKorvelError(what + " has " + dims + "; at most " + std::to_string(kMaxPictureSide) +
                           " pixels on a side are accepted");
    if (size.Width * size.Height > kMaxPicturePixels)
        throw EKorvelError(what + " has " + dims + "; at most " +
                           std::to_string(kMaxPicturePixels / (1024 * 1024)) + " megapixels are accepted");
}

unsigned BigEndian16(const std::vector<std::uint8_t>& b, std::size_t at) {
    return (unsigned{b[at]} << 8) | b[at + 1];
}

// The size a PNG or JPEG header states, read without stb, for headers stb refuses to read.
std::optional<TClaimedSize> ClaimedSize(const std::vector<std::uint8_t>& b) {
    const std::string format = DetectImageFormat(b);
    if (format == "png" && b.size() >= 24 && std::equal(b.begin() + 12, b.begin() + 16, "IHDR")) {
        return TClaimedSize{(static_cast<long long>(BigEndian16(b, 16)) << 16) | BigEndian16(b, 18),
                            (static_cast<long long>(BigEndian16(b, 20)) << 16) | BigEndian16(b, 22)};
    }
    if (format != "jpeg")
        return std::nullopt;
    // Walk the marker segments up to the frame header (SOF0..SOF15 without DHT, JPG and DAC).
    std::size_t i = 2;
    while (i + 9 <= b.size() && b[i] == 0xFF) {
        const unsigned marker = b[i + 1];
        if (marker == 0xFF) {
            ++i;
        } else if (marker == 0x01 || (marker >= 0xD0 && marker <= 0xD9)) {
            i += 2;
        } else if (marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC) {
            return TClaimedSize{BigEndian16(b, i + 7), BigEndian16(b, i + 5)};
        } else {
            i += 2 + BigEndian16(b, i + 2);
        }
    }
    return std::nullopt;
}

std::string MegaBytes(std::uintmax_t bytes) {
    return std::to_string(bytes / (1024 * 1024)) + " MB";
}

struct TStbFree {
    void operator()(stbi_uc* p) const { stbi_image_free(p); }
};

void AppendBytes(void* context, void* data, int size) {
    auto& out = *static_cast<std::vector<std::uint8_t>*>(context);
    const auto* p = static_cast<const std::uint8_t*>(data);
    out.insert(out.end(), p, p + size);
}

// what names the source in messages: "The picture" or "The file \"...\"".
std::vector<std::uint8_t> Fit(const std::vector<std::uint8_t>& encoded, int maxSide,
                              const std::string& what) {
    if (maxSide < 1)
        throw EKorvelError("The size limit of a picture must be at least 1 pixel, not " +
                           std::to_string(maxSide));
    if (encoded.size() > kMaxPictureFileBytes)
        throw EKorvelError(what + " is larger than " + MegaBytes(kMaxPictureFileBytes));
    if (!IsAcceptedFormat(encoded))
        throw EKorvelError(what + " is not in a known picture format (PNG, JPEG, BMP or GIF)");
    const auto size = HeaderSize(encoded);
    if (!size) {
        // stb's reader refuses headers beyond its own (higher) limits and then only says "unknown image
        // type"; the claimed size tells the person why.
        if (const auto claimed = ClaimedSize(encoded))
            CheckLimits(*claimed, what);
        throw EKorvelError(what + " is damaged: its picture header cannot be read");
    }
    CheckLimits({size->Width, size->Height}, what);

    int w = 0;
    int h = 0;
    int channels = 0;
    std::unique_ptr<stbi_uc, TStbFree> pixels(
        stbi_load_from_memory(encoded.data(), static_cast<int>(encoded.size()), &w, &h, &channels, 0));
    if (!pixels || w != size->Width || h != size->Height || channels < 1 || channels > 4) {
        const char* reason = stbi_failure_reason();
        throw EKorvelError(what + " cannot be decoded" + (reason ? std::string(" (") + reason + ")" : "") +
                           "; it may be damaged or cut short");
    }

    const TImageSize target = FitInside(*size, maxSide);
    std::vector<std::uint8_t> scaled;
    const stbi_uc* out = pixels.get();
    if (target != *size) {
        scaled.resize(static_cast<std::size_t>(target.Width) * static_cast<std::size_t>(target.Height) *
                      static_cast<std::size_t>(channels));
        // Filtering in sRGB space keeps mid-tones right; alpha is weighted so transparent pixels do not
        // bleed.
        const int alpha = (channels == 2 || channels == 4) ? channels - 1 : STBIR_ALPHA_CHANNEL_NONE;
        if (stbir_resize_uint8_srgb(pixels.get(), w, h, 0, scaled.data(), target.Width, target.Height, 0,
                                    channels, alpha, 0) == 0)
            throw EKorvelError(what + " could not be scaled to " + std::to_string(target.Width) + " x " +
                               std::to_string(target.Height) + " pixels");
        out = scaled.data();
    }

    std::vector<std::uint8_t> png;
    if (stbi_write_png_to_func(&AppendBytes, &png, target.Width, target.Height, channels, out,
                               target.Width * channels) == 0 ||
        png.empty())
        throw EKorvelError(what + " could not be written as PNG");
    return png;
}

} // namespace

TImageSize FitInside(TImageSize image, int maxSide) {
    if (image.Width <= 0 || image.Height <= 0)
        return {};
    maxSide = std::max(maxSide, 1);
    const long long larger = std::max(image.Width, image.Height);
    if (larger <= maxSide)
        return image;
    auto scale = [&](long long side) {
        return static_cast<int>(std::max<long long>(1, (side * maxSide + larger / 2) / larger));
    };
    return {scale(image.Width), scale(image.Height)};
}

TRect FitRect(TImageSize image, TRect box) {
    if (image.Width <= 0 || image.Height <= 0 || box.Width <= 0 || box.Height <= 0)
        return {box.Left + std::max(box.Width, 0) / 2, box.Top + std::max(box.Height, 0) / 2, 0, 0};
    const long long iw = image.Width;
    const long long ih = image.Height;
    int width = box.Width;
    int height = box.Height;
    // Compare the aspects by cross-multiplying: the image is relatively taller than the box, or not.
    if (iw * box.Height <= static_cast<long long>(box.Width) * ih)
        width = static_cast<int>(std::clamp<long long>((iw * box.Height + ih / 2) / ih, 1, box.Width));
    else
        height = static_cast<int>(std::clamp<long long>((ih * box.Width + iw / 2) / iw, 1, box.Height));
    return {box.Left + (box.Width - width) / 2, box.Top + (box.Height - height) / 2, width, height};
}

std::optional<TImageSize> ImageSizeOf(const std::vector<std::uint8_t>& bytes) {
    return HeaderSize(bytes);
}

std::vector<std::uint8_t> FitPicture(const std::vector<std::uint8_t>& encoded, int maxSide) {
    return Fit(encoded, maxSide, "The picture");
}

std::vector<std::uint8_t> LoadPictureFile(const std::filesystem::path& file, int maxSide) {
    const std::string what = "The file \"" + file.string() + "\"";
    std::error_code ec;
    const auto status = std::filesystem::status(file, ec);
    if (!std::filesystem::exists(status))
        throw EKorvelError(what + " does not exist");
    if (!std::filesystem::is_regular_file(status))
        throw EKorvelError(what + " is not a file");
    const std::uintmax_t size = std::filesystem::file_size(file, ec);
    if (ec)
        throw EKorvelError(what + " cannot be read: " + ec.message());
    if (size > kMaxPictureFileBytes)
        throw EKorvelError(what + " is larger than " + MegaBytes(kMaxPictureFileBytes));

    std::ifstream in(file, std::ios::binary);
    if (!in)
        throw EKorvelError(what + " cannot be opened");
    // The size taken above bounds the read, so a file growing meanwhile cannot pass the limit.
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(size));
    in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (static_cast<std::uintmax_t>(in.gcount()) != size || in.bad())
        throw EKorvelError(what + " cannot be read completely");
    return Fit(bytes, maxSide, what);
}

} // namespace korvel
