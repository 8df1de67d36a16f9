#include "platform/legacy/ShortString.h"

#include "platform/Errors.h"
#include "platform/legacy/Trim.h"

#include <algorithm>

namespace korvel {

std::string DecodeShortString(TByteSpan field, int codePage) {
    if (field.empty()) {
        return {};
    }
    const std::size_t capacity = field.size() - 1;
    const std::size_t length = std::min<std::size_t>(field[0], capacity);
    const std::string_view bytes(reinterpret_cast<const char*>(field.data() + 1), length);
    return TrimText(CodePageToUtf8(bytes, codePage));
}

TBlob EncodeShortString(std::string_view utf8, std::size_t capacity, int codePage) {
    if (capacity < 1 || capacity > 255) {
        throw EKorvelError("A short string holds 1 to 255 characters, not " + std::to_string(capacity));
    }
    std::string bytes = Utf8ToCodePage(utf8, codePage);
    if (bytes.size() > capacity) {
        bytes.resize(capacity);
    }
    TBlob field(capacity + 1, 0);
    field[0] = static_cast<std::uint8_t>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), field.begin() + 1);
    return field;
}

} // namespace korvel
