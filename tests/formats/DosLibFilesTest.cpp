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

TEST(DosLibFilesTest, RecordFieldsComeFromTheirOffsetsAndTheEncodersWriteThem) {
    const TDosIndexRecord index{
        "M\x81hle  ", -5, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}}; // "Mühle" in code page 850
    TBlob raw = test::DosIndexBytes(index);
    EXPECT_EQ(EncodeDosIndexRecord({"M\xC3\xBChle  ", -5, index.Groups}), raw);
    // Bytes past the name's length and the record's unused tail must not matter, nor do trailing blanks.
    std::fill(raw.begin() + 8, raw.begin() + 41, 0xEE);
    std::fill(raw.begin() + 53, raw.end(), 0xEE);
    const TDosIndexRecord rec = DecodeDosIndexRecord(raw);
    EXPECT_EQ(std::tie(rec.Name, rec.Entry, rec.Groups), std::tuple("M\xC3\xBChle", -5, index.Groups));
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
    EXPECT_EQ(std::tie(decoded.Comment, decoded.ThirdOctaves, decoded.KennChar),
              std::tie(utf8.Comment, data.ThirdOctaves, data.KennChar));

    EXPECT_EQ(EncodeDosGroupRecord("M\xC3\xBChle"), test::DosGroupBytes("M\x81hle"));
    EXPECT_THROW(DecodeDosIndexRecord(TBlob(kDosIndexRecordSize - 1, 0)), EKorvelError);
    EXPECT_THROW(DecodeDosDataRecord(TBlob(kDosDataRecordSize + 1, 0)), EKorvelError);
    EXPECT_THROW(DecodeDosGroupRecord(TBlob(kDosGroupRecordSize - 1, 0)), EKorvelError);
}

TEST(DosLibFilesTest, ReadingRecordsFromFiles) {
    // A trailing partial index record ends the file.
    TBlob index = Join({test::DosIndexBytes({"Pumpe", 1, {}}), test::DosIndexBytes({"Gebl\x84se", 2, {}})});
    index.resize(index.size() + 30, 'z');
    const auto entries = DecodeDosIndexFile(index);
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(std::tuple(entries[1].Name, entries[1].Entry), std::tuple("Gebl\xC3\xA4se", 2));

    test::TempDir dir;
    const std::string data = dir.File("LIBDATA.002");
    std::vector<TBlob> records;
    for (int n = 1; n <= 7; ++n) { // each holding its number in the first comment line and the first band
        TDosDataRecord rec;
        rec.Comment[0] = "record " + std::to_string(n);
        rec.ThirdOctaves[0] = static_cast<float>(n);
        records.push_back(test::DosDataBytes(rec));
    }
    records.push_back(TBlob(100, 0)); // a damaged, partial eighth record
    WriteAll(data, Join(records));

    // Each record opened on its own, and all through one file kept open, where a failed read must not end
    // the reading of the records after it. A negative entry is placed at |n - 1| records (-5 at the seventh,
    // 0 at the second); a failed read leaves the record empty.
    TDosRecordFile open(data, kDosDataRecordSize);
    const std::vector<std::function<int(int, TDosDataRecord&)>> readers = {
        [&](int n, TDosDataRecord& r) { return ReadDosDataRecord(n, r, data); },
        [&](int n, TDosDataRecord& r) {
            return ReadDosDataRecord(n, r, open);
        }};
    const std::pair<int, int> reads[] = {{1, 1}, {6, 6}, {-5, 7}, {-4, 6},  {0, 2},
                                         {8, 0}, {3, 3}, {-7, 0}, {500, 0}, {5, 5}};
    for (const auto& read : readers) {
        TDosDataRecord rec;
        for (const auto& [entry, found] : reads) {
            SCOPED_TRACE(entry);
            EXPECT_EQ(read(entry, rec), found > 0 ? 0 : -1);
            EXPECT_EQ(rec.Comment[0], found > 0 ? "record " + std::to_string(found) : "");
            EXPECT_EQ(rec.ThirdOctaves[0], static_cast<float>(found));
        }
    }
    TDosDataRecord rec;
    EXPECT_EQ(ReadDosDataRecord(1, rec, dir.File("missing")), -1);
    TDosRecordFile missing(dir.File("missing"), kDosDataRecordSize);
    EXPECT_EQ(ReadDosDataRecord(1, rec, missing), -1);

    const std::string groups = dir.File("Gruppe.002");
    WriteAll(groups, Join({test::DosGroupBytes("M\x81hle"), test::DosGroupBytes("Motoren"), TBlob(10, 0)}));
    std::string name = "stale";
    for (const auto& [number, want] :
         {std::pair{2, "Motoren"}, std::pair{1, "M\xC3\xBChle"}, std::pair{3, ""}}) {
        EXPECT_EQ(ReadDosGroupRecord(number, name, groups), *want ? 0 : -1);
        EXPECT_EQ(name, want);
    }
    EXPECT_EQ(ReadDosGroupRecord(1, name, dir.File("Gruppe.009")), -1);
}

TEST(DosLibFilesTest, KindsAndFileNames) {
    // Kind, digit of the file names and the level that stands for no value.
    const std::tuple<int, std::string, double> kinds[] = {
        {120, "2", -99.0}, {121, "1", 0.0}, {122, "3", -99.0}, {123, "4", -99.0}, {119, "", 0.0}};
    for (const auto& [kind, digit, noValue] : kinds)
        EXPECT_EQ(std::pair(DosKindDigit(kind), DosNoValueLevel(kind)), std::pair(digit, noValue)) << kind;
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
