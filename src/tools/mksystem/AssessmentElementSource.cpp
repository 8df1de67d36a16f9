// Elements of the assessment library source: the command line's assessment objects, keyed by the usage
// shorts the source lists under "usages"; those areas are written beside the library.

#include "assessment/AssessmentJson.h"
#include "platform/Errors.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/db/Table.h"
#include "tools/mksystem/ElementText.h"
#include "tools/mksystem/ElementWriter.h"
#include "tools/mksystem/SystemLibSource.h"

namespace korvel::tools {

namespace {

using nlohmann::json;
using namespace assessment;

TUsages ReadSourceUsages(const json& list) {
    if (list.is_null())
        return DefaultUsages();
    if (!list.is_array() || list.size() != static_cast<std::size_t>(kUsageCount))
        throw EKorvelError("\"usages\" must list " + std::to_string(kUsageCount) + " usage areas");
    TUsages usages;
    for (std::size_t i = 0; i < usages.size(); ++i) {
        const json& u = list[i];
        const std::string where = "usage area " + std::to_string(i + 1);
        if (!u.is_object() || !u.contains("short") || !u["short"].is_string() || !u.contains("description") ||
            !u["description"].is_string())
            throw EKorvelError(where + " needs a \"short\" and a \"description\" text");
        for (const auto& [key, value] : u.items())
            if (key != "short" && key != "description" && key != "source")
                throw EKorvelError(where + ": unknown member \"" + key + "\"");
        usages[i] = {u["short"].get<std::string>(), u["description"].get<std::string>()};
        if (!usages[i].Short.empty() && FindUsageByShort(usages, usages[i].Short) != static_cast<int>(i) + 1)
            throw EKorvelError(where + ": the short \"" + usages[i].Short + "\" is given to an earlier area");
    }
    return usages;
}

class TAssessmentElementWriter : public TElementWriter {
public:
    TAssessmentElementWriter(TMyTable& lib, const TUsages& usages) : lib_(lib), usages_(usages) {}

    void Append(const json& element) override {
        // "sources" carries the citations of a source file; the library keeps them in the comment.
        json object = element;
        object.erase("sources");
        TBewertungDataSet data;
        std::string comment;
        try {
            AssessmentFromJson(object, usages_, data, comment);
        } catch (const EKorvelError& e) {
            throw EKorvelError(ContinuedMessage(e.what()));
        }
        if (data.Ranges.empty())
            throw EKorvelError("member \"ranges\" is missing: an assessment has at least one time range");
        db::TTable& main = *lib_.GetItem(kMainItem);
        main.Append();
        OnNewRecord(main, kAssessmentLibType, false);
        SetElementText(main, "ElementName", "name", data.ElementName);
        SetElementText(main, "Kommentar", "comment", comment);
        main.Post();
        data.WriteFor(main.FieldByName("Eintrag").AsInteger(), *lib_.GetItem(kRangesItem),
                      *lib_.GetItem(kAdditionsItem));
    }

    void Finish(const std::string& outFolder) override { WriteUsagesToLib(outFolder, usages_); }

private:
    TMyTable& lib_;
    TUsages usages_;
};

std::unique_ptr<TElementWriter> MakeAssessmentWriter(TMyTable& lib, const TSystemLibSource& source) {
    return std::make_unique<TAssessmentElementWriter>(lib, ReadSourceUsages(source.Usages));
}

} // namespace

KORVEL_REGISTER_ELEMENT_WRITER(kAssessmentLibType, MakeAssessmentWriter);

} // namespace korvel::tools
