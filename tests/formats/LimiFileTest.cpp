#include "platform/formats/LimiFile.h"

#include "platform/Errors.h"
#include "support/FileBytes.h"
#include "support/LimiFileBuilder.h"
#include "support/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>

namespace korvel::formats {
namespace {

using test::TLimiFileBuilder;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::array<float, 24> Ramp(float start) {
    std::array<float, 24> a{};
    for (std::size_t h = 0; h < a.size(); ++h)
        a[h] = start + static_cast<float>(h) * 0.25f;
    return a;
}

// The message of the refusal, or "" when the bytes were read.
std::string Refusal(const TBlob& bytes) {
    try {
        DecodeLimiFile(bytes, "Limi.7");
    } catch (const EKorvelError& e) {
        return e.what();
    }
    return "";
}

TEST(LimiFileTest, FileWithoutHeaderGivesNameAndLimitSetsByUsageArea) {
    // "M\x81hle" is "Mühle" in code pages 850 and 437; 0x9B is "ø" in 850 but "¢" in 437.
    const TBlob bytes = TLimiFileBuilder()
                            .Record('X', TBlob(7, 'D')) // another version's record, skipped whole
                            .Name("  M\x81hle \x9B  ")
                            .Usage(3, {55, 40, 70}, Ramp(1))
                            .Usage(1, {50, 35, 65})
                            .Usage(3, {56, 41, 71}) // a later record of an area counts
                            .Bytes();
    const TLimiFile f = DecodeLimiFile(bytes, "Limi.1");
    EXPECT_FALSE(f.HasHeader);
    EXPECT_EQ(f.Name, "M\xC3\xBChle \xC3\xB8");
    EXPECT_EQ(DecodeLimiFile(bytes, "Limi.1", 437).Name, "M\xC3\xBChle \xC2\xA2");
    ASSERT_EQ(f.Usages.size(), 3u);
    EXPECT_EQ(std::tuple(f.Usages[0].Usage, f.Usages[0].Limits, f.Usages[0].Additions),
              std::tuple(3, std::array<float, 3>{55, 40, 70}, std::optional(Ramp(1))));
    EXPECT_EQ(f.Usages[1].Additions, std::nullopt); // L = 63
    EXPECT_TRUE(f.Ranges.empty());
    EXPECT_TRUE(f.Warnings.empty());
    const std::array<std::array<float, 2>, 3> byArea13 = {{{50, 56}, {35, 41}, {65, 71}}};
    for (int set = 1; set <= 3; ++set) {
        const auto limits = f.LimitSet(set);
        EXPECT_EQ(std::tuple(limits[1], limits[2], limits[3], limits[25]),
                  std::tuple(byArea13[set - 1][0], 0.f, byArea13[set - 1][1], 0.f));
    }
    EXPECT_THROW(f.LimitSet(4), EKorvelError);
}

TEST(LimiFileTest, HeaderAndRangesAndUsagesInFileOrder) {
    const TBlob bytes = TLimiFileBuilder()
                            .Header()
                            .Range("Tag", "T", 6, 22)
                            .Name("Gewerbe")
                            .Usage(2, {55, 40, 0}, Ramp(-2))
                            .Range("Nacht", "N", 22, 6, 1)
                            .Usage(5, {60, 45, 0})
                            .Range("Voll", "V", 0, 24, 24)
                            .Bytes();
    test::TempDir dir;
    test::WriteAll(dir.File("LIMI.003"), bytes);
    const TLimiFile f = ReadLimiFile(dir.File("LIMI.003"));
    EXPECT_TRUE(f.HasHeader);
    using K = TLimiRecordKind;
    EXPECT_THAT(f.Order, ElementsAre(TLimiRecordRef{K::Range, 0}, TLimiRecordRef{K::Usage, 0},
                                     TLimiRecordRef{K::Range, 1}, TLimiRecordRef{K::Usage, 1},
                                     TLimiRecordRef{K::Range, 2}));
    ASSERT_EQ(f.Ranges.size(), 3u);
    const TLimiRange& night = f.Ranges[1];
    EXPECT_EQ(std::tuple(night.Name, night.Short, night.Begin, night.End, night.LoudestN),
              std::tuple("Nacht", "N", 22, 6, 1));
    EXPECT_EQ(std::tuple(f.Ranges[2].Begin, f.Ranges[2].End, f.Ranges[2].LoudestN), std::tuple(0, 24, 24));
    EXPECT_EQ(f.Usages[0].Additions, Ramp(-2));
    EXPECT_EQ(f.Usages[1].Additions, std::nullopt);
    EXPECT_THAT([&] { ReadLimiFile(dir.File("missing")); },
                testing::ThrowsMessage<EKorvelError>(HasSubstr("missing")));
}

TEST(LimiFileTest, DamagedFilesAreRefusedNamingFileAndOffset) {
    const TBlob good =
        TLimiFileBuilder().Header().Name("E").Usage(1, {1, 2, 3}, Ramp(0)).Range("T", "", 1, 2).Bytes();
    // Cut anywhere inside a record, the file is refused; cut between records, it is a shorter file.
    const std::vector<std::size_t> boundaries = {37, 81, 242, good.size()};
    for (std::size_t cut = 81; cut < good.size(); ++cut) {
        const TBlob part(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(cut));
        const bool boundary = std::ranges::find(boundaries, cut) != boundaries.end();
        EXPECT_EQ(Refusal(part).empty(), boundary) << cut;
    }
    EXPECT_THAT(Refusal(TBlob(good.begin(), good.begin() + 100)),
                AllOf(HasSubstr("\"Limi.7\""), HasSubstr("\"D\" needs 159 bytes"), HasSubstr("offset 81")));

    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    auto named = [] {
        return TLimiFileBuilder().Name("E");
    };
    const std::vector<std::pair<TBlob, std::string>> damaged = {
        {named().Record('Q', {}, 0).Bytes(), "length 0, at offset 44"},
        {named().Usage(0, {1, 2, 3}).Bytes(), "usage area 0,"},
        {named().Usage(26, {1, 2, 3}).Bytes(), "usage area 26,"},
        {named().Usage(4, {1, nan, 3}).Bytes(), "limit set 2 of usage area 4 is no number"},
        {named()
             .Usage(4, {1, 2, 3},
                    [&] {
                        auto a = Ramp(0);
                        a[23] = -inf;
                        return a;
                    }())
             .Bytes(),
         "hour 23-24 of usage area 4 is no number"},
        {named().Record('D', TBlob(100, 1)).Bytes(), "100 bytes after its tag, 158 expected"},
        {named().Record('D', TBlob(61, 1)).Bytes(), "61 bytes after its tag, 62 expected"},
        {named().Range("N", "N", 22, 25).Bytes(), "from hour 22 to 25"},
        {named().Range("N", "N", 26, 6).Bytes(), "from hour 26 to 6"},
        {named().Range("L", "L", 0, 24, 25).Bytes(), "25 loudest hours"},
        {TLimiFileBuilder().Record('H', TBlob(40, 0)).Bytes(), "40 bytes after its tag, 41 expected"},
        {TLimiFileBuilder().Header().Usage(1, {1, 2, 3}).Bytes(), "no element name"},
        {TLimiFileBuilder().Name("   ").Bytes(), "the element name is empty"},
    };
    for (const auto& [bytes, message] : damaged)
        EXPECT_THAT(Refusal(bytes), AllOf(HasSubstr("\"Limi.7\""), HasSubstr(message)));
}

TEST(LimiFileTest, OddButReadableRecordsAreReadWithAWarning) {
    TBlob longRange = TLimiFileBuilder().Range("Abend", "A", 18, 22).Bytes();
    longRange.insert(longRange.end(), {9, 9, 9});
    longRange[0] = 16 + 3; // the length counts the extra bytes
    TBlob bytes = TLimiFileBuilder().Name("Alt").Name(std::string(40, 'x') + "yyyy", 41).Bytes();
    bytes.insert(bytes.end(), longRange.begin(), longRange.end());
    const TBlob tail = TLimiFileBuilder().Range("Nacht", "N", 22, 6).Bytes();
    bytes.insert(bytes.end(), tail.begin(), tail.end());

    const TLimiFile f = DecodeLimiFile(bytes, "Limi.2");
    EXPECT_EQ(f.Name, std::string(40, 'x')); // a length byte of 41 reads the field, no further
    ASSERT_EQ(f.Ranges.size(), 2u);
    EXPECT_EQ(std::tuple(f.Ranges[0].Name, f.Ranges[0].End, f.Ranges[1].Name),
              std::tuple("Abend", 22, "Nacht"));
    EXPECT_THAT(f.Warnings,
                ElementsAre(HasSubstr("replaces \"Alt\""), HasSubstr("length of the element name is 41"),
                            AllOf(HasSubstr("offset 88"), HasSubstr("3 bytes more"))));
}

} // namespace
} // namespace korvel::formats
