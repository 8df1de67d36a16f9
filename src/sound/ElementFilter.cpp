#include "sound/ElementFilter.h"

#include "platform/Errors.h"
#include "platform/base/Blob.h"
#include "platform/legacy/CodePages.h"
#include "platform/legacy/ShortString.h"
#include "platform/legacy/Trim.h"
#include "platform/settings/AtomicFile.h"
#include "platform/text/CaseFold.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>

namespace korvel::sound {

namespace {

// The file is written on Windows machines too; its strings are always in this code page.
constexpr int kFilterCodePage = kDefaultAnsiCodePage;
constexpr std::size_t kGroupFieldSize = kFilterGroupChars + 1;

static_assert(filter_offset::Group1 + kFilterGroupSlots * kGroupFieldSize == filter_offset::MinActive);
static_assert(filter_offset::TextFilter + kFilterTextChars + 1 == kFilterRecSize);

std::size_t GroupOffset(int slot) {
    if (slot < 0 || slot >= kFilterGroupSlots)
        throw EKorvelError("Filter group slot " + std::to_string(slot) + " does not exist (0 to 3)");
    return filter_offset::Group1 + static_cast<std::size_t>(slot) * kGroupFieldSize;
}

std::string ReadShort(const TFilterRec::TBytes& bytes, std::size_t offset, std::size_t capacity) {
    return DecodeShortString(TByteSpan(bytes.data() + offset, capacity + 1), kFilterCodePage);
}

void WriteShort(TFilterRec::TBytes& bytes, std::size_t offset, std::size_t capacity, std::string_view text) {
    const TBlob field = EncodeShortString(text, capacity, kFilterCodePage);
    std::copy(field.begin(), field.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
}

void StoreF32LE(TFilterRec::TBytes& bytes, std::size_t offset, float value) {
    const auto bits = std::bit_cast<std::uint32_t>(value);
    for (std::size_t i = 0; i < 4; ++i)
        bytes[offset + i] = static_cast<std::uint8_t>(bits >> (8 * i));
}

// Shortest text that reads back as the same float, with a decimal point whatever the locale.
std::string NumberText(float value) {
    char buffer[64];
    const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
    return ec == std::errc() ? std::string(buffer, end) : std::string();
}

} // namespace

std::string TFilterRec::Group(int slot) const {
    return ReadShort(bytes_, GroupOffset(slot), kFilterGroupChars);
}

void TFilterRec::SetGroup(int slot, std::string_view name) {
    WriteShort(bytes_, GroupOffset(slot), kFilterGroupChars, name);
}

float TFilterRec::Min() const {
    return LoadF32LE(bytes_.data() + filter_offset::Min);
}

void TFilterRec::SetMin(float value) {
    StoreF32LE(bytes_, filter_offset::Min, value);
}

float TFilterRec::Max() const {
    return LoadF32LE(bytes_.data() + filter_offset::Max);
}

void TFilterRec::SetMax(float value) {
    StoreF32LE(bytes_, filter_offset::Max, value);
}

void TFilterRec::UpdateActiveFlags() {
    SetMinActive(std::fabs(Min()) > kFilterRangeEpsilon);
    SetMaxActive(std::fabs(Max()) > kFilterRangeEpsilon);
}

TLogOperator TFilterRec::Operator() const {
    return bytes_[filter_offset::Operator] == 1 ? TLogOperator::And : TLogOperator::Or;
}

std::string TFilterRec::GetTextFilter() const {
    return ReadShort(bytes_, filter_offset::TextFilter, kFilterTextChars);
}

void TFilterRec::SetTextFilter(std::string_view text) {
    WriteShort(bytes_, filter_offset::TextFilter, kFilterTextChars, text);
}

std::string FilterFileName(const std::string& libraryFile) {
    if (libraryFile.empty())
        return {};
    return std::filesystem::path(libraryFile).replace_extension(".fil").string();
}

void LoadFilter(const std::string& libraryFile, TFilterRec& rec) {
    rec.Clear();
    const std::string fileName = FilterFileName(libraryFile);
    if (fileName.empty())
        return;
    std::ifstream in(fileName, std::ios::binary);
    if (!in)
        return;
    in.read(reinterpret_cast<char*>(rec.Bytes().data()), static_cast<std::streamsize>(kFilterRecSize));
    // A partial record is worth nothing: its fields would mix old bytes and zeros.
    if (in.gcount() != static_cast<std::streamsize>(kFilterRecSize))
        rec.Clear();
}

void SaveFilter(const std::string& libraryFile, const TFilterRec& rec) {
    const std::string fileName = FilterFileName(libraryFile);
    if (fileName.empty())
        return;
    const auto& bytes = rec.Bytes();
    WriteFileAtomically(fileName,
                        std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

std::string GroupFilterTerm(int groupNo) {
    const std::string g = std::to_string(groupNo);
    // The missing blank before the last term is how existing filters read; kept so texts compare equal.
    return "((Gruppen1=" + g + ") OR " + "(Gruppen2=" + g + ") OR " + "(Gruppen3=" + g + ") OR" +
           "(Gruppen4=" + g + "))";
}

std::string BuildGroupFilter(std::optional<int> group1, std::optional<int> group2, TLogOperator op) {
    std::string part;
    for (const std::optional<int>& group : {group1, group2}) {
        if (!group)
            continue;
        const std::string term = GroupFilterTerm(*group);
        if (part.empty())
            part = term;
        else
            part += " " + std::string(LogOperatorStr[static_cast<std::size_t>(op)]) + " " + term;
    }
    return part.empty() ? part : "(" + part + ")";
}

std::string BuildRangeFilter(const TFilterRec& rec, const std::string& sumField) {
    std::vector<std::string> parts;
    if (rec.MinActive() && std::isfinite(rec.Min()))
        parts.push_back("(" + sumField + " >= " + NumberText(rec.Min()) + ")");
    if (rec.MaxActive() && std::isfinite(rec.Max()))
        parts.push_back("(" + sumField + " <= " + NumberText(rec.Max()) + ")");
    return JoinFilterParts(parts);
}

std::string JoinFilterParts(const std::vector<std::string>& parts) {
    std::string out;
    for (const std::string& part : parts) {
        if (part.empty())
            continue;
        if (!out.empty())
            out += " AND ";
        out += part;
    }
    return out;
}

bool TextFilterAccepts(std::string_view filterText, std::string_view comment, std::string_view name) {
    const std::string wanted = TrimText(filterText);
    if (wanted.empty())
        return true;
    const std::string haystack = FoldCase(comment) + FoldCase(name);
    return haystack.find(FoldCase(wanted)) != std::string::npos;
}

} // namespace korvel::sound
