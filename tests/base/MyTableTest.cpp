#include "platform/base/MyTable.h"

#include "platform/Errors.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/db/DbErrors.h"
#include "support/TempDir.h"

#include <filesystem>
#include <gmock/gmock.h>

namespace korvel::test {

namespace {

// A two-table layout in the manner of the sound libraries: elements and their groups.
TLibSchema ElementsWithGroups() {
    TLibSchema schema;
    schema.FieldIndexDefs = [](TMyTable& t) {
        AddElementFields(t.GetItem(0)->Defs(), "ElementName");
        t.GetItem(0)->Defs().AddField("Gruppen1", db::TFieldType::Integer);
        auto& groups = t.GetItem(1)->Defs();
        groups.AddField("Eintrag", db::TFieldType::AutoInc)
            .AddField("GruppenName", db::TFieldType::String, 40);
        groups.AddIndex("p", {"Eintrag"}, db::ixPrimary)
            .AddIndex("EN", {"GruppenName"}, db::ixCaseInsensitive);
    };
    return schema;
}

constexpr int kType = 120;

void Bind(TMyTable& lib, const TempDir& dir, bool readOnly = false) {
    lib.InitLibX(dir.Path().string(), LibName(kType), TableNames(kType), readOnly, true);
}

} // namespace

TEST(MyTable, CreatesTheWholeLibraryButNeverASystemOne) {
    TempDir dir;
    TScopedLibSchema layout(kType, ElementsWithGroups());
    TMyTable lib(TableNames(kType));
    Bind(lib, dir);
    EXPECT_FALSE(lib.Exists());
    SetFieldIndexDefs(lib, kType, true);
    lib.CreateDBTable();
    lib.Open();
    ASSERT_TRUE(lib.GetItem(1)->Active());
    EXPECT_EQ(lib.GetTable()->IndexDefs().at(1).Name, "EN"); // the second index is the one "Jump to" uses
    lib.Close();

    TMyTable system(TableNames(kType));
    Bind(system, dir, true);
    system.Open();
    EXPECT_FALSE(system.GetTable()->CanModify());
    EXPECT_THROW(system.CreateDBTable(), EKorvelError);
}

TEST(MyTable, FailedCreationLeavesNoHalfLibraryAndUnknownLayoutsAreRefused) {
    TempDir dir;
    TLibSchema broken;
    broken.FieldIndexDefs = [](TMyTable& t) {
        AddElementFields(t.GetItem(0)->Defs(), "ElementName");
        t.GetItem(1)->Defs().AddField("Name", db::TFieldType::String, 0); // a string needs a size
    };
    TScopedLibSchema layout(kType, broken);
    TMyTable lib(TableNames(kType));
    Bind(lib, dir);
    SetFieldIndexDefs(lib, kType, true);
    EXPECT_THROW(lib.CreateDBTable(), db::EDatabaseError);
    EXPECT_FALSE(std::filesystem::exists(lib.FileName()));

    // A kind without a declared layout is refused.
    EXPECT_THAT(
        [&] { SetFieldIndexDefs(lib, 4711, true); },
        testing::ThrowsMessage<EKorvelError>(testing::StrEq("Not yet implemented for this library type!")));
}

} // namespace korvel::test
