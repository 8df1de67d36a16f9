#include "platform/base/LibSchema.h"

#include "platform/Errors.h"
#include "platform/base/MyTable.h"
#include "platform/db/Table.h"

#include <map>

namespace korvel {

namespace {

std::map<int, TLibSchema>& Registry() {
    static std::map<int, TLibSchema> registry;
    return registry;
}

} // namespace

bool RegisterLibSchema(int libType, TLibSchema schema) {
    Registry()[libType] = std::move(schema);
    return true;
}

const TLibSchema* FindLibSchema(int libType) {
    auto it = Registry().find(libType);
    return it == Registry().end() ? nullptr : &it->second;
}

void SetFieldIndexDefs(TMyTable& myTable, int libType, bool clearFirst) {
    const TLibSchema* schema = FindLibSchema(libType);
    if (!schema || !schema->FieldIndexDefs) {
        throw EKorvelError("Not yet implemented for this library type!");
    }
    if (clearFirst) {
        for (int i = 0; i < myTable.GetCount(); ++i) {
            myTable.GetItem(i)->Defs() = db::TTableDef{};
        }
    }
    schema->FieldIndexDefs(myTable);
}

void OnNewRecord(db::TTable& table, int libType, bool copying) {
    if (!copying) {
        if (db::TField* changed = table.FindField("LastChangeDateTime")) {
            changed->SetAsDateTime(db::Now());
        }
    }
    if (const TLibSchema* schema = FindLibSchema(libType); schema && schema->NewRecord) {
        schema->NewRecord(table);
    }
}

void AddElementFields(db::TTableDef& def, const std::string& nameField, int nameSize) {
    def.AddField("Eintrag", db::TFieldType::AutoInc)
        .AddField(nameField, db::TFieldType::String, nameSize)
        .AddField("Kommentar", db::TFieldType::Memo)
        .AddField("LastChangeDateTime", db::TFieldType::DateTime);
    def.AddIndex("p", {"Eintrag"}, db::ixPrimary).AddIndex("EN", {nameField}, db::ixCaseInsensitive);
}

TScopedLibSchema::TScopedLibSchema(int libType, TLibSchema schema) : libType_(libType) {
    if (const TLibSchema* old = FindLibSchema(libType)) {
        had_ = true;
        previous_ = *old;
    }
    RegisterLibSchema(libType, std::move(schema));
}

TScopedLibSchema::~TScopedLibSchema() {
    if (had_) {
        Registry()[libType_] = previous_;
    } else {
        Registry().erase(libType_);
    }
}

} // namespace korvel
