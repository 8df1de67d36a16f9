#include "platform/legacy/PackedReader.h"

#include "platform/Errors.h"
#include "platform/legacy/ShortString.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

// A directivity record of the DOS generation: name (short string of capacity 30), 144 bytes of values
// (36 floats), number (signed 16-bit) at offset 175; 177 bytes in all.
TBlob DirectivityRecord(const std::string& name, float firstValue, std::int16_t number) {
    TBlobWriter w;
    w.Bytes(EncodeShortString(name, 30, 850));
    w.F32(firstValue);
    w.Zeros(140);
    w.I16(number);
    return w.Blob();
}

TEST(ShortStringTest, EncodesLengthTextAndPadding) {
    EXPECT_EQ(EncodeShortString("Öl", 4, 850), (TBlob{2, 0x99, 'l', 0, 0}));
    // Cut at the capacity.
    EXPECT_EQ(EncodeShortString("abcdef", 3, 850), (TBlob{3, 'a', 'b', 'c'}));
    EXPECT_THROW(EncodeShortString("a", 0, 850), EKorvelError);
    EXPECT_THROW(EncodeShortString("a", 256, 850), EKorvelError);
}

TEST(ShortStringTest, DecodesConvertsAndTrims) {
    const TBlob field{7, ' ', 'L', 0x84, 'r', 'm', ' ', ' ', 'x', 'x'};
    EXPECT_EQ(DecodeShortString(field, 850), "Lärm"); // the bytes after the length are ignored
    EXPECT_EQ(DecodeShortString(TBlob{0, 'a', 'b'}, 850), "");
    EXPECT_EQ(DecodeShortString(TBlob{}, 850), "");
    // A damaged length byte never reaches beyond the field.
    EXPECT_EQ(DecodeShortString(TBlob{200, 'a', 'b', 'c'}, 850), "abc");
    EXPECT_EQ(DecodeShortString(TBlob{2, 0xE9, '!'}, 1252), "é!");
}

TEST(PackedReaderTest, ReadsARecordFieldByField) {
    TBlob data = DirectivityRecord("Lüfter Süd", 3.25f, -12);
    ASSERT_EQ(data.size(), 177u);
    TPackedReader r(data);
    EXPECT_EQ(r.ShortString(30), "Lüfter Süd");
    EXPECT_EQ(r.Offset(), 31u);
    EXPECT_EQ(r.F32(), 3.25f);
    r.Seek(175);
    EXPECT_EQ(r.I16(), -12);
    EXPECT_TRUE(r.AtEnd());
}

TEST(PackedReaderTest, EveryWidthReadsLittleEndian) {
    const TBlob data{0xFF, 0x34, 0x12, 0xFE, 0xFF, 0x78, 0x56, 0x34, 0x12, 0xFE, 0xFF, 0xFF, 0xFF,
                     0x00, 0x00, 0xC0, 0x3F, 0,    0,    0,    0,    0,    0,    0xF8, 0x3F};
    TPackedReader r(data);
    EXPECT_EQ(r.U8(), 0xFF);
    EXPECT_EQ(r.U16(), 0x1234);
    EXPECT_EQ(r.I16(), -2);
    EXPECT_EQ(r.U32(), 0x12345678u);
    EXPECT_EQ(r.I32(), -2);
    EXPECT_EQ(r.F32(), 1.5f);
    EXPECT_EQ(r.F64(), 1.5);
    EXPECT_EQ(r.Remaining(), 0u);
}

TEST(PackedReaderTest, ReadingPastTheEndThrowsAndKeepsThePosition) {
    const TBlob data{1, 2, 3, 4, 5, 6};
    TPackedReader r(TByteSpan(data).first(4), 850, "RIWIS.DAT"); // the bytes 5 and 6 are not ours
    r.Skip(2);
    try {
        r.I32();
        FAIL() << "reading 4 bytes with 2 left must throw";
    } catch (const EKorvelError& e) {
        const std::string message = e.what();
        EXPECT_NE(message.find("RIWIS.DAT"), std::string::npos) << message;
        EXPECT_NE(message.find("offset 2"), std::string::npos) << message;
    }
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

TEST(PackedReaderTest, TruncatedFileOfRecordsStopsAtTheBrokenRecord) {
    TBlob file = DirectivityRecord("A", 1.0f, 1);
    const TBlob second = DirectivityRecord("B", 2.0f, 2);
    file.insert(file.end(), second.begin(), second.begin() + 100); // the second record is cut short

    TPackedReader r(file);
    std::vector<std::string> names;
    EXPECT_THROW(
        {
            while (!r.AtEnd()) {
                const std::size_t start = r.Offset();
                std::string name = r.ShortString(30);
                r.Seek(start + 175);
                r.I16();
                names.push_back(name);
            }
        },
        EKorvelError);
    EXPECT_EQ(names, std::vector<std::string>{"A"});
}

} // namespace
} // namespace korvel
