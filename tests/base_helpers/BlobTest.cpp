#include "platform/base/Blob.h"

#include "platform/Errors.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

TEST(BlobTest, BytesAreLittleEndianWhateverTheHost) {
    const float floats[] = {1.0f, -2.5f};
    EXPECT_EQ(FloatsToBlob(floats), (TBlob{0x00, 0x00, 0x80, 0x3F, 0x00, 0x00, 0x20, 0xC0}));
    const std::int32_t ints[] = {0x12345678, -2};
    EXPECT_EQ(Int32sToBlob(ints), (TBlob{0x78, 0x56, 0x34, 0x12, 0xFE, 0xFF, 0xFF, 0xFF}));
    const std::int16_t shorts[] = {-199, 0x0102};
    EXPECT_EQ(Int16sToBlob(shorts), (TBlob{0x39, 0xFF, 0x02, 0x01}));

    TBlobWriter w;
    w.U8(0xAB).U16(0xBEEF).F64(1.0).Zeros(1).Bytes(TBlob{0x11});
    EXPECT_EQ(w.Blob(), (TBlob{0xAB, 0xEF, 0xBE, 0, 0, 0, 0, 0, 0, 0xF0, 0x3F, 0, 0x11}));

    const TBlob bytes{0x00, 0x00, 0x80, 0x3F, 0x00, 0x00, 0x47, 0xC3};
    EXPECT_EQ(BlobToFloats(bytes), (std::vector<float>{1.0f, -199.0f}));
    EXPECT_EQ(BlobToInt32s(bytes),
              (std::vector<std::int32_t>{0x3F800000, static_cast<std::int32_t>(0xC3470000)}));
    EXPECT_EQ(BlobToInt16s(bytes),
              (std::vector<std::int16_t>{0, 0x3F80, 0, static_cast<std::int16_t>(0xC347)}));
    EXPECT_EQ(LoadF64LE(TBlob{0, 0, 0, 0, 0, 0, 0xF0, 0xBF}.data()), -1.0);
    // A blob handed over as text reads the same.
    EXPECT_EQ(BlobToFloats(AsBytes(std::string("\x00\x00\x80\x3F", 4))), std::vector<float>{1.0f});
}

TEST(BlobTest, ArraysOfAnExpectedLengthAreReadWholeOrNotAtAll) {
    std::vector<float> levels(44, 60.0f);
    levels[43] = 12.5f;
    const auto read = ReadFloatArrayOrDefault(FloatsToBlob(levels), 44, -199.0f);
    EXPECT_FALSE(read.UsedDefaults);
    EXPECT_EQ(read.Values, levels);

    levels.pop_back(); // 172 bytes for 44 floats of 176
    for (const TBlob& blob : {FloatsToBlob(levels), TBlob(180, 0), TBlob(175, 0)}) {
        const auto wrong = ReadFloatArrayOrDefault(blob, 44, -199.0f);
        EXPECT_TRUE(wrong.UsedDefaults);
        EXPECT_EQ(wrong.Values, std::vector<float>(44, -199.0f)); // nothing read in part
        EXPECT_NE(wrong.Message.find(std::to_string(blob.size()) + " bytes"), std::string::npos)
            << wrong.Message;
        EXPECT_NE(wrong.Message.find("176"), std::string::npos) << wrong.Message;
    }
    EXPECT_EQ(ReadFloatArrayOrDefault(TBlob{}, 3, 1.5f).Message, "no data stored");
    // Readers of a whole blob take any length but a ragged one.
    EXPECT_THROW(BlobToFloats(TBlob(7)), EKorvelError);
    EXPECT_THROW(BlobToInt32s(TBlob(2)), EKorvelError);
    EXPECT_THROW(BlobToInt16s(TBlob(3)), EKorvelError);
    EXPECT_TRUE(BlobToFloats(TBlob{}).empty());

    // Defaults may differ per element; the integer readers follow the same rules.
    const float defaults[] = {0.0f, 100.0f, 1.0f};
    EXPECT_EQ(ReadFloatArrayOrDefault(TBlob(4), defaults).Values, (std::vector<float>{0.0f, 100.0f, 1.0f}));
    const auto ints = ReadInt32ArrayOrDefault(Int32sToBlob(std::vector<std::int32_t>{4, 5}), 3, -1);
    EXPECT_EQ(ints.Values, (std::vector<std::int32_t>{-1, -1, -1}));
    const auto shorts = ReadInt16ArrayOrDefault(TBlob{1, 0, 2, 0}, 2, 0);
    EXPECT_FALSE(shorts.UsedDefaults);
    EXPECT_EQ(shorts.Values, (std::vector<std::int16_t>{1, 2}));
}

} // namespace
} // namespace korvel
