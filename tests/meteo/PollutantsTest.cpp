// The pollutants editor: bound controls, the size-class list, older tables and copying.

#include "meteo/FormPollutants.h"
#include "meteo/PollutantsSchema.h"
#include "platform/Errors.h"
#include "platform/db/Sqlite.h"
#include "service/LibService.h"
#include "support/LibFolders.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace korvel::meteo {
namespace {

using test::LibFolders;

// A library from before "NOx", "Perc" and "FromDayMean" existed.
void MakeOlderLibrary(const std::string& folder, const std::vector<std::string>& names) {
    TMyTable lib(TableNames(kPollutantsLibType));
    lib.InitLibX(folder, LibName(kPollutantsLibType), TableNames(kPollutantsLibType), false, true);
    db::TTableDef& def = lib.GetTable()->Defs();
    AddElementFields(def, "Short", 40);
    def.AddField("StoffName", db::TFieldType::String, 40)
        .AddField("Limit_Mean", db::TFieldType::Float)
        .AddField("Limit_Perc", db::TFieldType::Float)
        .AddField("Kornfraktion", db::TFieldType::Integer)
        .AddField("Sedimentation", db::TFieldType::Float)
        .AddField("Deposition", db::TFieldType::Float);
    lib.CreateDBTable();
    lib.Open();
    for (const std::string& name : names) {
        lib.GetTable()->Append();
        lib.GetTable()->FieldByName("Short").SetAsString(name);
        lib.GetTable()->Post();
    }
    lib.Close();
}

class PollutantsTest : public ::testing::Test {
protected:
    TFormPollutants& Open(const std::vector<std::string>& folders) {
        auto& editor = static_cast<TFormPollutants&>(f.Host().Adopt(CreateLib(f.Host(), kPollutantsLibType)));
        editor.OpenFiles(folders, static_cast<int>(folders.size()) - 1, false, true);
        return editor;
    }
    LibFolders f;
};

TEST_F(PollutantsTest, ControlsAndTheElementViewShowAndWriteTheirFields) {
    LibFolders::MakeLibrary(kPollutantsLibType, f.Project(),
                            {{{"Short", "PM10"},
                              {"StoffName", "Particles"},
                              {"Kornfraktion", "2"},
                              {"Perc", "90.4"},
                              {"LastChangeDateTime", "2001-02-03 04:05:06"}}});
    TFormPollutants& editor = Open({f.Project()});
    EXPECT_EQ(editor.DBList().Columns()[1].Title, "Short name");
    EXPECT_EQ(editor.DBList().CellText(0, 2), "Particles");
    EXPECT_EQ(editor.Find<TEdit>("EditPerc").Text(), "90.4");
    EXPECT_EQ(editor.Find<TComboBox>("CBKornfraktion").Text(), "2 (2.5-10 µm)");
    EXPECT_EQ(editor.ElementView()["ParticleSizeClass"], "2 (2.5-10 µm)");

    editor.Find<TComboBox>("CBKornfraktion").SetItemIndex(1);
    editor.Find<TEdit>("EditLimitMean").SetText("40");
    db::TTable& t = *editor.GetMainTable(0);
    EXPECT_EQ(t.State(), db::TDataSetState::Edit);
    editor.StoreCurrent();
    EXPECT_EQ(t.FieldByName("Kornfraktion").AsInteger(), 1);
    EXPECT_DOUBLE_EQ(t.FieldByName("Limit_Mean").AsFloat(), 40.0);
    EXPECT_GT(t.FieldByName("LastChangeDateTime").AsDateTime(), db::EncodeDateTime(2020, 1, 1)); // stamped

    // A refused value keeps the record in edit state.
    editor.Find<TEdit>("EditPerc").SetText("140");
    EXPECT_THROW(editor.StoreCurrent(), EKorvelError);
    EXPECT_EQ(t.State(), db::TDataSetState::Edit);
    t.Cancel();
    EXPECT_EQ(editor.Find<TEdit>("EditPerc").Text(), "90.4");

    // A wrong value in the element's view undoes the members applied before it.
    t.Edit();
    EXPECT_THROW(editor.ApplyElementView({{"Kornfraktion", 3}, {"Limit_Mean", "high"}}), EKorvelError);
    EXPECT_EQ(t.FieldByName("Kornfraktion").AsInteger(), 1);
    EXPECT_DOUBLE_EQ(t.FieldByName("Limit_Mean").AsFloat(), 40.0);
    t.Cancel();
}

TEST_F(PollutantsTest, OlderTablesGainFromDayMeanAndReadDefaults) {
    MakeOlderLibrary(f.Project(), {"NO", "SO2"});
    {
        // An element with a size class no editor would store must not stop the update.
        TMyTable lib(TableNames(kPollutantsLibType));
        lib.InitLibX(f.Project(), LibName(kPollutantsLibType), TableNames(kPollutantsLibType), false, true);
        lib.Open();
        lib.Database().Connection().Exec("UPDATE " + db::QuoteIdent(TableNames(kPollutantsLibType)[0]) +
                                         " SET Kornfraktion = 7 WHERE Short = 'SO2'");
    }
    TFormPollutants& editor = Open({f.Project()});
    db::TTable& t = *editor.GetMainTable(0);
    ASSERT_NE(t.FindField("FromDayMean"), nullptr);
    for (t.First(); !t.Eof(); t.Next())
        EXPECT_FALSE(t.FieldByName("FromDayMean").IsNull());
    EXPECT_EQ(t.FindField("NOx"), nullptr);

    ASSERT_TRUE(editor.GotoElementNo(0, 1));
    EXPECT_TRUE(editor.Data().NOx);
    EXPECT_TRUE(editor.Find<TCheckBox>("CBNOx").Checked());
    EXPECT_FALSE(editor.Find<TCheckBox>("CBNOx").Enabled()); // there is no field to store it in
    EXPECT_EQ(editor.Find<TEdit>("EditPerc").Text(), "98");
    ASSERT_TRUE(editor.GotoElementNo(0, 2));
    EXPECT_FALSE(editor.Find<TCheckBox>("CBNOx").Checked());

    // The view of an element applies to the older table too; values without a field are left out.
    ASSERT_TRUE(editor.GotoElementNo(0, 1));
    nlohmann::json view = editor.ElementView();
    view["StoffName"] = "Nitrogen monoxide";
    t.Edit();
    editor.ApplyElementView(view);
    editor.StoreCurrent();
    EXPECT_EQ(t.FieldByName("StoffName").AsString(), "Nitrogen monoxide");
}

TEST_F(PollutantsTest, CopiesCarryTheOlderTablesMeaningAndTheChangeTime) {
    MakeOlderLibrary(f.Global(), {"NO"});
    TFormPollutants& editor = Open({f.Global(), f.Project()});
    ASSERT_EQ(editor.TabCount(), 2);
    editor.TabLibs().SetTabIndex(0);
    const std::string stamp = editor.GetMainTable(0)->FieldByName("LastChangeDateTime").AsString();
    editor.CopyElement(editor, 1);
    db::TTable& t = *editor.GetMainTable(1);
    ASSERT_EQ(t.RecordCount(), 1);
    EXPECT_EQ(t.FieldByName("Short").AsString(), "NO");
    EXPECT_TRUE(t.FieldByName("NOx").AsBoolean());
    EXPECT_DOUBLE_EQ(t.FieldByName("Perc").AsFloat(), 98.0);
    EXPECT_EQ(t.FieldByName("LastChangeDateTime").AsString(), stamp);
}

} // namespace
} // namespace korvel::meteo
