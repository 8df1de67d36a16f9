#include "tools/mksystem/BAIAssessElementSource.h"

#include "building/BAIAssessJson.h"
#include "building/FormBAIAssess.h"
#include "platform/Errors.h"
#include "platform/acoustic/BAIAssess.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/db/Table.h"
#include "tools/mksystem/ElementText.h"
#include "tools/mksystem/SystemLibSource.h"

namespace korvel::tools {

using nlohmann::json;

json WithoutConditionSources(const json& element) {
    json object = element;
    auto classes = object.find("classes");
    if (classes == object.end() || !classes->is_array())
        return object;
    for (std::size_t i = 0; i < classes->size(); ++i) {
        json& c = (*classes)[i];
        if (!c.is_object() || !c.contains("rooms") || !c["rooms"].is_object())
            continue;
        for (auto& [room, conditions] : c["rooms"].items()) {
            if (!conditions.is_array())
                continue;
            for (std::size_t k = 0; k < conditions.size(); ++k) {
                json& cond = conditions[k];
                if (!cond.is_object() || !cond.contains("source"))
                    continue;
                if (!cond["source"].is_string())
                    throw EKorvelError("member \"classes[" + std::to_string(i) + "].rooms." + room + "[" +
                                       std::to_string(k) + "].source\" must be a text citing the limit");
                cond.erase("source");
            }
        }
    }
    return object;
}

TBAIAssessElementWriter::TBAIAssessElementWriter(TMyTable& lib) : lib_(lib) {}

void TBAIAssessElementWriter::Append(const json& element) {
    const json object = WithoutConditionSources(element);
    acoustic::TBAIAssess scheme;
    std::string name, comment;
    try {
        building::BAIAssessFromJson(object, scheme, name, comment);
    } catch (const EKorvelError& e) {
        throw EKorvelError(ContinuedMessage(e.what()));
    }
    db::TTable& table = *lib_.GetTable();
    table.Append();
    OnNewRecord(table, building::kBAIAssessLibType, false);
    SetElementText(table, NameFieldName(building::kBAIAssessLibType), kElementNameMember, name);
    SetElementText(table, "Kommentar", "comment", comment);
    scheme.WriteToDB(table);
    table.Post();
}

KORVEL_REGISTER_ELEMENT_WRITER(building::kBAIAssessLibType,
                               [](TMyTable& lib, const TSystemLibSource&) -> std::unique_ptr<TElementWriter> {
                                   return std::make_unique<TBAIAssessElementWriter>(lib);
                               });

} // namespace korvel::tools
