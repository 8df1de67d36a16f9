#include "DbFixture.h"
#include "platform/db/DbErrors.h"

#include <algorithm>
#include <gmock/gmock.h>

namespace korvel::test {

using db::TValue;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

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
        Add(Padded((i * 7) % 300));
        expected.push_back(Padded(i));
    }
    table->SetIndexName("EN");
    EXPECT_EQ(Names(), expected);

    std::vector<std::string> backwards;
    for (table->Last(); !table->Bof(); table->Prior())
        backwards.push_back(Current());
    std::reverse(backwards.begin(), backwards.end());
    EXPECT_EQ(backwards, expected);

    const auto move = [&](int distance) {
        const int moved = table->MoveBy(distance);
        return std::tuple(moved, table->RecNo(), Current());
    };
    table->First();
    EXPECT_EQ(move(150), std::tuple(150, 151, Padded(150)));
    // Long jumps go by position and stop at either end.
    EXPECT_EQ(move(1000), std::tuple(149, 300, Padded(299)));
    EXPECT_EQ(move(-1000), std::tuple(-299, 1, Padded(0)));

    table->SetRecNo(299);
    EXPECT_EQ(Current(), Padded(298));
    table->FindKey(Key(Padded(200)));
    EXPECT_EQ(std::tuple(table->RecNo(), table->RecordCount()),
              std::tuple(201, 300)); // counted by key, not by walking
}

TEST_F(DbFixture, PagingKeepsRecordsWhoseNameEqualsTheLastOneRead) {
    // Pages end inside a run of equal names: the next page must start within the run, both ways.
    db->StartTransaction();
    for (int i = 0; i < 150; ++i)
        Add("same");
    db->Commit();
    table->SetIndexName("EN");
    EXPECT_EQ(Names().size(), 150u);
    int backwards = 0;
    for (table->Last(); !table->Bof(); table->Prior())
        ++backwards;
    EXPECT_EQ(backwards, 150);
}

TEST_F(DbFixture, BofEofAndIndexSwitchesFollowDatasetRules) {
    table->First();
    EXPECT_EQ(std::tuple(table->Bof(), table->Eof(), table->IsEmpty(), table->RecNo()),
              std::tuple(true, true, true, 0));
    EXPECT_THROW(table->Delete(), db::EDatabaseError); // nothing to delete

    Add("c");
    std::int64_t b = Add("b");
    Add("a");
    table->Last();
    table->Next();
    EXPECT_EQ(std::pair(table->Eof(), Current()), std::pair(true, std::string("a"))); // stays on the last
    table->First();
    EXPECT_EQ(std::pair(table->Bof(), table->Eof()), std::pair(true, false));

    // Switching the index keeps the current record.
    ASSERT_TRUE(table->FindKey(Key(b)));
    table->SetIndexName("EN");
    EXPECT_EQ(Current(), "b");
    table->Next();
    EXPECT_EQ(Current(), "c");
    table->SetIndexName("p"); // "c" was stored first
    table->Next();
    EXPECT_EQ(Current(), "b");
    EXPECT_THROW(table->SetIndexName("missing"), db::EDatabaseError);
}

TEST_F(DbFixture, NameIndexFoldsUnicodeCaseAndSortsAccentsBesideTheirLetters) {
    for (const char* n : {"Zebra", "Äpfel", "flügel", "Apfel", "apfel 2", "ÉCLAIR", "eclair"})
        Add(n);
    table->SetIndexName("EN");
    EXPECT_EQ(Names(),
              (std::vector<std::string>{"Apfel", "Äpfel", "apfel 2", "eclair", "ÉCLAIR", "flügel", "Zebra"}));

    EXPECT_TRUE(table->FindKey(Key("FLÜGEL")));
    EXPECT_EQ(Current(), "flügel");
    EXPECT_FALSE(table->FindKey(Key("flugel"))); // accents still count

    EXPECT_TRUE(table->Locate("ElementName", Key("äPFEL"), db::loCaseInsensitive));
    EXPECT_EQ(Current(), "Äpfel");
    EXPECT_FALSE(table->Locate("ElementName", Key("äPFEL")));
    // A partial key counts characters, not bytes.
    EXPECT_TRUE(table->Locate("ElementName", Key("aPFEL 2"), db::loCaseInsensitive));
    EXPECT_TRUE(table->Locate("ElementName", Key("äPF"), db::loCaseInsensitive | db::loPartialKey));
    EXPECT_EQ(Current(), "Äpfel");

    table->FindNearest(Key("F"));
    EXPECT_EQ(Current(), "flügel");
    table->FindNearest(Key("zz")); // past the end: the last record
    EXPECT_EQ(Current(), "Zebra");
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

    struct Row {
        const char* filter;
        unsigned options;
        std::vector<std::string> names;
    };
    const Row rows[] = {
        {"((Gruppen1=3) OR (Gruppen2=3)) AND ((Gruppen1=7) OR(Gruppen2=7))", 0, {"three"}},
        {"[Gruppen1]=3 OR [Gruppen2] = 3", 0, {"one", "three", "two"}},
        {"NOT (Gruppen1 = 3)", 0, {"Fan A", "four", "two"}},
        {"3 < Gruppen1", 0, {"four"}}, // the literal first: the comparison turns round
        {"ElementName = 'FAN*'", 0, {}},
        {"ElementName = 'FAN*'", db::foCaseInsensitive, {"Fan A"}},
        // Literals are parameters: a quote inside cannot change the condition.
        {"ElementName = 'x'' OR 1=1 --'", 0, {}},
    };
    table->SetFilter(rows[0].filter);
    table->SetFiltered(true);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.filter);
        table->SetFilter(row.filter);
        table->SetFilterOptions(row.options);
        EXPECT_EQ(Names(), row.names);
        EXPECT_EQ(table->RecordCount(), static_cast<std::int64_t>(row.names.size()));
    }
    table->SetFiltered(false);
    EXPECT_EQ(table->RecordCount(), 5);

    // A number compared for equality goes through the index's key; a field without a value still matches no
    // number, not even 0 or the lowest one.
    Add("none", 0, 0);
    ASSERT_TRUE(table->Locate("ElementName", {TValue{std::string("none")}}));
    table->Edit();
    table->FieldByName("Gruppen1").Clear();
    table->Post();
    table->SetFiltered(true);
    table->SetFilter("Gruppen1 = 0");
    EXPECT_EQ(Names(), std::vector<std::string>{"two"});
    for (const char* filter : {"Gruppen1 = -1e300", "Gruppen1 = 1e300"}) {
        table->SetFilter(filter);
        EXPECT_EQ(Names(), std::vector<std::string>{}) << filter;
    }
    table->SetFilter("Gruppen1 = 7.0");
    EXPECT_EQ(Names(), std::vector<std::string>{"four"});
    table->SetFilter("Gruppen1 IS NULL");
    EXPECT_EQ(Names(), std::vector<std::string>{"none"});
}

TEST_F(DbFixture, FilterRecordCallbackNarrowsEveryOperation) {
    for (int i = 0; i < 200; ++i)
        Add(Padded(i), i % 2);
    table->SetIndexName("EN");
    // Whole pages pass without an accepted record: reading goes on until one is found.
    table->SetOnFilterRecord(
        [](db::TTable& t) { return t.FieldByName("ElementName").AsString().ends_with("97"); });
    table->SetFiltered(true);
    EXPECT_EQ(Names(), (std::vector<std::string>{Padded(97), Padded(197)}));
    EXPECT_EQ(table->RecordCount(), 2); // before any move: counted through the callback
    table->Last();
    EXPECT_EQ(table->RecNo(), 2);
    EXPECT_FALSE(table->Locate("ElementName", Key(Padded(98))));
    EXPECT_TRUE(table->Locate("ElementName", Key(Padded(97))));
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
                            "Gruppen1 = 3 Name = 2", "3 = 3"})
        EXPECT_THAT([&] { compile(bad); }, ThrowsMessage<db::EDatabaseError>(HasSubstr("position"))) << bad;
}

TEST_F(DbFixture, ConcurrentEditsKeepBothWhenFieldsDifferAndRefuseTheSecondOnTheSameField) {
    std::int64_t n = Add("a", 1, 1);
    auto other = OtherProgram();
    ASSERT_TRUE(other->FindKey(Key(n)));

    // Different fields: both stores land.
    SetField(*table, "Gruppen1", "5");
    StoreField(*other, "Kommentar", "from the other program");
    table->Post();
    other->Refresh();
    EXPECT_EQ(std::pair(ValueText(*other, "Gruppen1"), ValueText(*other, "Kommentar")),
              (std::pair<std::string, std::string>("5", "from the other program")));

    // The same field: the later store is refused and keeps its edit; the earlier one stays stored.
    SetField(*table, "Gruppen2", "7");
    StoreField(*other, "Gruppen2", "8");
    EXPECT_THAT([&] { table->Post(); },
                ThrowsMessage<db::EDatabaseError>(HasSubstr("changed by another program")));
    EXPECT_EQ(std::pair(table->State(), ValueText(*table, "Gruppen2")),
              std::pair(db::TDataSetState::Edit, std::string("7")));
    table->Cancel();
    table->Refresh();
    EXPECT_EQ(ValueText(*table, "Gruppen2"), "8");

    // A record the other program deleted is not stored again.
    SetField(*table, "Gruppen1", "9");
    other->Delete();
    EXPECT_THROW(table->Post(), db::EDatabaseError);
    EXPECT_EQ(table->State(), db::TDataSetState::Edit);
}

TEST_F(DbFixture, RollbackTakesBackTheRecordsCursorsShow) {
    Add("a");
    std::int64_t b = Add("b");
    auto other = Cursor(db);
    ASSERT_TRUE(other->FindKey(Key(b)));

    db->StartTransaction();
    StoreField(*table, "Kommentar", "undone");
    Add("c");
    ASSERT_EQ(Current(), "c");
    other->Refresh();
    ASSERT_EQ(ValueText(*other, "Kommentar"), "undone");
    db->Rollback();

    // Without moving: the inserted record is gone from the cursor that stored it, the undone edit from
    // the other cursor.
    EXPECT_NE(Current(), "c");
    EXPECT_EQ(std::pair(ValueText(*other), ValueText(*other, "Kommentar")),
              (std::pair<std::string, std::string>("b", "")));
    EXPECT_EQ(table->RecordCount(), 2);
}

TEST_F(DbFixture, RecNoFindsEveryRecordAmongTheReadPositionsOfBothNumberOrders) {
    db::TTableDef def = ElementDef();
    def.AddIndex("down", {"Nr"}, db::ixDescending);
    db->CreateTable("Down", def);
    db::TTable t(db, "Down");
    t.Open();
    for (int i = 0; i < 40; ++i)
        AddTo(t, "e" + std::to_string(i));
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
    EXPECT_EQ(Current(), "b");
    table->SetIndexName("EN");
    table->SetRecNo(3);
    EXPECT_EQ(Current(), "c");
    // Back in number order the kept positions answer: "c" was stored first.
    table->SetIndexName("p");
    EXPECT_EQ(table->RecNo(), 1);
    table->SetRecNo(3);
    EXPECT_EQ(Current(), "a");

    // Another program adds an element: the name order's kept positions are stale and read again.
    AddTo(*OtherProgram(), "aa");
    table->SetIndexName("EN");
    EXPECT_EQ(std::tuple(table->RecordCount(), table->RecNo()), std::tuple(4, 1)); // on "a"
    table->SetRecNo(2);
    EXPECT_EQ(Current(), "aa");

    // A store by another cursor of this program makes them stale as well.
    table->SetIndexName("p"); // keeps the name order's positions
    AddTo(*Cursor(db), "0");
    table->SetIndexName("EN");
    EXPECT_EQ(table->RecordCount(), 5);
    table->SetRecNo(1);
    EXPECT_EQ(Current(), "0");
    ASSERT_TRUE(table->FindKey(Key("c")));
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
    for (; !table->Eof(); table->Next(), ++stored)
        StoreField(*table, "Kommentar", "seen");
    EXPECT_EQ(stored, 200);
    // One read of the stored record per store plus the pages walked: far below a page per record.
    EXPECT_LT(table->RecordsFetched() - before, 3u * 200);

    // A changed name moves the record: the cursor follows it to its new place, the last one.
    table->First();
    StoreField(*table, "ElementName", "zz");
    EXPECT_EQ(Current(), "zz");
    table->Next();
    EXPECT_TRUE(table->Eof());
    table->First();
    EXPECT_EQ(Current(), "e1001");
}

TEST_F(DbFixture, SeekKeyLooksUpAnotherIndexWithoutMovingTheCursor) {
    const std::int64_t pump = Add("Pumpe", 1);
    Add("Lüfter", 2);
    Add("Motor", 1);
    table->SetIndexName("p");
    table->Last();
    ASSERT_EQ(Current(), "Motor");
    // The name index ignores case; the cursor stays where it was, in its own order.
    EXPECT_EQ(std::tuple(table->SeekKey("EN", Key("PUMPE")), table->SeekKey("EN", Key("LÜFTER"))),
              std::tuple(pump, pump + 1));
    EXPECT_FALSE(table->SeekKey("EN", Key("Pump")));
    EXPECT_EQ(Current(), "Motor");
    // On the cursor's own index, and through its filter.
    EXPECT_EQ(table->SeekKey("p", Key(pump)), pump);
    table->SetFilter("Gruppen1 = 1");
    table->SetFiltered(true);
    EXPECT_FALSE(table->SeekKey("EN", Key("Lüfter")));
    EXPECT_EQ(table->SeekKey("EN", Key("motor")), pump + 2);
    EXPECT_THROW(table->SeekKey("missing", Key("x")), db::EDatabaseError);
    // Nearest: the first name at or after the text, and the last name for a text after every name.
    table->SetFiltered(false);
    EXPECT_EQ(std::tuple(table->SeekNearest("EN", Key("m")), table->SeekNearest("EN", Key("zzz"))),
              std::tuple(pump + 2, pump));
    EXPECT_EQ(table->IndexName(), "p");
}

} // namespace korvel::test
