#include "DbFixture.h"
#include "platform/db/DbErrors.h"

#include <algorithm>

namespace korvel::test {

using db::TValue;

namespace {

std::string Padded(int i) {
    std::string s = std::to_string(i);
    return "Element " + std::string(5 - s.size(), '0') + s;
}

} // namespace

TEST_F(DbFixture, WalksForwardAndBackAcrossPagesInIndexOrder) {
    // More records than one fetched page, inserted out of name order.
    std::vector<std::string> expected;
    for (int i = 0; i < 300; ++i) {
        int k = (i * 7) % 300;
        Add(Padded(k));
        expected.push_back(Padded(i));
    }
    table->SetIndexName("EN");
    EXPECT_EQ(Names(), expected);
    EXPECT_TRUE(table->Eof());

    std::vector<std::string> backwards;
    for (table->Last(); !table->Bof(); table->Prior()) {
        backwards.push_back(table->FieldByName("ElementName").AsString());
    }
    std::reverse(backwards.begin(), backwards.end());
    EXPECT_EQ(backwards, expected);

    table->First();
    EXPECT_EQ(table->RecNo(), 1);
    EXPECT_EQ(table->MoveBy(150), 150);
    EXPECT_EQ(table->RecNo(), 151);
    EXPECT_EQ(table->FieldByName("ElementName").AsString(), Padded(150));
    EXPECT_EQ(table->MoveBy(-1000), -150); // clamps at the first record
    EXPECT_EQ(table->RecNo(), 1);

    table->SetRecNo(299);
    EXPECT_EQ(table->FieldByName("ElementName").AsString(), Padded(298));
    table->FindKey({TValue{std::string("Element 00200")}});
    EXPECT_EQ(table->RecNo(), 201); // counted by key, not by walking
    EXPECT_EQ(table->RecordCount(), 300);

    auto rows = table->ReadRows(295, 10, {1});
    ASSERT_EQ(rows.size(), 5u);
    EXPECT_EQ(std::get<std::string>(rows[0].Values[0]), Padded(295));
    EXPECT_EQ(std::get<std::string>(rows[4].Values[0]), Padded(299));
}

TEST_F(DbFixture, BofAndEofFollowDatasetRules) {
    table->First();
    EXPECT_TRUE(table->Bof());
    EXPECT_TRUE(table->Eof());
    EXPECT_TRUE(table->IsEmpty());
    EXPECT_EQ(table->RecNo(), 0);

    Add("only");
    table->First();
    EXPECT_TRUE(table->Bof());
    EXPECT_FALSE(table->Eof());
    table->Next();
    EXPECT_TRUE(table->Eof());
    EXPECT_EQ(table->FieldByName("ElementName").AsString(), "only"); // stays on the last record
    table->Prior();
    EXPECT_TRUE(table->Bof());
}

TEST_F(DbFixture, SwitchingTheIndexKeepsTheCurrentRecord) {
    Add("c");
    std::int64_t b = Add("b");
    Add("a");
    ASSERT_TRUE(table->FindKey({TValue{b}}));
    table->SetIndexName("EN");
    EXPECT_EQ(table->FieldByName("ElementName").AsString(), "b");
    table->Next();
    EXPECT_EQ(table->FieldByName("ElementName").AsString(), "c");
    table->SetIndexName("p"); // "c" was stored first
    table->Next();
    EXPECT_EQ(table->FieldByName("ElementName").AsString(), "b");
    EXPECT_THROW(table->SetIndexName("missing"), db::EDatabaseError);
}

TEST_F(DbFixture, NameIndexFoldsUnicodeCaseAndSortsAccentsBesideTheirLetters) {
    for (const char* n : {"Zebra", "Äpfel", "flügel", "Apfel", "apfel 2", "ÉCLAIR", "eclair"}) {
        Add(n);
    }
    table->SetIndexName("EN");
    EXPECT_EQ(Names(),
              (std::vector<std::string>{"Apfel", "Äpfel", "apfel 2", "eclair", "ÉCLAIR", "flügel", "Zebra"}));

    EXPECT_TRUE(table->FindKey({TValue{std::string("FLÜGEL")}}));
    EXPECT_EQ(table->FieldByName("ElementName").AsString(), "flügel");
    EXPECT_FALSE(table->FindKey({TValue{std::string("flugel")}})); // accents still count

    EXPECT_TRUE(table->Locate("ElementName", {TValue{std::string("äPFEL")}}, db::loCaseInsensitive));
    EXPECT_EQ(table->FieldByName("ElementName").AsString(), "Äpfel");
    EXPECT_FALSE(table->Locate("ElementName", {TValue{std::string("äPFEL")}}));
    EXPECT_TRUE(
        table->Locate("ElementName", {TValue{std::string("APF")}}, db::loCaseInsensitive | db::loPartialKey));
    EXPECT_EQ(table->FieldByName("ElementName").AsString(), "Apfel");

    table->FindNearest({TValue{std::string("F")}});
    EXPECT_EQ(table->FieldByName("ElementName").AsString(), "flügel");
    table->FindNearest({TValue{std::string("zz")}}); // past the end: the last record
    EXPECT_EQ(table->FieldByName("ElementName").AsString(), "Zebra");
}

TEST_F(DbFixture, ClassicFilterSelectsByGroupsAndCase) {
    Add("one", 3, 0);
    Add("two", 0, 3);
    Add("three", 3, 7);
    Add("four", 7, 0);
    Add("Fan A", 1, 0);
    table->SetIndexName("EN");
    table->SetFilter("(((Gruppen1=3) OR (Gruppen2=3) OR (Gruppen3=3) OR(Gruppen4=3)) AND "
                     "((Gruppen1=7) OR (Gruppen2=7)))");
    EXPECT_THROW(table->SetFiltered(true), db::EDatabaseError); // no Gruppen3 in this table
    EXPECT_FALSE(table->Filtered());

    table->SetFilter("((Gruppen1=3) OR (Gruppen2=3)) AND ((Gruppen1=7) OR(Gruppen2=7))");
    table->SetFiltered(true);
    EXPECT_EQ(Names(), std::vector<std::string>{"three"});
    table->SetFilter("[Gruppen1]=3 OR [Gruppen2] = 3");
    EXPECT_EQ(Names(), (std::vector<std::string>{"one", "three", "two"}));
    EXPECT_EQ(table->RecordCount(), 3);

    table->SetFilter("ElementName = 'FAN*'");
    EXPECT_TRUE(Names().empty());
    table->SetFilterOptions(db::foCaseInsensitive);
    EXPECT_EQ(Names(), std::vector<std::string>{"Fan A"});

    // Literals are parameters: a quote inside cannot change the condition.
    table->SetFilter("ElementName = 'x'' OR 1=1 --'");
    EXPECT_TRUE(Names().empty());

    table->SetFiltered(false);
    EXPECT_EQ(table->RecordCount(), 5);
}

TEST_F(DbFixture, FilterRecordCallbackNarrowsEveryOperation) {
    for (int i = 0; i < 200; ++i) {
        Add(Padded(i), i % 2);
    }
    table->SetIndexName("EN");
    table->SetOnFilterRecord(
        [](db::TTable& t) { return t.FieldByName("ElementName").AsString().back() == '7'; });
    table->SetFiltered(true);
    auto names = Names();
    ASSERT_EQ(names.size(), 20u);
    EXPECT_EQ(names.front(), Padded(7));
    EXPECT_EQ(names.back(), Padded(197));
    EXPECT_EQ(table->RecordCount(), 20);
    table->Last();
    EXPECT_EQ(table->RecNo(), 20);
    EXPECT_FALSE(table->Locate("ElementName", {TValue{Padded(8)}}));
    EXPECT_TRUE(table->Locate("ElementName", {TValue{Padded(17)}}));
}

TEST(FilterExpression, ReportsTheFaultAndItsPosition) {
    db::TTableDef def;
    def.AddField("Gruppen1", db::TFieldType::Integer).AddField("Name", db::TFieldType::String, 10);
    auto compile = [&](const std::string& text) {
        return db::CompileFilter(text, def, {});
    };
    EXPECT_NO_THROW(compile("NOT (Gruppen1 >= -2) AND Name IS NOT NULL"));
    EXPECT_EQ(compile("[Gruppen1] = '3'").Params.at(0),
              TValue{std::int64_t{3}}); // quoted number on a number field
    EXPECT_EQ(compile("Name = 3").Params.at(0), TValue{std::string("3")});
    for (const char* bad : {"(Gruppen1 = 3", "Gruppen1 = ", "Gruppen1 3", "Nope = 1", "Name = 'open", "= 3",
                            "Gruppen1 = 3 Name = 2", "3 = 3"}) {
        try {
            compile(bad);
            ADD_FAILURE() << "accepted: " << bad;
        } catch (const db::EDatabaseError& e) {
            EXPECT_NE(std::string(e.what()).find("position"), std::string::npos) << e.what();
        }
    }
}

TEST_F(DbFixture, SecondCursorSeesStoredChangesWithoutReopening) {
    Add("a");
    db::TTable other(db, "Elements");
    other.Open();
    EXPECT_EQ(other.RecordCount(), 1);
    Add("b");
    EXPECT_EQ(other.RecordCount(), 2);
    other.Last();
    EXPECT_EQ(other.FieldByName("ElementName").AsString(), "b");

    // A second connection to the same file, like a second program.
    auto db2 = std::make_shared<db::TDatabase>(fileName);
    db::TTable third(db2, "Elements");
    third.Open();
    third.Append();
    third.FieldByName("ElementName").SetAsString("c");
    third.Post();
    EXPECT_EQ(table->RecordCount(), 3);
    table->Refresh();
    table->Last();
    EXPECT_EQ(table->FieldByName("ElementName").AsString(), "c");
}

TEST_F(DbFixture, StoringARecordDeletedElsewhereIsRefused) {
    std::int64_t n = Add("a");
    auto db2 = std::make_shared<db::TDatabase>(fileName);
    db::TTable other(db2, "Elements");
    other.Open();
    ASSERT_TRUE(other.FindKey({TValue{n}}));
    table->Edit();
    table->FieldByName("Gruppen1").SetAsInteger(9);
    other.Delete();
    EXPECT_THROW(table->Post(), db::EDatabaseError);
    EXPECT_EQ(table->State(), db::TDataSetState::Edit);
}

TEST_F(DbFixture, ConcurrentEditsKeepBothWhenFieldsDifferAndRefuseTheSecondOnTheSameField) {
    std::int64_t n = Add("a", 1, 1);
    auto db2 = std::make_shared<db::TDatabase>(fileName);
    db::TTable other(db2, "Elements");
    other.Open();
    ASSERT_TRUE(other.FindKey({TValue{n}}));

    // Different fields: both stores land.
    table->Edit();
    table->FieldByName("Gruppen1").SetAsInteger(5);
    other.Edit();
    other.FieldByName("Kommentar").SetAsString("from the other program");
    other.Post();
    table->Post();
    other.Refresh();
    EXPECT_EQ(other.FieldByName("Gruppen1").AsInteger(), 5);
    EXPECT_EQ(other.FieldByName("Kommentar").AsString(), "from the other program");

    // The same field: the later store is refused and keeps its edit; the earlier one stays stored.
    table->Edit();
    table->FieldByName("Gruppen2").SetAsInteger(7);
    other.Edit();
    other.FieldByName("Gruppen2").SetAsInteger(8);
    other.Post();
    try {
        table->Post();
        ADD_FAILURE() << "a store over another program's change went through";
    } catch (const db::EDatabaseError& e) {
        EXPECT_NE(std::string(e.what()).find("changed by another program"), std::string::npos) << e.what();
    }
    EXPECT_EQ(table->State(), db::TDataSetState::Edit);
    EXPECT_EQ(table->FieldByName("Gruppen2").AsInteger(), 7);
    table->Cancel();
    table->Refresh();
    EXPECT_EQ(table->FieldByName("Gruppen2").AsInteger(), 8);
    // Editing again from the stored values succeeds.
    table->Edit();
    table->FieldByName("Gruppen2").SetAsInteger(9);
    table->Post();
    other.Refresh();
    EXPECT_EQ(other.FieldByName("Gruppen2").AsInteger(), 9);
}

TEST_F(DbFixture, RollbackTakesBackTheRecordsCursorsShow) {
    Add("a");
    std::int64_t b = Add("b");
    db::TTable other(db, "Elements");
    other.Open();
    ASSERT_TRUE(other.FindKey({TValue{b}}));

    db->StartTransaction();
    table->Edit();
    table->FieldByName("Kommentar").SetAsString("undone");
    table->Post();
    table->Append();
    table->FieldByName("ElementName").SetAsString("c");
    table->Post();
    ASSERT_EQ(table->FieldByName("ElementName").AsString(), "c");
    other.Refresh();
    ASSERT_EQ(other.FieldByName("Kommentar").AsString(), "undone");
    db->Rollback();

    // Without moving: the inserted record is gone from the cursor that stored it, the undone edit from
    // the other cursor.
    EXPECT_NE(table->FieldByName("ElementName").AsString(), "c");
    EXPECT_EQ(other.FieldByName("Kommentar").AsString(), "");
    EXPECT_EQ(other.FieldByName("ElementName").AsString(), "b");
    EXPECT_EQ(table->RecordCount(), 2);
}

TEST_F(DbFixture, RecNoFindsEveryRecordAmongTheReadPositionsOfBothNumberOrders) {
    db::TTableDef def = ElementDef();
    def.AddIndex("down", {"Nr"}, db::ixDescending);
    db->CreateTable("Down", def);
    db::TTable t(db, "Down");
    t.Open();
    for (int i = 0; i < 40; ++i) {
        t.Append();
        t.FieldByName("ElementName").SetAsString("e" + std::to_string(i));
        t.Post();
    }
    // Deleted numbers leave gaps in the positions.
    t.SetIndexName("p");
    for (t.First(); !t.Eof();) {
        if (t.Fields(0).AsLargeInt() % 3 == 0)
            t.Delete();
        else
            t.Next();
    }
    for (const char* order : {"p", "down"}) {
        SCOPED_TRACE(order);
        t.SetIndexName(order);
        t.SetRecNo(1); // reads the positions
        std::vector<db::TBookmark> marks;
        for (t.First(); !t.Eof(); t.Next())
            marks.push_back(t.GetBookmark());
        ASSERT_EQ(marks.size(), 27u);
        for (std::size_t i = 0; i < marks.size(); ++i) {
            ASSERT_TRUE(t.GotoBookmark(marks[i]));
            EXPECT_EQ(t.RecNo(), static_cast<std::int64_t>(i + 1));
        }
    }
}

TEST_F(DbFixture, PositionsOfTheOrderLeftComeBackOnlyWhileTheFileIsUnchanged) {
    Add("c");
    Add("b");
    Add("a");
    table->SetIndexName("p");
    table->SetRecNo(2); // reads the positions in number order
    EXPECT_EQ(table->FieldByName("ElementName").AsString(), "b");
    table->SetIndexName("EN");
    table->SetRecNo(3);
    EXPECT_EQ(table->FieldByName("ElementName").AsString(), "c");
    // Back in number order the kept positions answer: "c" was stored first.
    table->SetIndexName("p");
    EXPECT_EQ(table->RecNo(), 1);
    table->SetRecNo(3);
    EXPECT_EQ(table->FieldByName("ElementName").AsString(), "a");

    // Another program adds an element: the name order's kept positions are stale and read again.
    auto db2 = std::make_shared<db::TDatabase>(fileName);
    db::TTable other(db2, "Elements");
    other.Open();
    other.Append();
    other.FieldByName("ElementName").SetAsString("aa");
    other.Post();
    table->SetIndexName("EN");
    EXPECT_EQ(table->RecordCount(), 4);
    EXPECT_EQ(table->RecNo(), 1); // "a"
    table->SetRecNo(2);
    EXPECT_EQ(table->FieldByName("ElementName").AsString(), "aa");

    // A store by another cursor of this program makes them stale as well.
    table->SetIndexName("p"); // keeps the name order's positions
    db::TTable same(db, "Elements");
    same.Open();
    same.Append();
    same.FieldByName("ElementName").SetAsString("0");
    same.Post();
    table->SetIndexName("EN");
    EXPECT_EQ(table->RecordCount(), 5);
    table->SetRecNo(1);
    EXPECT_EQ(table->FieldByName("ElementName").AsString(), "0");
    ASSERT_TRUE(table->FindKey({TValue{std::string("c")}}));
    EXPECT_EQ(table->RecNo(), 5);
}

TEST_F(DbFixture, StoringAndSteppingOnReadsEachRecordOnceUnlessTheOrderKeyChanges) {
    db->StartTransaction();
    for (int i = 0; i < 200; ++i)
        Add("e" + std::to_string(1000 + i));
    db->Commit();
    table->SetIndexName("EN");
    table->First();
    const auto before = table->RecordsFetched();
    int stored = 0;
    for (; !table->Eof(); table->Next()) {
        table->Edit();
        table->FieldByName("Kommentar").SetAsString("seen");
        table->Post();
        ++stored;
    }
    EXPECT_EQ(stored, 200);
    // One read of the stored record per store plus the pages walked: far below a page per record.
    EXPECT_LT(table->RecordsFetched() - before, 3u * 200);

    // A changed name moves the record: the cursor follows it to its new place, the last one.
    table->First();
    table->Edit();
    table->FieldByName("ElementName").SetAsString("zz");
    table->Post();
    EXPECT_EQ(table->FieldByName("ElementName").AsString(), "zz");
    table->Next();
    EXPECT_TRUE(table->Eof());
    table->First();
    EXPECT_EQ(table->FieldByName("ElementName").AsString(), "e1001");
}

TEST_F(DbFixture, SeekKeyLooksUpAnotherIndexWithoutMovingTheCursor) {
    const std::int64_t pump = Add("Pumpe", 1);
    Add("Lüfter", 2);
    Add("Motor", 1);
    table->SetIndexName("p");
    table->Last();
    ASSERT_EQ(table->FieldByName("ElementName").AsString(), "Motor");
    // The name index ignores case; the cursor stays where it was, in its own order.
    EXPECT_EQ(table->SeekKey("EN", {TValue{std::string("PUMPE")}}), pump);
    EXPECT_EQ(table->SeekKey("EN", {TValue{std::string("LÜFTER")}}), pump + 1);
    EXPECT_FALSE(table->SeekKey("EN", {TValue{std::string("Pump")}}));
    EXPECT_EQ(table->FieldByName("ElementName").AsString(), "Motor");
    EXPECT_EQ(table->IndexName(), "p");
    table->Prior();
    EXPECT_EQ(table->FieldByName("ElementName").AsString(), "Lüfter");
    // On the cursor's own index, and through its filter.
    EXPECT_EQ(table->SeekKey("p", {TValue{pump}}), pump);
    table->SetFilter("Gruppen1 = 1");
    table->SetFiltered(true);
    EXPECT_FALSE(table->SeekKey("EN", {TValue{std::string("Lüfter")}}));
    EXPECT_EQ(table->SeekKey("EN", {TValue{std::string("motor")}}), pump + 2);
    EXPECT_THROW(table->SeekKey("missing", {TValue{std::string("x")}}), db::EDatabaseError);
    // Nearest: the first name at or after the text, and the last name for a text after every name.
    table->SetFiltered(false);
    EXPECT_EQ(table->SeekNearest("EN", {TValue{std::string("m")}}), pump + 2);
    EXPECT_EQ(table->SeekNearest("EN", {TValue{std::string("zzz")}}), pump);
    EXPECT_EQ(table->IndexName(), "p");
}

} // namespace korvel::test
