#include "platform/formats/ClfFile.h"

#include "platform/Errors.h"
#include "support/LegacyFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace korvel::formats {
namespace {

using test::ClfSample;
using testing::AllOf;
using testing::HasSubstr;
using testing::StrEq;
using testing::ThrowsMessage;

TEST(ClfFileTest, FieldsAndBalloonComeFromTheirOffsetsAndTheEncoderWritesThemThere) {
    for (int version : {1, 2}) {
        SCOPED_TRACE(version);
        const TClfFile given = ClfSample(version, 0, version == 1 ? 9 : 29);
        TBlob raw = test::ClfBytes(given);
        std::fill(raw.end() - 40, raw.end(), 0x44); // reserved tail: must not reach the balloon

        const TClfFile f = DecodeClf(raw);
        // Octave index k is library band 3k + 15 (15..42), third octave k is band k + 14 (14..43).
        EXPECT_EQ(std::tuple(f.Version, ClfVersion(raw), f.MinBand, f.MaxBand, f.LibraryBand(1),
                             f.LibraryBand(f.Bands() - 1), f.Step()),
                  std::tuple(version, version, 0u, static_cast<std::uint32_t>(f.Bands() - 1),
                             version == 1 ? 18 : 15, version == 1 ? 42 : 43, version == 1 ? 10 : 5));
        EXPECT_EQ(f.Balloon, given.Balloon);
        // Band by band, in each the meridians, in each the parallels.
        EXPECT_EQ(f.BalloonValue(3, 7, 11), given.Balloon[(3 * f.Meridians() + 7) * f.Parallels() + 11]);
        EXPECT_THROW(f.BalloonValue(f.Bands(), 0, 0), EKorvelError);
        EXPECT_THROW(f.BalloonValue(0, f.Meridians(), 0), EKorvelError);

        // The encoder writes every field read back to the same place, with a terminator inside the date's
        // array and nothing in the reserved tail.
        raw[52 + 2316 + 15] = 0;
        std::fill(raw.end() - 40, raw.end(), 0);
        EXPECT_TRUE(EncodeClf(f) == raw);
    }
    // A long text is cut to 255 characters and its terminator.
    TClfFile f = ClfSample(1, 0, 9);
    f.Header.ModelName = std::string(300, 'n');
    EXPECT_EQ(DecodeClf(EncodeClf(f)).Header.ModelName, std::string(255, 'n'));
}

TEST(ClfFileTest, BadFilesAreRefusedWithAClearMessage) {
    TBlob raw = test::ClfBytes(ClfSample(1, 0, 9));
    raw[0] = 0x42; // 0xABD42
    EXPECT_EQ(ClfVersion(raw), 0);
    EXPECT_THAT([&] { DecodeClf(raw); }, ThrowsMessage<EKorvelError>(StrEq(kClfUnknownVersion)));

    // Too short for its data record: the message names the bytes found and expected.
    TBlob shortFile = test::ClfBytes(ClfSample(2, 0, 29));
    shortFile.resize(shortFile.size() - 1);
    EXPECT_THAT(
        [&] { DecodeClf(shortFile); },
        ThrowsMessage<EKorvelError>(AllOf(HasSubstr(std::to_string(shortFile.size())), HasSubstr("334032"))));
    const TBlob tiny{0x40, 0xBD, 0x0A};
    EXPECT_THROW(ClfVersion(tiny), EKorvelError);
    EXPECT_THROW(DecodeClf(tiny), EKorvelError);
    shortFile.resize(100);
    EXPECT_THROW(DecodeClf(shortFile), EKorvelError);

    // Band ranges: min <= max < number of bands.
    for (const auto& [version, min, max] :
         {std::tuple{1, 0u, 10u}, {1, 5u, 4u}, {2, 0u, 30u}, {2, 0xFFFFFFFFu, 0xFFFFFFFFu}})
        EXPECT_THROW(DecodeClf(test::ClfBytes(ClfSample(version, min, max))), EKorvelError)
            << version << " " << min;
    EXPECT_NO_THROW(DecodeClf(test::ClfBytes(ClfSample(1, 9, 9))));
}

// Every text of the file, read from its place, in the description; the choices shown only when known.
TEST(ClfFileTest, HeaderDescriptionAndLicenseWarnings) {
    TClfHeader h = DecodeClf(test::ClfBytes(ClfSample(1, 0, 9))).Header;
    const std::string head = "Manufacturer\r\nName: \tMaker\r\nWebsite: \twww.example.org\r\n\r\n"
                             "Model\r\nName: \tBox \xC3\xA9\r\nDescription: \tTwo-way\r\n";
    const std::string tail =
        "Weight [kg]: \t12.35\r\nMounting: \twall\r\nColors: \tblack\r\n\r\n"
        "Measurement\r\nContact: \tLab\r\nEmail: \tlab@example.org\r\n"
        "Date: \tDDDDDDDDDDDDDDDD\r\nNote: \tnote\r\nDistance [m]: \t4.00\r\n"
        "Environment: \tanechoic\r\n\r\n"
        "Further information can be obtained through the original CLF file \"box.CF2\".\r\n"
        "Date of CLF binary: \t2001-02-04\r\nDate of CLF text file: \t2001-02-05";
    // Radiation, symmetry and type, and the lines they give.
    const std::tuple<std::uint32_t, std::uint32_t, std::uint32_t, std::string> cases[] = {
        {0, 1, 2,
         "Radiation: \thalfsphere\r\nSymmetry: \thalf balloon given, vertical symmetry\r\n"
         "Type: \tpowered\r\nType: \tamp 200 W\r\n"},
        // No type information for a passive one.
        {1, 5, 0,
         "Radiation: \tfullsphere\r\nSymmetry: \thorizontal and vertical polar given\r\nType: \tpassive\r\n"},
        {2, 6, 3, ""},
    };
    for (const auto& [radiation, symmetry, type, lines] : cases) {
        std::tie(h.Radiation, h.Symmetry, h.LspType) = std::tie(radiation, symmetry, type);
        EXPECT_EQ(ClfDescription(h, "/data/speakers/box.CF2"), head + lines + tail) << lines;
    }
    for (const auto& [type, warning] :
         {std::pair{0u, kClfDemoWarning}, std::pair{5u, kClfDemoWarning}, std::pair{3u, kClfResearchWarning},
          std::pair{4u, kClfResearchWarning}, std::pair{1u, ""}, std::pair{2u, ""}, std::pair{6u, ""}})
        EXPECT_EQ(ClfLicenseWarning(type), warning) << type;
}

} // namespace
} // namespace korvel::formats
