#pragma once

#include "platform/db/Database.h"
#include "platform/db/Table.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace korvel::test {

// A library file with one element table shaped like the sound libraries' main table.
class DbFixture : public ::testing::Test {
public:
    // The element table: a sound library's main table.
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

    // Appends one element and returns its number.
    std::int64_t Add(const std::string& name, int group1 = 0, int group2 = 0) {
        table->Append();
        table->FieldByName("ElementName").SetAsString(name);
        table->FieldByName("Gruppen1").SetAsInteger(group1);
        table->FieldByName("Gruppen2").SetAsInteger(group2);
        table->Post();
        return table->Fields(0).AsLargeInt();
    }

    // Names in cursor order, walking with Next.
    std::vector<std::string> Names() {
        std::vector<std::string> out;
        for (table->First(); !table->Eof(); table->Next()) {
            out.push_back(table->FieldByName("ElementName").AsString());
        }
        return out;
    }

    TempDir dir;
    std::string fileName;
    std::shared_ptr<db::TDatabase> db;
    std::unique_ptr<db::TTable> table;
};

} // namespace korvel::test
