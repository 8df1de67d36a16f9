#include "platform/Errors.h"
#include "platform/formats/Workbook.h"
#include "platform/legacy/CodePages.h"

#include <array>
#include <cstdint>
#include <limits>
#include <unicode/utf8.h>

namespace korvel::formats {

namespace {

bool IsValidUtf8(std::string_view text) {
    const auto* s = reinterpret_cast<const std::uint8_t*>(text.data());
    const auto length = static_cast<std::int32_t>(text.size());
    std::int32_t i = 0;
    while (i < length) {
        UChar32 c = 0;
        U8_NEXT(s, i, length, c);
        if (c < 0)
            return false;
    }
    return true;
}

// The text as UTF-8: a BOM is dropped; bytes that are not valid UTF-8 come from the ANSI code page.
std::string DecodeText(const std::string& bytes, int ansiCodePage) {
    if (bytes.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()))
        throw EKorvelError("The text table is larger than 2 GB.");
    std::string_view text(bytes);
    if (text.starts_with("\xEF\xBB\xBF"))
        text.remove_prefix(3);
    if (IsValidUtf8(text))
        return std::string(text);
    return CodePageToUtf8(text, ansiCodePage);
}

// The most frequent of tab, semicolon and comma in the first line (quoted parts do not count).
char DetectSeparator(std::string_view text) {
    constexpr std::array<char, 3> candidates{'\t', ';', ','};
    std::array<std::size_t, 3> counts{};
    bool inQuotes = false;
    char previous = '\t'; // a quote opens a field only at its start
    for (char c : text) {
        const bool opens = c == '"' && (previous == '\t' || previous == ';' || previous == ',');
        previous = c;
        if (inQuotes ? c == '"' : opens)
            inQuotes = !inQuotes;
        else if (!inQuotes && (c == '\r' || c == '\n'))
            break;
        else if (!inQuotes)
            for (std::size_t k = 0; k < candidates.size(); ++k)
                if (c == candidates[k])
                    ++counts[k];
    }
    std::size_t best = 0;
    for (std::size_t k = 1; k < candidates.size(); ++k)
        if (counts[k] > counts[best])
            best = k;
    return candidates[best];
}

} // namespace

TWorkbook ReadTextTable(const std::string& bytes, const std::string& sheetName, int ansiCodePage,
                        const TWorkbookLimits& limits) {
    const std::string text = DecodeText(bytes, ansiCodePage);
    const char separator = DetectSeparator(text);

    TWorkbook workbook;
    TSheet& sheet = workbook.Sheets.emplace_back();
    sheet.Name = sheetName;
    std::size_t cellsUsed = 0;
    detail::TSheetBuilder builder(sheet, limits, cellsUsed);

    std::size_t row = 0;
    std::size_t col = 0;
    std::size_t line = 1;      // physical line, for messages
    std::size_t quoteLine = 0; // where the open quote began
    std::string field;
    bool inQuotes = false;
    bool wasQuoted = false;
    bool pending = false; // something of the current row has been read

    auto endField = [&] {
        builder.Set(row, col, std::move(field));
        field.clear();
        wasQuoted = false;
    };
    auto endRow = [&] {
        endField();
        ++row;
        col = 0;
        pending = false;
    };

    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inQuotes) {
            if (c == '"') {
                if (i + 1 < text.size() && text[i + 1] == '"') {
                    field += '"';
                    ++i;
                } else {
                    inQuotes = false;
                }
            } else {
                if (c == '\n' || (c == '\r' && (i + 1 >= text.size() || text[i + 1] != '\n')))
                    ++line;
                field += c;
            }
            continue;
        }
        if (c == '"' && field.empty() && !wasQuoted) {
            inQuotes = true;
            wasQuoted = true;
            pending = true;
            quoteLine = line;
        } else if (c == separator) {
            endField();
            ++col;
            pending = true;
        } else if (c == '\r' || c == '\n') {
            if (c == '\r' && i + 1 < text.size() && text[i + 1] == '\n')
                ++i;
            endRow();
            ++line;
        } else {
            field += c;
            pending = true;
        }
    }
    if (inQuotes)
        throw EKorvelError("The quote opened in line " + std::to_string(quoteLine) + " is not closed.");
    if (pending)
        endRow();
    return workbook;
}

} // namespace korvel::formats
