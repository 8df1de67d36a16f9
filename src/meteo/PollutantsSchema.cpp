#include "meteo/PollutantsSchema.h"

#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/db/Table.h"

namespace korvel::meteo {

namespace {

TLibSchema PollutantsSchema() {
    TLibSchema schema;
    schema.FieldIndexDefs = [](TMyTable& myTable) {
        using db::TFieldType;
        db::TTableDef& def = myTable.GetTable()->Defs();
        // "Short" is the element name; the long name follows it as an ordinary field.
        AddElementFields(def, "Short", 40);
        def.AddField("StoffName", TFieldType::String, 40)
            .AddField("NOx", TFieldType::Boolean)
            .AddField("Limit_Mean", TFieldType::Float)
            .AddField("Perc", TFieldType::Float)
            .AddField("Limit_Perc", TFieldType::Float)
            .AddField("FromDayMean", TFieldType::Boolean)
            .AddField("Kornfraktion", TFieldType::Integer)
            .AddField("Sedimentation", TFieldType::Float)
            .AddField("Deposition", TFieldType::Float);
    };
    schema.NewRecord = [](db::TTable& table) {
        if (db::TField* f = table.FindField("NOx"))
            f->SetAsBoolean(false);
        if (db::TField* f = table.FindField("Perc"))
            f->SetAsFloat(kDefaultPercentile);
        if (db::TField* f = table.FindField("FromDayMean"))
            f->SetAsBoolean(false);
        if (db::TField* f = table.FindField("Kornfraktion"))
            f->SetAsInteger(0);
        for (const char* name : {"Limit_Mean", "Limit_Perc", "Sedimentation", "Deposition"})
            if (db::TField* f = table.FindField(name))
                f->SetAsFloat(0.0);
    };
    return schema;
}

} // namespace

KORVEL_REGISTER_LIB_SCHEMA(kPollutantsLibType, PollutantsSchema());

} // namespace korvel::meteo
