#pragma once

// Files of the older table generation and libraries still in an older layout, for the update and conversion
// tests, plus readers that take a library file apart (layout and rows) to compare before and after.

#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/db/Database.h"
#include "platform/db/Table.h"
#include "sound/LegacySchema.h"

#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace korvel::sound::test {

using TRow = std::map<std::string, db::TValue>;

// Appends the rows; an "Eintrag" value sets the number the row receives.
inline void WriteRows(db::TTable& t, const std::vector<TRow>& rows) {
    for (const TRow& row : rows) {
        if (auto it = row.find("Eintrag"); it != row.end())
            t.Database()->RaiseNextAutoIncValue(t.TableName(), std::get<std::int64_t>(it->second));
        t.Append();
        for (const auto& [field, value] : row)
            if (field != "Eintrag")
                t.FieldByName(field).SetValue(value);
        t.Post();
    }
}

// The kind's current library file in folder, but with the main table in the older layout.
inline void MakeOlderLayoutLibrary(int libType, const std::string& folder, const std::vector<TRow>& rows) {
    TMyTable lib(TableNames(libType));
    lib.InitLibX(folder, LibName(libType), TableNames(libType), false, true);
    SetFieldIndexDefs(lib, libType, true);
    lib.GetItem(0)->Defs() = LegacyLibTableDef(libType);
    lib.CreateDBTable();
    lib.Open();
    WriteRows(*lib.GetTable(), rows);
    lib.Close();
}

inline void MakeTableFile(const std::string& path, const db::TTableDef& def, const std::vector<TRow>& rows) {
    auto database = std::make_shared<db::TDatabase>(path);
    database->Open(true);
    const std::string name = LegacyTableName(path);
    database->CreateTable(name, def);
    db::TTable t(database, name);
    t.Open();
    WriteRows(t, rows);
    t.Close();
    database->Close();
}

// The older generation's library file of the kind in folder ("Emis.abs") with its group file.
inline void MakeOlderFile(int libType, const std::string& folder, const std::vector<TRow>& rows,
                          const std::vector<TRow>& groups) {
    const std::string path = folder + LegacyLibFileName(libType);
    MakeTableFile(path, LegacyLibTableDef(libType), rows);
    MakeTableFile(LegacyGroupFileName(path), LegacyGroupTableDef(), groups);
}

inline db::TTableDef FileLayout(int libType, const std::string& folder) {
    db::TDatabase database(folder + LibName(libType));
    database.Open();
    return database.ReadTableDef(TableNames(libType).front());
}

// Every record of the kind's main table in folder, field name -> value, in number order.
inline std::vector<TRow> FileRows(int libType, const std::string& folder) {
    TMyTable lib(TableNames(libType));
    lib.InitLibX(folder, LibName(libType), TableNames(libType), true, true);
    lib.Open();
    db::TTable& t = *lib.GetTable();
    t.SetIndexName("p");
    std::vector<TRow> rows;
    for (t.First(); !t.Eof(); t.Next()) {
        TRow row;
        for (int i = 0; i < t.FieldCount(); ++i)
            row[t.Fields(i).FieldName()] = t.Fields(i).Value();
        rows.push_back(std::move(row));
    }
    lib.Close();
    return rows;
}

// One field of every record of the kind's main table in folder, in number order.
inline std::vector<db::TValue> Column(int libType, const std::string& folder, const std::string& field) {
    std::vector<db::TValue> values;
    for (const TRow& row : FileRows(libType, folder))
        values.push_back(row.at(field));
    return values;
}

inline db::TValue Text(std::string s) {
    return db::TValue(std::move(s));
}
inline db::TValue Int(std::int64_t v) {
    return db::TValue(v);
}
inline db::TValue Num(double v) {
    return db::TValue(v);
}

// Rows written as a JSON array of objects: strings become text, whole numbers integers, others floats.
inline std::vector<TRow> Rows(std::string_view jsonText) {
    std::vector<TRow> rows;
    for (const auto& object : nlohmann::json::parse(jsonText)) {
        TRow& row = rows.emplace_back();
        for (const auto& [field, value] : object.items())
            row[field] = value.is_string()           ? Text(value.get<std::string>())
                         : value.is_number_integer() ? Int(value.get<std::int64_t>())
                                                     : Num(value.get<double>());
    }
    return rows;
}

} // namespace korvel::sound::test
