#include "platform/ui/PictureBox.h"

#include "platform/Errors.h"

#include <algorithm>
#include <string_view>

namespace korvel {

namespace {

bool StartsWith(const std::vector<std::uint8_t>& bytes, std::string_view magic) {
    return bytes.size() >= magic.size() &&
           std::equal(magic.begin(), magic.end(), bytes.begin(),
                      [](char m, std::uint8_t b) { return static_cast<std::uint8_t>(m) == b; });
}

} // namespace

std::string DetectImageFormat(const std::vector<std::uint8_t>& bytes) {
    if (StartsWith(bytes, "\x89PNG\r\n\x1a\n"))
        return "png";
    if (StartsWith(bytes, "\xFF\xD8\xFF"))
        return "jpeg";
    if (StartsWith(bytes, "GIF87a") || StartsWith(bytes, "GIF89a"))
        return "gif";
    if (StartsWith(bytes, "BM") && bytes.size() >= 26)
        return "bmp";
    std::string_view head(reinterpret_cast<const char*>(bytes.data()),
                          std::min<std::size_t>(bytes.size(), 256));
    if (head.find("<svg") != std::string_view::npos)
        return "svg";
    return {};
}

void TPictureBox::SetPicture(std::vector<std::uint8_t> bytes, std::string format) {
    if (bytes.empty()) {
        Clear();
        return;
    }
    std::transform(format.begin(), format.end(), format.begin(),
                   [](char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; });
    if (format == "jpg")
        format = "jpeg";
    if (format.empty())
        format = DetectImageFormat(bytes);
    if (format.empty())
        throw EKorvelError("Picture \"" + Name() + "\": unknown image format");
    if (bytes == bytes_ && format == format_)
        return;
    bytes_ = std::move(bytes);
    format_ = std::move(format);
    Changed(TChangeKind::Value);
}

void TPictureBox::Clear() {
    if (bytes_.empty() && format_.empty())
        return;
    bytes_.clear();
    format_.clear();
    Changed(TChangeKind::Value);
}

} // namespace korvel
