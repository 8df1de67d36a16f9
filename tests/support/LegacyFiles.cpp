#include "support/LegacyFiles.h"

#include "support/FileBytes.h"

#include <algorithm>
#include <bit>
#include <filesystem>
#include <stdexcept>

namespace korvel::test {
namespace {

void PutU32(TBlob& b, std::size_t offset, std::uint32_t v, std::size_t bytes = 4) {
    for (std::size_t i = 0; i < bytes; ++i)
        b.at(offset + i) = static_cast<std::uint8_t>(v >> (8 * i));
}

void PutF32(TBlob& b, std::size_t offset, float v) {
    PutU32(b, offset, std::bit_cast<std::uint32_t>(v));
}

// Copies at most size bytes of text, adding no terminator.
void PutText(TBlob& b, std::size_t offset, std::size_t size, const std::string& text) {
    std::copy_n(text.begin(), std::min(size, text.size()), b.begin() + static_cast<std::ptrdiff_t>(offset));
}

// A length byte and the characters: capacity + 1 bytes.
void PutShortString(TBlob& b, std::size_t offset, std::size_t capacity, const std::string& text) {
    b.at(offset) = static_cast<std::uint8_t>(std::min(capacity, text.size()));
    PutText(b, offset + 1, capacity, text);
}

} // namespace

TBlob Join(const std::vector<TBlob>& records) {
    TBlob all;
    for (const TBlob& r : records)
        all.insert(all.end(), r.begin(), r.end());
    return all;
}

TBlob DosIndexBytes(const formats::TDosIndexRecord& rec) {
    TBlob b(62, 0);
    PutShortString(b, 0, 40, rec.Name);
    PutU32(b, 41, static_cast<std::uint16_t>(rec.Entry), 2);
    std::copy(rec.Groups.begin(), rec.Groups.end(), b.begin() + 43);
    return b;
}

TBlob DosDataBytes(const formats::TDosDataRecord& rec) {
    TBlob b(832, 0);
    for (std::size_t line = 0; line < rec.Comment.size(); ++line)
        PutShortString(b, 59 * line, 58, rec.Comment[line]);
    for (std::size_t k = 0; k < rec.ThirdOctaves.size(); ++k)
        PutF32(b, 590 + 4 * k, rec.ThirdOctaves[k]);
    std::copy(rec.KennChar.begin(), rec.KennChar.end(), b.begin() + 702);
    return b;
}

TBlob DosGroupBytes(const std::string& name) {
    TBlob b(31, 0);
    PutShortString(b, 0, 30, name);
    return b;
}

TBlob RiwisBytes(const std::string& name, const std::vector<float>& values, std::int16_t number) {
    TBlob b(177, 0);
    PutShortString(b, 0, 30, name);
    for (std::size_t i = 0; i < std::min<std::size_t>(values.size(), 36); ++i)
        PutF32(b, 31 + 4 * i, values[i]);
    PutU32(b, 175, static_cast<std::uint16_t>(number), 2);
    return b;
}

void WriteDosLibrary(const std::string& indexFile, const std::vector<TBlob>& index,
                     const std::vector<TBlob>& data, const std::vector<TBlob>& groups) {
    const std::filesystem::path folder = std::filesystem::path(indexFile).parent_path();
    const char digit = indexFile.back();
    WriteAll(indexFile, Join(index));
    WriteAll((folder / (std::string("LibData.00") + digit)).string(), Join(data));
    if (!groups.empty())
        WriteAll((folder / (std::string("Gruppe.00") + digit)).string(), Join(groups));
}

TBlob ClfBytes(const formats::TClfFile& f) {
    constexpr std::size_t kHeader = 52, kData = 4624;
    TBlob b(kData + (f.Version == 1 ? 29168 : 329408), 0);
    PutU32(b, 0, f.Version == 1 ? 0xABD40 : 0xABD41);
    const formats::TClfHeader& h = f.Header;
    const std::pair<std::size_t, const std::string*> names[] = {
        {260, &h.ModelName}, {516, &h.Manufacturer}, {772, &h.Description},  {1032, &h.Colors},
        {1288, &h.Mounting}, {1548, &h.WebSite},     {1804, &h.MeasContact}, {2060, &h.MeasEmail},
        {2364, &h.MeasNote}, {2620, &h.MeasEnv},     {2884, &h.TypeInfo}};
    for (const auto& [offset, text] : names)
        PutText(b, kHeader + offset, 256, *text);
    const std::pair<std::size_t, const std::string*> dates[] = {
        {2316, &h.MeasDate}, {2332, &h.BinFileDate}, {2348, &h.TextFileDate}};
    for (const auto& [offset, text] : dates)
        PutText(b, kHeader + offset, 16, *text);
    PutU32(b, kHeader + 256, h.LicenseType);
    PutU32(b, kHeader + 1028, h.GivenFlags);
    PutF32(b, kHeader + 1544, h.Weight);
    PutF32(b, kHeader + 2876, h.MeasDistance);
    PutU32(b, kHeader + 2880, h.LspType);
    for (std::size_t k = 0; k < h.AxialSpectrum.size(); ++k)
        PutF32(b, kHeader + 4044 + 4 * k, h.AxialSpectrum[k]);
    PutU32(b, kHeader + 4420, h.Radiation);
    PutU32(b, kHeader + 4424, h.Symmetry);
    PutU32(b, kData, f.MinBand);
    PutU32(b, kData + 4, f.MaxBand);
    const std::size_t balloon = kData + (f.Version == 1 ? 1768 : 9608);
    for (std::size_t i = 0; i < f.Balloon.size(); ++i)
        PutF32(b, balloon + 4 * i, f.Balloon[i]);
    return b;
}

formats::TClfFile ClfSample(int version, std::uint32_t minBand, std::uint32_t maxBand) {
    formats::TClfFile f{.Version = version,
                        .Header = {.LicenseType = 2,
                                   .ModelName = "Box \xE9",
                                   .Manufacturer = "Maker",
                                   .Description = "Two-way",
                                   .Colors = "black",
                                   .Mounting = "wall",
                                   .WebSite = "www.example.org",
                                   .MeasContact = "Lab",
                                   .MeasEmail = "lab@example.org",
                                   .MeasDate = std::string(16, 'D'),
                                   .BinFileDate = "2001-02-04",
                                   .TextFileDate = "2001-02-05",
                                   .MeasNote = "note",
                                   .MeasEnv = "anechoic",
                                   .TypeInfo = "amp 200 W",
                                   .Weight = 12.345f,
                                   .MeasDistance = 4.0f,
                                   .GivenFlags = formats::kClfAxialGiven | 1u,
                                   .LspType = 2,
                                   .Radiation = 0,
                                   .Symmetry = 1},
                        .MinBand = minBand,
                        .MaxBand = maxBand,
                        .Balloon = {}};
    for (std::size_t k = 0; k < f.Header.AxialSpectrum.size(); ++k)
        f.Header.AxialSpectrum[k] = 90.0f + static_cast<float>(k);
    f.Balloon.resize(static_cast<std::size_t>(f.Bands() * f.Meridians() * f.Parallels()));
    for (std::size_t i = 0; i < f.Balloon.size(); ++i)
        f.Balloon[i] = -static_cast<float>(i % 4096) / 128.0f;
    return f;
}

void WriteParadoxTable(const std::string& path, const std::vector<TPxField>& fields,
                       const std::vector<std::vector<TPxCell>>& rows, int codePage) {
    pxdoc_t* doc = PX_new();
    if (doc == nullptr)
        throw std::runtime_error("pxlib gives no document");
    auto* defs = static_cast<pxfield_t*>(doc->malloc(doc, fields.size() * sizeof(pxfield_t), "fields"));
    for (std::size_t i = 0; i < fields.size(); ++i)
        defs[i] = {PX_strdup(doc, fields[i].Name), fields[i].Type, fields[i].Len, 0};
    if (PX_create_file(doc, defs, static_cast<int>(fields.size()), path.c_str(), pxfFileTypNonIndexDB) != 0) {
        PX_delete(doc);
        throw std::runtime_error("pxlib cannot create " + path);
    }
    bool ok = codePage == 0 || PX_set_value(doc, "codepage", static_cast<float>(codePage)) == 0;
    for (std::size_t r = 0; ok && r < rows.size(); ++r) {
        std::vector<pxval_t> values(fields.size()); // zeroed
        std::vector<pxval_t*> pointers(fields.size());
        for (std::size_t i = 0; i < fields.size(); ++i) {
            pxval_t& v = values[i];
            v.type = fields[i].Type;
            const TPxCell& cell = rows[r].at(i);
            v.isnull = std::holds_alternative<std::monostate>(cell) ? 1 : 0;
            if (const long* l = std::get_if<long>(&cell))
                v.value.lval = *l;
            else if (const double* d = std::get_if<double>(&cell))
                v.value.dval = *d;
            else if (const std::string* s = std::get_if<std::string>(&cell)) {
                v.value.str.val = const_cast<char*>(s->c_str());
                v.value.str.len = static_cast<int>(s->size());
            }
            pointers[i] = &v;
        }
        ok = PX_insert_record(doc, pointers.data()) >= 0;
    }
    PX_close(doc);
    PX_delete(doc);
    if (!ok)
        throw std::runtime_error("pxlib could not write " + path);
}

long ParadoxDay(int year, int month, int day) {
    return PX_GregorianToSdn(year, month, day) - 1721425;
}

} // namespace korvel::test
