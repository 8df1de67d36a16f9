#include "sound/LegacySchema.h"

#include "platform/Errors.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"

#include <filesystem>

namespace korvel::sound {

using db::TFieldType;

namespace {

// Number, name, comment and change time, with the indexes "p" and "EN" of the current tables.
db::TTableDef ElementTable() {
    db::TTableDef def;
    AddElementFields(def, "ElementName", 40);
    return def;
}

} // namespace

std::string LegacyLibFileName(int libType) {
    switch (libType) {
    case acoustic::kEmissionLibType:
        return "Emis.abs";
    case acoustic::kAbsorptionLibType:
        return "Absor.abs";
    case acoustic::kTransmissionLibType:
        return "Trans.abs";
    case acoustic::kAttenuationLibType:
        return "Atten.abs";
    default:
        return {};
    }
}

std::string LegacyGroupFileName(const std::string& libFile) {
    std::filesystem::path p(libFile);
    const std::string stem = p.stem().string();
    return (p.parent_path() / (stem + "Grp.abs")).string();
}

std::string LegacyTableName(const std::string& fileName) {
    return std::filesystem::path(fileName).stem().string();
}

db::TTableDef LegacyLibTableDef(int libType) {
    db::TTableDef def = ElementTable();
    def.AddField("Gruppen1", TFieldType::Integer)
        .AddField("Gruppen2", TFieldType::Integer)
        .AddField("Gruppen3", TFieldType::Integer)
        .AddField("Gruppen4", TFieldType::Integer)
        .AddField("SpecType", TFieldType::Word)
        .AddField("BMin", TFieldType::Word)
        .AddField("BMax", TFieldType::Word)
        .AddField("Spectrum", TFieldType::Blob)
        .AddField("SumValue", TFieldType::Float)
        .AddField("OLE1", TFieldType::String, 255)
        .AddField("OLE2", TFieldType::String, 255)
        .AddField("Graphic", TFieldType::Graphic);
    for (int i = 1; i <= 4; ++i)
        def.AddField("Kennwerte" + std::to_string(i), TFieldType::Float);
    for (int i = 1; i <= 4; ++i)
        def.AddField("KennNames" + std::to_string(i), TFieldType::String, 40);
    if (libType == acoustic::kEmissionLibType) {
        def.AddField("dBX", TFieldType::String, 1)
            .AddField("EmisRef", TFieldType::Word)
            .AddField("VarList", TFieldType::Blob)
            .AddField("OneForAll", TFieldType::Word)
            .AddField("RiwiArt", TFieldType::Word);
        for (int i = 1; i <= kLegacyDirBands; ++i)
            def.AddField("RichtwirkungenH" + std::to_string(i), TFieldType::Integer);
        for (int i = 1; i <= kLegacyDirBands; ++i)
            def.AddField("RichtwirkungenV" + std::to_string(i), TFieldType::Integer);
    }
    if (libType == acoustic::kTransmissionLibType)
        def.AddField("TransType", TFieldType::Word)
            .AddField("Rw", TFieldType::Float)
            .AddField("C", TFieldType::Float)
            .AddField("Ctr", TFieldType::Float);
    return def;
}

db::TTableDef LegacyGroupTableDef() {
    db::TTableDef def;
    def.AddField("Eintrag", TFieldType::AutoInc)
        .AddField("GruppenName", TFieldType::String, 40)
        .AddIndex("p", {"Eintrag"}, db::ixPrimary)
        .AddIndex("EN", {"GruppenName"}, db::ixCaseInsensitive);
    return def;
}

db::TTableDef LegacyRiwiTableDef() {
    db::TTableDef def = ElementTable();
    def.AddField("Step", TFieldType::Word).AddField("Werte", TFieldType::Blob);
    return def;
}

db::TTableDef LegacyRiwi3DTableDef() {
    db::TTableDef def = ElementTable();
    def.AddField("StepH", TFieldType::Word)
        .AddField("StepV", TFieldType::Word)
        .AddField("Werte", TFieldType::Blob);
    return def;
}

std::unique_ptr<TMyTable> OpenOlderTable(const std::string& fileName) {
    const std::filesystem::path path(fileName);
    const std::string name = LegacyTableName(fileName);
    auto lib = std::make_unique<TMyTable>(std::vector<std::string>{name});
    lib->InitLibX(path.parent_path().string(), path.filename().string(), {name}, true, true);
    lib->Open();
    if (!lib->GetTable()->Active())
        throw EKorvelError("\"" + fileName + "\" holds no table \"" + name + "\".");
    lib->GetTable()->SetIndexName("p");
    return lib;
}

} // namespace korvel::sound
