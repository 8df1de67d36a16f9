#include "DbFixture.h"
#include "platform/db/DbErrors.h"
#include "platform/db/JournalMode.h"
#include "platform/db/Restructure.h"
#include "support/FileBytes.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>

namespace korvel::test {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

TEST_F(DbFixture, RestructureAddsDropsAndResizesKeepingDataAndNumbers) {
    Add("Ventilator", 2);
    std::int64_t last = Add("Pumpe", 3);
    table->Close();

    auto err = db->Restructure("Elements", db::TRestructure()
                                               .AddField({"Color", db::TFieldType::Integer, 0, false})
                                               .DropField("Gruppen2")
                                               .ResizeField("ElementName", 80));
    ASSERT_FALSE(err) << *err;
    EXPECT_EQ(db->TableNames(), std::vector<std::string>{"Elements"}); // no work table left, no bookkeeping
    table->Open();
    EXPECT_TRUE(table->FindField("Color"));
    EXPECT_FALSE(table->FindField("Gruppen2"));
    EXPECT_EQ(table->FieldByName("ElementName").Size(), 80);
    table->SetIndexName("EN");
    EXPECT_EQ(Names(), (std::vector<std::string>{"Pumpe", "Ventilator"}));
    ASSERT_TRUE(table->FindKey(Key("PUMPE"))); // keys rebuilt for the new table
    EXPECT_EQ(ValueText(*table, "Gruppen1"), "3");
    table->Append();
    StoreField(*table, "ElementName", "new");
    EXPECT_GT(table->Fields(0).AsLargeInt(), last);
}

TEST_F(DbFixture, FailedRestructureLeavesTableAndDataIntact) {
    Add("same");
    Add("same");
    Add("a much longer element name");
    const std::vector<std::string> before = Names();
    table->Close();

    // A unique index over duplicate names fails only after the data was copied: all of it must roll back.
    auto err = db->Restructure(
        "Elements",
        db::TRestructure().DropField("Kommentar").AddIndex({"UniqueName", {"ElementName"}, db::ixUnique}));
    ASSERT_TRUE(err);
    EXPECT_NE(err->find("UNIQUE"), std::string::npos) << *err;

    err = db->Restructure("Elements", db::TRestructure().ResizeField("ElementName", 10));
    ASSERT_TRUE(err);
    EXPECT_NE(err->find("longer than 10"), std::string::npos) << *err;

    table->Open();
    EXPECT_EQ(std::tuple(table->FindField("Kommentar") != nullptr, table->FieldByName("ElementName").Size(),
                         table->IndexDefs().size()),
              std::tuple(true, 40, 2u));
    EXPECT_EQ(Names(), before);

    // An open cursor is never restructured under its feet.
    err = db->Restructure("Elements", db::TRestructure().DropField("Kommentar"));
    ASSERT_TRUE(err);
    EXPECT_TRUE(table->FindField("Kommentar"));
}

TEST_F(DbFixture, ReadOnlyDatabaseRefusesEveryWriteAndKeepsTheFileUnchanged) {
    Add("a");
    table->Close();
    // Switching an open database reopens it.
    db->SetReadOnly(true);
    EXPECT_TRUE(db->Active());
    table->Open();
    EXPECT_THROW(table->Edit(), db::EDatabaseError);
    table->Close();
    db->SetReadOnly(false);
    table->Open();
    StoreField(*table, "Gruppen1", "1");
    table->Close();
    db->Close();
    std::string bytes = ReadAll(fileName);

    auto ro = std::make_shared<db::TDatabase>(fileName);
    ro->SetReadOnly(true);
    auto t = Cursor(ro);
    EXPECT_FALSE(t->CanModify());
    EXPECT_THROW(t->Append(), db::EDatabaseError);
    EXPECT_THROW(t->Delete(), db::EDatabaseError);
    EXPECT_THROW(t->EmptyTable(), db::EDatabaseError);
    // Even SQL that bypasses the cursor is refused by SQLite itself.
    EXPECT_THROW(ro->Connection().Exec("DELETE FROM Elements"), db::EDatabaseError);
    EXPECT_THROW(ro->CreateTable("Other", ElementDef()), db::EDatabaseError);
    EXPECT_TRUE(ro->Restructure("Elements", db::TRestructure().DropField("Kommentar")));
    t->Close();
    ro->Close();
    EXPECT_EQ(ReadAll(fileName), bytes);
}

TEST_F(DbFixture, StaleCollationKeysAreRebuiltOnWritableOpen) {
    Add("Flügel");
    table->Close();
    db->Connection().Exec("UPDATE Elements SET _ck_ElementName = X'00'; "
                          "UPDATE korvel_meta SET value = 'older rules' WHERE key = 'collation'");
    db->Close();
    db->Open();
    table->Open();
    table->SetIndexName("EN");
    EXPECT_TRUE(table->FindKey(Key("flügel")));
}

TEST_F(DbFixture, DamagedOrForeignFilesGiveAClearMessage) {
    std::string junk = dir.File("junk.abs");
    std::ofstream(junk)
        << "this is not a library, just some text that is long enough to look like a header...";
    db::TDatabase bad(junk);
    EXPECT_THAT([&] { bad.Open(); }, ThrowsMessage<db::EDatabaseError>(HasSubstr("not a library")));

    db::TDatabase missing(dir.File("missing.abs"));
    EXPECT_THROW(missing.Open(), db::EDatabaseError);
    EXPECT_FALSE(std::filesystem::exists(dir.File("missing.abs")));

    table->Close();
    db->Close();
    std::filesystem::resize_file(fileName, 1000); // a truncated library
    db::TDatabase truncated(fileName);
    EXPECT_THROW(
        {
            truncated.Open();
            db::TTable t(std::make_shared<db::TDatabase>(fileName), "Elements");
            t.Open();
        },
        db::EDatabaseError);
}

TEST_F(DbFixture, NestedTransactionsCommitWithTheOutermostAndDeletingTakesTheJournals) {
    db->StartTransaction();
    db->StartTransaction(); // nested: only the outermost commit counts
    Add("kept");
    db->Commit();
    EXPECT_TRUE(db->InTransaction());
    db->Commit();
    EXPECT_EQ(std::tuple(db->InTransaction(), table->RecordCount()), std::tuple(false, 1));

    table->Close();
    db->DeleteDatabase();
    for (const char* suffix : {"", "-wal", "-shm"})
        EXPECT_FALSE(std::filesystem::exists(fileName + suffix)) << suffix;
}

TEST(JournalMode, NetworkFoldersUseTheRollbackJournalLocalOnesTheLog) {
    const std::int64_t network[] = {0x6969, 0x517B, 0xFF534D42, 0xFE534D42, 0x65735546};
    const std::int64_t local[] = {0xEF53, 0x01021994, 0x58465342, 0x9123683E, 0x794C7630};
    for (std::int64_t type : network)
        EXPECT_TRUE(db::IsNetworkFileSystem(type)) << std::hex << type;
    for (std::int64_t type : local)
        EXPECT_FALSE(db::IsNetworkFileSystem(type)) << std::hex << type;
    TempDir dir;
    EXPECT_EQ(db::JournalModeForFolder(dir.File("Lib.abs")), "WAL");
}

} // namespace korvel::test
