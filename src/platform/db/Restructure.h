#pragma once

#include "platform/db/FieldDefs.h"

#include <string>
#include <vector>

namespace korvel::db {

// A list of changes to a table's declarations, applied by TDatabase::Restructure in one transaction.
class TRestructure {
public:
    TRestructure& AddField(TFieldDef field);
    TRestructure& DropField(std::string name);
    TRestructure& ResizeField(std::string name, int newSize);
    TRestructure& AddIndex(TIndexDef index);
    TRestructure& DropIndex(std::string name);

    bool Empty() const { return steps_.empty(); }

    // The declarations after the change; throws EDatabaseError when a step does not fit the table.
    TTableDef Apply(const TTableDef& current) const;

private:
    struct Step {
        enum Kind { AddField, DropField, ResizeField, AddIndex, DropIndex } K;
        TFieldDef Field;
        TIndexDef Index;
        std::string Name;
        int Size = 0;
    };
    std::vector<Step> steps_;
};

} // namespace korvel::db
