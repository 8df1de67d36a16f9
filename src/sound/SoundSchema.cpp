#include "sound/SoundSchema.h"

#include "platform/acoustic/LibSpectrum.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/db/Table.h"

#include <random>

namespace korvel::sound {

namespace {

using acoustic::kAbsorptionLibType;
using acoustic::kAttenuationLibType;
using acoustic::kEmissionLibType;
using acoustic::kTransmissionLibType;
using db::TFieldType;

void GroupTable(db::TTableDef& def) {
    def.AddField("Eintrag", TFieldType::AutoInc)
        .AddField("GruppenName", TFieldType::String, 40)
        .AddIndex("p", {"Eintrag"}, db::ixPrimary)
        .AddIndex("EN", {"GruppenName"}, db::ixCaseInsensitive);
}

void MainTable(db::TTableDef& def, int libType) {
    AddElementFields(def, "ElementName", 40);
    def.AddField("Gruppen1", TFieldType::Integer)
        .AddField("Gruppen2", TFieldType::Integer)
        .AddField("Gruppen3", TFieldType::Integer)
        .AddField("Gruppen4", TFieldType::Integer)
        .AddField("SpecType", TFieldType::Word)
        .AddField("BMin", TFieldType::Word)
        .AddField("BMax", TFieldType::Word)
        .AddField("Spectrum", TFieldType::Blob)
        .AddField("SumValue", TFieldType::Float)
        .AddField("AddProp", TFieldType::Blob)
        .AddField("OLE1", TFieldType::String, 255)
        .AddField("OLE2", TFieldType::String, 255)
        .AddField("Graphic", TFieldType::Graphic);
    if (libType != kAttenuationLibType)
        def.AddField("Color", TFieldType::Integer);
    switch (libType) {
    case kEmissionLibType:
        def.AddField("dBX", TFieldType::String, 1)
            .AddField("EmisRef", TFieldType::Word)
            .AddField("HeightAboveGround", TFieldType::Float)
            .AddField("Sigma", TFieldType::Float)
            .AddField("Directivity", TFieldType::Integer)
            .AddField("EmisEntrytype", TFieldType::Word)
            .AddField("VarListIn", TFieldType::Blob)
            .AddField("VarListOut", TFieldType::Blob)
            .AddField("VarlistLoc", TFieldType::Blob)
            .AddField("Formula", TFieldType::Memo);
        break;
    case kAbsorptionLibType:
        def.AddField("ScatValues", TFieldType::Blob);
        break;
    case kTransmissionLibType:
        def.AddField("TransType", TFieldType::Word)
            .AddField("Rw", TFieldType::Float)
            .AddField("C", TFieldType::Float)
            .AddField("Ctr", TFieldType::Float)
            .AddField("BauteilTyp", TFieldType::Integer);
        break;
    default:
        break;
    }
}

// A new element starts as an empty third-octave spectrum with its kind's defaults.
void NewRecord(db::TTable& table, int libType) {
    auto spectrum = acoustic::CreateLibSpectrum(libType);
    if (!spectrum)
        return;
    if (libType != kAttenuationLibType)
        spectrum->Color = RandomElementColor();
    // Write the defaults field by field: SaveToLibrary needs the library wrapper, the table suffices here.
    auto set = [&](const char* name, auto value) {
        if (db::TField* f = table.FindField(name)) {
            if constexpr (std::is_same_v<decltype(value), double>)
                f->SetAsFloat(value);
            else
                f->SetAsInteger(static_cast<int>(value));
        }
    };
    for (const char* g : {"Gruppen1", "Gruppen2", "Gruppen3", "Gruppen4"})
        set(g, 0);
    set("SpecType", static_cast<int>(spectrum->SpecType()));
    set("BMin", spectrum->Bmin());
    set("BMax", spectrum->Bmax());
    set("Color", static_cast<int>(spectrum->Color));
    if (libType == kEmissionLibType) {
        if (db::TField* f = table.FindField("dBX"))
            f->SetAsString("A");
        set("EmisRef", 0);
        set("EmisEntrytype", 0);
        set("Directivity", 0);
        set("HeightAboveGround", 0.0);
        set("Sigma", 0.0);
    }
    if (libType == kTransmissionLibType) {
        set("TransType", 0);
        set("BauteilTyp", 0);
        set("Rw", 0.0);
        set("C", 0.0);
        set("Ctr", 0.0);
    }
}

TLibSchema SoundSchema(int libType) {
    TLibSchema schema;
    schema.FieldIndexDefs = [libType](TMyTable& myTable) {
        MainTable(myTable.GetItem(0)->Defs(), libType);
        if (myTable.GetCount() > 1)
            GroupTable(myTable.GetItem(1)->Defs());
    };
    schema.NewRecord = [libType](db::TTable& table) {
        NewRecord(table, libType);
    };
    return schema;
}

} // namespace

std::uint32_t RandomElementColor() {
    static std::mt19937 gen{std::random_device{}()};
    std::uniform_int_distribution<std::uint32_t> d(0, 254);
    const std::uint32_t r = d(gen), g = d(gen), b = d(gen);
    return (r << 16) | (g << 8) | b;
}

KORVEL_REGISTER_LIB_SCHEMA(kEmissionLibType, SoundSchema(kEmissionLibType));
KORVEL_REGISTER_LIB_SCHEMA(kAbsorptionLibType, SoundSchema(kAbsorptionLibType));
KORVEL_REGISTER_LIB_SCHEMA(kTransmissionLibType, SoundSchema(kTransmissionLibType));
KORVEL_REGISTER_LIB_SCHEMA(kAttenuationLibType, SoundSchema(kAttenuationLibType));

} // namespace korvel::sound
