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

} // namespace korvel::test
