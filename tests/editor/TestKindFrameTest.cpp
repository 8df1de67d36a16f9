// Import, the library update and the picture field of the frame, on a small kind of the tests' own (in the
// slot of type 8) whose editor has a picture and imports text files.

#include "editor/CustomLibForm.h"
#include "platform/base/LibSchema.h"
#include "platform/image/Picture.h"
#include "support/FileBytes.h"
#include "support/LibFolders.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <stb_image_write.h>

namespace korvel {
namespace {

namespace fs = std::filesystem;
using test::LibFolders;
constexpr int kTestType = 8;

TLibSchema TestKindSchema() {
    TLibSchema schema;
    schema.FieldIndexDefs = [](TMyTable& lib) {
        AddElementFields(lib.GetTable()->Defs(), "ElementName");
        lib.GetTable()->Defs().AddField("Bild", db::TFieldType::Graphic);
    };
    return schema;
}

class TTestKindEditor : public TCustomLibForm {
public:
    explicit TTestKindEditor(TLibHost& host) : TCustomLibForm(host, "TestKindEditor") {
        SetLibType(kTestType);
        CreatePictureField(DataArea(), "Bild");
        SetPictureCommandsOn(DataArea(), true);
    }
    std::string GetImportFilter() override { return "Text (*.txt)|*.txt"; }
    // Appends one element per imported file, named after it, and notes the table's tag while it runs.
    void ImportFile(const std::string& fileName) override {
        db::TTable& t = *GetMainTable(GetCurIndex());
        TagsSeen.push_back(t.Tag);
        FilteredSeen.push_back(t.Filtered());
        t.Append();
        t.FieldByName("ElementName").SetAsString(fileName.substr(fileName.find_last_of('/') + 1));
        t.Post();
    }
    std::vector<int> TagsSeen;
    std::vector<bool> FilteredSeen;
};

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

// The editor on a Project library of the elements a, b and c.
class FrameActionsTest : public ::testing::Test {
protected:
    db::TTable& Open() {
        LibFolders::MakeLibrary(kTestType, f.Project(),
                                {{{"ElementName", "a"}}, {{"ElementName", "b"}}, {{"ElementName", "c"}}});
        editor.OpenFiles({f.Project()}, 0, false, false);
        return *editor.GetMainTable(0);
    }
    TScopedLibSchema schema{kTestType, TestKindSchema()};
    LibFolders f;
    TTestKindEditor editor{f.Host()};
    db::TTable& t = Open();
};

TEST_F(FrameActionsTest, ImportRunsWithTheBulkTagUnfilteredAndReturnsToTheElement) {
    editor.GotoElementNo(0, 2);
    t.SetFilter("[ElementName] = 'b'");
    t.SetFiltered(true);
    editor.EnableDBButtons();
    EXPECT_TRUE(editor.MainMenu()->FindItem("Import")->Enabled());
    f.Ui().ExpectOpen("Import", {f.Root() + "new.txt"});
    editor.MainMenu()->FindItem("Import")->Click();
    EXPECT_EQ(editor.TagsSeen, std::vector<int>{kTagBulkWork});
    EXPECT_EQ(editor.FilteredSeen, std::vector<bool>{false});
    EXPECT_EQ(t.Tag, 0);
    EXPECT_TRUE(t.Filtered());
    EXPECT_EQ(editor.GetElementName(0), "b");
    t.SetFiltered(false);
    EXPECT_EQ(t.RecordCount(), 4);
}

TEST_F(FrameActionsTest, UpdateLibraryRebuildsTheFileWithItsNumbersCopyingRepeatedNamesWithoutAsking) {
    editor.GotoElementNo(0, 2);
    t.Delete();
    t.Append();
    t.FieldByName("ElementName").SetAsString("A"); // "a" exists: names repeat, ignoring case
    t.Post();
    ASSERT_TRUE(editor.UpdateLibrary());
    EXPECT_EQ(editor.GetCurIndex(), 0);
    EXPECT_FALSE(fs::exists(f.Project() + "tmp"));
    EXPECT_FALSE(fs::exists(f.Project() + "tmp2"));
    ASSERT_TRUE(t.Active());
    std::vector<std::pair<int, std::string>> rows;
    t.SetIndexName("p");
    for (t.First(); !t.Eof(); t.Next())
        rows.emplace_back(t.Fields(0).AsInteger(), t.FieldByName("ElementName").AsString());
    EXPECT_EQ(rows, (std::vector<std::pair<int, std::string>>{{1, "a"}, {3, "c"}, {4, "A"}}));
    // New elements still get numbers never used before.
    t.Append();
    t.FieldByName("ElementName").SetAsString("d");
    t.Post();
    EXPECT_EQ(t.Fields(0).AsInteger(), 5);
}

TEST_F(FrameActionsTest, PictureFieldLoadsClearsCopiesAndPastes) {
    ASSERT_NE(editor.DBImage(), nullptr);
    EXPECT_TRUE(editor.DBImage()->Empty());
    // The picture's panel takes room only while there is a picture.
    const TControl& panel = *editor.DBImage()->Parent();
    EXPECT_FALSE(panel.Visible());
    // The stored picture's size, "none" without one.
    const auto stored = [this] {
        const auto size = ImageSizeOf(t.FieldByName("Bild").AsBytes());
        return size ? std::to_string(size->Width) + "x" + std::to_string(size->Height) : std::string("none");
    };
    const std::string file = f.Root() + "photo.png";
    test::WriteAll(file, Png(1000, 250));
    f.Ui().ExpectOpen("Load picture", {file});
    editor.FindMenuItem("PictureLoad")->Click();
    ASSERT_EQ(t.State(), db::TDataSetState::Edit);
    editor.StoreCurrent();
    EXPECT_EQ(stored(), "400x100");
    EXPECT_FALSE(editor.DBImage()->Empty());
    EXPECT_TRUE(panel.Visible());

    editor.FindMenuItem("PictureCopy")->Click();
    EXPECT_EQ(f.Ui().ClipboardPicture(), t.FieldByName("Bild").AsBytes());
    editor.FindMenuItem("PictureClear")->Click();
    editor.StoreCurrent();
    EXPECT_TRUE(t.FieldByName("Bild").IsNull() || t.FieldByName("Bild").AsBytes().empty());
    EXPECT_TRUE(editor.DBImage()->Empty());
    EXPECT_FALSE(panel.Visible());

    // Pasted through the commands another control offers while no picture is shown.
    f.Ui().SetClipboardPicture(Png(50, 500));
    editor.FindMenuItem("PictureCommandPaste")->Click();
    editor.StoreCurrent();
    EXPECT_EQ(stored(), "40x400");
    EXPECT_TRUE(panel.Visible());

    // A file that is no picture is refused and the stored one stays.
    test::WriteAll(f.Root() + "notes.png", "not a picture");
    const auto before = t.FieldByName("Bild").AsBytes();
    f.Ui().ExpectOpen("Load picture", {f.Root() + "notes.png"});
    f.Ui().ExpectMessage(mtError, "", mrOk);
    editor.FindMenuItem("PictureLoad")->Click();
    EXPECT_EQ(t.State(), db::TDataSetState::Browse);
    EXPECT_EQ(t.FieldByName("Bild").AsBytes(), before);
}

} // namespace
} // namespace korvel
