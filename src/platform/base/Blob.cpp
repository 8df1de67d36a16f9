#include "platform/base/Blob.h"

#include "platform/Errors.h"

#include <bit>
#include <limits>

namespace korvel {

static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<double>::is_iec559,
              "blobs store IEEE 754 numbers");

namespace {

template <class T> std::vector<T> ReadAll(TByteSpan blob, const char* what) {
    if (blob.size() % sizeof(T) != 0) {
        throw EKorvelError("A blob of " + std::to_string(blob.size()) + " bytes cannot hold " + what +
                           " of " + std::to_string(sizeof(T)) + " bytes each");
    }
    std::vector<T> values(blob.size() / sizeof(T));
    for (std::size_t i = 0; i < values.size(); ++i) {
        const std::uint8_t* p = blob.data() + i * sizeof(T);
        if constexpr (std::is_same_v<T, float>) {
            values[i] = LoadF32LE(p);
        } else if constexpr (sizeof(T) == 4) {
            values[i] = static_cast<T>(LoadU32LE(p));
        } else {
            values[i] = static_cast<T>(LoadU16LE(p));
        }
    }
    return values;
}

template <class T> TBlobArray<T> ReadOrDefault(TByteSpan blob, std::span<const T> defaults) {
    TBlobArray<T> result;
    const std::size_t expected = defaults.size() * sizeof(T);
    if (blob.size() == expected) {
        result.Values = ReadAll<T>(blob, "values");
        return result;
    }
    result.Values.assign(defaults.begin(), defaults.end());
    result.UsedDefaults = true;
    result.Message = blob.empty() ? std::string("no data stored")
                                  : std::to_string(blob.size()) + " bytes stored where " +
                                        std::to_string(expected) + " were expected";
    return result;
}

} // namespace

TByteSpan AsBytes(std::string_view bytes) {
    return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}

std::uint16_t LoadU16LE(const std::uint8_t* p) {
    return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}

std::uint32_t LoadU32LE(const std::uint8_t* p) {
    return static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8) |
           (static_cast<std::uint32_t>(p[2]) << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
}

std::uint64_t LoadU64LE(const std::uint8_t* p) {
    return static_cast<std::uint64_t>(LoadU32LE(p)) | (static_cast<std::uint64_t>(LoadU32LE(p + 4)) << 32);
}

float LoadF32LE(const std::uint8_t* p) {
    return std::bit_cast<float>(LoadU32LE(p));
}

double LoadF64LE(const std::uint8_t* p) {
    return std::bit_cast<double>(LoadU64LE(p));
}

TBlobWriter& TBlobWriter::U8(std::uint8_t v) {
    blob_.push_back(v);
    return *this;
}

TBlobWriter& TBlobWriter::U16(std::uint16_t v) {
    blob_.push_back(static_cast<std::uint8_t>(v));
    blob_.push_back(static_cast<std::uint8_t>(v >> 8));
    return *this;
}

TBlobWriter& TBlobWriter::I16(std::int16_t v) {
    return U16(static_cast<std::uint16_t>(v));
}

TBlobWriter& TBlobWriter::U32(std::uint32_t v) {
    for (int shift = 0; shift < 32; shift += 8) {
        blob_.push_back(static_cast<std::uint8_t>(v >> shift));
    }
    return *this;
}

TBlobWriter& TBlobWriter::I32(std::int32_t v) {
    return U32(static_cast<std::uint32_t>(v));
}

TBlobWriter& TBlobWriter::F32(float v) {
    return U32(std::bit_cast<std::uint32_t>(v));
}

TBlobWriter& TBlobWriter::F64(double v) {
    const auto bits = std::bit_cast<std::uint64_t>(v);
    U32(static_cast<std::uint32_t>(bits));
    return U32(static_cast<std::uint32_t>(bits >> 32));
}

TBlobWriter& TBlobWriter::Bytes(TByteSpan bytes) {
    blob_.insert(blob_.end(), bytes.begin(), bytes.end());
    return *this;
}

TBlobWriter& TBlobWriter::Zeros(std::size_t count) {
    blob_.insert(blob_.end(), count, 0);
    return *this;
}

TBlob FloatsToBlob(std::span<const float> values) {
    TBlobWriter w;
    for (float v : values) {
        w.F32(v);
    }
    return w.Blob();
}

TBlob Int32sToBlob(std::span<const std::int32_t> values) {
    TBlobWriter w;
    for (std::int32_t v : values) {
        w.I32(v);
    }
    return w.Blob();
}

TBlob Int16sToBlob(std::span<const std::int16_t> values) {
    TBlobWriter w;
    for (std::int16_t v : values) {
        w.I16(v);
    }
    return w.Blob();
}

std::vector<float> BlobToFloats(TByteSpan blob) {
    return ReadAll<float>(blob, "floats");
}

std::vector<std::int32_t> BlobToInt32s(TByteSpan blob) {
    return ReadAll<std::int32_t>(blob, "integers");
}

std::vector<std::int16_t> BlobToInt16s(TByteSpan blob) {
    return ReadAll<std::int16_t>(blob, "integers");
}

TBlobArray<float> ReadFloatArrayOrDefault(TByteSpan blob, std::size_t count, float def) {
    const std::vector<float> defaults(count, def);
    return ReadOrDefault<float>(blob, defaults);
}

TBlobArray<float> ReadFloatArrayOrDefault(TByteSpan blob, std::span<const float> defaults) {
    return ReadOrDefault<float>(blob, defaults);
}

TBlobArray<std::int32_t> ReadInt32ArrayOrDefault(TByteSpan blob, std::size_t count, std::int32_t def) {
    const std::vector<std::int32_t> defaults(count, def);
    return ReadOrDefault<std::int32_t>(blob, defaults);
}

TBlobArray<std::int16_t> ReadInt16ArrayOrDefault(TByteSpan blob, std::size_t count, std::int16_t def) {
    const std::vector<std::int16_t> defaults(count, def);
    return ReadOrDefault<std::int16_t>(blob, defaults);
}

} // namespace korvel
