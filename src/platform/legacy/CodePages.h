#pragma once

#include <string>
#include <string_view>

namespace korvel {

// Single-byte code pages of old DOS and Windows files, converted through ICU. Code pages are given by
// number: 874 and 1250..1258 are the Windows (ANSI) pages, every other number an IBM/DOS (OEM) page such as
// 437, 850, 852 or 866.
inline constexpr int kDefaultOemCodePage = 850;
inline constexpr int kDefaultAnsiCodePage = 1252;

// Both throw EKorvelError for a code page ICU does not have.
// Bytes that the code page leaves undefined become U+FFFD.
std::string CodePageToUtf8(std::string_view bytes, int codePage);
// Characters the code page cannot represent, and invalid UTF-8, become '?'.
std::string Utf8ToCodePage(std::string_view utf8, int codePage);

bool IsCodePageAvailable(int codePage);

inline std::string OemToUtf8(std::string_view bytes, int codePage = kDefaultOemCodePage) {
    return CodePageToUtf8(bytes, codePage);
}
inline std::string Utf8ToOem(std::string_view utf8, int codePage = kDefaultOemCodePage) {
    return Utf8ToCodePage(utf8, codePage);
}
inline std::string AnsiToUtf8(std::string_view bytes, int codePage = kDefaultAnsiCodePage) {
    return CodePageToUtf8(bytes, codePage);
}
inline std::string Utf8ToAnsi(std::string_view utf8, int codePage = kDefaultAnsiCodePage) {
    return Utf8ToCodePage(utf8, codePage);
}

} // namespace korvel
