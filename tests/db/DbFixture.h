#pragma once

#include "platform/db/Database.h"
#include "platform/db/Table.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace korvel::test {

// Appends one element to an open cursor on an element table and returns its number.
inline std::int64_t AddTo(db::TTable& t, const std::string& name, int group1 = 0, int group2 = 0) {
    t.Append();
    t.FieldByName("ElementName").SetAsString(name);
    t.FieldByName("Gruppen1").SetAsInteger(group1);
    t.FieldByName("Gruppen2").SetAsInteger(group2);
    t.Post();
    return t.Fields(0).AsLargeInt();
}

// Sets a field from text, starting an edit when the cursor is browsing.
inline void SetField(db::TTable& t, std::string_view field, std::string_view text) {
    if (!t.Editing())
        t.Edit();
    t.FieldByName(field).SetAsString(text);
}
inline void StoreField(db::TTable& t, std::string_view field, std::string_view text) {
    SetField(t, field, text);
    t.Post();
}
inline std::string ValueText(db::TTable& t, std::string_view field = "ElementName") {
    return t.FieldByName(field).AsString();
}

// Key values for searches: one text or one number.
inline std::vector<db::TValue> Key(std::string text) {
    return {db::TValue{std::move(text)}};
}
inline std::vector<db::TValue> Key(std::int64_t number) {
    return {db::TValue{number}};
}

// An open cursor on the element table of the given connection.
inline std::unique_ptr<db::TTable> Cursor(std::shared_ptr<db::TDatabase> on) {
    auto t = std::make_unique<db::TTable>(std::move(on), "Elements");
    t->Open();
    return t;
}

// A library file with one element table shaped like the sound libraries' main table.
class DbFixture : public ::testing::Test {
public:
    static db::TTableDef ElementDef() {
        using db::TFieldType;
        db::TTableDef def;
        def.AddField("Nr", TFieldType::AutoInc)
            .AddField("ElementName", TFieldType::String, 40)
            .AddField("Gruppen1", TFieldType::Integer)
            .AddField("Gruppen2", TFieldType::Integer)
            .AddField("Kommentar", TFieldType::Memo)
            .AddField("Spektrum", TFieldType::Blob)
            .AddField("Level", TFieldType::Float)
            .AddField("Count", TFieldType::Word)
            .AddField("Active", TFieldType::Boolean)
            .AddField("LastChangeDateTime", TFieldType::DateTime);
        def.AddIndex("p", {"Nr"}, db::ixPrimary).AddIndex("EN", {"ElementName"}, db::ixCaseInsensitive);
        return def;
    }

protected:
    void SetUp() override {
        fileName = dir.File("Lib.abs");
        db = std::make_shared<db::TDatabase>(fileName);
        db->Open(true);
        db->CreateTable("Elements", ElementDef());
        table = std::make_unique<db::TTable>(db, "Elements");
        table->Open();
    }

    std::int64_t Add(const std::string& name, int group1 = 0, int group2 = 0) {
        return AddTo(*table, name, group1, group2);
    }

    std::string Current() { return ValueText(*table); }

    // A cursor through a connection of its own, as a second program has it.
    std::unique_ptr<db::TTable> OtherProgram() { return Cursor(std::make_shared<db::TDatabase>(fileName)); }

    // Names in cursor order, walking with Next.
    std::vector<std::string> Names() {
        std::vector<std::string> out;
        for (table->First(); !table->Eof(); table->Next()) {
            out.push_back(Current());
        }
        return out;
    }

    TempDir dir;
    std::string fileName;
    std::shared_ptr<db::TDatabase> db;
    std::unique_ptr<db::TTable> table;
};

} // namespace korvel::test
