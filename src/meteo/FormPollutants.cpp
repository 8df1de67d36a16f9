#include "meteo/FormPollutants.h"

#include "editor/ElementCopy.h"
#include "meteo/PollutantsSchema.h"
#include "platform/Errors.h"
#include "platform/base/LibEditorRegistry.h"
#include "platform/base/LibKinds.h"
#include "platform/db/Restructure.h"
#include "platform/db/Sqlite.h"
#include "platform/dbctrls/FieldText.h"
#include "platform/legacy/Trim.h"
#include "platform/ui/LabelledRow.h"
#include "platform/ui/Ui.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

namespace korvel::meteo {

namespace {

constexpr const char* kOptionalFields[] = {"NOx", "Limit_Mean", "Perc", "Limit_Perc", "FromDayMean"};

template <class T> T FieldOr(db::TTable& table, const char* name, T fallback) {
    db::TField* f = table.FindField(name);
    if (!f || f->IsNull())
        return fallback;
    if constexpr (std::is_same_v<T, bool>)
        return f->AsBoolean();
    else if constexpr (std::is_same_v<T, int>)
        return f->AsInteger();
    else if constexpr (std::is_same_v<T, double>)
        return f->AsFloat();
    else
        return f->AsString();
}

TEdit& AddEdit(TControl& parent, const std::string& name, const std::string& caption) {
    return AddLabelledRow<TEdit>(parent, name, caption, 280);
}

TCheckBox& AddCheck(TControl& parent, const std::string& name, const std::string& caption) {
    auto& check = parent.Add<TCheckBox>(name);
    check.SetCaption(caption);
    check.SetAlign(alTop);
    check.SetHeight(24);
    return check;
}

} // namespace

TData ReadData(db::TTable& table) {
    TData d;
    d.Short = FieldOr<std::string>(table, "Short", "");
    d.StoffName = FieldOr<std::string>(table, "StoffName", "");
    // Tables from before the field knew only NO as a pollutant whose NO2 is derived.
    const bool isNO = TrimText(d.Short) == "NO";
    d.NOx = table.FindField("NOx") ? FieldOr<bool>(table, "NOx", false) : isNO;
    d.LimitMean = FieldOr<double>(table, "Limit_Mean", 0.0);
    d.Perc =
        table.FindField("Perc") ? FieldOr<double>(table, "Perc", kDefaultPercentile) : kDefaultPercentile;
    d.LimitPerc = FieldOr<double>(table, "Limit_Perc", 0.0);
    d.FromDayMean = FieldOr<bool>(table, "FromDayMean", false);
    d.Kornfraktion = FieldOr<int>(table, "Kornfraktion", 0);
    d.Sedimentation = FieldOr<double>(table, "Sedimentation", 0.0);
    d.Deposition = FieldOr<double>(table, "Deposition", 0.0);
    d.Kommentar = FieldOr<std::string>(table, "Kommentar", "");
    return d;
}

void WriteData(const TData& d, db::TTable& table) {
    auto set = [&](const char* name, auto value) {
        db::TField* f = table.FindField(name);
        if (!f)
            return;
        using V = decltype(value);
        if constexpr (std::is_same_v<V, bool>)
            f->SetAsBoolean(value);
        else if constexpr (std::is_same_v<V, int>)
            f->SetAsInteger(value);
        else if constexpr (std::is_same_v<V, double>)
            f->SetAsFloat(value);
        else
            f->SetAsString(value);
    };
    set("Short", d.Short);
    set("StoffName", d.StoffName);
    set("NOx", d.NOx);
    set("Limit_Mean", d.LimitMean);
    set("Perc", d.Perc);
    set("Limit_Perc", d.LimitPerc);
    set("FromDayMean", d.FromDayMean);
    set("Kornfraktion", d.Kornfraktion);
    set("Sedimentation", d.Sedimentation);
    set("Deposition", d.Deposition);
    set("Kommentar", d.Kommentar);
}

TFormPollutants::TFormPollutants(TLibHost& host) : TCustomLibForm(host, "FormPollutants") {
    SetLibType(kPollutantsLibType);
    DBList().SetColumns({{"Eintrag", "###", 48, true},
                         {"Short", "Short name", 100, false},
                         {"StoffName", "Name", 200, false}});
    BuildPages();
    DataSource().AddListener([this](db::TDataEvent event, const db::TField*) {
        if (event == db::TDataEvent::RecordChange || event == db::TDataEvent::DataSetChange)
            ShowElement();
    });
}

void TFormPollutants::BuildPages() {
    auto& pages = DataArea().Add<TPageControl>("PageControl");
    pages.SetAlign(alClient);
    TTabSheet& props = pages.AddPage("TabProperties", "Properties");
    TTabSheet& comments = pages.AddPage("TabComments", "Comments");

    links_.push_back(
        BindField(AddEdit(props, "EditStoffName", "Pollutant name (40 char)"), DataSource(), "StoffName"));
    links_.push_back(BindField(AddEdit(props, "EditShort", "Short name"), DataSource(), "Short"));
    optional_["NOx"].Control = &AddCheck(props, "CBNOx", "Gauss: Derive NO2 from NOx (Romberg approach)");

    auto& mean = props.Add<TGroupBox>("GroupMean");
    mean.SetCaption("Mean value");
    mean.SetAlign(alTop);
    mean.SetHeight(60);
    optional_["Limit_Mean"].Control = &AddEdit(mean, "EditLimitMean", "Limit value [µg/m³] (Info)");

    auto& perc = props.Add<TGroupBox>("GroupPercentile");
    perc.SetCaption("Percentile");
    perc.SetAlign(alTop);
    perc.SetHeight(120);
    optional_["Perc"].Control = &AddEdit(perc, "EditPerc", "Percentile value [%]");
    optional_["Limit_Perc"].Control =
        &AddEdit(perc, "EditLimitPerc", "Limit value / Threshold [µg/m³] (Info)");
    optional_["FromDayMean"].Control = &AddCheck(perc, "CBFromDayMean", "From day mean");

    cbKornfraktion_ = &AddLabelledRow<TComboBox>(props, "CBKornfraktion", "Gauss: Particle size class", 280);
    cbKornfraktion_->SetStyle(csDropDownList);
    cbKornfraktion_->SetItems({std::begin(kParticleSizeClasses), std::end(kParticleSizeClasses)});
    cbKornfraktion_->OnChange = Bind(&TFormPollutants::CBKornfraktionChange);

    links_.push_back(BindField(AddEdit(props, "EditSedimentation", "MISKAM: Sedimentation speed [m/s]"),
                               DataSource(), "Sedimentation"));
    links_.push_back(BindField(AddEdit(props, "EditDeposition", "MISKAM/GRALPP: Deposition speed [m/s]"),
                               DataSource(), "Deposition"));

    auto& memo = comments.Add<TMemo>("MemoKommentar");
    memo.SetAlign(alClient);
    links_.push_back(BindField(memo, DataSource(), "Kommentar"));
}

void TFormPollutants::BindOptionalFields() {
    db::TTable* table = CurrentTable();
    for (const char* name : kOptionalFields) {
        TOptional& opt = optional_[name];
        const bool has = table && table->FindField(name);
        if (has && !opt.Link) {
            if (auto* edit = dynamic_cast<TEdit*>(opt.Control))
                opt.Link = BindField(*edit, DataSource(), name);
            else if (auto* check = dynamic_cast<TCheckBox*>(opt.Control))
                opt.Link = BindField(*check, DataSource(), name);
        } else if (!has) {
            opt.Link.reset();
        }
    }
}

void TFormPollutants::ShowElement() {
    db::TTable* table = CurrentTable();
    if (table && table->Tag == kTagBulkWork)
        return;
    data_ = table && !table->IsEmpty() ? ReadData(*table) : TData{};
    TSuspendEvents quiet(*cbKornfraktion_);
    const bool known = data_.Kornfraktion >= 0 && data_.Kornfraktion < kParticleSizeClassCount;
    cbKornfraktion_->SetItemIndex(known ? data_.Kornfraktion : -1);
    // Controls of fields the table lacks show what the element means without them.
    auto show = [&](const char* name, auto value) {
        TOptional& opt = optional_[name];
        if (opt.Link)
            return;
        TSuspendEvents still(*opt.Control);
        if (auto* edit = dynamic_cast<TEdit*>(opt.Control)) {
            if constexpr (std::is_same_v<decltype(value), double>)
                edit->SetText(FloatText(value));
        } else if (auto* check = dynamic_cast<TCheckBox*>(opt.Control)) {
            if constexpr (std::is_same_v<decltype(value), bool>)
                check->SetChecked(value);
        }
    };
    show("NOx", data_.NOx);
    show("Limit_Mean", data_.LimitMean);
    show("Perc", data_.Perc);
    show("Limit_Perc", data_.LimitPerc);
    show("FromDayMean", data_.FromDayMean);
}

void TFormPollutants::CBKornfraktionChange(TComponent& /*sender*/) {
    db::TTable* table = CurrentTable();
    if (!table || !table->CanModify() || cbKornfraktion_->ItemIndex() < 0)
        return;
    if (table->State() == db::TDataSetState::Browse) {
        if (table->IsEmpty())
            return;
        table->Edit();
    }
    table->FieldByName("Kornfraktion").SetAsInteger(cbKornfraktion_->ItemIndex());
    data_.Kornfraktion = cbKornfraktion_->ItemIndex();
}

void TFormPollutants::SetCurIndex(int tabIndex) {
    TCustomLibForm::SetCurIndex(tabIndex);
    BindOptionalFields();
    ShowElement();
    SetReadOnly(tabIndex, TabReadOnly(tabIndex));
}

void TFormPollutants::SetReadOnly(int tabIndex, bool readOnly) {
    TCustomLibForm::SetReadOnly(tabIndex, readOnly);
    if (tabIndex != GetCurIndex())
        return;
    // A value without a field cannot be stored: its control only shows it.
    for (auto& [name, opt] : optional_) {
        if (opt.Link)
            continue;
        if (auto* edit = dynamic_cast<TEdit*>(opt.Control))
            edit->SetReadOnly(true);
        else
            opt.Control->SetEnabled(false);
    }
}

void TFormPollutants::OpenLibrary(int tabIndex, const std::string& fileName) {
    TCustomLibForm::OpenLibrary(tabIndex, fileName);
    if (GetPathType(tabIndex) != TLibPathType::System)
        UpdateLibraryFields(tabIndex);
}

void TFormPollutants::UpdateLibraryFields(int tabIndex) {
    TMyTable* myTable = GetMyTable(tabIndex);
    db::TTable* table = myTable ? myTable->GetTable() : nullptr;
    if (!table || !table->Active() || table->FindField("FromDayMean"))
        return;
    db::TDatabase& database = myTable->Database();
    const bool wasReadOnly = database.ReadOnly();
    table->Close();
    if (wasReadOnly)
        database.SetReadOnly(false);
    std::optional<std::string> error = database.Restructure(
        table->TableName(), db::TRestructure().AddField({"FromDayMean", db::TFieldType::Boolean}));
    if (!error) {
        // One statement for all elements: no element's checks run, and a large library is done at once.
        try {
            database.Connection().Exec("UPDATE " + db::QuoteIdent(table->TableName()) + " SET " +
                                       db::QuoteIdent("FromDayMean") + " = 0");
        } catch (const std::exception& e) {
            error = e.what(); // the field stays empty, which reads as false
        }
    }
    if (wasReadOnly)
        database.SetReadOnly(true);
    if (!table->Active())
        table->Open();
    if (error)
        Ui().MessageDlg(*error, mtError, {mbOK});
}

void TFormPollutants::MainTableBeforePost(db::TTable& table) {
    TCustomLibForm::MainTableBeforePost(table);
    const std::string name = TrimText(FieldOr<std::string>(table, "Short", ""));
    if (name.empty()) {
        if (table.Tag != kTagBulkWork)
            Ui().MessageDlg("No element name entered, please enter a name first!", mtError, {mbOK});
        Abort();
    }
    const int sizeClass = FieldOr<int>(table, "Kornfraktion", 0);
    if (sizeClass < 0 || sizeClass >= kParticleSizeClassCount)
        throw EKorvelError("The particle size class must lie between 0 and 4.");
    if (table.FindField("Perc")) {
        const double perc = FieldOr<double>(table, "Perc", kDefaultPercentile);
        if (!(perc > 0.0 && perc <= 100.0))
            throw EKorvelError("The percentile value must lie above 0 and not above 100 %.");
    }
    for (const char* field : {"Limit_Mean", "Limit_Perc", "Sedimentation", "Deposition"})
        if (db::TField* f = table.FindField(field); f && !f->IsNull() && !std::isfinite(f->AsFloat()))
            throw EKorvelError(std::string("The value of \"") + field + "\" is not a number.");
}

void TFormPollutants::CopySingleElement(int srcTab, int dstTab, TCustomLibForm& target, bool /*keepNumbers*/,
                                        TneAction& action) {
    std::optional<TCopyEnds> ends = CopyEnds(srcTab, dstTab, target, action);
    if (!ends)
        return;
    db::TTable* src = &ends->Src;
    db::TTable* dst = &ends->Dst;
    TData data = ReadData(*src);
    db::TField* stamp = src->FindField("LastChangeDateTime");
    const db::TValue changed = stamp ? stamp->Value() : db::TValue{};
    std::string name = data.Short;

    TBulkTag bulk(*dst);
    if (!CheckNameTwice(Ui(), *dst, "EN", name, action))
        return;
    data.Short = name;
    WriteData(data, *dst);
    if (db::TField* f = dst->FindField("LastChangeDateTime"))
        f->SetValue(changed);
    PostOrCancel(*dst);
}

nlohmann::json TFormPollutants::ElementView() {
    db::TTable* table = CurrentTable();
    if (!table || table->IsEmpty())
        return nlohmann::json::object();
    const TData d = ReadData(*table);
    return {{"Short", d.Short},
            {"StoffName", d.StoffName},
            {"NOx", d.NOx},
            {"Limit_Mean", d.LimitMean},
            {"Perc", d.Perc},
            {"Limit_Perc", d.LimitPerc},
            {"FromDayMean", d.FromDayMean},
            {"Kornfraktion", d.Kornfraktion},
            {"ParticleSizeClass",
             kParticleSizeClasses[std::clamp(d.Kornfraktion, 0, kParticleSizeClassCount - 1)]},
            {"Sedimentation", d.Sedimentation},
            {"Deposition", d.Deposition},
            {"Kommentar", d.Kommentar}};
}

void TFormPollutants::ApplyElementView(const nlohmann::json& view) {
    db::TTable* table = CurrentTable();
    if (!table)
        throw EKorvelError("No library is open");
    if (!view.is_object())
        throw EKorvelError("An element must be a JSON object");
    // The size-class text is the readable twin of "Kornfraktion"; it is not stored on its own.
    nlohmann::json fields = view;
    fields.erase("ParticleSizeClass");
    // A library from before a field keeps the value's default; the view of any pollutant still applies.
    for (const char* member : {"Short", "StoffName", "NOx", "Limit_Mean", "Perc", "Limit_Perc", "FromDayMean",
                               "Kornfraktion", "Sedimentation", "Deposition", "Kommentar"})
        if (!table->FindField(member))
            fields.erase(member);
    TCustomLibForm::ApplyElementView(fields);
    RefreshElement();
}

void TFormPollutants::RefreshElement() {
    ShowElement();
}

} // namespace korvel::meteo

namespace {

KORVEL_REGISTER_LIB_EDITOR(korvel::meteo::kPollutantsLibType, [](korvel::TLibHost& host, int) {
    return std::unique_ptr<korvel::TCustomLibForm>(std::make_unique<korvel::meteo::TFormPollutants>(host));
});

} // namespace
