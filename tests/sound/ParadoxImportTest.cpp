// Table maintenance of the editor frame: Paradox tables of a library kind read into a library (columns by
// name, name conflicts, cancel), and changing the length of the element-name field.

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

TEST_F(ParadoxImportTest, ColumnsAreMatchedByNameTheNumberIsTheLibrarysAndOtherTablesImportNothing) {
    LibFolders::MakeLibrary(kEmissionLibType, f.Project(), {});
    WriteParadoxTable(f.Project() + "Things.DB", kColumns, {{"Fan", 1L, "", 1.0, ""}}, 1252);
    f.Ui().ExpectMessage(mtError, "Unknown database type", mrOk);
    EXPECT_FALSE(Import("Things.DB"));
    EXPECT_EQ(std::pair(imported, skipped), std::pair(0, 0));
    // A table without the name column and a missing file are refused before anything is written.
    WriteParadoxTable(f.Project() + "Absor.DB", {{"Name", pxfAlpha, 20}}, {{"Fan"}}, 1252);
    EXPECT_THROW(Import("Absor.DB"), EKorvelError);
    EXPECT_THROW(Import("Trans.DB"), EKorvelError);
    EXPECT_TRUE(Names().empty());

    WriteParadoxTable(f.Project() + "Emis.DB", kColumns,
                      {{"Fan", 50L, "loud", 91.5, "x"}, {"Pump", 60L, {}, 80.0, "y"}}, 1252);
    ASSERT_TRUE(Import());
    EXPECT_EQ(std::pair(imported, skipped), std::pair(2, 0));
    const auto rows = FileRows(kEmissionLibType, f.Project());
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(std::tuple(rows[0].at("Eintrag"), rows[1].at("Eintrag"), rows[0].at("ElementName"),
                         rows[0].at("Kommentar"), rows[0].at("SumValue")),
              std::tuple(Int(1), Int(2), Text("Fan"), Text("loud"), Num(91.5)));
    // A new element starts from the kind's defaults; an empty cell keeps them.
    EXPECT_EQ(std::pair(rows[1].at("dBX"), rows[1].at("Kommentar")), std::pair(Text("A"), db::TValue()));
    EXPECT_FALSE(std::holds_alternative<std::monostate>(rows[1].at("Color")));
}

TEST_F(ParadoxImportTest, EachConflictIsAskedUntilSkipAllOverwriteKeepsTheNumberAndCancelStops) {
    LibFolders::MakeLibrary(kEmissionLibType, f.Project(),
                            {{{"ElementName", "Fan"}, {"Kommentar", "before"}},
                             {{"ElementName", "Pump"}},
                             {{"ElementName", "Motor"}}});
    WriteParadoxTable(f.Project() + "Emis.DB", kColumns,
                      {{"Fan", 7L, "after", 1.0, ""},
                       {"Pump", 8L, "copy", 2.0, ""},
                       {"Valve", 9L, "", 3.0, ""},
                       {"Motor", 10L, "", 4.0, ""},
                       {"Horn", 11L, "", 5.0, ""}},
                      1252);
    // Overwrite holds for one element only: the next conflict is asked again.
    f.Ui()
        .ExpectNameConflict("Fan", TneAction::Overwrite)
        .ExpectNameConflict("Pump", TneAction::NewName, "Pump 2")
        .ExpectNameConflict("Motor", TneAction::Cancel);
    ASSERT_TRUE(Import());
    EXPECT_EQ(std::pair(imported, skipped), std::pair(3, 1));
    const auto rows = FileRows(kEmissionLibType, f.Project());
    ASSERT_EQ(rows.size(), 5u);
    EXPECT_EQ(std::pair(rows[0].at("Eintrag"), rows[0].at("Kommentar")), std::pair(Int(1), Text("after")));
    EXPECT_EQ(std::pair(rows[3].at("ElementName"), rows[3].at("Kommentar")),
              std::pair(Text("Pump 2"), Text("copy")));
    EXPECT_EQ(Names(), (std::vector<std::string>{"Fan", "Pump", "Motor", "Pump 2", "Valve"}));

    // After Skip all, later conflicts are skipped without asking; case does not make a name new.
    WriteParadoxTable(f.Project() + "Emis.DB", kColumns,
                      {{"fan", 1L, "", 1.0, ""}, {"Pump", 2L, "", 2.0, ""}, {"Horn", 3L, "", 3.0, ""}}, 1252);
    f.Ui().ExpectNameConflict("fan", TneAction::SkipAll);
    ASSERT_TRUE(Import());
    EXPECT_EQ(std::pair(imported, skipped), std::pair(1, 2));
    EXPECT_EQ(Names().back(), "Horn");
}

TEST_F(ParadoxImportTest, LongNamesAreCutToTheNameFieldBeforeTheLookup) {
    const std::string stored = "Fan " + std::string(36, 'x'); // as long as the name field
    LibFolders::MakeLibrary(kEmissionLibType, f.Project(), {{{"ElementName", stored}}});
    WriteParadoxTable(f.Project() + "Emis.DB", {{"ElementName", pxfAlpha, 60}, {"Eintrag", pxfLong, 4}},
                      {{stored + " left", 1L}, {"Pump", 2L}}, 1252);
    f.Ui().ExpectNameConflict(stored, TneAction::Skip);
    ASSERT_TRUE(Import());
    EXPECT_EQ(std::pair(imported, skipped), std::pair(1, 1));
    ASSERT_FALSE(f.Ui().Shown().empty());
    EXPECT_EQ(f.Ui().Shown().back().Text, stored);
    EXPECT_EQ(Names(), (std::vector<std::string>{stored, "Pump"}));
}

// --- length of the element-name field

TEST(NameFieldLengthTest, BadAnswersLeaveTheFieldAsItWasAndALongerOneTakesLongerNames) {
    LibFolders f;
    LibFolders::MakeLibrary(kAttenuationLibType, f.Project(),
                            {{{"ElementName", "Silencer"}}, {{"ElementName", "Duct bend"}}});
    TFormLibX& editor = OpenSoundEditor(f, kAttenuationLibType, {f.Project()});
    db::TTable& table = *editor.GetMainTable(0);
    // Answers the question, expects the error message when one is given; the field's length after.
    const auto change = [&](std::optional<std::string> answer, const std::string& error = "") {
        f.Ui().ExpectInput("Enter new length of element name field: Length:", answer);
        if (!error.empty())
            f.Ui().ExpectMessage(mtError, error, mrOk);
        editor.MainMenu()->FindItem("Changelengthofelementnamefield1")->Click();
        EXPECT_TRUE(table.Active());
        return table.Defs().FindField("ElementName")->Size;
    };
    // Numbers that are no field length never reach the engine; shorter than "Duct bend", the engine refuses
    // and says why.
    for (const auto& [answer, error] : {std::pair{"forty", "\"forty\" is not a valid integer value"},
                                        {"0", "\"0\" is not a length between 1 and 8000"},
                                        {"8001", "\"8001\" is not a length between 1 and 8000"},
                                        {"4", "Restructure failed. "}})
        EXPECT_EQ(change(answer, error), 40) << answer;
    EXPECT_EQ(change(std::nullopt), 40);
    EXPECT_EQ(FileLayout(kAttenuationLibType, f.Project()).FindField("ElementName")->Size, 40);

    ASSERT_TRUE(editor.GotoElementName(0, "Duct bend"));
    EXPECT_EQ(change(" 80 "), 80);
    EXPECT_EQ(editor.GetElementName(0), "Duct bend");
    const std::string longName(70, 'n');
    table.Edit();
    table.FieldByName("ElementName").SetAsString(longName);
    editor.StoreCurrent();
    f.Host().Destroy(editor);
    EXPECT_EQ(FileLayout(kAttenuationLibType, f.Project()).FindField("ElementName")->Size, 80);
    EXPECT_EQ(Column(kAttenuationLibType, f.Project(), "ElementName"),
              (std::vector<db::TValue>{Text("Silencer"), Text(longName)}));
}

} // namespace
} // namespace korvel::sound
