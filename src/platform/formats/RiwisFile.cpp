#include "platform/formats/RiwisFile.h"

#include "platform/Errors.h"
#include "platform/legacy/PackedReader.h"
#include "platform/legacy/ShortString.h"

#include <bit>
#include <cmath>

namespace korvel::formats {

namespace {

constexpr std::size_t kNameCapacity = 30;

} // namespace

TRiwisRecord DecodeRiwisRecord(TByteSpan record, int codePage) {
    if (record.size() != kRiwisRecordSize)
        throw EKorvelError("A directivity record of RIWIS.DAT has " + std::to_string(kRiwisRecordSize) +
                           " bytes, not " + std::to_string(record.size()));
    TPackedReader r(record, codePage, "directivity record");
    TRiwisRecord rec;
    rec.Name = r.ShortString(kNameCapacity);
    for (std::size_t i = 0; i < rec.Werte.size(); ++i) {
        rec.Werte[i] = r.F32();
        // A value that is no number would make the whole directivity unreadable once stored.
        if (!std::isfinite(rec.Werte[i]))
            throw EKorvelError("value " + std::to_string(i + 1) + " (" + std::to_string((i + 1) * 10) +
                               " degrees) of the directivity \"" + rec.Name + "\" is no number");
    }
    rec.Nummer = r.I16();
    return rec;
}

TBlob EncodeRiwisRecord(const TRiwisRecord& rec, int codePage) {
    TBlob b = EncodeShortString(rec.Name, kNameCapacity, codePage);
    b.reserve(kRiwisRecordSize);
    auto put = [&](std::uint32_t v, int bytes) {
        for (int i = 0; i < bytes; ++i)
            b.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
    };
    for (float v : rec.Werte)
        put(std::bit_cast<std::uint32_t>(v), 4);
    put(static_cast<std::uint16_t>(rec.Nummer), 2);
    return b;
}

std::vector<TRiwisRecord> DecodeRiwisFile(TByteSpan bytes, int codePage) {
    std::vector<TRiwisRecord> records;
    for (std::size_t pos = 0; pos + kRiwisRecordSize <= bytes.size(); pos += kRiwisRecordSize)
        records.push_back(DecodeRiwisRecord(bytes.subspan(pos, kRiwisRecordSize), codePage));
    return records;
}

} // namespace korvel::formats
