#include "platform/base/LibKinds.h"

#include <gtest/gtest.h>
#include <set>

namespace korvel::test {

TEST(LibKinds, EveryKindIsFoundByTypeAndFileNameAndHasTables) {
    const auto& kinds = AllLibKinds();
    ASSERT_EQ(kinds.size(), 53u);
    std::set<std::string> files;
    for (const auto& k : kinds) {
        files.insert(k.FileName);
        EXPECT_FALSE(k.Tables.empty()) << k.Type;
        EXPECT_EQ(FindLibKind(k.Type), &k);
        EXPECT_EQ(GetLibType(std::string("/some/folder/") + k.FileName), k.Type) << k.FileName;
    }
    EXPECT_EQ(FindLibKind(27), nullptr);
    EXPECT_EQ(LibName(4711), "");
    EXPECT_TRUE(TableNames(4711).empty());
    EXPECT_EQ(LibName(100), "VehCatS03_2012.abs");
    // Conversion deletes these older files (and the filter files named after them) from a folder.
    for (const char* old :
         {"Riwi.abs", "Emis.abs", "EmisGrp.abs", "Trans.abs", "TransGrp.abs", "Atten.abs", "AttenGrp.abs",
          "Absor.abs", "AbsorGrp.abs", "Assess.abs", "ZBDef.abs", "Gebiete.abs"})
        EXPECT_EQ(files.count(old), 0u) << old;
}

TEST(LibKinds, OlderGenerationFilesStillTellTheirKind) {
    for (auto [file, type] : {std::pair{"Emis.DB", 120},
                              {"c:\\old\\ABSOR.abs", 121},
                              {"Abso.dB", 121},
                              {"Trans.abs", 122},
                              {"atten.db", 123},
                              {"Riwi3D.abs", 119},
                              {"Time.dB", 5},
                              {"Assess.abs", 135},
                              {"Unknown.DB", -1},
                              {"", -1}})
        EXPECT_EQ(GetLibType(file), type) << file;
}

} // namespace korvel::test
