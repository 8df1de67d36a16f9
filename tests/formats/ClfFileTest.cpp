#include "platform/formats/ClfFile.h"

#include "platform/Errors.h"

#include <cstring>
#include <gtest/gtest.h>

namespace korvel::formats {
namespace {

void PutU32(TBlob& b, std::size_t offset, std::uint32_t v) {
    std::memcpy(b.data() + offset, &v, 4); // the test hosts are little-endian
}
void PutF32(TBlob& b, std::size_t offset, float v) {
    std::memcpy(b.data() + offset, &v, 4);
}
void PutText(TBlob& b, std::size_t offset, const char* text) {
    std::memcpy(b.data() + offset, text, std::strlen(text));
}

// A file image written by hand at the layout's offsets, independent of the encoder.
TBlob RawClf(int version, std::uint32_t minBand, std::uint32_t maxBand) {
    const std::size_t data = version == 1 ? kClf1DataSize : kClf2DataSize;
    TBlob b(kClfDataOffset + data, 0);
    PutU32(b, 0, version == 1 ? kClf1Id : kClf2Id);
    PutU32(b, 52 + 256, 2);
    PutText(b, 52 + 260, "Box \xE9"); // "Box é" in code page 1252
    PutText(b, 52 + 516, "Maker");
    PutU32(b, 52 + 1028, kClfAxialGiven | 1u);
    PutF32(b, 52 + 1544, 12.345f);
    std::memset(b.data() + 52 + 2316, 'D', 16); // a date filling its array without a terminator
    PutF32(b, 52 + 2876, 4.0f);
    PutU32(b, 52 + 2880, 1);
    PutU32(b, 52 + 4420, 1);
    PutU32(b, 52 + 4424, 3);
    for (int k = 0; k < 30; ++k) {
        PutF32(b, 52 + 4044 + 4 * static_cast<std::size_t>(k), 80.0f + static_cast<float>(k));
    }
    PutU32(b, 4624, minBand);
    PutU32(b, 4628, maxBand);
    return b;
}

std::size_t BalloonOffset(int version, int band, int meridian, int parallel) {
    const int m = version == 1 ? 36 : 72;
    const int p = version == 1 ? 19 : 37;
    const std::size_t start = 4624 + (version == 1 ? 1768u : 9608u);
    return start + 4 * static_cast<std::size_t>((band * m + meridian) * p + parallel);
}

TEST(ClfFileTest, Clf1FieldsAndBalloonComeFromTheirOffsets) {
    TBlob raw = RawClf(1, 0, 9);
    PutF32(raw, BalloonOffset(1, 0, 0, 0), -1.0f);
    PutF32(raw, BalloonOffset(1, 3, 7, 11), -3.5f);
    PutF32(raw, BalloonOffset(1, 9, 35, 18), -9.25f);
    PutF32(raw, 4624 + 29128, 777.0f); // reserved tail: must not reach the balloon

    const TClfFile f = DecodeClf(raw);
    EXPECT_EQ(f.Version, 1);
    EXPECT_EQ(f.Header.LicenseType, 2u);
    EXPECT_EQ(f.Header.ModelName, "Box \xC3\xA9");
    EXPECT_EQ(f.Header.Manufacturer, "Maker");
    EXPECT_EQ(f.Header.MeasDate, std::string(16, 'D'));
    EXPECT_EQ(f.Header.GivenFlags & kClfAxialGiven, kClfAxialGiven);
    EXPECT_FLOAT_EQ(f.Header.Weight, 12.345f);
    EXPECT_EQ(f.Header.Radiation, 1u);
    EXPECT_EQ(f.Header.Symmetry, 3u);
    EXPECT_FLOAT_EQ(f.Header.AxialSpectrum[0], 80.0f);
    EXPECT_FLOAT_EQ(f.Header.AxialSpectrum[29], 109.0f);
    EXPECT_EQ(f.MinBand, 0u);
    EXPECT_EQ(f.MaxBand, 9u);
    ASSERT_EQ(f.Balloon.size(), 10u * 36u * 19u);
    EXPECT_FLOAT_EQ(f.BalloonValue(0, 0, 0), -1.0f);
    EXPECT_FLOAT_EQ(f.BalloonValue(3, 7, 11), -3.5f);
    EXPECT_FLOAT_EQ(f.BalloonValue(9, 35, 18), -9.25f);
    EXPECT_FLOAT_EQ(f.Balloon[(3 * 36 + 7) * 19 + 11], -3.5f);
    EXPECT_EQ(f.BalloonValue(3, 11, 7), 0.0f); // meridian and parallel are not interchangeable
    EXPECT_THROW(f.BalloonValue(10, 0, 0), EKorvelError);
    EXPECT_THROW(f.BalloonValue(0, 36, 0), EKorvelError);

    // Octave index k is library band 3k + 15: 15, 18, ..., 42.
    EXPECT_EQ(f.LibraryBand(0), 15);
    EXPECT_EQ(f.LibraryBand(1), 18);
    EXPECT_EQ(f.LibraryBand(9), 42);
    EXPECT_EQ(f.Step(), 10);

    // The encoder writes every field read back to the same place.
    const TBlob again = EncodeClf(f);
    raw[52 + 2316 + 15] = 0; // the encoder keeps a terminator inside the array
    ASSERT_EQ(again.size(), raw.size());
    EXPECT_TRUE(std::equal(again.begin(), again.begin() + 4624 + 29128, raw.begin()));
}

TEST(ClfFileTest, Clf2UsesThirdOctavesAndTheFineBalloon) {
    TBlob raw = RawClf(2, 0, 29);
    PutF32(raw, BalloonOffset(2, 29, 71, 36), -6.0f);
    PutF32(raw, BalloonOffset(2, 12, 40, 20), -2.0f);
    const TClfFile f = DecodeClf(raw);
    EXPECT_EQ(f.Version, 2);
    ASSERT_EQ(f.Balloon.size(), 30u * 72u * 37u);
    EXPECT_FLOAT_EQ(f.BalloonValue(29, 71, 36), -6.0f);
    EXPECT_FLOAT_EQ(f.BalloonValue(12, 40, 20), -2.0f);
    EXPECT_EQ(f.LibraryBand(0), 14);
    EXPECT_EQ(f.LibraryBand(29), 43);
    EXPECT_EQ(f.Step(), 5);
    EXPECT_EQ(ClfVersion(raw), 2);

    // A partial range keeps the absolute band index into the balloon.
    TBlob part = RawClf(2, 5, 7);
    PutF32(part, BalloonOffset(2, 5, 0, 0), -5.0f);
    const TClfFile p = DecodeClf(part);
    EXPECT_EQ(p.MinBand, 5u);
    EXPECT_EQ(p.MaxBand, 7u);
    EXPECT_FLOAT_EQ(p.BalloonValue(5, 0, 0), -5.0f);
    EXPECT_EQ(p.BalloonValue(0, 0, 0), 0.0f);
}

TEST(ClfFileTest, BadFilesAreRefusedWithAClearMessage) {
    TBlob raw = RawClf(1, 0, 9);
    PutU32(raw, 0, 703810);
    EXPECT_EQ(ClfVersion(raw), 0);
    try {
        DecodeClf(raw);
        FAIL() << "unknown identifier accepted";
    } catch (const EKorvelError& e) {
        EXPECT_STREQ(e.what(), kClfUnknownVersion);
    }

    // Too short for its data record: the message names the bytes found and expected.
    TBlob shortFile = RawClf(2, 0, 29);
    shortFile.resize(shortFile.size() - 1);
    try {
        DecodeClf(shortFile);
        FAIL() << "short file accepted";
    } catch (const EKorvelError& e) {
        EXPECT_NE(std::string(e.what()).find(std::to_string(shortFile.size())), std::string::npos)
            << e.what();
        EXPECT_NE(std::string(e.what()).find("334032"), std::string::npos) << e.what();
    }
    const TBlob tiny{0x40, 0xBD, 0x0A};
    EXPECT_THROW(ClfVersion(tiny), EKorvelError);
    EXPECT_THROW(DecodeClf(tiny), EKorvelError);
    TBlob headerOnly = RawClf(1, 0, 9);
    headerOnly.resize(100);
    EXPECT_THROW(DecodeClf(headerOnly), EKorvelError);

    // Band ranges: min <= max < number of bands.
    EXPECT_THROW(DecodeClf(RawClf(1, 0, 10)), EKorvelError);
    EXPECT_THROW(DecodeClf(RawClf(1, 5, 4)), EKorvelError);
    EXPECT_THROW(DecodeClf(RawClf(2, 0, 30)), EKorvelError);
    EXPECT_THROW(DecodeClf(RawClf(2, 0xFFFFFFFFu, 0xFFFFFFFFu)), EKorvelError);
    EXPECT_NO_THROW(DecodeClf(RawClf(1, 9, 9)));
}

TEST(ClfFileTest, LicenseWarnings) {
    EXPECT_EQ(ClfLicenseWarning(0), kClfDemoWarning);
    EXPECT_EQ(ClfLicenseWarning(5), kClfDemoWarning);
    EXPECT_EQ(ClfLicenseWarning(3), kClfResearchWarning);
    EXPECT_EQ(ClfLicenseWarning(4), kClfResearchWarning);
    EXPECT_EQ(ClfLicenseWarning(1), "");
    EXPECT_EQ(ClfLicenseWarning(2), "");
    EXPECT_EQ(ClfLicenseWarning(6), "");
}

TClfHeader SampleHeader() {
    TClfHeader h;
    h.Manufacturer = "Maker";
    h.WebSite = "www.example.org";
    h.ModelName = "M1";
    h.Description = "Two-way";
    h.Radiation = 0;
    h.Symmetry = 1;
    h.LspType = 2;
    h.TypeInfo = "amp 200 W";
    h.Weight = 12.345f;
    h.Mounting = "wall";
    h.Colors = "black";
    h.MeasContact = "Lab";
    h.MeasEmail = "lab@example.org";
    h.MeasDate = "2001-02-03";
    h.MeasNote = "note";
    h.MeasDistance = 4.0f;
    h.MeasEnv = "anechoic";
    h.BinFileDate = "2001-02-04";
    h.TextFileDate = "2001-02-05";
    return h;
}

TEST(ClfFileTest, DescriptionListsTheHeaderLineByLine) {
    const std::string expected =
        "Manufacturer\r\n"
        "Name: \tMaker\r\n"
        "Website: \twww.example.org\r\n"
        "\r\n"
        "Model\r\n"
        "Name: \tM1\r\n"
        "Description: \tTwo-way\r\n"
        "Radiation: \thalfsphere\r\n"
        "Symmetry: \thalf balloon given, vertical symmetry\r\n"
        "Type: \tpowered\r\n"
        "Type: \tamp 200 W\r\n"
        "Weight [kg]: \t12.35\r\n"
        "Mounting: \twall\r\n"
        "Colors: \tblack\r\n"
        "\r\n"
        "Measurement\r\n"
        "Contact: \tLab\r\n"
        "Email: \tlab@example.org\r\n"
        "Date: \t2001-02-03\r\n"
        "Note: \tnote\r\n"
        "Distance [m]: \t4.00\r\n"
        "Environment: \tanechoic\r\n"
        "\r\n"
        "Further information can be obtained through the original CLF file \"box.CF2\".\r\n"
        "Date of CLF binary: \t2001-02-04\r\n"
        "Date of CLF text file: \t2001-02-05";
    EXPECT_EQ(ClfDescription(SampleHeader(), "/data/speakers/box.CF2"), expected);
}

TEST(ClfFileTest, DescriptionLeavesOutUnknownChoices) {
    TClfHeader h = SampleHeader();
    h.Radiation = 1;
    h.Symmetry = 5;
    h.LspType = 0;
    std::string text = ClfDescription(h, "a.CF1");
    EXPECT_NE(text.find("Radiation: \tfullsphere\r\n"), std::string::npos);
    EXPECT_NE(text.find("Symmetry: \thorizontal and vertical polar given\r\n"), std::string::npos);
    EXPECT_NE(text.find("Type: \tpassive\r\nWeight"), std::string::npos) << "no type info for passive";

    h.Radiation = 2;
    h.Symmetry = 6;
    h.LspType = 3;
    text = ClfDescription(h, "a.CF1");
    EXPECT_EQ(text.find("Radiation"), std::string::npos);
    EXPECT_EQ(text.find("Symmetry"), std::string::npos);
    EXPECT_EQ(text.find("Type"), std::string::npos);
    EXPECT_NE(text.find("Description: \tTwo-way\r\nWeight [kg]: \t12.35\r\n"), std::string::npos);
    // The three empty separator lines stay whatever is left out.
    std::size_t blanks = 0;
    for (std::size_t pos = text.find("\r\n\r\n"); pos != std::string::npos;
         pos = text.find("\r\n\r\n", pos + 2)) {
        ++blanks;
    }
    EXPECT_EQ(blanks, 3u);
}

TEST(ClfFileTest, EncodedFilesDecodeToWhatWasGiven) {
    TClfFile f;
    f.Version = 2;
    f.Header = SampleHeader();
    f.Header.ModelName = std::string(300, 'n'); // cut to 255 characters and its terminator
    f.Header.AxialSpectrum[4] = 91.5f;
    f.MinBand = 3;
    f.MaxBand = 20;
    f.Balloon.assign(30 * 72 * 37, 0.0f);
    f.Balloon[(20 * 72 + 71) * 37 + 36] = -12.0f;
    const TClfFile back = DecodeClf(EncodeClf(f));
    EXPECT_EQ(back.Header.ModelName, std::string(255, 'n'));
    EXPECT_EQ(back.Header.TypeInfo, "amp 200 W");
    EXPECT_EQ(back.Header.MeasEnv, "anechoic");
    EXPECT_FLOAT_EQ(back.Header.AxialSpectrum[4], 91.5f);
    EXPECT_EQ(back.MinBand, 3u);
    EXPECT_EQ(back.MaxBand, 20u);
    EXPECT_FLOAT_EQ(back.BalloonValue(20, 71, 36), -12.0f);
    TClfHeader cut = f.Header;
    cut.ModelName = std::string(255, 'n');
    EXPECT_EQ(ClfDescription(back.Header, "x"), ClfDescription(cut, "x"));
}

} // namespace
} // namespace korvel::formats
