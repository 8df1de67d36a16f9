#include "platform/image/Picture.h"

#include "platform/Errors.h"
#include "platform/ui/BatchUi.h"
#include "platform/ui/PictureBox.h"
#include "platform/ui/ScriptedUi.h"
#include "support/TempDir.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>
#include <stb_image.h>
#include <stb_image_write.h>

namespace korvel {
namespace {

using TBytes = std::vector<std::uint8_t>;
using TRgb = std::array<std::uint8_t, 3>;

void Append(void* context, void* data, int size) {
    auto& out = *static_cast<TBytes*>(context);
    out.insert(out.end(), static_cast<std::uint8_t*>(data), static_cast<std::uint8_t*>(data) + size);
}

// An RGB picture whose quadrants are red, green (top) and blue, white (bottom), so flips, transposes and
// channel mix-ups show; format "png", "bmp", "jpg" or "tga".
TBytes Quadrants(int w, int h, const std::string& format = "png") {
    std::vector<std::uint8_t> px(static_cast<std::size_t>(w) * h * 3);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const bool right = x >= w / 2;
            const bool bottom = y >= h / 2;
            const TRgb c = !bottom ? (right ? TRgb{0, 255, 0} : TRgb{255, 0, 0})
                                   : (right ? TRgb{255, 255, 255} : TRgb{0, 0, 255});
            std::copy(c.begin(), c.end(), px.begin() + (static_cast<std::ptrdiff_t>(y) * w + x) * 3);
        }
    TBytes out;
    if (format == "png")
        stbi_write_png_to_func(&Append, &out, w, h, 3, px.data(), w * 3);
    else if (format == "bmp")
        stbi_write_bmp_to_func(&Append, &out, w, h, 3, px.data());
    else if (format == "jpg")
        stbi_write_jpg_to_func(&Append, &out, w, h, 3, px.data(), 95);
    else
        stbi_write_tga_to_func(&Append, &out, w, h, 3, px.data());
    return out;
}

struct TDecoded {
    int W = 0;
    int H = 0;
    int Channels = 0;
    std::vector<std::uint8_t> Px;
    TRgb At(int x, int y) const {
        const auto* p = Px.data() + (static_cast<std::size_t>(y) * W + x) * Channels;
        return {p[0], p[1], p[2]};
    }
};

TDecoded Decode(const TBytes& png) {
    EXPECT_EQ(DetectImageFormat(png), "png");
    TDecoded d;
    stbi_uc* px = stbi_load_from_memory(png.data(), static_cast<int>(png.size()), &d.W, &d.H, &d.Channels, 0);
    EXPECT_NE(px, nullptr);
    if (px) {
        d.Px.assign(px, px + static_cast<std::size_t>(d.W) * d.H * d.Channels);
        stbi_image_free(px);
    }
    return d;
}

// A PNG whose header claims w x h pixels with no picture data behind it.
TBytes PngHeaderClaiming(std::uint32_t w, std::uint32_t h) {
    TBytes png = Quadrants(2, 2);
    for (int i = 0; i < 4; ++i) {
        png[16 + i] = static_cast<std::uint8_t>(w >> (24 - 8 * i));
        png[20 + i] = static_cast<std::uint8_t>(h >> (24 - 8 * i));
    }
    png.resize(33); // signature and IHDR only
    return png;
}

constexpr std::array<std::uint8_t, 2> kSof0 = {0xFF, 0xC0};

void ExpectRefused(const std::function<void()>& call, const std::string& fragment) {
    EXPECT_THAT(call, testing::ThrowsMessage<EKorvelError>(testing::HasSubstr(fragment)));
}

void ExpectFitRefused(const TBytes& bytes, const std::string& fragment, int maxSide = 400) {
    ExpectRefused([&] { FitPicture(bytes, maxSide); }, fragment);
}

TEST(PictureGeometry, FittingKeepsTheAspectAndFitInsideNeverEnlarges) {
    EXPECT_EQ(FitInside({1000, 500}, 400), (TImageSize{400, 200}));
    EXPECT_EQ(FitInside({500, 1000}, 400), (TImageSize{200, 400}));
    EXPECT_EQ(FitInside({300, 100}, 400), (TImageSize{300, 100}));
    EXPECT_EQ(FitInside({400, 400}, 400), (TImageSize{400, 400}));
    EXPECT_EQ(FitInside({3, 2}, 2), (TImageSize{2, 1}));         // 1.33 rounds to 1
    EXPECT_EQ(FitInside({10000, 3}, 100), (TImageSize{100, 1})); // a line keeps one pixel
    EXPECT_EQ(FitInside({1000, 500}, 0), (TImageSize{1, 1}));
    EXPECT_EQ(FitInside({0, 500}, 400), (TImageSize{}));

    // FitRect fills one side of the box and centres the other.
    EXPECT_EQ(FitRect({200, 100}, {10, 20, 100, 100}), (TRect{10, 45, 100, 50}));
    EXPECT_EQ(FitRect({100, 200}, {0, 0, 100, 100}), (TRect{25, 0, 50, 100}));
    EXPECT_EQ(FitRect({10, 10}, {0, 0, 300, 200}), (TRect{50, 0, 200, 200})); // enlarged
    EXPECT_EQ(FitRect({10000, 1}, {0, 0, 100, 100}), (TRect{0, 49, 100, 1}));
    EXPECT_EQ(FitRect({0, 0}, {0, 0, 100, 60}), (TRect{50, 30, 0, 0}));
    EXPECT_EQ(FitRect({10, 10}, {5, 5, 0, 60}), (TRect{5, 35, 0, 0}));
}

TEST(PictureDecode, ALargePictureIsScaledWithItsLayoutKeptASmallOneKeepsItsPixels) {
    const TDecoded d = Decode(FitPicture(Quadrants(1000, 500), 400));
    ASSERT_EQ(std::make_pair(d.W, d.H), std::make_pair(400, 200));
    EXPECT_EQ((std::vector<TRgb>{d.At(100, 50), d.At(300, 50), d.At(100, 150), d.At(300, 150)}),
              (std::vector<TRgb>{{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 255}}));

    const TBytes small = Quadrants(300, 100);
    const TDecoded out = Decode(FitPicture(small, 400));
    EXPECT_EQ(std::make_pair(out.W, out.H), std::make_pair(300, 100));
    EXPECT_EQ(out.Px, Decode(small).Px);
}

TEST(PictureDecode, OtherFormatsBecomePngAndAlphaSurvives) {
    TDecoded d = Decode(FitPicture(Quadrants(640, 480, "jpg"), 320));
    EXPECT_EQ(std::make_pair(d.W, d.H), std::make_pair(320, 240));
    d = Decode(FitPicture(Quadrants(64, 64, "bmp"), 32));
    EXPECT_EQ(d.W, 32);
    EXPECT_EQ(d.At(31, 31), (TRgb{255, 255, 255}));

    // The smallest GIF: one pixel, colour 0 of a black-and-white palette.
    const TBytes gif = {'G', 'I', 'F', '8', '9', 'a', 1, 0, 1, 0, 0x80, 0, 0, 0xFF, 0xFF, 0xFF, 0,  0,
                        0,   ',', 0,   0,   0,   0,   1, 0, 1, 0, 0,    2, 2, 0x44, 0x01, 0,    ';'};
    d = Decode(FitPicture(gif, 10));
    EXPECT_EQ(d.W, 1);
    EXPECT_EQ(d.At(0, 0), (TRgb{255, 255, 255}));

    // Half-transparent green: the alpha channel is kept and does not darken the colour while scaling.
    std::vector<std::uint8_t> px(100 * 50 * 4);
    for (std::size_t i = 0; i < px.size(); ++i)
        px[i] = i % 4 == 1 ? 200 : i % 4 == 3 ? 128 : 0;
    TBytes rgba;
    stbi_write_png_to_func(&Append, &rgba, 100, 50, 4, px.data(), 400);
    d = Decode(FitPicture(rgba, 20));
    ASSERT_EQ(d.Channels, 4);
    EXPECT_EQ(d.W, 20);
    EXPECT_EQ(d.Px[d.Px.size() - 1], 128);
    EXPECT_NEAR(d.Px[d.Px.size() - 3], 200, 1);
}

TEST(PictureDecode, BadAndHostileDataIsRefused) {
    TBytes truncated = Quadrants(1000, 500);
    truncated.resize(truncated.size() / 2);
    ExpectFitRefused(truncated, "cannot be decoded");
    for (const TBytes& bytes : {TBytes{'<', 'h', 't', 'm', 'l', '>'}, TBytes{}, Quadrants(37, 11, "tga")})
        ExpectFitRefused(bytes, "not in a known picture format");
    // Headers without data behind them: decoding would fail differently, so these messages show the size
    // was refused first.
    ExpectFitRefused(PngHeaderClaiming(100000, 100000), "100000 x 100000 pixels");
    ExpectFitRefused(PngHeaderClaiming(20000, 10), "16384 pixels on a side");
    ExpectFitRefused(PngHeaderClaiming(9000, 9000), "64 megapixels");
    TBytes jpeg = Quadrants(8, 8, "jpg");
    const auto sof = std::search(jpeg.begin(), jpeg.end(), kSof0.begin(), kSof0.end());
    ASSERT_NE(sof, jpeg.end());
    std::fill(sof + 5, sof + 9, std::uint8_t{0x75}); // 30069 x 30069, beyond what stb reads a header for
    jpeg.resize(static_cast<std::size_t>(sof - jpeg.begin()) + 9);
    ExpectFitRefused(jpeg, "30069 x 30069 pixels");
    ExpectFitRefused(Quadrants(8, 8), "at least 1 pixel", 0);
}

TEST(PictureFile, LoadsFitsAndRefusesWithTheFileName) {
    test::TempDir dir;
    const auto write = [&](const std::string& name, const TBytes& bytes) {
        std::ofstream(dir.Path() / name, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return dir.Path() / name;
    };
    const TDecoded d = Decode(LoadPictureFile(write("wall.png", Quadrants(500, 1000)), 100));
    EXPECT_EQ(std::make_pair(d.W, d.H), std::make_pair(50, 100));

    ExpectRefused([&] { LoadPictureFile(dir.Path() / "none.png", 100); }, "none.png\" does not exist");
    ExpectRefused([&] { LoadPictureFile(dir.Path(), 100); }, "is not a file");
    const auto notes = write("notes.png", TBytes{'a', 'b'});
    ExpectRefused([&] { LoadPictureFile(notes, 100); }, "notes.png\" is not in a known picture format");
    const auto big = write("big.png", Quadrants(2, 2));
    std::filesystem::resize_file(big, kMaxPictureFileBytes + 1); // sparse, costs no disk
    ExpectRefused([&] { LoadPictureFile(big, 100); }, "larger than 256 MB");
}

TEST(ClipboardPicture, HoldsEitherAPictureOrText) {
    TScriptedUi scripted;
    std::ostringstream out;
    TBatchUi batch(out);
    for (IUi* ui : {static_cast<IUi*>(&scripted), static_cast<IUi*>(&batch)}) {
        EXPECT_TRUE(ui->ClipboardPicture().empty());
        const TBytes png = Quadrants(4, 4);
        ui->SetClipboardText("Fan");
        ui->SetClipboardPicture(png);
        EXPECT_EQ(std::pair(ui->ClipboardPicture(), ui->ClipboardText()), std::pair(png, std::string()));
        ui->SetClipboardText("Pump");
        EXPECT_EQ(std::pair(ui->ClipboardPicture(), ui->ClipboardText()),
                  std::pair(TBytes{}, std::string("Pump")));
    }
}

} // namespace
} // namespace korvel
