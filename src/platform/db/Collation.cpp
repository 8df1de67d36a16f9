#include "platform/db/Collation.h"

#include "platform/db/DbErrors.h"

#include <memory>
#include <unicode/ucol.h>
#include <unicode/ustring.h>
#include <unicode/utf8.h>

namespace korvel::db {

namespace {

struct CollatorCloser {
    void operator()(UCollator* c) const { ucol_close(c); }
};

UCollator* Collator() {
    thread_local std::unique_ptr<UCollator, CollatorCloser> collator = [] {
        UErrorCode status = U_ZERO_ERROR;
        UCollator* c = ucol_open("", &status);
        if (U_FAILURE(status)) {
            throw EDatabaseError(std::string("Cannot load the collation rules: ") + u_errorName(status));
        }
        ucol_setStrength(c, UCOL_SECONDARY);
        return std::unique_ptr<UCollator, CollatorCloser>(c);
    }();
    return collator.get();
}

// Invalid UTF-8 becomes U+FFFD rather than an error: a damaged name must still be orderable.
std::u16string ToUtf16(std::string_view utf8) {
    std::u16string out(utf8.size() + 1, u'\0');
    int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strFromUTF8WithSub(out.data(), static_cast<int32_t>(out.size()), &length, utf8.data(),
                         static_cast<int32_t>(utf8.size()), 0xFFFD, nullptr, &status);
    if (U_FAILURE(status)) {
        throw EDatabaseError(std::string("Cannot convert text: ") + u_errorName(status));
    }
    out.resize(static_cast<size_t>(length));
    return out;
}

} // namespace

std::vector<std::uint8_t> CollationKey(std::string_view utf8) {
    std::u16string text = ToUtf16(utf8);
    const auto* src = reinterpret_cast<const UChar*>(text.data());
    auto len = static_cast<int32_t>(text.size());
    std::vector<std::uint8_t> key(text.size() * 4 + 16);
    int32_t needed = ucol_getSortKey(Collator(), src, len, key.data(), static_cast<int32_t>(key.size()));
    if (needed > static_cast<int32_t>(key.size())) {
        key.resize(static_cast<size_t>(needed));
        needed = ucol_getSortKey(Collator(), src, len, key.data(), needed);
    }
    // Drop the terminating zero byte; blobs compare by length after their common prefix.
    key.resize(needed > 0 ? static_cast<size_t>(needed - 1) : 0);
    return key;
}

std::string CollatorVersion() {
    UVersionInfo info;
    ucol_getVersion(Collator(), info);
    char text[U_MAX_VERSION_STRING_LENGTH];
    u_versionToString(info, text);
    return std::string("icu-root-secondary-") + text;
}

size_t CodePointCount(std::string_view utf8) {
    size_t count = 0;
    for (unsigned char c : utf8) {
        if ((c & 0xC0) != 0x80) {
            ++count;
        }
    }
    return count;
}

std::string TruncateCodePoints(std::string_view utf8, size_t maxCodePoints) {
    size_t count = 0;
    for (size_t i = 0; i < utf8.size(); ++i) {
        auto c = static_cast<unsigned char>(utf8[i]);
        if ((c & 0xC0) != 0x80) {
            if (count == maxCodePoints) {
                return std::string(utf8.substr(0, i));
            }
            ++count;
        }
    }
    return std::string(utf8);
}

} // namespace korvel::db
