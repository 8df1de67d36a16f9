#include "directivity/FormRiwiX.h"

#include "editor/ElementCopy.h"
#include "platform/Errors.h"
#include "platform/base/LibEditorRegistry.h"
#include "platform/legacy/Trim.h"
#include "platform/ui/LabelledRow.h"
#include "platform/ui/Ui.h"

namespace korvel::directivity {

namespace {
constexpr int kDirectivityLibType = 119;
}

TFormRiwiX::TFormRiwiX(TLibHost& host) : TCustomLibForm(host, "FormRiwiX") {
    SetLibType(kDirectivityLibType);
    DBList().SetColumns({{"Eintrag", "###", 48, true}, {"ElementName", "Directivities", 220, false}});
    editName_ = &AddLabelledRow<TEdit>(DataArea(), "EditElementName", "Element name", 130);
    editName_->SetMaxLength(40);
    auto& label = DataArea().Add<TLabel>("LabelComment");
    label.SetCaption("Comment");
    label.SetAlign(alTop);
    memo_ = &DataArea().Add<TMemo>("MemoKommentar");
    memo_->SetAlign(alClient);
}

void TFormRiwiX::SetCurIndex(int tabIndex) {
    links_.clear();
    TCustomLibForm::SetCurIndex(tabIndex);
    if (db::TTable* table = CurrentTable(); table && table->Active()) {
        links_.push_back(BindField(*editName_, DataSource(), "ElementName"));
        links_.push_back(BindField(*memo_, DataSource(), "Kommentar"));
    }
    SetReadOnly(tabIndex, TabReadOnly(tabIndex));
}

void TFormRiwiX::MainTableBeforePost(db::TTable& table) {
    TCustomLibForm::MainTableBeforePost(table);
    db::TField* name = table.FindField("ElementName");
    // A directivity without a name is not stored; the name field shows why.
    if (table.Tag != kTagBulkWork && (!name || TrimText(name->AsString()).empty()))
        Abort();
}

void TFormRiwiX::CopySingleElement(int srcTab, int dstTab, TCustomLibForm& target, bool /*keepNumbers*/,
                                   TneAction& action) {
    std::optional<TCopyEnds> ends = CopyEnds(srcTab, dstTab, target, action);
    if (!ends)
        return;
    db::TTable& src = ends->Src;
    db::TTable& dst = ends->Dst;
    std::vector<std::pair<std::string, db::TValue>> values;
    for (int i = 0; i < src.FieldCount(); ++i)
        if (src.Fields(i).DataType() != db::TFieldType::AutoInc)
            values.emplace_back(src.Fields(i).FieldName(), src.Fields(i).Value());
    std::string name = src.FieldByName("ElementName").AsString();
    TBulkTag bulk(dst);
    if (!CheckNameTwice(Ui(), dst, "EN", name, action))
        return;
    TPendingRecord pending(dst);
    for (const auto& [field, value] : values)
        if (db::TField* f = dst.FindField(field))
            f->SetValue(value);
    dst.FieldByName("ElementName").SetAsString(name);
    PostOrCancel(dst);
}

} // namespace korvel::directivity

namespace {

KORVEL_REGISTER_LIB_EDITOR(119, [](korvel::TLibHost& host, int) {
    return std::unique_ptr<korvel::TCustomLibForm>(std::make_unique<korvel::directivity::TFormRiwiX>(host));
});

} // namespace
