#include "platform/formats/DosLibFiles.h"

#include "platform/Errors.h"
#include "support/FileBytes.h"
#include "support/TempDir.h"

#include <cstring>
#include <functional>
#include <gtest/gtest.h>

namespace korvel::formats {
namespace {

using test::WriteAll;

void PutF32(TBlob& b, std::size_t offset, float v) {
    std::memcpy(b.data() + offset, &v, 4); // the test hosts are little-endian
}

TBlob Concat(std::initializer_list<TBlob> parts) {
    TBlob all;
    for (const auto& p : parts) {
        all.insert(all.end(), p.begin(), p.end());
    }
    return all;
}

// A data record holding its own number in the first comment line and the first band.
TBlob NumberedDataRecord(int n) {
    TDosDataRecord rec;
    rec.Comment[0] = "record " + std::to_string(n);
    rec.ThirdOctaves[0] = static_cast<float>(n);
    return EncodeDosDataRecord(rec);
}

TEST(DosLibFilesTest, IndexRecordFieldsComeFromTheirOffsets) {
    TBlob raw(kDosIndexRecordSize, 0xEE); // the unused tail must not matter
    const char name[] = "L\x81"
                        "fter  "; // "Lüfter" in code page 850, with blanks to trim
    raw[0] = static_cast<std::uint8_t>(std::strlen(name));
    std::memcpy(raw.data() + 1, name, std::strlen(name));
    raw[41] = 0xFB; // -5 as a signed 16-bit number
    raw[42] = 0xFF;
    for (std::size_t i = 0; i < 10; ++i) {
        raw[43 + i] = static_cast<std::uint8_t>(i + 1);
    }
    const TDosIndexRecord rec = DecodeDosIndexRecord(raw);
    EXPECT_EQ(rec.Name, "L\xC3\xBC"
                        "fter");
    EXPECT_EQ(rec.Entry, -5);
    EXPECT_EQ(rec.Groups[0], 1);
    EXPECT_EQ(rec.Groups[9], 10);

    // A length byte beyond the capacity reads the 40 characters and no more.
    TBlob longName(kDosIndexRecordSize, 'x');
    longName[0] = 200;
    EXPECT_EQ(DecodeDosIndexRecord(longName).Name, std::string(40, 'x'));

    // The encoder writes the same places: decoding its output gives the record back.
    TDosIndexRecord back = DecodeDosIndexRecord(EncodeDosIndexRecord(rec));
    EXPECT_EQ(back.Name, rec.Name);
    EXPECT_EQ(back.Entry, rec.Entry);
    EXPECT_EQ(back.Groups, rec.Groups);
    EXPECT_EQ(EncodeDosIndexRecord(rec).size(), kDosIndexRecordSize);
}

TEST(DosLibFilesTest, DataRecordFieldsComeFromTheirOffsets) {
    TBlob raw(kDosDataRecordSize, 0);
    for (std::size_t line = 0; line < 10; ++line) {
        raw[59 * line] = 2;
        raw[59 * line + 1] = static_cast<std::uint8_t>('a' + line);
        raw[59 * line + 2] = 0x84; // 'ä' in code page 850
    }
    PutF32(raw, 590, 61.5f);
    PutF32(raw, 590 + 23 * 4, -99.0f);
    PutF32(raw, 686, 1234.0f); // characteristic values: not part of the spectrum
    raw[702] = 'A';
    raw[703] = 'A';
    std::fill(raw.begin() + 706, raw.end(), 0x55);

    const TDosDataRecord rec = DecodeDosDataRecord(raw);
    EXPECT_EQ(rec.Comment[0], "a\xC3\xA4");
    EXPECT_EQ(rec.Comment[9], "j\xC3\xA4");
    EXPECT_FLOAT_EQ(rec.ThirdOctaves[0], 61.5f);
    EXPECT_FLOAT_EQ(rec.ThirdOctaves[23], -99.0f);
    for (std::size_t k = 1; k < 23; ++k) {
        EXPECT_EQ(rec.ThirdOctaves[k], 0.0f) << k;
    }
    EXPECT_EQ(rec.KennChar[0], 'A');
    EXPECT_EQ(rec.KennChar[1], 'A');

    const TBlob encoded = EncodeDosDataRecord(rec);
    ASSERT_EQ(encoded.size(), kDosDataRecordSize);
    EXPECT_TRUE(std::equal(encoded.begin() + 590, encoded.begin() + 686, raw.begin() + 590));
    EXPECT_EQ(encoded[702], 'A');
    EXPECT_EQ(encoded[59], 2);
}

TEST(DosLibFilesTest, RecordsOfTheWrongSizeAreRefused) {
    const TBlob shortIndex(kDosIndexRecordSize - 1, 0);
    const TBlob longData(kDosDataRecordSize + 1, 0);
    const TBlob shortGroup(kDosGroupRecordSize - 1, 0);
    EXPECT_THROW(DecodeDosIndexRecord(shortIndex), EKorvelError);
    EXPECT_THROW(DecodeDosDataRecord(longData), EKorvelError);
    EXPECT_THROW(DecodeDosGroupRecord(shortGroup), EKorvelError);
}

TEST(DosLibFilesTest, WholeFilesStopAtATrailingPartialRecord) {
    TDosIndexRecord a;
    a.Name = "Pumpe";
    a.Entry = 1;
    TDosIndexRecord b;
    b.Name = "Gebl\xC3\xA4se"; // "Gebläse"
    b.Entry = 2;
    TBlob index = Concat({EncodeDosIndexRecord(a), EncodeDosIndexRecord(b)});
    index.resize(index.size() + 30, 'z');
    const auto records = DecodeDosIndexFile(index);
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[1].Name, b.Name);
    EXPECT_EQ(records[1].Entry, 2);

    // Empty group names stay, so that group numbers keep pointing at the right record.
    TBlob groups = Concat(
        {EncodeDosGroupRecord("Industrie"), EncodeDosGroupRecord(""), EncodeDosGroupRecord("Verkehr")});
    groups.push_back(3);
    EXPECT_EQ(DecodeDosGroupFile(groups), (std::vector<std::string>{"Industrie", "", "Verkehr"}));
}

TEST(DosLibFilesTest, ReadingRecordsFromFiles) {
    test::TempDir dir;
    const std::string data = dir.File("LIBDATA.002");
    TBlob bytes;
    for (int n = 1; n <= 6; ++n) {
        const TBlob rec = NumberedDataRecord(n);
        bytes.insert(bytes.end(), rec.begin(), rec.end());
    }
    bytes.resize(bytes.size() + 100, 0); // a damaged, partial seventh record
    WriteAll(data, bytes);

    // Each record opened on its own, and all through one file kept open, where a failed read must not end
    // the reading of the records after it.
    TDosRecordFile open(data, kDosDataRecordSize);
    const std::vector<std::function<int(int, TDosDataRecord&)>> readers = {
        [&](int n, TDosDataRecord& r) { return ReadDosDataRecord(n, r, data); },
        [&](int n, TDosDataRecord& r) {
            return ReadDosDataRecord(n, r, open);
        }};
    for (const auto& read : readers) {
        TDosDataRecord rec;
        ASSERT_EQ(read(1, rec), 0);
        EXPECT_EQ(rec.Comment[0], "record 1");
        ASSERT_EQ(read(6, rec), 0);
        EXPECT_EQ(rec.ThirdOctaves[0], 6.0f);
        // A negative entry is placed at |n - 1| records: -4 at 5 * 832, where record 6 starts.
        ASSERT_EQ(read(-4, rec), 0);
        EXPECT_EQ(rec.Comment[0], "record 6");
        ASSERT_EQ(read(0, rec), 0); // |0 - 1| = 1: the second record
        EXPECT_EQ(rec.Comment[0], "record 2");

        // A partial record and a record past the end fail and leave the record empty.
        EXPECT_EQ(read(7, rec), -1);
        EXPECT_EQ(rec.Comment[0], "");
        EXPECT_EQ(rec.ThirdOctaves[0], 0.0f);
        ASSERT_EQ(read(3, rec), 0);
        EXPECT_EQ(rec.Comment[0], "record 3");
        EXPECT_EQ(read(-5, rec), -1);
        EXPECT_EQ(rec.Comment[0], "");
        EXPECT_EQ(read(500, rec), -1);
        ASSERT_EQ(read(5, rec), 0);
        EXPECT_EQ(rec.Comment[0], "record 5");
    }
    TDosDataRecord rec;
    EXPECT_EQ(ReadDosDataRecord(1, rec, dir.File("missing")), -1);
    TDosRecordFile missing(dir.File("missing"), kDosDataRecordSize);
    EXPECT_EQ(ReadDosDataRecord(1, rec, missing), -1);
}

TEST(DosLibFilesTest, EntryMinusFiveReadsTheSixthRecord) {
    test::TempDir dir;
    const std::string data = dir.File("LibData.001");
    TBlob bytes;
    for (int n = 1; n <= 7; ++n) {
        const TBlob rec = NumberedDataRecord(n);
        bytes.insert(bytes.end(), rec.begin(), rec.end());
    }
    WriteAll(data, bytes);
    TDosDataRecord rec;
    ASSERT_EQ(ReadDosDataRecord(-5, rec, data), 0);
    // |-5 - 1| * 832 is the offset of the seventh record, whose number the record holds.
    EXPECT_EQ(rec.Comment[0], "record 7");
    ASSERT_EQ(ReadDosDataRecord(6, rec, data), 0);
    EXPECT_EQ(rec.Comment[0], "record 6");
}

TEST(DosLibFilesTest, ReadingGroupRecords) {
    test::TempDir dir;
    const std::string file = dir.File("Gruppe.002");
    WriteAll(file, Concat({EncodeDosGroupRecord("L\xC3\xBC"
                                                "fter"),
                           EncodeDosGroupRecord("Motoren"), TBlob(10, 0)}));
    std::string name = "stale";
    ASSERT_EQ(ReadDosGroupRecord(2, name, file), 0);
    EXPECT_EQ(name, "Motoren");
    ASSERT_EQ(ReadDosGroupRecord(1, name, file), 0);
    EXPECT_EQ(name, "L\xC3\xBC"
                    "fter");
    EXPECT_EQ(ReadDosGroupRecord(3, name, file), -1);
    EXPECT_EQ(name, "");
    EXPECT_EQ(ReadDosGroupRecord(1, name, dir.File("Gruppe.009")), -1);

    // The encoder writes code page 850: "ü" is the single byte 0x81.
    const TBlob rec = EncodeDosGroupRecord("L\xC3\xBC"
                                           "fter");
    ASSERT_EQ(rec.size(), kDosGroupRecordSize);
    EXPECT_EQ(rec[0], 6);
    EXPECT_EQ(rec[2], 0x81);
}

TEST(DosLibFilesTest, KindsAndFileNames) {
    EXPECT_EQ(DosKindDigit(120), "2");
    EXPECT_EQ(DosKindDigit(121), "1");
    EXPECT_EQ(DosKindDigit(122), "3");
    EXPECT_EQ(DosKindDigit(123), "4");
    EXPECT_EQ(DosKindDigit(119), "");
    EXPECT_EQ(DosNoValueLevel(120), -99.0);
    EXPECT_EQ(DosNoValueLevel(121), 0.0);
    EXPECT_EQ(DosNoValueLevel(123), -99.0);
    EXPECT_EQ(DosNoValueLevel(5), 0.0);

    EXPECT_TRUE(IsDosIndexFileName("/old/SCHALLIB.002"));
    EXPECT_TRUE(IsDosIndexFileName("c:/x/emilib.00a"));
    EXPECT_FALSE(IsDosIndexFileName("/old/SCHALLIB.02"));
    EXPECT_FALSE(IsDosIndexFileName("/old/LIBDATA.002"));
    EXPECT_FALSE(IsDosIndexFileName("/old/SCHALLIB.0021"));

    test::TempDir dir;
    const std::string index = dir.File("EMILIB.002");
    EXPECT_EQ(DosDataFileName(index, 120), dir.File("LibData.002"));
    EXPECT_EQ(DosGroupFileName(index, 121), dir.File("Gruppe.001"));
    // Files written by DOS programs come in upper case; they are found all the same.
    WriteAll(dir.File("LIBDATA.002"), "");
    WriteAll(dir.File("GRUPPE.002"), "");
    EXPECT_EQ(DosDataFileName(index, 120), dir.File("LIBDATA.002"));
    EXPECT_EQ(DosGroupFileName(index, 120), dir.File("GRUPPE.002"));
}

} // namespace
} // namespace korvel::formats
