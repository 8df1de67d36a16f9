// Layout of the directivity library: the common element fields and the directivity's own.

#include "directivity/FormRiwiX.h"
#include "platform/acoustic/Directivity.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/db/Table.h"

namespace korvel::directivity {

namespace {

TLibSchema DirectivitySchema() {
    TLibSchema schema;
    schema.FieldIndexDefs = [](TMyTable& myTable) {
        using db::TFieldType;
        db::TTableDef& def = myTable.GetTable()->Defs();
        AddElementFields(def, "ElementName");
        def.AddField("DirType", TFieldType::Word)
            .AddField("SpecType", TFieldType::Word)
            .AddField("BMin", TFieldType::Word)
            .AddField("BMax", TFieldType::Word)
            .AddField("StepH", TFieldType::Word)
            .AddField("StepV", TFieldType::Word)
            .AddField("Samples", TFieldType::Blob)
            .AddField("DirValues", TFieldType::Blob)
            // What the spreadsheet import settled of a row: whether all 36 angles were given (after the
            // mirror rules), and their energetic mean in dB (-199 when not).
            .AddField("Komplett", TFieldType::Boolean)
            .AddField("Values0", TFieldType::Float);
    };
    // A new directivity starts as the default one; its grids are written when it is first stored.
    schema.NewRecord = [](db::TTable& table) {
        const acoustic::TDirectivity d;
        auto set = [&](const char* name, int v) {
            if (db::TField* f = table.FindField(name))
                f->SetAsInteger(v);
        };
        set("DirType", static_cast<int>(d.DirType()));
        set("SpecType", static_cast<int>(d.SpecType()));
        set("BMin", d.GetBmin());
        set("BMax", d.GetBmax());
        set("StepH", d.StepH());
        set("StepV", d.StepV());
    };
    return schema;
}

} // namespace

KORVEL_REGISTER_LIB_SCHEMA(kDirectivityLibType, DirectivitySchema());

} // namespace korvel::directivity
