#include "platform/formats/DosLibFiles.h"

#include "platform/Errors.h"
#include "support/FileBytes.h"
#include "support/LegacyFiles.h"
#include "support/TempDir.h"

#include <functional>
#include <gtest/gtest.h>

namespace korvel::formats {
namespace {

using test::Join;
using test::WriteAll;

// A data record holding its own number in the first comment line and the first band.
TBlob NumberedDataRecord(int n) {
    TDosDataRecord rec;
    rec.Comment[0] = "record " + std::to_string(n);
    rec.ThirdOctaves[0] = static_cast<float>(n);
    return test::DosDataBytes(rec);
}

TEST(DosLibFilesTest, RecordFieldsComeFromTheirOffsetsAndTheEncodersWriteThem) {
    const TDosIndexRecord index{
        "M\x81hle  ", -5, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}}; // "Mühle" in code page 850
    TBlob raw = test::DosIndexBytes(index);
    EXPECT_EQ(EncodeDosIndexRecord({"M\xC3\xBChle  ", -5, index.Groups}), raw);
    // Bytes past the name's length and the record's unused tail must not matter, nor do trailing blanks.
    std::fill(raw.begin() + 8, raw.begin() + 41, 0xEE);
    std::fill(raw.begin() + 53, raw.end(), 0xEE);
    const TDosIndexRecord rec = DecodeDosIndexRecord(raw);
    EXPECT_EQ(rec.Name, "M\xC3\xBChle");
    EXPECT_EQ(rec.Entry, -5);
    EXPECT_EQ(rec.Groups, index.Groups);
    // A length byte beyond the capacity reads the 40 characters and no more.
    TBlob longName(kDosIndexRecordSize, 'x');
    longName[0] = 200;
    EXPECT_EQ(DecodeDosIndexRecord(longName).Name, std::string(40, 'x'));

    TDosDataRecord data{{}, {}, {'A', 'A', 0, 0}};
    data.ThirdOctaves[0] = 61.5f;
    data.ThirdOctaves[23] = -99.0f;
    TDosDataRecord utf8 = data;
    for (std::size_t line = 0; line < 10; ++line) {
        data.Comment[line] = std::string(1, static_cast<char>('a' + line)) + "\x84"; // "ä" in code page 850
        utf8.Comment[line] = std::string(1, static_cast<char>('a' + line)) + "\xC3\xA4";
    }
    raw = test::DosDataBytes(data);
    EXPECT_EQ(EncodeDosDataRecord(utf8), raw);
    std::fill(raw.begin() + 686, raw.begin() + 702, 0x44); // characteristic values: not part of the spectrum
    std::fill(raw.begin() + 706, raw.end(), 0x55);
    const TDosDataRecord decoded = DecodeDosDataRecord(raw);
    EXPECT_EQ(decoded.Comment, utf8.Comment);
    EXPECT_EQ(decoded.ThirdOctaves, data.ThirdOctaves);
    EXPECT_EQ(decoded.KennChar, data.KennChar);

    EXPECT_EQ(EncodeDosGroupRecord("M\xC3\xBChle"), test::DosGroupBytes("M\x81hle"));
    EXPECT_THROW(DecodeDosIndexRecord(TBlob(kDosIndexRecordSize - 1, 0)), EKorvelError);
    EXPECT_THROW(DecodeDosDataRecord(TBlob(kDosDataRecordSize + 1, 0)), EKorvelError);
    EXPECT_THROW(DecodeDosGroupRecord(TBlob(kDosGroupRecordSize - 1, 0)), EKorvelError);
}

TEST(DosLibFilesTest, WholeFilesStopAtATrailingPartialRecord) {
    TBlob index = Join({test::DosIndexBytes({"Pumpe", 1, {}}), test::DosIndexBytes({"Gebl\x84se", 2, {}})});
    index.resize(index.size() + 30, 'z');
    const auto records = DecodeDosIndexFile(index);
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[1].Name, "Gebl\xC3\xA4se");
    EXPECT_EQ(records[1].Entry, 2);

    // Empty group names stay, so that group numbers keep pointing at the right record.
    TBlob groups =
        Join({test::DosGroupBytes("Industrie"), test::DosGroupBytes(""), test::DosGroupBytes("Verkehr")});
    groups.push_back(3);
    EXPECT_EQ(DecodeDosGroupFile(groups), (std::vector<std::string>{"Industrie", "", "Verkehr"}));
}

TEST(DosLibFilesTest, ReadingRecordsFromFiles) {
    test::TempDir dir;
    const std::string data = dir.File("LIBDATA.002");
    std::vector<TBlob> records;
    for (int n = 1; n <= 7; ++n)
        records.push_back(NumberedDataRecord(n));
    records.push_back(TBlob(100, 0)); // a damaged, partial eighth record
    WriteAll(data, Join(records));

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
        // A negative entry is placed at |n - 1| records: -5 at 6 * 832, where the seventh record starts.
        ASSERT_EQ(read(-5, rec), 0);
        EXPECT_EQ(rec.Comment[0], "record 7");
        ASSERT_EQ(read(-4, rec), 0);
        EXPECT_EQ(rec.Comment[0], "record 6");
        ASSERT_EQ(read(0, rec), 0); // |0 - 1| = 1: the second record
        EXPECT_EQ(rec.Comment[0], "record 2");

        // A partial record and a record past the end fail and leave the record empty.
        EXPECT_EQ(read(8, rec), -1);
        EXPECT_EQ(rec.Comment[0], "");
        EXPECT_EQ(rec.ThirdOctaves[0], 0.0f);
        ASSERT_EQ(read(3, rec), 0);
        EXPECT_EQ(rec.Comment[0], "record 3");
        EXPECT_EQ(read(-7, rec), -1);
        EXPECT_EQ(rec.Comment[0], "");
        EXPECT_EQ(read(500, rec), -1);
        ASSERT_EQ(read(5, rec), 0);
        EXPECT_EQ(rec.Comment[0], "record 5");
    }
    TDosDataRecord rec;
    EXPECT_EQ(ReadDosDataRecord(1, rec, dir.File("missing")), -1);
    TDosRecordFile missing(dir.File("missing"), kDosDataRecordSize);
    EXPECT_EQ(ReadDosDataRecord(1, rec, missing), -1);

    const std::string groups = dir.File("Gruppe.002");
    WriteAll(groups, Join({test::DosGroupBytes("M\x81hle"), test::DosGroupBytes("Motoren"), TBlob(10, 0)}));
    std::string name = "stale";
    ASSERT_EQ(ReadDosGroupRecord(2, name, groups), 0);
    EXPECT_EQ(name, "Motoren");
    ASSERT_EQ(ReadDosGroupRecord(1, name, groups), 0);
    EXPECT_EQ(name, "M\xC3\xBChle");
    EXPECT_EQ(ReadDosGroupRecord(3, name, groups), -1);
    EXPECT_EQ(name, "");
    EXPECT_EQ(ReadDosGroupRecord(1, name, dir.File("Gruppe.009")), -1);
}

TEST(DosLibFilesTest, KindsAndFileNames) {
    const struct {
        int LibType;
        const char* Digit;
        double NoValue;
    } kinds[] = {{120, "2", -99.0}, {121, "1", 0.0}, {122, "3", -99.0}, {123, "4", -99.0}, {119, "", 0.0}};
    for (const auto& kind : kinds) {
        SCOPED_TRACE(kind.LibType);
        EXPECT_EQ(DosKindDigit(kind.LibType), kind.Digit);
        EXPECT_EQ(DosNoValueLevel(kind.LibType), kind.NoValue);
    }
    for (const auto& [name, isIndex] :
         {std::pair{"/old/SCHALLIB.002", true}, std::pair{"c:/x/emilib.00a", true},
          std::pair{"/old/SCHALLIB.02", false}, std::pair{"/old/LIBDATA.002", false},
          std::pair{"/old/SCHALLIB.0021", false}})
        EXPECT_EQ(IsDosIndexFileName(name), isIndex) << name;

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
