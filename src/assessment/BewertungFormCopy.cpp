// Copying assessments between libraries whose usage areas may differ, and the element as JSON.

#include "assessment/AssessmentJson.h"
#include "assessment/BewertungForm.h"
#include "editor/ElementCopy.h"
#include "platform/Errors.h"
#include "platform/db/Table.h"
#include "platform/ui/Ui.h"

#include <nlohmann/json.hpp>

namespace korvel::assessment {

namespace {

const char* const kUsagesDiffer[] = {
    "Usage area shorts differ in between both assessment libraries!",
    "Additions and limits will be assigned according the respective usage shorts.",
    "The following usages are missing in target project:",
    "%s",
    "If needed add them as additional usage area first.",
    "Continue?",
};

} // namespace

bool TBewertungForm::CheckCopyElementAllowed(TCustomLibForm& target, int tabIndex) {
    auto* other = dynamic_cast<TBewertungForm*>(&target);
    if (!other)
        return false;
    const std::vector<std::string> missing = MissingUsages(Usages(GetCurIndex()), other->Usages(tabIndex));
    if (missing.empty())
        return true;
    std::string lines;
    for (const std::string& m : missing)
        lines += (lines.empty() ? "" : "\r") + m;
    std::string text;
    for (const char* line : kUsagesDiffer)
        text += (text.empty() ? "" : "\r") + (std::string(line) == "%s" ? lines : std::string(line));
    return Ui().MessageDlg(text, mtConfirmation, {mbYes, mbNo}) == mrYes;
}

void TBewertungForm::CopySingleElement(int srcTab, int dstTab, TCustomLibForm& target, bool /*keepNumbers*/,
                                       TneAction& action) {
    std::optional<TCopyEnds> ends = CopyEnds(srcTab, dstTab, target, action);
    auto* other = dynamic_cast<TBewertungForm*>(&target);
    TMyTable* source = GetMyTable(srcTab);
    TMyTable* dest = target.GetMyTable(dstTab);
    if (!ends || !other || !source || !dest)
        return;
    db::TTable& src = ends->Src;
    db::TTable& dst = ends->Dst;
    TBewertungDataSet read;
    read.Read(src, *source->GetItem(kRangesItem), *source->GetItem(kAdditionsItem));
    read.EnsureRange();
    const TBewertungDataSet mapped = MapToUsages(read, Usages(srcTab), other->Usages(dstTab));
    const std::string comment = db::FieldString(src, "Kommentar");
    std::string name = read.ElementName;

    TBulkTag bulk(dst);
    if (!CheckNameTwice(Ui(), dst, "EN", name, action))
        return;
    TPendingRecord pending(dst);
    dst.FieldByName("ElementName").SetAsString(name);
    if (db::TField* f = dst.FindField("Kommentar"); f && src.FindField("Kommentar"))
        f->SetAsString(comment);
    if (db::TField* f = dst.FindField("LastChangeDateTime"); f && src.FindField("LastChangeDateTime"))
        f->SetValue(src.FieldByName("LastChangeDateTime").Value());
    PostOrCancel(dst);
    mapped.WriteFor(dst.FieldByName("Eintrag").AsInteger(), *dest->GetItem(kRangesItem),
                    *dest->GetItem(kAdditionsItem));
    // The target shows the element it was given, not what it read before the copy.
    if (other->GetCurIndex() == dstTab)
        other->ReadDataSet();
}

nlohmann::json TBewertungForm::ElementView() {
    db::TTable* table = CurrentTable();
    if (!table || !table->Active() || table->IsEmpty())
        return nlohmann::json::object();
    return nlohmann::json(
        AssessmentToJson(data_, db::FieldString(*table, "Kommentar"), Usages(GetCurIndex())));
}

void TBewertungForm::ApplyElementView(const nlohmann::json& view) {
    db::TTable* table = CurrentTable();
    if (!table || !table->Editing())
        throw EKorvelError("No element is being edited");
    TBewertungDataSet data = data_;
    data.ElementName = db::FieldString(*table, "ElementName");
    std::string comment = db::FieldString(*table, "Kommentar");
    AssessmentFromJson(view, Usages(GetCurIndex()), data, comment);
    data.EnsureRange();
    table->FieldByName("ElementName").SetAsString(data.ElementName);
    if (db::TField* f = table->FindField("Kommentar"))
        f->SetAsString(comment);
    data_ = std::move(data);
}

} // namespace korvel::assessment
