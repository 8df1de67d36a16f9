#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace korvel {

// Blob fields and packed records hold little-endian data whatever the host's byte order: integers in
// two's complement, floats as IEEE 754 binary32/binary64.
using TBlob = std::vector<std::uint8_t>;
using TByteSpan = std::span<const std::uint8_t>;

// A blob that arrives as a std::string (text-typed field access) viewed as bytes.
TByteSpan AsBytes(std::string_view bytes);

// Fixed-width little-endian access at a position the caller has checked to be in range.
std::uint16_t LoadU16LE(const std::uint8_t* p);
std::uint32_t LoadU32LE(const std::uint8_t* p);
std::uint64_t LoadU64LE(const std::uint8_t* p);
float LoadF32LE(const std::uint8_t* p);
double LoadF64LE(const std::uint8_t* p);

// Builds a blob or a packed record field by field.
class TBlobWriter {
public:
    TBlobWriter& U8(std::uint8_t v);
    TBlobWriter& U16(std::uint16_t v);
    TBlobWriter& I16(std::int16_t v);
    TBlobWriter& U32(std::uint32_t v);
    TBlobWriter& I32(std::int32_t v);
    TBlobWriter& F32(float v);
    TBlobWriter& F64(double v);
    TBlobWriter& Bytes(TByteSpan bytes);
    TBlobWriter& Zeros(std::size_t count);

    const TBlob& Blob() const { return blob_; }
    std::size_t Size() const { return blob_.size(); }

private:
    TBlob blob_;
};

TBlob FloatsToBlob(std::span<const float> values);
TBlob Int32sToBlob(std::span<const std::int32_t> values);
TBlob Int16sToBlob(std::span<const std::int16_t> values);

// Whole-blob readers. A length that is not a multiple of the element size throws EKorvelError.
std::vector<float> BlobToFloats(TByteSpan blob);
std::vector<std::int32_t> BlobToInt32s(TByteSpan blob);
std::vector<std::int16_t> BlobToInt16s(TByteSpan blob);

// The result of reading a fixed-length array from a blob. A blob of any other length than expected is
// never read in part: all values are the defaults, UsedDefaults is set and Message says why
// ("no data stored" for an empty blob, else the lengths).
template <class T> struct TBlobArray {
    std::vector<T> Values;
    bool UsedDefaults = false;
    std::string Message;
};

TBlobArray<float> ReadFloatArrayOrDefault(TByteSpan blob, std::size_t count, float def);
// The defaults give the expected length and a default per element.
TBlobArray<float> ReadFloatArrayOrDefault(TByteSpan blob, std::span<const float> defaults);
TBlobArray<std::int32_t> ReadInt32ArrayOrDefault(TByteSpan blob, std::size_t count, std::int32_t def);
TBlobArray<std::int16_t> ReadInt16ArrayOrDefault(TByteSpan blob, std::size_t count, std::int16_t def);

} // namespace korvel
