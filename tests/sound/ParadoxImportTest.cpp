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
#include "support/LibFolders.h"

#include <cstring>
#include <gtest/gtest.h>
// pxlib's header declares C functions without C linkage.
extern "C" {
#include <paradox.h>
}

namespace korvel::sound {
namespace {

using namespace acoustic;
using namespace sound::test;
using korvel::test::LibFolders;

struct TPxField {
    const char* Name;
    char Type;
    int Len;
};
// A cell: text for alpha fields, a number otherwise; empty optional = null.
using TPxCell = std::optional<std::string>;

// Writes a Paradox table with pxlib's own writer.
void WriteParadox(const std::string& path, const std::vector<TPxField>& specs,
                  const std::vector<std::vector<TPxCell>>& rows) {
    pxdoc_t* doc = PX_new();
    ASSERT_NE(doc, nullptr);
    auto* fields = static_cast<pxfield_t*>(doc->malloc(doc, specs.size() * sizeof(pxfield_t), "fields"));
    for (std::size_t i = 0; i < specs.size(); ++i) {
        fields[i].px_fname = PX_strdup(doc, specs[i].Name);
        fields[i].px_ftype = specs[i].Type;
        fields[i].px_flen = specs[i].Len;
        fields[i].px_fdc = 0;
    }
    ASSERT_EQ(PX_create_file(doc, fields, static_cast<int>(specs.size()), path.c_str(), pxfFileTypNonIndexDB),
              0);
    ASSERT_EQ(PX_set_value(doc, "codepage", 1252.0f), 0);
    for (const auto& row : rows) {
        std::vector<pxval_t> values(specs.size());
        std::vector<pxval_t*> pointers(specs.size());
        for (std::size_t i = 0; i < specs.size(); ++i) {
            pxval_t& v = values[i];
            std::memset(&v, 0, sizeof v);
            v.type = specs[i].Type;
            v.isnull = row[i] ? 0 : 1;
            if (row[i] && specs[i].Type == pxfAlpha) {
                v.value.str.val = const_cast<char*>(row[i]->c_str());
                v.value.str.len = static_cast<int>(row[i]->size());
            } else if (row[i] && specs[i].Type == pxfNumber) {
                v.value.dval = std::stod(*row[i]);
            } else if (row[i]) {
                v.value.lval = std::stol(*row[i]);
            }
            pointers[i] = &v;
        }
        ASSERT_GE(PX_insert_record(doc, pointers.data()), 0);
    }
    PX_close(doc);
    PX_delete(doc);
}

const std::vector<TPxField> kColumns = {{"ElementName", pxfAlpha, 40},
                                        {"Eintrag", pxfLong, 4},
                                        {"KOMMENTAR", pxfAlpha, 60},
                                        {"sumvalue", pxfNumber, 8},
                                        {"Unknowncol", pxfAlpha, 10}};

class ParadoxImportTest : public ::testing::Test {
protected:
    // Imports Emis.DB of the project folder into the project's emission library.
    bool Import(int& imported, int& skipped, const std::string& file = "Emis.DB") {
        TMyTable lib(TableNames(kEmissionLibType));
        lib.InitLibX(f.Project(), LibName(kEmissionLibType), TableNames(kEmissionLibType), false, true);
        lib.Open();
        const bool ok = ImportParadox(f.Ui(), "ElementName", lib, f.Project(), file, imported, skipped);
        lib.Close();
        return ok;
    }
    std::vector<std::string> Names() {
        std::vector<std::string> names;
        for (const auto& row : FileRows(kEmissionLibType, f.Project()))
            names.push_back(std::get<std::string>(row.at("ElementName")));
        return names;
    }
    LibFolders f;
};

TEST_F(ParadoxImportTest, ColumnsAreMatchedByNameAndTheNumberIsTheLibrarys) {
    LibFolders::MakeLibrary(kEmissionLibType, f.Project(), {});
    WriteParadox(f.Project() + "Emis.DB", kColumns,
                 {{"Fan", "50", "loud", "91.5", "x"}, {"Pump", "60", std::nullopt, "80", "y"}});
    int imported = -1, skipped = -1;
    ASSERT_TRUE(Import(imported, skipped));
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
    WriteParadox(f.Project() + "Emis.DB", kColumns,
                 {{"fan", "1", "a", "1", ""}, {"Pump", "2", "b", "2", ""}, {"Motor", "3", "c", "3", ""}});
    f.Ui().ExpectNameConflict("fan", TneAction::SkipAll);
    int imported = 0, skipped = 0;
    ASSERT_TRUE(Import(imported, skipped));
    EXPECT_EQ(imported, 1);
    EXPECT_EQ(skipped, 2);
    EXPECT_EQ(Names(), (std::vector<std::string>{"Fan", "Pump", "Motor"}));
}

TEST_F(ParadoxImportTest, OverwriteKeepsTheNumberAndANewNameIsAskedAgain) {
    LibFolders::MakeLibrary(kEmissionLibType, f.Project(),
                            {{{"ElementName", "Fan"}, {"Kommentar", "before"}}, {{"ElementName", "Pump"}}});
    WriteParadox(f.Project() + "Emis.DB", kColumns,
                 {{"Fan", "7", "after", "1", ""}, {"Pump", "8", "copy", "2", ""}});
    // Overwrite holds for one element only: the next conflict is asked again.
    f.Ui()
        .ExpectNameConflict("Fan", TneAction::Overwrite)
        .ExpectNameConflict("Pump", TneAction::NewName, "Pump 2");
    int imported = 0, skipped = 0;
    ASSERT_TRUE(Import(imported, skipped));
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
    WriteParadox(f.Project() + "Emis.DB", kColumns,
                 {{"Motor", "1", "", "1", ""}, {"Fan", "2", "", "2", ""}, {"Valve", "3", "", "3", ""}});
    f.Ui().ExpectNameConflict("Fan", TneAction::Cancel);
    int imported = 0, skipped = 0;
    ASSERT_TRUE(Import(imported, skipped));
    EXPECT_EQ(imported, 1);
    EXPECT_EQ(skipped, 1);
    EXPECT_EQ(Names(), (std::vector<std::string>{"Fan", "Motor"}));
}

TEST_F(ParadoxImportTest, UnknownKindAndUnreadableTablesImportNothing) {
    LibFolders::MakeLibrary(kEmissionLibType, f.Project(), {});
    WriteParadox(f.Project() + "Things.DB", kColumns, {{"Fan", "1", "", "1", ""}});
    f.Ui().ExpectMessage(mtError, "Unknown database type", mrOk);
    int imported = -1, skipped = -1;
    EXPECT_FALSE(Import(imported, skipped, "Things.DB"));
    EXPECT_EQ(imported, 0);
    EXPECT_EQ(skipped, 0);

    // A table without the name column and a missing file are refused before anything is written.
    WriteParadox(f.Project() + "Absor.DB", {{"Name", pxfAlpha, 20}}, {{"Fan"}});
    EXPECT_THROW(Import(imported, skipped, "Absor.DB"), EKorvelError);
    EXPECT_THROW(Import(imported, skipped, "Trans.DB"), EKorvelError);
    EXPECT_TRUE(Names().empty());
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

namespace korvel::sound {
namespace {

TEST_F(ParadoxImportTest, LongNamesAreCutToTheNameFieldBeforeTheLookup) {
    const std::string stored = "Fan " + std::string(36, 'x'); // as long as the name field
    LibFolders::MakeLibrary(kEmissionLibType, f.Project(), {{{"ElementName", stored}}});
    WriteParadox(f.Project() + "Emis.DB", {{"ElementName", pxfAlpha, 60}, {"Eintrag", pxfLong, 4}},
                 {{stored + " left", "1"}, {"Pump", "2"}});
    f.Ui().ExpectNameConflict(stored, TneAction::Skip);
    int imported = 0, skipped = 0;
    ASSERT_TRUE(Import(imported, skipped));
    EXPECT_EQ(imported, 1);
    EXPECT_EQ(skipped, 1);
    ASSERT_FALSE(f.Ui().Shown().empty());
    EXPECT_EQ(f.Ui().Shown().back().Text, stored);
    EXPECT_EQ(Names(), (std::vector<std::string>{stored, "Pump"}));
}

} // namespace
} // namespace korvel::sound
