// Layout of the building-acoustics assessment library: the common element fields and the scheme's blob.

#include "building/FormBAIAssess.h"
#include "platform/acoustic/BAIAssess.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/db/Table.h"

namespace korvel::building {

namespace {

TLibSchema BAIAssessSchema() {
    TLibSchema schema;
    schema.FieldIndexDefs = [](TMyTable& myTable) {
        db::TTableDef& def = myTable.GetTable()->Defs();
        AddElementFields(def, "ElementName");
        // CBOR with its version (docs/bai-assessment.md); empty for a new element, which has no scheme yet.
        def.AddField(acoustic::kBAISchemeField, db::TFieldType::Blob);
    };
    return schema;
}

} // namespace

KORVEL_REGISTER_LIB_SCHEMA(kBAIAssessLibType, BAIAssessSchema());

} // namespace korvel::building
