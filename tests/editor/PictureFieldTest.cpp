// The picture field of the frame, on a small kind of the test's own with a picture.

#include "editor/CustomLibForm.h"
#include "editor/TestKind.h"
#include "platform/Errors.h"
#include "platform/image/Picture.h"
#include "support/LibFolders.h"

#include <fstream>
#include <gtest/gtest.h>
#include <stb_image_write.h>

namespace korvel {
namespace {

using test::kTestType;
using test::LibFolders;
using test::TestKindSchema;
using test::TTestKindEditor;

void Append(void* context, void* data, int size) {
    auto* out = static_cast<std::vector<std::uint8_t>*>(context);
    out->insert(out->end(), static_cast<std::uint8_t*>(data), static_cast<std::uint8_t*>(data) + size);
}

std::vector<std::uint8_t> Png(int w, int h) {
    std::vector<std::uint8_t> pixels(static_cast<size_t>(w * h * 3), 128);
    std::vector<std::uint8_t> out;
    stbi_write_png_to_func(&Append, &out, w, h, 3, pixels.data(), w * 3);
    return out;
}

TEST(PictureFieldTest, LoadClearCopyAndPaste) {
    TScopedLibSchema schema(kTestType, TestKindSchema());
    LibFolders f;
    LibFolders::MakeLibrary(kTestType, f.Project(), {{{"ElementName", "Fan"}}});
    TTestKindEditor editor(f.Host());
    editor.OpenFiles({f.Project()}, 0, false, false);
    ASSERT_NE(editor.DBImage(), nullptr);
    EXPECT_TRUE(editor.DBImage()->Empty());
    db::TTable& t = *editor.GetMainTable(0);

    const std::string file = f.Root() + "photo.png";
    {
        std::vector<std::uint8_t> png = Png(1000, 250);
        std::ofstream(file, std::ios::binary)
            .write(reinterpret_cast<const char*>(png.data()), static_cast<std::streamsize>(png.size()));
    }
    f.Ui().ExpectOpen("Load picture", {file});
    editor.FindMenuItem("PictureLoad")->Click();
    ASSERT_EQ(t.State(), db::TDataSetState::Edit);
    editor.StoreCurrent();
    auto size = ImageSizeOf(t.FieldByName("Bild").AsBytes());
    ASSERT_TRUE(size);
    EXPECT_EQ(size->Width, 400);
    EXPECT_EQ(size->Height, 100);
    EXPECT_FALSE(editor.DBImage()->Empty());

    editor.FindMenuItem("PictureCopy")->Click();
    EXPECT_EQ(f.Ui().ClipboardPicture(), t.FieldByName("Bild").AsBytes());
    editor.FindMenuItem("PictureClear")->Click();
    editor.StoreCurrent();
    EXPECT_TRUE(t.FieldByName("Bild").IsNull() || t.FieldByName("Bild").AsBytes().empty());
    EXPECT_TRUE(editor.DBImage()->Empty());

    f.Ui().SetClipboardPicture(Png(50, 500));
    editor.FindMenuItem("PicturePaste")->Click();
    editor.StoreCurrent();
    size = ImageSizeOf(t.FieldByName("Bild").AsBytes());
    ASSERT_TRUE(size);
    EXPECT_EQ(size->Height, 400);
    EXPECT_EQ(size->Width, 40);

    // A file that is no picture is refused and the stored one stays.
    std::ofstream(f.Root() + "notes.png") << "not a picture";
    const auto before = t.FieldByName("Bild").AsBytes();
    f.Ui().ExpectOpen("Load picture", {f.Root() + "notes.png"});
    f.Ui().ExpectMessage(mtError, "", mrOk);
    editor.FindMenuItem("PictureLoad")->Click();
    EXPECT_EQ(t.State(), db::TDataSetState::Browse);
    EXPECT_EQ(t.FieldByName("Bild").AsBytes(), before);
}

} // namespace
} // namespace korvel
