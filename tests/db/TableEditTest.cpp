#include "DbFixture.h"
#include "platform/db/DbErrors.h"

#include <gmock/gmock.h>
#include <map>

namespace korvel::test {

using db::TDataSetState;
using db::TValue;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

TEST_F(DbFixture, NumbersAreNeverReusedAfterDeletingTheHighest) {
    Add("a");
    Add("b");
    std::int64_t third = Add("c");
    ASSERT_TRUE(table->FindKey(Key(third)));
    table->Delete();
    EXPECT_GT(Add("d"), third);

    std::int64_t before = Add("e");
    table->EmptyTable();
    EXPECT_EQ(table->RecordCount(), 0);
    EXPECT_GT(Add("f"), before);

    // Explicit numbers (a copy keeping its numbers) are taken as given and move the counter on.
    table->Append();
    table->Fields(0).SetAsLargeInt(1000);
    StoreField(*table, "ElementName", "kept");
    EXPECT_EQ(table->Fields(0).AsLargeInt(), 1000);
    EXPECT_EQ(Add("after"), 1001);
    EXPECT_EQ(db->NextAutoIncValue("Elements"), 1002);

    // An existing number is refused clearly and the new record stays open.
    table->Append();
    table->Fields(0).SetAsLargeInt(1000);
    SetField(*table, "ElementName", "b");
    EXPECT_THAT([&] { table->Post(); }, ThrowsMessage<db::EDatabaseError>(HasSubstr("already exists")));
    EXPECT_EQ(table->State(), TDataSetState::Insert);
    table->Cancel();
    EXPECT_EQ(table->RecordCount(), 3);
}

TEST_F(DbFixture, FieldsAreFoundByNameInAnyCaseOfItsLetters) {
    EXPECT_EQ(table->FindField("elementname"), &table->FieldByName("ElementName"));
    EXPECT_EQ(table->FindField("LASTCHANGEDATETIME"), &table->Fields(9));
    EXPECT_EQ(table->FindField("Nr"), &table->Fields(0));
    for (const char* other : {"ElementNam", "ElementName ", ""})
        EXPECT_EQ(table->FindField(other), nullptr) << other;
    EXPECT_THROW(table->FieldByName("Spectrum"), db::EDatabaseError);
    // Only ASCII letters fold: a name differing in a letter beyond ASCII is another name.
    EXPECT_FALSE(db::SameName("Größe", "GRÖßE"));
    EXPECT_EQ(db::TNameHash{}("Gruppen1"), db::TNameHash{}("gRUPPEN1"));
}

TEST_F(DbFixture, AnInsertedRecordIsKnownAsStoredAndKeepsItsPlaceInTheOrder) {
    table->SetIndexName("EN");
    Add("alpha");
    Add("Gamma");
    auto values = [&] {
        std::vector<TValue> out;
        for (int i = 0; i < table->FieldCount(); ++i)
            out.push_back(table->Fields(i).Value());
        return out;
    };
    table->Append();
    table->FieldByName("ElementName").SetAsString("beta");
    table->FieldByName("Gruppen1").SetAsInteger(7);
    table->FieldByName("Kommentar").SetAsString(std::string("line\r\0two", 9));
    table->FieldByName("Spektrum").SetAsBytes({}); // empty, not null
    table->FieldByName("Level").SetAsFloat(-12.25);
    table->FieldByName("Count").SetAsInteger(65535);
    table->FieldByName("Active").SetAsBoolean(true);
    table->FieldByName("LastChangeDateTime").SetAsDateTime(45000.5);
    const std::uint64_t fetched = table->RecordsFetched();
    table->Post();
    EXPECT_EQ(table->RecordsFetched(), fetched) << "the stored record was read back";
    const std::vector<TValue> shown = values();
    EXPECT_EQ(table->Fields(0).AsLargeInt(), 3);

    // What the cursor shows is what the file holds, and its neighbours in the name order are found from it.
    table->Refresh();
    EXPECT_EQ(values(), shown);
    ASSERT_TRUE(table->FindKey(Key("BETA")));
    Add("Beta");
    table->Next();
    EXPECT_EQ(Current(), "Gamma");
    table->MoveBy(-2);
    EXPECT_EQ(Current(), "beta");

    // A trigger may change what is stored: the record is then read as stored.
    db->Connection().Exec("CREATE TRIGGER stamp AFTER INSERT ON Elements BEGIN UPDATE Elements SET "
                          "Kommentar = 'from the trigger' WHERE rowid = new.rowid; END");
    table->Close();
    table->Open();
    table->Append();
    SetField(*table, "ElementName", "delta");
    StoreField(*table, "Kommentar", "typed");
    EXPECT_EQ(ValueText(*table, "Kommentar"), "from the trigger");
}

TEST_F(DbFixture, FieldsConvertAndRefuseValuesThatDoNotFit) {
    table->Append();
    auto& name = table->FieldByName("ElementName");
    name.SetAsString(std::string(45, 'x'));
    EXPECT_EQ(name.AsString().size(), 40u);
    name.SetAsString("Ä" + std::string(45, 'y')); // truncation keeps whole characters
    EXPECT_EQ(name.AsString(), "Ä" + std::string(39, 'y'));

    auto& count = table->FieldByName("Count");
    EXPECT_THROW(count.SetAsInteger(70000), db::EDatabaseError);
    EXPECT_THROW(count.SetAsInteger(-1), db::EDatabaseError);
    EXPECT_TRUE(count.IsNull()); // a refused value leaves the field as it was
    count.SetAsString("65535");
    EXPECT_EQ(count.AsInteger(), 65535);

    auto& level = table->FieldByName("Level");
    EXPECT_THROW(level.SetAsString("12,5 dB"), db::EDatabaseError);
    level.SetAsString(" 12.5 ");
    EXPECT_DOUBLE_EQ(level.AsFloat(), 12.5);
    level.SetAsString("");
    EXPECT_TRUE(level.IsNull());

    auto& when = table->FieldByName("LastChangeDateTime");
    when.SetAsDateTime(db::EncodeDateTime(2024, 2, 29, 13, 45, 10, 250));
    EXPECT_EQ(when.AsString(), "2024-02-29 13:45:10.250");
    EXPECT_THROW(when.SetAsString("2024-02-30"), db::EDatabaseError);

    table->FieldByName("Active").SetAsBoolean(true);
    table->FieldByName("Spektrum").SetAsBytes({1, 0, 2});
    table->Post();
    table->Refresh();
    EXPECT_TRUE(table->FieldByName("Active").AsBoolean());
    EXPECT_EQ(table->FieldByName("Spektrum").AsBytes(), (db::TBytes{1, 0, 2}));
    EXPECT_DOUBLE_EQ(table->FieldByName("LastChangeDateTime").AsDateTime(),
                     db::EncodeDateTime(2024, 2, 29, 13, 45, 10, 250));
    EXPECT_THROW(table->FieldByName("Level").SetAsFloat(1.0), db::EDatabaseError); // browse state
}

TEST_F(DbFixture, ObserversHearFieldStateAndRecordChanges) {
    Add("a");
    std::map<db::TDataEvent, int> heard;
    int id = table->AddObserver([&](db::TDataEvent e, const db::TField*) { ++heard[e]; });
    SetField(*table, "Gruppen1", "3");
    StoreField(*table, "Gruppen1", "3"); // unchanged value: no notification
    EXPECT_EQ(std::tuple(heard[db::TDataEvent::FieldChange], heard[db::TDataEvent::StateChange]),
              std::tuple(1, 2));
    EXPECT_GE(heard[db::TDataEvent::RecordChange], 1);

    table->RemoveObserver(id);
    SetField(*table, "Gruppen1", "4");
    table->Cancel();
    EXPECT_EQ(heard[db::TDataEvent::FieldChange], 1);
}

TEST_F(DbFixture, AFailedStoreOrDeleteIsToldAfterItsBeforeEventOnly) {
    const std::int64_t first = Add("a");
    std::vector<std::string> heard;
    table->BeforePost = [&](db::TTable&) {
        heard.push_back("before post");
    };
    table->PostFailed = [&](db::TTable&) {
        heard.push_back("post failed");
        throw db::EDatabaseError("from the handler"); // gives way to the store's own error
    };
    table->BeforeDelete = [&](db::TTable&) {
        heard.push_back("before delete");
    };
    table->DeleteFailed = [&](db::TTable&) {
        heard.push_back("delete failed");
    };

    // A number that exists already: the write is refused after BeforePost.
    table->Append();
    table->Fields(0).SetAsLargeInt(first);
    SetField(*table, "ElementName", "b");
    EXPECT_THAT([&] { table->Post(); }, ThrowsMessage<db::EDatabaseError>(HasSubstr("already exists")));
    EXPECT_EQ(heard, (std::vector<std::string>{"before post", "post failed"}));
    EXPECT_EQ(table->State(), TDataSetState::Insert);
    table->Cancel();

    // A refusal by BeforePost itself is no failed store.
    heard.clear();
    table->BeforePost = [&](db::TTable&) {
        Abort();
    };
    SetField(*table, "ElementName", "c");
    EXPECT_THROW(table->Post(), EAbort);
    EXPECT_TRUE(heard.empty());
    table->Cancel();

    // A delete the file refuses is told; a good one is not.
    db->Connection().Exec(
        "CREATE TRIGGER keep BEFORE DELETE ON Elements BEGIN SELECT RAISE(ABORT, 'kept'); END");
    table->First();
    EXPECT_THROW(table->Delete(), std::exception);
    EXPECT_EQ(table->RecordCount(), 1);
    db->Connection().Exec("DROP TRIGGER keep");
    table->Delete();
    EXPECT_EQ(heard, (std::vector<std::string>{"before delete", "delete failed", "before delete"}));
}

} // namespace korvel::test
