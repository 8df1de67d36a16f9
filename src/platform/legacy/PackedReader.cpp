#include "platform/legacy/PackedReader.h"

#include "platform/Errors.h"
#include "platform/legacy/ShortString.h"

namespace korvel {

TPackedReader::TPackedReader(TByteSpan data, int codePage, std::string sourceName)
    : data_(data), codePage_(codePage), sourceName_(std::move(sourceName)) {}

const std::uint8_t* TPackedReader::Take(std::size_t count, const char* what) {
    if (count > Remaining()) {
        std::string where = sourceName_.empty() ? std::string() : " in \"" + sourceName_ + "\"";
        throw EKorvelError("Unexpected end of data" + where + ": " + what + " at offset " +
                           std::to_string(offset_) + " needs " + std::to_string(count) + " bytes, " +
                           std::to_string(Remaining()) + " remain");
    }
    const std::uint8_t* p = data_.data() + offset_;
    offset_ += count;
    return p;
}

void TPackedReader::Seek(std::size_t offset) {
    if (offset > data_.size()) {
        std::string where = sourceName_.empty() ? std::string() : " of \"" + sourceName_ + "\"";
        throw EKorvelError("Offset " + std::to_string(offset) + " lies beyond the end" + where + " (" +
                           std::to_string(data_.size()) + " bytes)");
    }
    offset_ = offset;
}

void TPackedReader::Skip(std::size_t count) {
    Take(count, "skipping");
}

std::uint8_t TPackedReader::U8() {
    return *Take(1, "a byte");
}

std::uint16_t TPackedReader::U16() {
    return LoadU16LE(Take(2, "a 16-bit integer"));
}

std::int16_t TPackedReader::I16() {
    return static_cast<std::int16_t>(U16());
}

std::uint32_t TPackedReader::U32() {
    return LoadU32LE(Take(4, "a 32-bit integer"));
}

std::int32_t TPackedReader::I32() {
    return static_cast<std::int32_t>(U32());
}

float TPackedReader::F32() {
    return LoadF32LE(Take(4, "a 32-bit float"));
}

double TPackedReader::F64() {
    return LoadF64LE(Take(8, "a 64-bit float"));
}

std::string TPackedReader::ShortString(std::size_t capacity) {
    if (capacity > 255) {
        throw EKorvelError("A short string holds at most 255 characters, not " + std::to_string(capacity));
    }
    const std::uint8_t* p = Take(capacity + 1, "a text field");
    return DecodeShortString(TByteSpan(p, capacity + 1), codePage_);
}

TByteSpan TPackedReader::Bytes(std::size_t count) {
    return TByteSpan(Take(count, "a byte block"), count);
}

} // namespace korvel
