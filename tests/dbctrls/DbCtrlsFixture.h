#pragma once

#include "db/DbFixture.h"
#include "platform/Errors.h"
#include "platform/db/Database.h"
#include "platform/db/Table.h"
#include "platform/dbctrls/DataSource.h"
#include "platform/ui/Form.h"
#include "support/TempDir.h"
#include "support/TestUi.h"

#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <string>

namespace korvel::test {

// A library with two element tables of different layouts, a form and a data source on the first table.
class DbCtrlsFixture : public ::testing::Test {
protected:
    void SetUp() override {
        db = std::make_shared<db::TDatabase>(dir.File("Lib.abs"));
        db->Open(true);
        db->CreateTable("Elements", ElementDef());
        db->CreateTable("Others", OtherDef());
        elements = std::make_unique<db::TTable>(db, "Elements");
        elements->Open();
        others = std::make_unique<db::TTable>(db, "Others");
        others->Open();
        source.SetDataSet(elements.get());
    }

    void TearDown() override { source.SetDataSet(nullptr); }

    // The element table of the table-engine tests: a sound library's main table.
    static db::TTableDef ElementDef() { return DbFixture::ElementDef(); }

    // Another kind of library table: a shorter name and no level.
    static db::TTableDef OtherDef() {
        using db::TFieldType;
        db::TTableDef def;
        def.AddField("Nr", TFieldType::AutoInc)
            .AddField("ElementName", TFieldType::String, 20)
            .AddField("Gruppen1", TFieldType::Integer);
        def.AddIndex("p", {"Nr"}, db::ixPrimary);
        return def;
    }

    static std::int64_t Add(db::TTable& table, const std::string& name, int group = 0) {
        table.Append();
        table.FieldByName("ElementName").SetAsString(name);
        table.FieldByName("Gruppen1").SetAsInteger(group);
        table.Post();
        return table.Fields(0).AsLargeInt();
    }

    // Five elements whose name order differs from their number order, in mixed case; numbers by name.
    // The first of them is made current.
    void AddNamedElements() {
        for (const char* name : {"Delta", "alpha", "Charlie", "bravo", "Echo"})
            numbers[name] = Add(*elements, name);
        elements->First();
    }

    TempDir dir;
    std::map<std::string, std::int64_t> numbers;
    std::shared_ptr<db::TDatabase> db;
    std::unique_ptr<db::TTable> elements;
    std::unique_ptr<db::TTable> others;
    TTestUi ui;
    TForm form{ui, "EditorForm"};
    // Declared after the tables: destroyed first, as the editor frame must do it.
    TDataSource source;
};

} // namespace korvel::test
