#include "platform/formats/ClfFile.h"

#include "platform/Errors.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace korvel::formats {

namespace {

constexpr std::size_t kNameSize = 256;
constexpr std::size_t kChar16Size = 16;
constexpr int kAxialValues = 30;

// Header fields, as offsets from the start of the file.
constexpr std::size_t kHdr = kClfInfoSize;
constexpr std::size_t kLicenseType = kHdr + 256;
constexpr std::size_t kModelName = kHdr + 260;
constexpr std::size_t kManufacturer = kHdr + 516;
constexpr std::size_t kDescription = kHdr + 772;
constexpr std::size_t kGivenFlags = kHdr + 1028;
constexpr std::size_t kColors = kHdr + 1032;
constexpr std::size_t kMounting = kHdr + 1288;
constexpr std::size_t kWeight = kHdr + 1544;
constexpr std::size_t kWebSite = kHdr + 1548;
constexpr std::size_t kMeasContact = kHdr + 1804;
constexpr std::size_t kMeasEmail = kHdr + 2060;
constexpr std::size_t kMeasDate = kHdr + 2316;
constexpr std::size_t kBinFileDate = kHdr + 2332;
constexpr std::size_t kTextFileDate = kHdr + 2348;
constexpr std::size_t kMeasNote = kHdr + 2364;
constexpr std::size_t kMeasEnv = kHdr + 2620;
constexpr std::size_t kMeasDistance = kHdr + 2876;
constexpr std::size_t kLspType = kHdr + 2880;
constexpr std::size_t kTypeInfo = kHdr + 2884;
constexpr std::size_t kAxialSpectrum = kHdr + 4044;
constexpr std::size_t kRadiation = kHdr + 4420;
constexpr std::size_t kSymmetry = kHdr + 4424;

// Data record fields, as offsets from its start.
constexpr std::size_t kMinBand = 0;
constexpr std::size_t kMaxBand = 4;
constexpr std::size_t kClf1Balloon = 1768;
constexpr std::size_t kClf2Balloon = 9608;

std::size_t DataSize(int version) {
    return version == 1 ? kClf1DataSize : kClf2DataSize;
}

std::size_t BalloonOffset(int version) {
    return kClfDataOffset + (version == 1 ? kClf1Balloon : kClf2Balloon);
}

// A zero-terminated text in a fixed array; an array without a zero is taken whole.
std::string Text(TByteSpan bytes, std::size_t offset, std::size_t size, int codePage) {
    const auto* p = reinterpret_cast<const char*>(bytes.data() + offset);
    return CodePageToUtf8(std::string_view(p, strnlen(p, size)), codePage);
}

void PutU32(TBlob& blob, std::size_t offset, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) {
        blob[offset + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(v >> (8 * i));
    }
}

void PutF32(TBlob& blob, std::size_t offset, float v) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &v, sizeof bits);
    PutU32(blob, offset, bits);
}

// The text cut so that the terminating zero still fits.
void PutText(TBlob& blob, std::size_t offset, std::size_t size, const std::string& utf8, int codePage) {
    std::string bytes = Utf8ToCodePage(utf8, codePage);
    bytes.resize(std::min(bytes.size(), size - 1));
    std::copy(bytes.begin(), bytes.end(), blob.begin() + static_cast<std::ptrdiff_t>(offset));
}

std::string Fixed2(float v) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%0.2f", static_cast<double>(v));
    return buffer;
}

std::string Line(const char* label, const std::string& value) {
    return std::string(label) + ": \t" + value;
}

} // namespace

float TClfFile::BalloonValue(int band, int meridian, int parallel) const {
    if (band < 0 || band >= Bands() || meridian < 0 || meridian >= Meridians() || parallel < 0 ||
        parallel >= Parallels()) {
        throw EKorvelError("No balloon value for band " + std::to_string(band) + ", meridian " +
                           std::to_string(meridian) + ", parallel " + std::to_string(parallel));
    }
    const auto index = static_cast<std::size_t>((band * Meridians() + meridian) * Parallels() + parallel);
    if (index >= Balloon.size()) {
        throw EKorvelError("The balloon holds " + std::to_string(Balloon.size()) + " values only");
    }
    return Balloon[index];
}

int ClfVersion(TByteSpan bytes) {
    if (bytes.size() < 4) {
        throw EKorvelError("The CLF file is too short: " + std::to_string(bytes.size()) +
                           " bytes found, at least " + std::to_string(kClfInfoSize) + " expected");
    }
    switch (LoadU32LE(bytes.data())) {
    case kClf1Id:
        return 1;
    case kClf2Id:
        return 2;
    default:
        return 0;
    }
}

TClfFile DecodeClf(TByteSpan bytes, int codePage) {
    TClfFile file;
    file.Version = ClfVersion(bytes);
    if (file.Version == 0) {
        throw EKorvelError(kClfUnknownVersion);
    }
    const std::size_t expected = kClfDataOffset + DataSize(file.Version);
    if (bytes.size() < expected) {
        throw EKorvelError("The CLF" + std::to_string(file.Version) +
                           " file is too short: " + std::to_string(bytes.size()) + " bytes found, " +
                           std::to_string(expected) + " expected");
    }
    const std::uint8_t* b = bytes.data();
    auto u32 = [b](std::size_t offset) {
        return LoadU32LE(b + offset);
    };
    auto f32 = [b](std::size_t offset) {
        return LoadF32LE(b + offset);
    };
    auto name = [&](std::size_t offset) {
        return Text(bytes, offset, kNameSize, codePage);
    };
    auto char16 = [&](std::size_t offset) {
        return Text(bytes, offset, kChar16Size, codePage);
    };

    TClfHeader& h = file.Header;
    h.LicenseType = u32(kLicenseType);
    h.ModelName = name(kModelName);
    h.Manufacturer = name(kManufacturer);
    h.Description = name(kDescription);
    h.GivenFlags = u32(kGivenFlags);
    h.Colors = name(kColors);
    h.Mounting = name(kMounting);
    h.Weight = f32(kWeight);
    h.WebSite = name(kWebSite);
    h.MeasContact = name(kMeasContact);
    h.MeasEmail = name(kMeasEmail);
    h.MeasDate = char16(kMeasDate);
    h.BinFileDate = char16(kBinFileDate);
    h.TextFileDate = char16(kTextFileDate);
    h.MeasNote = name(kMeasNote);
    h.MeasEnv = name(kMeasEnv);
    h.MeasDistance = f32(kMeasDistance);
    h.LspType = u32(kLspType);
    h.TypeInfo = name(kTypeInfo);
    h.AxialSpectrum.assign(kAxialValues, 0.0f);
    for (int i = 0; i < kAxialValues; ++i) {
        h.AxialSpectrum[static_cast<std::size_t>(i)] = f32(kAxialSpectrum + 4 * static_cast<std::size_t>(i));
    }
    h.Radiation = u32(kRadiation);
    h.Symmetry = u32(kSymmetry);

    file.MinBand = u32(kClfDataOffset + kMinBand);
    file.MaxBand = u32(kClfDataOffset + kMaxBand);
    const auto bands = static_cast<std::uint32_t>(file.Bands());
    if (file.MinBand > file.MaxBand || file.MaxBand >= bands) {
        throw EKorvelError("The CLF" + std::to_string(file.Version) + " file gives the bands " +
                           std::to_string(file.MinBand) + " to " + std::to_string(file.MaxBand) +
                           "; its bands are 0 to " + std::to_string(bands - 1));
    }

    const auto count = static_cast<std::size_t>(file.Bands() * file.Meridians() * file.Parallels());
    file.Balloon.resize(count);
    const std::size_t start = BalloonOffset(file.Version);
    for (std::size_t i = 0; i < count; ++i) {
        file.Balloon[i] = f32(start + 4 * i);
    }
    return file;
}

std::string ClfLicenseWarning(std::uint32_t licenseType) {
    switch (licenseType) {
    case 0:
    case 5:
        return kClfDemoWarning;
    case 3:
    case 4:
        return kClfResearchWarning;
    default:
        return {};
    }
}

std::string ClfDescription(const TClfHeader& h, const std::string& fileName) {
    static const char* const kSymmetries[] = {"one quarter balloon given",
                                              "half balloon given, vertical symmetry",
                                              "half balloon given, horizontal symmetry",
                                              "full balloon given",
                                              "one arc given",
                                              "horizontal and vertical polar given"};
    static const char* const kTypes[] = {"passive", "active", "powered"};

    std::vector<std::string> lines;
    lines.push_back("Manufacturer");
    lines.push_back(Line("Name", h.Manufacturer));
    lines.push_back(Line("Website", h.WebSite));
    lines.emplace_back();
    lines.push_back("Model");
    lines.push_back(Line("Name", h.ModelName));
    lines.push_back(Line("Description", h.Description));
    if (h.Radiation <= 1) {
        lines.push_back(Line("Radiation", h.Radiation == 0 ? "halfsphere" : "fullsphere"));
    }
    if (h.Symmetry < std::size(kSymmetries)) {
        lines.push_back(Line("Symmetry", kSymmetries[h.Symmetry]));
    }
    if (h.LspType < std::size(kTypes)) {
        lines.push_back(Line("Type", kTypes[h.LspType]));
    }
    if (h.LspType == 1 || h.LspType == 2) {
        lines.push_back(Line("Type", h.TypeInfo));
    }
    lines.push_back(Line("Weight [kg]", Fixed2(h.Weight)));
    lines.push_back(Line("Mounting", h.Mounting));
    lines.push_back(Line("Colors", h.Colors));
    lines.emplace_back();
    lines.push_back("Measurement");
    lines.push_back(Line("Contact", h.MeasContact));
    lines.push_back(Line("Email", h.MeasEmail));
    lines.push_back(Line("Date", h.MeasDate));
    lines.push_back(Line("Note", h.MeasNote));
    lines.push_back(Line("Distance [m]", Fixed2(h.MeasDistance)));
    lines.push_back(Line("Environment", h.MeasEnv));
    lines.emplace_back();
    lines.push_back("Further information can be obtained through the original CLF file \"" +
                    std::filesystem::path(fileName).filename().string() + "\".");
    lines.push_back(Line("Date of CLF binary", h.BinFileDate));
    lines.push_back(Line("Date of CLF text file", h.TextFileDate));

    std::string text;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (i > 0) {
            text += "\r\n";
        }
        text += lines[i];
    }
    return text;
}

TBlob EncodeClf(const TClfFile& file, int codePage) {
    if (file.Version != 1 && file.Version != 2) {
        throw EKorvelError("A CLF file is of version 1 or 2, not " + std::to_string(file.Version));
    }
    TBlob blob(kClfDataOffset + DataSize(file.Version), 0);
    PutU32(blob, 0, file.Version == 1 ? kClf1Id : kClf2Id);

    const TClfHeader& h = file.Header;
    auto name = [&](std::size_t offset, const std::string& text) {
        PutText(blob, offset, kNameSize, text, codePage);
    };
    auto char16 = [&](std::size_t offset, const std::string& text) {
        PutText(blob, offset, kChar16Size, text, codePage);
    };
    PutU32(blob, kLicenseType, h.LicenseType);
    name(kModelName, h.ModelName);
    name(kManufacturer, h.Manufacturer);
    name(kDescription, h.Description);
    PutU32(blob, kGivenFlags, h.GivenFlags);
    name(kColors, h.Colors);
    name(kMounting, h.Mounting);
    PutF32(blob, kWeight, h.Weight);
    name(kWebSite, h.WebSite);
    name(kMeasContact, h.MeasContact);
    name(kMeasEmail, h.MeasEmail);
    char16(kMeasDate, h.MeasDate);
    char16(kBinFileDate, h.BinFileDate);
    char16(kTextFileDate, h.TextFileDate);
    name(kMeasNote, h.MeasNote);
    name(kMeasEnv, h.MeasEnv);
    PutF32(blob, kMeasDistance, h.MeasDistance);
    PutU32(blob, kLspType, h.LspType);
    name(kTypeInfo, h.TypeInfo);
    const std::size_t axial = std::min<std::size_t>(h.AxialSpectrum.size(), kAxialValues);
    for (std::size_t i = 0; i < axial; ++i) {
        PutF32(blob, kAxialSpectrum + 4 * i, h.AxialSpectrum[i]);
    }
    PutU32(blob, kRadiation, h.Radiation);
    PutU32(blob, kSymmetry, h.Symmetry);

    PutU32(blob, kClfDataOffset + kMinBand, file.MinBand);
    PutU32(blob, kClfDataOffset + kMaxBand, file.MaxBand);
    const auto count = static_cast<std::size_t>(file.Bands() * file.Meridians() * file.Parallels());
    const std::size_t start = BalloonOffset(file.Version);
    for (std::size_t i = 0; i < std::min(count, file.Balloon.size()); ++i) {
        PutF32(blob, start + 4 * i, file.Balloon[i]);
    }
    return blob;
}

} // namespace korvel::formats
