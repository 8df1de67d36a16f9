#include "tools/mksystem/DirectivityElementSource.h"

#include "directivity/DirectivityJson.h"
#include "platform/Errors.h"
#include "platform/acoustic/Directivity.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/db/Table.h"
#include "sound/SoundSchema.h"
#include "tools/mksystem/ElementText.h"
#include "tools/mksystem/SystemLibSource.h"

namespace korvel::tools {

namespace {

using nlohmann::json;

[[noreturn]] void Bad(const std::string& member, const std::string& why) {
    throw EKorvelError("member \"" + member + "\" " + why);
}

// The reader ignores a given dLtot and keeps a grid of 0 dB when nothing fills it; in a source both hide a
// mistake.
void CheckSourceOnlyMembers(const json& element) {
    if (auto bands = element.find("bands"); bands != element.end() && bands->is_object())
        for (const auto& [band, item] : bands->items())
            if (item.is_object() && item.contains("dLtot"))
                Bad("bands." + band + ".dLtot", "is computed from the grid and cannot be given");
    auto samples = element.find("samples");
    if (samples != element.end() && samples->is_array() && !samples->empty() && !element.contains("bands") &&
        !element.contains("interpolation"))
        Bad("samples",
            "are given without \"interpolation\" or a grid in \"bands\": the grid would stay 0 dB");
}

} // namespace

TDirectivityElementWriter::TDirectivityElementWriter(TMyTable& lib) : lib_(lib) {}

void TDirectivityElementWriter::Append(const json& element) {
    CheckSourceOnlyMembers(element);
    db::TTable& table = *lib_.GetTable();
    table.Append();
    OnNewRecord(table, sound::kDirectivityLibType, false);
    acoustic::TDirectivity dir;
    std::string name, comment;
    try {
        directivity::DirectivityFromJson(element, dir, name, comment);
    } catch (const EKorvelError& e) {
        throw EKorvelError(ContinuedMessage(e.what()));
    }
    SetElementText(table, NameFieldName(sound::kDirectivityLibType), "name", name);
    SetElementText(table, "Kommentar", "comment", comment);
    dir.SaveToLibrary(table, name);
    table.Post();
}

KORVEL_REGISTER_ELEMENT_WRITER(sound::kDirectivityLibType,
                               [](TMyTable& lib, const TSystemLibSource&) -> std::unique_ptr<TElementWriter> {
                                   return std::make_unique<TDirectivityElementWriter>(lib);
                               });

} // namespace korvel::tools
