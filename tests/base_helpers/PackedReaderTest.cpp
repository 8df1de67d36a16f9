#include "platform/legacy/PackedReader.h"

#include "platform/Errors.h"
#include "platform/legacy/ShortString.h"

#include <gmock/gmock.h>

namespace korvel {
namespace {

TEST(ShortStringTest, EncodesAndDecodesLengthTextAndPadding) {
    EXPECT_EQ(EncodeShortString("Öl", 4, 850), (TBlob{2, 0x99, 'l', 0, 0}));
    EXPECT_EQ(EncodeShortString("abcdef", 3, 850), (TBlob{3, 'a', 'b', 'c'})); // cut at the capacity
    EXPECT_THROW(EncodeShortString("a", 0, 850), EKorvelError);
    EXPECT_THROW(EncodeShortString("a", 256, 850), EKorvelError);

    // Converted and trimmed; the bytes after the length are ignored.
    EXPECT_EQ(DecodeShortString(TBlob{7, ' ', 'L', 0x84, 'r', 'm', ' ', ' ', 'x', 'x'}, 850), "Lärm");
    EXPECT_EQ(DecodeShortString(TBlob{0, 'a', 'b'}, 850), "");
    EXPECT_EQ(DecodeShortString(TBlob{}, 850), "");
    // A damaged length byte never reaches beyond the field.
    EXPECT_EQ(DecodeShortString(TBlob{200, 'a', 'b', 'c'}, 850), "abc");
    EXPECT_EQ(DecodeShortString(TBlob{2, 0xE9, '!'}, 1252), "é!");
}

TEST(PackedReaderTest, ReadsEveryWidthLittleEndian) {
    TBlob data = EncodeShortString("Lüfter Süd", 30, 850);
    data.insert(data.end(), {0xFF, 0x34, 0x12, 0xFE, 0xFF, 0x78, 0x56, 0x34, 0x12, 0xFE, 0xFF, 0xFF, 0xFF,
                             0x00, 0x00, 0xC0, 0x3F, 0,    0,    0,    0,    0,    0,    0xF8, 0x3F});
    TPackedReader r(data);
    EXPECT_EQ(r.ShortString(30), "Lüfter Süd");
    EXPECT_EQ(r.Offset(), 31u);
    EXPECT_EQ(r.U8(), 0xFF);
    EXPECT_EQ(r.U16(), 0x1234);
    EXPECT_EQ(r.I16(), -2);
    EXPECT_EQ(r.U32(), 0x12345678u);
    EXPECT_EQ(r.I32(), -2);
    EXPECT_EQ(r.F32(), 1.5f);
    EXPECT_EQ(r.F64(), 1.5);
    EXPECT_TRUE(r.AtEnd());
}

TEST(PackedReaderTest, ReadingPastTheEndThrowsAndKeepsThePosition) {
    const TBlob data{1, 2, 3, 4, 5, 6};
    TPackedReader r(TByteSpan(data).first(4), 850, "RIWIS.DAT"); // the bytes 5 and 6 are not ours
    r.Skip(2);
    using testing::HasSubstr;
    EXPECT_THAT([&] { r.I32(); }, testing::ThrowsMessage<EKorvelError>(
                                      testing::AllOf(HasSubstr("RIWIS.DAT"), HasSubstr("offset 2"))));
    EXPECT_EQ(r.Offset(), 2u);
    EXPECT_EQ(r.U16(), 0x0403);
    EXPECT_THROW(r.U8(), EKorvelError);
    EXPECT_THROW(r.ShortString(0), EKorvelError);
    EXPECT_THROW(r.Bytes(1), EKorvelError);
    EXPECT_THROW(r.Skip(1), EKorvelError);
    EXPECT_THROW(r.Seek(5), EKorvelError);
    EXPECT_NO_THROW(r.Seek(4));
    EXPECT_THROW(r.ShortString(300), EKorvelError);
    EXPECT_THROW(TPackedReader(TByteSpan{}).F64(), EKorvelError);
}

} // namespace
} // namespace korvel
