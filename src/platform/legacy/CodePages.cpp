#include "platform/legacy/CodePages.h"

#include "platform/Errors.h"

#include <memory>
#include <unicode/stringpiece.h>
#include <unicode/ucnv.h>
#include <unicode/unistr.h>
#include <unordered_map>

namespace korvel {

namespace {

struct TConverterCloser {
    void operator()(UConverter* c) const { ucnv_close(c); }
};
using TConverter = std::unique_ptr<UConverter, TConverterCloser>;

std::string IcuName(int codePage) {
    const bool windows = codePage == 874 || (codePage >= 1250 && codePage <= 1258);
    return (windows ? "windows-" : "ibm-") + std::to_string(codePage);
}

TConverter OpenConverter(int codePage) {
    UErrorCode status = U_ZERO_ERROR;
    TConverter converter(ucnv_open(IcuName(codePage).c_str(), &status));
    if (U_FAILURE(status) || !converter) {
        throw EKorvelError("Code page " + std::to_string(codePage) + " is not available");
    }
    return converter;
}

// Decoding converters, one per code page and thread: old files decode many short texts, and opening a
// converter costs more than converting one of them.
UConverter& DecodingConverter(int codePage) {
    thread_local std::unordered_map<int, TConverter> converters;
    auto it = converters.find(codePage);
    if (it == converters.end())
        it = converters.emplace(codePage, OpenConverter(codePage)).first;
    ucnv_resetToUnicode(it->second.get());
    return *it->second;
}

int32_t Length(std::string_view s) {
    if (s.size() > static_cast<std::size_t>(INT32_MAX)) {
        throw EKorvelError("Text too long to convert");
    }
    return static_cast<int32_t>(s.size());
}

} // namespace

bool IsCodePageAvailable(int codePage) {
    UErrorCode status = U_ZERO_ERROR;
    TConverter converter(ucnv_open(IcuName(codePage).c_str(), &status));
    return U_SUCCESS(status) && converter;
}

std::string CodePageToUtf8(std::string_view bytes, int codePage) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::UnicodeString text(bytes.data(), Length(bytes), &DecodingConverter(codePage), status);
    if (U_FAILURE(status)) {
        throw EKorvelError("Text in code page " + std::to_string(codePage) + " cannot be converted");
    }
    std::string out;
    text.toUTF8String(out);
    return out;
}

std::string Utf8ToCodePage(std::string_view utf8, int codePage) {
    const TConverter converter = OpenConverter(codePage);
    UErrorCode status = U_ZERO_ERROR;
    // No best-fit guesses ("ł" as "l"): a character the page lacks is visibly lost as '?'.
    ucnv_setFallback(converter.get(), false);
    ucnv_setSubstChars(converter.get(), "?", 1, &status);
    const icu::UnicodeString text = icu::UnicodeString::fromUTF8(icu::StringPiece(utf8.data(), Length(utf8)));
    // A single-byte page needs at most one byte per UTF-16 unit.
    std::string out(static_cast<std::size_t>(text.length()) + 1, '\0');
    const int32_t written = ucnv_fromUChars(converter.get(), out.data(), static_cast<int32_t>(out.size()),
                                            text.getBuffer(), text.length(), &status);
    if (U_FAILURE(status)) {
        throw EKorvelError("Text cannot be converted to code page " + std::to_string(codePage));
    }
    out.resize(static_cast<std::size_t>(written));
    return out;
}

} // namespace korvel
