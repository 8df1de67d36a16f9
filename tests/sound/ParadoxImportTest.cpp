// Table maintenance of the editor frame: Paradox tables of a library kind read
// into a library (columns by name, name conflicts, cancel), and changing the
// length of the element-name field.

#include "editor/ParadoxImport.h"

#include "platform/Errors.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/ui/Menus.h"
#include "service/LibService.h"
#include "sound/FormLibX.h"
#include "sound/SoundEditors.h"
#include "sound/UpdateFixtures.h"
#include "support/LegacyFiles.h"
#include "support/LibFolders.h"

#include <gtest/gtest.h>

namespace korvel::sound {
namespace {

using namespace acoustic;
using namespace sound::test;
using korvel::test::LibFolders;

using korvel::test::TPxField;
using korvel::test::WriteParadoxTable;

const std::vector<TPxField> kColumns = {{"ElementName", pxfAlpha, 40},
                                        {"Eintrag", pxfLong, 4},
                                        {"KOMMENTAR", pxfAlpha, 60},
                                        {"sumvalue", pxfNumber, 8},
                                        {"Unknowncol", pxfAlpha, 10}};

class ParadoxImportTest : public ::testing::Test {
protected:
    // Imports Emis.DB of the project folder into the project's emission library.
    bool Import(const std::string& file = "Emis.DB") {
        TMyTable lib(TableNames(kEmissionLibType));
        lib.InitLibX(f.Project(), LibName(kEmissionLibType), TableNames(kEmissionLibType), false, true);
        lib.Open();
        return ImportParadox(f.Ui(), "ElementName", lib, f.Project(), file, imported, skipped);
    }
    std::vector<std::string> Names() {
        std::vector<std::string> names;
        for (const auto& row : FileRows(kEmissionLibType, f.Project()))
            names.push_back(std::get<std::string>(row.at("ElementName")));
        return names;
    }
    LibFolders f;
    int imported = -1, skipped = -1;
};

TEST_F(ParadoxImportTest, ColumnsAreMatchedByNameAndTheNumberIsTheLibrarys) {
    LibFolders::MakeLibrary(kEmissionLibType, f.Project(), {});
    WriteParadoxTable(f.Project() + "Emis.DB", kColumns,
                      {{"Fan", 50L, "loud", 91.5, "x"}, {"Pump", 60L, {}, 80.0, "y"}}, 1252);
    ASSERT_TRUE(Import());
    EXPECT_EQ(imported, 2);
    EXPECT_EQ(skipped, 0);
    const auto rows = FileRows(kEmissionLibType, f.Project());
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].at("Eintrag"), Int(1));
    EXPECT_EQ(rows[1].at("Eintrag"), Int(2));
    EXPECT_EQ(rows[0].at("ElementName"), Text("Fan"));
    EXPECT_EQ(rows[0].at("Kommentar"), Text("loud"));
    EXPECT_EQ(rows[0].at("SumValue"), Num(91.5));
    // A new element starts from the kind's defaults; an empty cell keeps them.
    EXPECT_EQ(rows[1].at("dBX"), Text("A"));
    EXPECT_FALSE(std::holds_alternative<std::monostate>(rows[1].at("Color")));
    EXPECT_EQ(rows[1].at("Kommentar"), db::TValue());
}

TEST_F(ParadoxImportTest, SkipAllSkipsLaterConflictsWithoutAsking) {
    LibFolders::MakeLibrary(kEmissionLibType, f.Project(),
                            {{{"ElementName", "Fan"}}, {{"ElementName", "Pump"}}});
    WriteParadoxTable(f.Project() + "Emis.DB", kColumns,
                      {{"fan", 1L, "a", 1.0, ""}, {"Pump", 2L, "b", 2.0, ""}, {"Motor", 3L, "c", 3.0, ""}},
                      1252);
    f.Ui().ExpectNameConflict("fan", TneAction::SkipAll);
    ASSERT_TRUE(Import());
    EXPECT_EQ(imported, 1);
    EXPECT_EQ(skipped, 2);
    EXPECT_EQ(Names(), (std::vector<std::string>{"Fan", "Pump", "Motor"}));
}

TEST_F(ParadoxImportTest, OverwriteKeepsTheNumberAndANewNameIsAskedAgain) {
    LibFolders::MakeLibrary(kEmissionLibType, f.Project(),
                            {{{"ElementName", "Fan"}, {"Kommentar", "before"}}, {{"ElementName", "Pump"}}});
    WriteParadoxTable(f.Project() + "Emis.DB", kColumns,
                      {{"Fan", 7L, "after", 1.0, ""}, {"Pump", 8L, "copy", 2.0, ""}}, 1252);
    // Overwrite holds for one element only: the next conflict is asked again.
    f.Ui()
        .ExpectNameConflict("Fan", TneAction::Overwrite)
        .ExpectNameConflict("Pump", TneAction::NewName, "Pump 2");
    ASSERT_TRUE(Import());
    EXPECT_EQ(imported, 2);
    EXPECT_EQ(skipped, 0);
    const auto rows = FileRows(kEmissionLibType, f.Project());
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0].at("Eintrag"), Int(1));
    EXPECT_EQ(rows[0].at("Kommentar"), Text("after"));
    EXPECT_EQ(rows[2].at("ElementName"), Text("Pump 2"));
    EXPECT_EQ(rows[2].at("Kommentar"), Text("copy"));
}

TEST_F(ParadoxImportTest, CancelStopsAndKeepsTheRowsBefore) {
    LibFolders::MakeLibrary(kEmissionLibType, f.Project(), {{{"ElementName", "Fan"}}});
    WriteParadoxTable(f.Project() + "Emis.DB", kColumns,
                      {{"Motor", 1L, "", 1.0, ""}, {"Fan", 2L, "", 2.0, ""}, {"Valve", 3L, "", 3.0, ""}},
                      1252);
    f.Ui().ExpectNameConflict("Fan", TneAction::Cancel);
    ASSERT_TRUE(Import());
    EXPECT_EQ(imported, 1);
    EXPECT_EQ(skipped, 1);
    EXPECT_EQ(Names(), (std::vector<std::string>{"Fan", "Motor"}));
}

TEST_F(ParadoxImportTest, UnknownKindAndUnreadableTablesImportNothing) {
    LibFolders::MakeLibrary(kEmissionLibType, f.Project(), {});
    WriteParadoxTable(f.Project() + "Things.DB", kColumns, {{"Fan", 1L, "", 1.0, ""}}, 1252);
    f.Ui().ExpectMessage(mtError, "Unknown database type", mrOk);
    EXPECT_FALSE(Import("Things.DB"));
    EXPECT_EQ(imported, 0);
    EXPECT_EQ(skipped, 0);

    // A table without the name column and a missing file are refused before
    // anything is written.
    WriteParadoxTable(f.Project() + "Absor.DB", {{"Name", pxfAlpha, 20}}, {{"Fan"}}, 1252);
    EXPECT_THROW(Import("Absor.DB"), EKorvelError);
    EXPECT_THROW(Import("Trans.DB"), EKorvelError);
    EXPECT_TRUE(Names().empty());
}

TEST_F(ParadoxImportTest, LongNamesAreCutToTheNameFieldBeforeTheLookup) {
    const std::string stored = "Fan " + std::string(36, 'x'); // as long as the name field
    LibFolders::MakeLibrary(kEmissionLibType, f.Project(), {{{"ElementName", stored}}});
    WriteParadoxTable(f.Project() + "Emis.DB", {{"ElementName", pxfAlpha, 60}, {"Eintrag", pxfLong, 4}},
                      {{stored + " left", 1L}, {"Pump", 2L}}, 1252);
    f.Ui().ExpectNameConflict(stored, TneAction::Skip);
    ASSERT_TRUE(Import());
    EXPECT_EQ(imported, 1);
    EXPECT_EQ(skipped, 1);
    ASSERT_FALSE(f.Ui().Shown().empty());
    EXPECT_EQ(f.Ui().Shown().back().Text, stored);
    EXPECT_EQ(Names(), (std::vector<std::string>{stored, "Pump"}));
}

// --- length of the element-name field

class NameFieldLengthTest : public ::testing::Test {
protected:
    TFormLibX& Open() {
        LibFolders::MakeLibrary(kAttenuationLibType, f.Project(),
                                {{{"ElementName", "Silencer"}}, {{"ElementName", "Duct bend"}}});
        return OpenSoundEditor(f, kAttenuationLibType, {f.Project()});
    }
    void Change(TFormLibX& editor) {
        editor.MainMenu()->FindItem("Changelengthofelementnamefield1")->Click();
    }
    int NameSize() { return FileLayout(kAttenuationLibType, f.Project()).FindField("ElementName")->Size; }
    static constexpr const char* kAsk = "Enter new length of element name field: Length:";
    LibFolders f;
};

TEST_F(NameFieldLengthTest, LongerFieldKeepsTheElementsAndTakesLongerNames) {
    TFormLibX& editor = Open();
    ASSERT_TRUE(editor.GotoElementName(0, "Duct bend"));
    f.Ui().ExpectInput(kAsk, " 80 ");
    Change(editor);
    db::TTable& table = *editor.GetMainTable(0);
    ASSERT_TRUE(table.Active());
    EXPECT_EQ(table.Defs().FindField("ElementName")->Size, 80);
    EXPECT_EQ(editor.GetElementName(0), "Duct bend");
    const std::string longName(70, 'n');
    table.Edit();
    table.FieldByName("ElementName").SetAsString(longName);
    editor.StoreCurrent();
    f.Host().Destroy(editor);
    EXPECT_EQ(NameSize(), 80);
    const auto rows = FileRows(kAttenuationLibType, f.Project());
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].at("ElementName"), Text("Silencer"));
    EXPECT_EQ(rows[1].at("ElementName"), Text(longName));
}

TEST_F(NameFieldLengthTest, BadAnswersLeaveTheTableAsItWasAndOpen) {
    TFormLibX& editor = Open();
    f.Ui().ExpectInput(kAsk, "forty").ExpectMessage(mtError, "\"forty\" is not a valid integer value", mrOk);
    Change(editor);
    EXPECT_TRUE(editor.GetMainTable(0)->Active());
    // Numbers that are no field length never reach the engine.
    for (const char* length : {"0", "-5", "8001"}) {
        f.Ui()
            .ExpectInput(kAsk, length)
            .ExpectMessage(mtError, "\"" + std::string(length) + "\" is not a length between 1 and 8000",
                           mrOk);
        Change(editor);
        EXPECT_TRUE(editor.GetMainTable(0)->Active()) << length;
        EXPECT_EQ(editor.GetMainTable(0)->Defs().FindField("ElementName")->Size, 40) << length;
    }
    // Shorter than "Duct bend": the engine refuses and says why.
    f.Ui().ExpectInput(kAsk, "4").ExpectMessage(mtError, "Restructure failed. ", mrOk);
    Change(editor);
    EXPECT_TRUE(editor.GetMainTable(0)->Active());
    f.Ui().ExpectInput(kAsk, std::nullopt);
    Change(editor);
    EXPECT_TRUE(editor.GetMainTable(0)->Active());
    EXPECT_EQ(editor.GetMainTable(0)->RecordCount(), 2);
    f.Host().Destroy(editor);
    EXPECT_EQ(NameSize(), 40);
}

} // namespace
} // namespace korvel::sound
