#include "platform/db/Restructure.h"

#include "platform/db/DbErrors.h"

#include <algorithm>
#include <utility>

namespace korvel::db {

TRestructure& TRestructure::AddField(TFieldDef field) {
    steps_.push_back(Step{Step::AddField, std::move(field), {}, {}, 0});
    return *this;
}

TRestructure& TRestructure::DropField(std::string name) {
    steps_.push_back(Step{Step::DropField, {}, {}, std::move(name), 0});
    return *this;
}

TRestructure& TRestructure::ResizeField(std::string name, int newSize) {
    steps_.push_back(Step{Step::ResizeField, {}, {}, std::move(name), newSize});
    return *this;
}

TRestructure& TRestructure::AddIndex(TIndexDef index) {
    steps_.push_back(Step{Step::AddIndex, {}, std::move(index), {}, 0});
    return *this;
}

TRestructure& TRestructure::DropIndex(std::string name) {
    steps_.push_back(Step{Step::DropIndex, {}, {}, std::move(name), 0});
    return *this;
}

TTableDef TRestructure::Apply(const TTableDef& current) const {
    TTableDef def = current;
    for (const auto& step : steps_) {
        switch (step.K) {
        case Step::AddField:
            if (def.FindField(step.Field.Name)) {
                throw EDatabaseError("The field \"" + step.Field.Name + "\" already exists");
            }
            def.Fields.push_back(step.Field);
            break;
        case Step::DropField: {
            int i = def.FieldIndex(step.Name);
            if (i < 0) {
                throw EDatabaseError("The field \"" + step.Name + "\" does not exist");
            }
            if (def.Fields[static_cast<size_t>(i)].DataType == TFieldType::AutoInc) {
                throw EDatabaseError("The element number field \"" + step.Name + "\" cannot be dropped");
            }
            def.Fields.erase(def.Fields.begin() + i);
            // An index over a dropped field goes with it, as in any table engine.
            std::erase_if(def.Indexes, [&](const TIndexDef& idx) {
                return std::any_of(idx.Fields.begin(), idx.Fields.end(),
                                   [&](const std::string& f) { return SameName(f, step.Name); });
            });
            break;
        }
        case Step::ResizeField: {
            int i = def.FieldIndex(step.Name);
            if (i < 0) {
                throw EDatabaseError("The field \"" + step.Name + "\" does not exist");
            }
            auto& f = def.Fields[static_cast<size_t>(i)];
            if (f.DataType != TFieldType::String) {
                throw EDatabaseError("The field \"" + step.Name + "\" is not a string field");
            }
            f.Size = step.Size;
            break;
        }
        case Step::AddIndex:
            if (def.FindIndex(step.Index.Name)) {
                throw EDatabaseError("The index \"" + step.Index.Name + "\" already exists");
            }
            def.Indexes.push_back(step.Index);
            break;
        case Step::DropIndex: {
            auto before = def.Indexes.size();
            std::erase_if(def.Indexes, [&](const TIndexDef& idx) { return SameName(idx.Name, step.Name); });
            if (def.Indexes.size() == before) {
                throw EDatabaseError("The index \"" + step.Name + "\" does not exist");
            }
            break;
        }
        }
    }
    ValidateTableDef(def);
    return def;
}

} // namespace korvel::db
