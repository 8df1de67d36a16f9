#pragma once

// Paradox tables (".DB") read through pxlib: the column names and types and every row's values.

#include "platform/db/Value.h"

#include <string>
#include <vector>

namespace korvel::formats {

struct TForeignColumn {
    std::string Name;
    // Text, Integer, Float, Boolean, Date, Time, Timestamp, Memo, Blob, AutoInc or Other.
    std::string Type;
    int Size = 0;
};

// A table read from a foreign file: columns, then rows of values in column order. Texts are UTF-8;
// dates and times are ISO texts; empty cells are null.
struct TForeignTable {
    std::vector<TForeignColumn> Columns;
    std::vector<std::vector<db::TValue>> Rows;

    int ColumnIndex(const std::string& name) const; // case-insensitive, -1 when absent
};

// Reads a whole Paradox table. Throws EKorvelError naming the file for a file that is missing, is not a
// Paradox table or is damaged. codePage is used when the table does not name its own.
TForeignTable ReadParadoxTable(const std::string& fileName, int codePage = 1252);

} // namespace korvel::formats
