// Layout of the assessment library: the elements, their time ranges in order, and their additions by usage
// area and hour. The child tables name their element by "BwNummer".

#include "assessment/AssessmentDataSet.h"
#include "assessment/AssessmentLegacy.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/db/Table.h"

namespace korvel::assessment {

using db::TFieldType;

namespace {

// The fields both versions' time-range tables have, up to the limits. Their index "p" by element finds an
// element's rows without a scan; the cursor orders equal keys by row number, and "Nr" (the row number) grows
// with every row, so the rows come in the order they were written.
void SharedRangeFields(db::TTableDef& def) {
    def.AddField("Nr", TFieldType::AutoInc)
        .AddField("BwNummer", TFieldType::Integer)
        .AddField("ZbName", TFieldType::String, 40)
        .AddField("Bezeichner", TFieldType::String, 20)
        .AddField("AssessType", TFieldType::Word)
        .AddField("loudestN", TFieldType::Word)
        .AddField("TBewert", TFieldType::Float)
        .AddField("withPenalties", TFieldType::Boolean);
    for (int k = 1; k <= acoustic::kHoursPerDay; ++k)
        def.AddField("h" + std::to_string(k), TFieldType::Boolean);
    def.AddField("Limits", TFieldType::Blob);
}

void RangesTable(db::TTableDef& def) {
    SharedRangeFields(def);
    def.AddField("LimitName", TFieldType::String, 40)
        .AddField("LimitShort", TFieldType::String, 20)
        .AddField("Threshold", TFieldType::Float)
        .AddField("TR", TFieldType::Float)
        .AddField("RevTimeType", TFieldType::Word)
        .AddField("ClarityType", TFieldType::Word)
        .AddField("STIType", TFieldType::Word);
    def.AddIndex("p", {"BwNummer"});
}

void AdditionsTable(db::TTableDef& def) {
    def.AddField("Nr", TFieldType::AutoInc)
        .AddField("UsageId", TFieldType::Integer)
        .AddField("BwNummer", TFieldType::Integer);
    for (int k = 1; k <= acoustic::kHoursPerDay; ++k)
        def.AddField("Z" + std::to_string(k), TFieldType::Float);
    def.AddIndex("p", {"BwNummer"});
}

TLibSchema AssessmentSchema() {
    TLibSchema schema;
    schema.FieldIndexDefs = [](TMyTable& myTable) {
        AddElementFields(myTable.GetItem(kMainItem)->Defs(), "ElementName");
        RangesTable(myTable.GetItem(kRangesItem)->Defs());
        AdditionsTable(myTable.GetItem(kAdditionsItem)->Defs());
    };
    return schema;
}

} // namespace

db::TTableDef OlderMainTableDef() {
    db::TTableDef def;
    def.AddField("BwNummer", TFieldType::AutoInc)
        .AddField("BwName", TFieldType::String, 40)
        .AddField("Kommentar", TFieldType::Memo)
        .AddIndex("p", {"BwNummer"}, db::ixPrimary)
        .AddIndex("EN", {"BwName"}, db::ixCaseInsensitive);
    return def;
}

db::TTableDef OlderRangesTableDef() {
    db::TTableDef def;
    SharedRangeFields(def);
    def.AddIndex("p", {"BwNummer"});
    return def;
}

db::TTableDef OlderAdditionsTableDef() {
    db::TTableDef def;
    def.AddField("Nr", TFieldType::AutoInc)
        .AddField("BwNummer", TFieldType::Integer)
        .AddField("Kzl", TFieldType::String, 5);
    for (int k = 1; k <= acoustic::kHoursPerDay; ++k)
        def.AddField("Z" + std::to_string(k), TFieldType::Float);
    def.AddIndex("p", {"BwNummer"});
    return def;
}

KORVEL_REGISTER_LIB_SCHEMA(kAssessmentLibType, AssessmentSchema());

} // namespace korvel::assessment
