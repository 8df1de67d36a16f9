#include "platform/base/LibKinds.h"

#include <gtest/gtest.h>
#include <set>

namespace korvel::test {

TEST(LibKinds, EveryKindHasItsOwnFileTablesAndSettingsKey) {
    const auto& kinds = AllLibKinds();
    ASSERT_EQ(kinds.size(), 53u);
    std::set<std::string> files, keys;
    int previous = -1;
    for (const auto& k : kinds) {
        EXPECT_GT(k.Type, previous) << "kinds are listed in ascending type order";
        previous = k.Type;
        EXPECT_TRUE(files.insert(k.FileName).second) << k.FileName;
        EXPECT_TRUE(keys.insert(k.RegName).second) << k.RegName;
        EXPECT_FALSE(k.Tables.empty()) << k.Type;
        EXPECT_EQ(FindLibKind(k.Type), &k);
        EXPECT_EQ(GetLibType(std::string("/some/folder/") + k.FileName), k.Type) << k.FileName;
    }
    EXPECT_EQ(FindLibKind(27), nullptr);
    EXPECT_EQ(LibName(4711), "");
    EXPECT_TRUE(TableNames(4711).empty());
}

TEST(LibKinds, CurrentFilesNeverUseTheNamesThatConversionDeletes) {
    // Conversion removes these older files (and the filter files named after them) from a folder.
    for (const char* old :
         {"Riwi.abs", "Emis.abs", "EmisGrp.abs", "Trans.abs", "TransGrp.abs", "Atten.abs", "AttenGrp.abs",
          "Absor.abs", "AbsorGrp.abs", "Assess.abs", "ZBDef.abs", "Gebiete.abs"}) {
        for (const auto& k : AllLibKinds()) {
            EXPECT_NE(std::string(k.FileName), old) << k.Type;
        }
    }
    // The names the suite fixes for some kinds.
    EXPECT_EQ(LibName(5), "Time.abs");
    EXPECT_EQ(LibName(9), "Stoffe.abs");
    EXPECT_EQ(LibName(10), "NMPBMet.abs");
    EXPECT_EQ(LibName(26), "TNMVeh.abs");
    EXPECT_EQ(LibName(100), "VehCatS03_2012.abs");
}

TEST(LibKinds, OlderGenerationFilesStillTellTheirKind) {
    EXPECT_EQ(GetLibType("Emis.DB"), 120);
    EXPECT_EQ(GetLibType("c:\\old\\ABSOR.abs"), 121);
    EXPECT_EQ(GetLibType("Abso.dB"), 121);
    EXPECT_EQ(GetLibType("Trans.abs"), 122);
    EXPECT_EQ(GetLibType("atten.db"), 123);
    EXPECT_EQ(GetLibType("Riwi3D.abs"), 119);
    EXPECT_EQ(GetLibType("Time.dB"), 5);
    EXPECT_EQ(GetLibType("Assess.abs"), 135);
    EXPECT_EQ(GetLibType("Unknown.DB"), -1);
    EXPECT_EQ(GetLibType(""), -1);
}

TEST(LibKinds, SharedEditorsAndSpecialNameFields) {
    for (int t : {120, 121, 122, 123}) {
        EXPECT_STREQ(FindLibKind(t)->EditorClass, "TFormLibX");
        EXPECT_EQ(TableNames(t).size(), 2u) << "main table and group table";
    }
    for (int t : {16, 125, 143}) {
        EXPECT_STREQ(FindLibKind(t)->EditorClass, "TFormTrafficTableNew");
    }
    EXPECT_EQ(NameFieldName(120), "ElementName");
    EXPECT_EQ(NameFieldName(9), "Short");
    EXPECT_EQ(NameFieldName(106), "ACFT_ID");
    EXPECT_EQ(NameFieldName(21), "TrainName");
    EXPECT_EQ(NameFieldName(20), "Name");
    EXPECT_EQ(TableNames(135), (std::vector<std::string>{"Assess", "ZBDef", "Gebiete"}));
    EXPECT_EQ(TableNames(128).size(), 7u);
    EXPECT_STREQ(FindLibKind(120)->PrintTitle, "Korvel Emission Library");
    EXPECT_STREQ(FindLibKind(126)->PrintTitle, "");
    EXPECT_STREQ(FindLibKind(119)->KindName, "2D-Directivity library");
}

} // namespace korvel::test
