// Spreadsheet and text-table import into the sound libraries: the cell converters, rows with and without
// bands, weighting, name conflicts, groups and pictures, the import command's filter and summary.

#include "TinyBitmap.h"
#include "platform/acoustic/Weighting.h"
#include "platform/base/LibKinds.h"
#include "service/LibService.h"
#include "sound/FormLibX.h"
#include "support/LibFolders.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace korvel::sound {
namespace {

using namespace acoustic;
namespace fs = std::filesystem;

// Keeps what the import command shows in its log window.
class TRecordingHost : public TLibHost {
public:
    using TLibHost::TLibHost;
    void ShowLog(bool /*modal*/) override {
        ++Shown;
        for (const TLogEntry& e : Log().Entries())
            Lines.push_back(e.Text);
    }
    int Shown = 0;
    std::vector<std::string> Lines;
};

class ExcelImportTest : public ::testing::Test {
protected:
    TFormLibX& Open(int libType, const std::string& folder) {
        auto& editor = dynamic_cast<TFormLibX&>(host.Adopt(CreateLib(host, libType)));
        editor.OpenLibType({folder}, 0, libType, true);
        return editor;
    }
    std::string Sheet(const std::string& name, const std::string& text) {
        const std::string file = f.Root() + name;
        std::ofstream(file, std::ios::binary) << text;
        return file;
    }
    // Runs the import command; the person presses OK in the mapping dialog.
    void Import(TFormLibX& editor, const std::string& file) {
        f.Ui().ExpectModal("Import", [](TForm& form) {
            EXPECT_TRUE(form.PressDefault());
            return mrNone;
        });
        editor.ImportFile(file);
    }
    // The element of that name as the library holds it.
    std::unique_ptr<TCustomLibSpectrum> Element(TFormLibX& editor, const std::string& name) {
        const int tab = editor.GetCurIndex();
        if (!editor.GotoElementName(tab, name))
            return nullptr;
        std::unique_ptr<TCustomLibSpectrum> s = CreateLibSpectrum(editor.LibType());
        s->ReadFromLibrary(*editor.GetMyTable(tab), TAddPropDefList(editor.LibType()));
        return s;
    }
    std::string Field(TFormLibX& editor, const std::string& name, const char* field) {
        editor.GotoElementName(editor.GetCurIndex(), name);
        return editor.GetMainTable(editor.GetCurIndex())->FieldByName(field).AsString();
    }
    test::LibFolders f;
    TRecordingHost host{f.Ui()};
};

TEST_F(ExcelImportTest, ConvertersTurnCellTextsIntoFieldValues) {
    TFormLibX& editor = Open(kEmissionLibType, f.Project());
    TFieldNameItem item;
    item.Caption = "Weighting";
    auto weighting = [&](const std::string& cell) {
        editor.SetWeightingValue(item, cell);
        return item.Value;
    };
    EXPECT_EQ(weighting("dB(C)"), "C");
    EXPECT_EQ(weighting(" db(b) "), "B");
    EXPECT_EQ(weighting("dBD"), "D");
    EXPECT_EQ(weighting("a"), "A");
    EXPECT_EQ(weighting("dB"), " ");
    EXPECT_EQ(weighting("Z"), " ");
    EXPECT_EQ(weighting("dB(Z)"), " ");
    EXPECT_EQ(weighting(""), " ");
    EXPECT_FALSE(host.HasLog() && host.Log().ErrorCount() > 0);
    EXPECT_EQ(weighting("dBX"), "A");
    EXPECT_EQ(weighting("E"), "A");
    ASSERT_EQ(host.Log().ErrorCount(), 2);
    EXPECT_EQ(host.Log().Entries()[0].Text,
              "Line 0, Field \"Weighting\": Value \"dBX\" not valid using default dB(A)");

    item.Caption = "Reference";
    editor.SetReferenceValue(item, "lw");
    EXPECT_EQ(item.Value, "0"); // the first choice beginning with LW
    editor.SetReferenceValue(item, "LW/M");
    EXPECT_EQ(item.Value, "1");
    editor.SetReferenceValue(item, " lp ");
    EXPECT_EQ(item.Value, "2");
    editor.SetReferenceValue(item, "Leq");
    EXPECT_EQ(item.Value, "0");
    EXPECT_EQ(host.Log().Entries().back().Text,
              "Line 0, Field \"Reference\": Value \"Leq\" not valid using default Lw/unit");

    editor.SetEntryTypeValue(item, "formula SPECTRUM");
    EXPECT_EQ(item.Value, "2");
    editor.SetEntryTypeValue(item, "Formula only");
    EXPECT_EQ(item.Value, "3");
    editor.SetEntryTypeValue(item, "Formula");
    EXPECT_EQ(item.Value, "0");

    std::ofstream(f.Root() + "pic.bmp") << "x";
    item.Preset = f.Root();
    editor.SetBitMapFileName(item, "pic.bmp");
    EXPECT_EQ(fs::path(item.Value), fs::path(f.Root() + "pic.bmp"));
    editor.SetBitMapFileName(item, "missing.bmp");
    EXPECT_EQ(item.Value, "");
    editor.SetBitMapFileName(item, "");
    EXPECT_EQ(item.Value, ""); // the folder alone is no picture
}

TEST_F(ExcelImportTest, RowsBecomeOctaveThirdOctaveOrSingleValueElementsWithWeightingUndone) {
    TFormLibX& editor = Open(kEmissionLibType, f.Project());
    const std::string file =
        Sheet("levels.csv", "Element name;31.5Hz;63Hz;100Hz;125Hz;Weighting;Reference;Group(1);Comment\n"
                            "Octave;80;75;;70,5;dB(A);lp;Pumps;first\n"
                            "Third;;60;62;;dB;;Pumps;\n"
                            "Single;;;;90;C;;;\n"
                            "NoBands;;;;;dB(A);;Fans;lost\n"
                            ";50;;;;;;;no name\n"
                            "Odd;;;;55;dBX;;;\n");
    Import(editor, file);

    ASSERT_EQ(host.Shown, 1);
    EXPECT_EQ(host.Lines, (std::vector<std::string>{
                              "Line 6, Field \"Weighting\": Value \"dBX\" not valid using default dB(A)",
                              "4 elements imported"}));
    EXPECT_EQ(editor.GetMainTable(0)->RecordCount(), 4);
    EXPECT_EQ(Element(editor, "NoBands"), nullptr);

    auto octave = Element(editor, "Octave");
    ASSERT_TRUE(octave);
    auto* e = dynamic_cast<TEmisLibSpectrum*>(octave.get());
    EXPECT_EQ(e->SpecType(), TSpecType::Octave);
    EXPECT_EQ(e->Bmin(), 15);
    EXPECT_EQ(e->Bmax(), 21);
    EXPECT_EQ(e->dBX(), 'A');
    EXPECT_EQ(e->EmisRef, TEmisRef::SoundPressure);
    // Stored unweighted (as 32-bit numbers): the weighted view gives the cells back.
    EXPECT_NEAR(e->GetdBXValue(15), 80.0, 1e-4);
    EXPECT_NEAR(e->GetdBXValue(21), 70.5, 1e-4);
    EXPECT_NEAR(e->GetValue(15), 80.0 - WeightingOffset('A', 15), 1e-4);
    EXPECT_TRUE(IsEmptyBandLevel(e->GetValue(20)));
    EXPECT_EQ(Field(editor, "Octave", "Kommentar"), "first");

    auto third = Element(editor, "Third");
    ASSERT_TRUE(third);
    EXPECT_EQ(third->SpecType(), TSpecType::ThirdOctave);
    EXPECT_EQ(third->Bmin(), 18);
    EXPECT_EQ(third->Bmax(), 20);
    EXPECT_EQ(dynamic_cast<TEmisLibSpectrum&>(*third).dBX(), ' ');
    EXPECT_EQ(third->GetValue(20), 62.0);
    // One group made by the first row, reused by the second.
    EXPECT_NE(octave->Groups[0], 0);
    EXPECT_EQ(third->Groups[0], octave->Groups[0]);
    EXPECT_EQ(editor.ReadGrTableToStringList(0), (std::vector<std::string>{"Fans", "Pumps"}));

    auto single = Element(editor, "Single");
    ASSERT_TRUE(single);
    EXPECT_EQ(single->SpecType(), TSpecType::SingleValue);
    EXPECT_EQ(single->SingleValue(), 90.0);
    EXPECT_EQ(dynamic_cast<TEmisLibSpectrum&>(*single).dBX(), 'C');
    EXPECT_EQ(dynamic_cast<TEmisLibSpectrum&>(*Element(editor, "Odd")).dBX(), 'A');
    EXPECT_FALSE(host.HasLog()); // released after the command
}

TEST_F(ExcelImportTest, OneBandOfAKindWithoutSingleValuesIsAOneBandSpectrum) {
    TFormLibX& editor = Open(kAbsorptionLibType, f.Project());
    Import(editor, Sheet("alpha.csv", "Element name;500Hz\nPanel;0,35\n"));
    auto panel = Element(editor, "Panel");
    ASSERT_TRUE(panel);
    EXPECT_EQ(panel->SpecType(), TSpecType::ThirdOctave);
    EXPECT_EQ(panel->Bmin(), 27);
    EXPECT_EQ(panel->Bmax(), 27);
    EXPECT_NEAR(panel->GetValue(27), 0.35, 1e-6);
    EXPECT_EQ(editor.CBSpecType().ItemIndex(), static_cast<int>(TSpecType::ThirdOctave));
}

TEST_F(ExcelImportTest, NameConflictsFollowTheAnswerAndSkipsCountAsDuplicates) {
    test::LibFolders::MakeLibrary(
        kAbsorptionLibType, f.Project(),
        {{{"ElementName", "Wall"}}, {{"ElementName", "Floor"}}, {{"ElementName", "Roof"}}});
    TFormLibX& editor = Open(kAbsorptionLibType, f.Project());
    const std::string file = Sheet("abso.txt", "Element name\t500Hz\t1kHz\n"
                                               "Wall\t0.5\t0.6\n"
                                               "Floor\t0.1\t0.2\n"
                                               "Ceiling\t0.3\t0.3\n"
                                               "Roof\t0.9\t0.9\n");
    f.Ui().ExpectModal("Import", [this](TForm& form) {
        f.Ui().ExpectNameConflict("Wall", TneAction::Overwrite);
        f.Ui().ExpectNameConflict("Floor", TneAction::SkipAll); // Roof is skipped without asking
        EXPECT_TRUE(form.PressDefault());
        return mrNone;
    });
    editor.ImportFile(file);
    EXPECT_EQ(host.Lines.back(), "2 elements imported, 2 element names are duplicate");
    EXPECT_EQ(editor.GetMainTable(0)->RecordCount(), 4);
    EXPECT_NEAR(Element(editor, "Wall")->GetValue(27), 0.5, 1e-6);
    EXPECT_NEAR(Element(editor, "Ceiling")->GetValue(30), 0.3, 1e-6);
    EXPECT_TRUE(IsEmptyBandLevel(Element(editor, "Roof")->GetValue(27)));
    EXPECT_TRUE(IsEmptyBandLevel(Element(editor, "Floor")->GetValue(27)));
}

TEST_F(ExcelImportTest, TransmissionRatingsAndPicturesComeFromTheirColumns) {
    TFormLibX& editor = Open(kTransmissionLibType, f.Project());
    test::WriteTinyBitmap(f.Root() + "door.bmp", 3, 2, 200);
    const std::string file = Sheet("trans.csv", "Element name,500Hz,1kHz,C,Ctr,Bitmap file name\n"
                                                "Door,30,35,-1.5,-4,door.bmp\n"
                                                "Window,25,28,-1,-3,nothere.bmp\n");
    Import(editor, file);
    EXPECT_EQ(host.Lines.back(), "2 elements imported");
    auto door = Element(editor, "Door");
    ASSERT_TRUE(door);
    EXPECT_EQ(dynamic_cast<TTransLibSpectrum&>(*door).C, -1.5);
    EXPECT_EQ(dynamic_cast<TTransLibSpectrum&>(*door).Ctr, -4.0);
    EXPECT_FALSE(editor.GetMainTable(0)->FieldByName("Graphic").IsNull());
    ASSERT_TRUE(Element(editor, "Window"));
    EXPECT_TRUE(editor.GetMainTable(0)->FieldByName("Graphic").IsNull());
}

TEST_F(ExcelImportTest, CancelledDialogImportsNothingAndShowsNoSummary) {
    TFormLibX& editor = Open(kAttenuationLibType, f.Project());
    const std::string file = Sheet("atten.csv", "Element name;1kHz\nMuffler;12\n");
    f.Ui().ExpectModal("Import", mrCancel);
    editor.ImportFile(file);
    EXPECT_EQ(host.Shown, 0);
    EXPECT_TRUE(editor.GetMainTable(0)->IsEmpty());
}

TEST_F(ExcelImportTest, ImportFilterListsTheKindsFiles) {
    TFormLibX& emission = Open(kEmissionLibType, f.Project());
    EXPECT_EQ(emission.GetImportFilter(),
              "All import files (V7.3; *.CF?; *.xls?; *.txt)|Emis.abs; *.CF?; *.xls?; *.txt"
              "|Emission library V7.3|Emis.abs"
              "|Common Loudspeaker Format (*.CF?)|*.CF?|Common Loudspeaker Format (*.CF1)|*.CF1"
              "|Common Loudspeaker Format (*.CF2)|*.CF2"
              "|Emission library V6.4|Emis.dB|Emission library V4|*lib.002"
              "|Excel files (*.xls; *.xlsx)|*.xls*|ASCII files (*.txt)|*.txt|All files (*.*)|*.*");
    TFormLibX& transmission = Open(kTransmissionLibType, f.Project2());
    const std::string filter = transmission.GetImportFilter();
    EXPECT_EQ(filter.substr(0, filter.find("|Excel")),
              "All import files (V7.3; *.xls?; *.txt)|Trans.abs; *.xls?; *.txt"
              "|Transmission library V7.3|Trans.abs|Transmission library V6.4|Trans.dB"
              "|Transmission library V4|*lib.003");
    EXPECT_NO_THROW(ParseFileFilter(filter));
    // Absorption tables were also saved under an older file name.
    TFormLibX& absorption = Open(kAbsorptionLibType, f.Global());
    const std::string abso = absorption.GetImportFilter();
    EXPECT_EQ(abso.substr(0, abso.find("|Excel")),
              "All import files (V7.3; *.xls?; *.txt)|Absor.abs; Abso.abs; *.xls?; *.txt"
              "|Absorption library V7.3|Absor.abs; Abso.abs|Absorption library V6.4|Abso.dB"
              "|Absorption library V4|*lib.001");
    EXPECT_NO_THROW(ParseFileFilter(abso));
}

TEST_F(ExcelImportTest, LongNamesAndGroupsAreCutToTheirFieldsBeforeTheLookup) {
    const std::string stored = "Lüfter " + std::string(33, 'x'); // 40 characters, 41 bytes
    test::LibFolders::MakeLibrary(kAbsorptionLibType, f.Project(), {{{"ElementName", stored}}});
    TFormLibX& editor = Open(kAbsorptionLibType, f.Project());
    // 45 characters; the 40th is two bytes long, so a cut by bytes would split it.
    const std::string group = std::string(39, 'g') + "ü-tail";
    const std::string file =
        Sheet("long.csv", "Element name;500Hz;1kHz;Group(1)\n" + stored + " one;0.5;0.5;" + group + "\n" +
                              stored + " two;0.6;0.6;" + group + "\nOther;0.7;0.7;" + group + "\n");
    f.Ui().ExpectModal("Import", [this, &stored](TForm& form) {
        f.Ui()
            .ExpectNameConflict(stored, TneAction::Overwrite)
            .ExpectNameConflict(stored, TneAction::SkipAll);
        EXPECT_TRUE(form.PressDefault());
        return mrNone;
    });
    editor.ImportFile(file);
    EXPECT_EQ(host.Lines.back(), "2 elements imported, 1 element names are duplicate");
    std::vector<std::string> asked;
    for (const TShownDialog& d : f.Ui().Shown())
        if (d.Kind == TDialogKind::NameConflict)
            asked.push_back(d.Text);
    EXPECT_EQ(asked, (std::vector<std::string>{stored, stored}));
    EXPECT_EQ(editor.GetMainTable(0)->RecordCount(), 2);
    EXPECT_NEAR(Element(editor, stored)->GetValue(27), 0.5, 1e-6);

    const std::string groupStored = std::string(39, 'g') + "ü";
    EXPECT_EQ(editor.ReadGrTableToStringList(0), std::vector<std::string>{groupStored});
    const int number = editor.GetGroupNo(0, groupStored);
    EXPECT_NE(number, 0);
    EXPECT_EQ(Element(editor, stored)->Groups[0], number);
    EXPECT_EQ(Element(editor, "Other")->Groups[0], number);
}

} // namespace
} // namespace korvel::sound
