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
    schema.NewRecord = [](db::TTable& table) {
        if (auto* g = table.FindField("Gruppen1")) {
            g->SetAsInteger(-1);
        }
    };
    return schema;
}

constexpr int kType = 120;

// Binds a library of the test kind in a folder, read-only or not.
void Bind(TMyTable& lib, const TempDir& dir, bool readOnly = false) {
    lib.InitLibX(dir.Path().string(), LibName(kType), TableNames(kType), readOnly, true);
}

} // namespace

TEST(MyTable, CreatesTheWholeLibraryAndFillsNewElements) {
    TempDir dir;
    TScopedLibSchema layout(kType, ElementsWithGroups());
    TMyTable lib(TableNames(kType));
    Bind(lib, dir);
    EXPECT_FALSE(lib.Exists());
    EXPECT_EQ(lib.GetCount(), 2);
    EXPECT_EQ(lib.FileName(), (dir.Path() / "EmisX.abs").string());

    SetFieldIndexDefs(lib, kType, true);
    lib.CreateDBTable();
    EXPECT_TRUE(lib.Exists());
    lib.Open();
    db::TTable& main = *lib.GetTable();
    ASSERT_TRUE(main.Active());
    ASSERT_TRUE(lib.GetItem(1)->Active());
    EXPECT_EQ(main.IndexDefs().at(1).Name, "EN"); // the second index is the one "Jump to" uses

    main.OnNewRecord = [](db::TTable& t) {
        OnNewRecord(t, kType, false);
    };
    main.Append();
    EXPECT_FALSE(main.FieldByName("LastChangeDateTime").IsNull());
    EXPECT_EQ(main.FieldByName("Gruppen1").AsInteger(), -1);
    main.FieldByName("ElementName").SetAsString("Lüfter");
    main.Post();

    // Declarations are defined again from scratch when asked to clear first.
    SetFieldIndexDefs(lib, kType, true);
    EXPECT_EQ(lib.GetItem(1)->Defs().Fields.size(), 2u);
    lib.Close();
    EXPECT_FALSE(main.Active());

    // A system library is bound read-only.
    TMyTable system(TableNames(kType));
    Bind(system, dir, true);
    EXPECT_TRUE(system.GetReadOnly());
    system.Open();
    EXPECT_FALSE(system.GetTable()->CanModify());
    EXPECT_THROW(system.CreateDBTable(), EKorvelError);
    system.Close();

    lib.Database().DeleteDatabase();
    EXPECT_FALSE(std::filesystem::exists(lib.FileName()));
    EXPECT_FALSE(lib.Exists());
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
