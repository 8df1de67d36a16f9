#pragma once

#include "platform/base/Blob.h"
#include "platform/legacy/CodePages.h"

#include <string>
#include <string_view>

namespace korvel {

// Length-prefixed short strings of packed DOS records: a field of capacity n occupies n + 1 bytes, a length
// byte followed by n single-byte characters in an OEM or ANSI code page.

// Decodes a field of field.size() - 1 capacity: converted to UTF-8 and trimmed. A length byte above the
// capacity (a damaged record) is read as the full capacity, never beyond the field.
std::string DecodeShortString(TByteSpan field, int codePage = kDefaultOemCodePage);

// Encodes text into a field of the given capacity (1..255): converted, cut at the capacity, padded with
// zero bytes. Throws EKorvelError for a capacity outside 1..255.
TBlob EncodeShortString(std::string_view utf8, std::size_t capacity, int codePage = kDefaultOemCodePage);

} // namespace korvel
