#include "platform/text/CaseFold.h"

#include <unicode/stringpiece.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

namespace korvel {

namespace {

bool IsAscii(std::string_view text) {
    for (char c : text) {
        if (static_cast<unsigned char>(c) >= 0x80) {
            return false;
        }
    }
    return true;
}

} // namespace

std::string FoldCase(std::string_view utf8) {
    // Settings keys and folders are nearly always ASCII; spare them the round trip through UTF-16.
    if (IsAscii(utf8)) {
        std::string out(utf8);
        for (char& c : out) {
            if (c >= 'A' && c <= 'Z') {
                c = static_cast<char>(c - 'A' + 'a');
            }
        }
        return out;
    }
    icu::UnicodeString text =
        icu::UnicodeString::fromUTF8(icu::StringPiece(utf8.data(), static_cast<int32_t>(utf8.size())));
    text.foldCase(U_FOLD_CASE_DEFAULT);
    std::string out;
    text.toUTF8String(out);
    return out;
}

bool SameTextIgnoringCase(std::string_view a, std::string_view b) {
    return FoldCase(a) == FoldCase(b);
}

std::string AsciiUpper(std::string_view text) {
    std::string upper(text);
    for (char& c : upper)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return upper;
}

} // namespace korvel
