#pragma once

#include "platform/base/Blob.h"
#include "platform/legacy/CodePages.h"

#include <cstdint>
#include <string>

namespace korvel {

// Reads a packed little-endian record (or a whole file) field by field. Every read checks the bounds
// first: reading past the end throws EKorvelError naming the source, the offset and the bytes missing, and
// leaves the position where it was. The reader never touches memory outside its span.
class TPackedReader {
public:
    explicit TPackedReader(TByteSpan data, int codePage = kDefaultOemCodePage, std::string sourceName = {});

    std::size_t Offset() const { return offset_; }
    std::size_t Size() const { return data_.size(); }
    std::size_t Remaining() const { return data_.size() - offset_; }
    bool AtEnd() const { return offset_ == data_.size(); }

    // Both throw EKorvelError beyond the end; Seek(Size()) is allowed.
    void Seek(std::size_t offset);
    void Skip(std::size_t count);

    std::uint8_t U8();
    std::uint16_t U16();
    std::int16_t I16();
    std::uint32_t U32();
    std::int32_t I32();
    float F32();
    double F64();
    // A short string field of the given capacity (capacity + 1 bytes), converted and trimmed.
    std::string ShortString(std::size_t capacity);
    TByteSpan Bytes(std::size_t count);

private:
    const std::uint8_t* Take(std::size_t count, const char* what);

    TByteSpan data_;
    std::size_t offset_ = 0;
    int codePage_;
    std::string sourceName_;
};

} // namespace korvel
