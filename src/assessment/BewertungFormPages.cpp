// The assessment editor's pages, and the Define page: one tab per time range with the range's settings.

#include "assessment/BewertungForm.h"
#include "platform/Errors.h"
#include "platform/dbctrls/FieldText.h"
#include "platform/ui/LabelledRow.h"
#include "platform/ui/Ui.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

namespace korvel::assessment {

using acoustic::TZeitBereich;

namespace {

constexpr int kLabelWidth = 170;
constexpr int kRangeWidth = 620;
constexpr int kRadioItemHeight = 24;
constexpr int kMaxLoudestN = 24;

std::string Fixed(double value, int decimals) {
    char buf[48];
    // Rounding to nothing is no sign.
    const double shown = std::fabs(value) < 0.5 * std::pow(10.0, -decimals) ? 0.0 : value;
    std::snprintf(buf, sizeof buf, "%.*f", decimals, shown);
    return buf;
}

// A number typed into an edit; nothing for an empty or unreadable text (the edit shows the stored value
// again when it is left).
std::optional<double> NumberOf(const std::string& text) {
    try {
        return ParseDecimalText(text);
    } catch (const EKorvelError&) {
        return std::nullopt;
    }
}

bool In(int type, std::initializer_list<int> types) {
    return std::find(types.begin(), types.end(), type) != types.end();
}

TControl& RowOf(TControl& control) {
    return *control.Parent();
}

} // namespace

template <class F> void TBewertungForm::ChangeRange(F change) {
    if (showing_)
        return;
    TZeitBereich* range = CurrentRange();
    if (!range || !MarkModified()) {
        RangeToControls();
        return;
    }
    change(*range);
}

void TBewertungForm::BuildPages() {
    editName_ = &AddLabelledRow<TEdit>(DataArea(), "EditElementName", "Element name", 130);
    editName_->SetMaxLength(40);
    pages_ = &DataArea().Add<TPageControl>("PageControl");
    pages_->SetAlign(alClient);
    pages_->OnChanging = Bind(&TBewertungForm::PagesChanging);
    pageDefine_ = &pages_->AddPage("TabDefine", "Define");
    pageLimits_ = &pages_->AddPage("TabLimits", "Limits");
    pageAdditions_ = &pages_->AddPage("TabAdditions", "Additions");
    pageUsages_ = &pages_->AddPage("TabUsages", "Usage areas (for all assessments)");
    pageComment_ = &pages_->AddPage("TabComment", "Comment");
    BuildDefinePage(*pageDefine_);

    vgLimits_ = &pageLimits_->Add<TValueGrid>("VGLimits");
    vgAdditions_ = &pageAdditions_->Add<TValueGrid>("VGAdditions");
    vgUsages_ = &pageUsages_->Add<TValueGrid>("VGUsages");
    for (TValueGrid* grid : {vgLimits_, vgAdditions_, vgUsages_}) {
        grid->SetAlign(alClient);
        grid->SetDefaultRowHeight(22);
    }
    vgLimits_->OnGetText = [this](int col, int row) {
        return LimitsGetText(col, row);
    };
    vgLimits_->OnSetText = [this](int col, int row, const std::string& text) {
        LimitsSetText(col, row, text);
    };
    vgLimits_->OnGetCellStyle = [this](int col, int /*row*/, TCellStyle& style) {
        // The column that stands in when no range has limits takes nothing.
        style.Editable = col < 2 || col - 2 < static_cast<int>(limitColumns_.size());
    };
    vgAdditions_->OnGetText = [this](int col, int row) {
        return AdditionsGetText(col, row);
    };
    vgAdditions_->OnSetText = [this](int col, int row, const std::string& text) {
        AdditionsSetText(col, row, text);
    };
    vgUsages_->OnGetText = [this](int col, int row) {
        return UsagesGetText(col, row);
    };
    vgUsages_->OnSetText = [this](int col, int row, const std::string& text) {
        UsagesSetText(col, row, text);
    };
    DefineVGLimits();
    DefineVGAdditions();
    DefineVGUsages();

    memo_ = &pageComment_->Add<TMemo>("MemoKommentar");
    memo_->SetAlign(alClient);
}

void TBewertungForm::BuildDefinePage(TTabSheet& page) {
    auto& bar = page.Add<TPanel>("PanelRangeButtons");
    bar.SetAlign(alBottom);
    bar.SetHeight(kRowHeight + 4);
    buttonAdd_ = &bar.Add<TButton>("ButtonAdd");
    buttonAdd_->SetCaption("Add");
    buttonAdd_->SetAlign(alLeft);
    buttonAdd_->SetWidth(100);
    buttonAdd_->OnClick = Bind(&TBewertungForm::AddRangeClick);
    buttonDelete_ = &bar.Add<TButton>("ButtonDelete");
    buttonDelete_->SetCaption("Delete");
    buttonDelete_->SetAlign(alLeft);
    buttonDelete_->SetWidth(100);
    buttonDelete_->OnClick = Bind(&TBewertungForm::DeleteRangeClick);

    tabRanges_ = &page.Add<TTabControl>("TabRanges");
    tabRanges_->SetAlign(alClient);
    tabRanges_->SetTabsMovable(true);
    tabRanges_->OnChanging = Bind(&TBewertungForm::RangeTabsChanging);
    tabRanges_->OnChange = [this](TComponent&) {
        RangeToControls();
    };
    tabRanges_->OnTabDrop = [this](TComponent&, int from, int onto) {
        MoveRange(from, onto);
    };
    auto& content = tabRanges_->Add<TPanel>("PanelRange");
    content.SetAlign(alLeft);
    content.SetWidth(kRangeWidth);

    auto edit = [&](TControl& parent, const std::string& name, const std::string& caption) -> TEdit& {
        return AddLabelledRow<TEdit>(parent, name, caption, kLabelWidth);
    };
    cbAssessType_ = &AddLabelledRow<TComboBox>(content, "CBAssessType", "Assessment type", kLabelWidth);
    cbAssessType_->SetStyle(csDropDownList);
    std::vector<std::string> items;
    for (int t = 0; t < acoustic::kAssessmentTypeCount; ++t)
        if (acoustic::AssessTypeOffered(t)) {
            items.emplace_back(acoustic::AtArray[static_cast<std::size_t>(t)]);
            comboTypes_.push_back(t);
        }
    cbAssessType_->SetItems(std::move(items));
    cbAssessType_->OnChange = Bind(&TBewertungForm::AssessTypeChange);

    editRangeName_ = &edit(content, "EditRangeName", "Name, Legend");
    editRangeName_->SetMaxLength(40);
    editRangeName_->OnChange = [this](TComponent&) {
        ChangeRange([this](TZeitBereich& r) { r.Name = editRangeName_->Text(); });
        DefineVGLimits();
    };
    editRangeShort_ = &edit(content, "EditRangeShort", "Short");
    editRangeShort_->SetMaxLength(20);
    editRangeShort_->OnChange = [this](TComponent&) {
        ChangeRange([this](TZeitBereich& r) { r.Short = editRangeShort_->Text(); });
        RebuildRangeTabs();
        vgLimits_->Invalidate();
    };
    editLimitName_ = &edit(content, "EditLimitName", "Limit Name, Legend");
    editLimitName_->SetMaxLength(40);
    editLimitName_->OnChange = [this](TComponent&) {
        ChangeRange([this](TZeitBereich& r) { r.NameLimit = editLimitName_->Text(); });
    };
    editLimitShort_ = &edit(content, "EditLimitShort", "Limit Short");
    editLimitShort_->SetMaxLength(20);
    editLimitShort_->OnChange = [this](TComponent&) {
        ChangeRange([this](TZeitBereich& r) { r.ShortLimit = editLimitShort_->Text(); });
        vgLimits_->Invalidate();
    };
    rowLimitName_ = &RowOf(*editLimitName_);
    rowLimitShort_ = &RowOf(*editLimitShort_);

    auto& group = content.Add<TGroupBox>("GroupDefinition");
    group.SetCaption("Definition");
    group.SetAlign(alTop);
    groupDefinition_ = &group;
    editHours_ = &edit(group, "EditHours", "Hours");
    editHours_->OnChange = [this](TComponent&) {
        if (!showing_)
            SetHoursText(editHours_->Text());
    };
    editHours_->OnExit = Bind(&TBewertungForm::HoursExit);
    editTa_ = &edit(group, "EditTa", "Ta [h]");
    editTa_->OnChange = [this](TComponent&) {
        if (const std::optional<double> v = NumberOf(editTa_->Text()); v && *v >= 0)
            ChangeRange([&](TZeitBereich& r) { r.TBewert = static_cast<float>(*v); });
    };
    editLoudestN_ = &edit(group, "EditLoudestN", "N loudest [h]");
    editLoudestN_->SetHint("Use only block of N hours with greatest Leq?");
    editLoudestN_->OnChange = [this](TComponent&) {
        const std::optional<double> v = NumberOf(editLoudestN_->Text());
        if (!v)
            return;
        const long n = std::lround(*v);
        if (n >= 0 && n <= kMaxLoudestN)
            ChangeRange([&](TZeitBereich& r) { r.loudestN = static_cast<std::uint8_t>(n); });
    };
    auto& penaltiesRow = group.Add<TPanel>("PanelPenalties");
    penaltiesRow.SetAlign(alTop);
    penaltiesRow.SetHeight(kRowHeight);
    auto& indent = penaltiesRow.Add<TLabel>("LabelPenalties");
    indent.SetAlign(alLeft);
    indent.SetWidth(kLabelWidth);
    cbPenalties_ = &penaltiesRow.Add<TCheckBox>("CBPenalties");
    cbPenalties_->SetCaption("Take additions into account");
    cbPenalties_->SetAlign(alClient);
    cbPenalties_->OnClick = [this](TComponent&) {
        ChangeRange([this](TZeitBereich& r) { r.withPenalties = cbPenalties_->Checked(); });
    };
    editThreshold_ = &edit(group, "EditThreshold", "Threshold [dB]");
    editThreshold_->OnChange = [this](TComponent&) {
        if (const std::optional<double> v = NumberOf(editThreshold_->Text()))
            ChangeRange([&](TZeitBereich& r) { r.Threshold = static_cast<float>(*v); });
    };
    editNAT_ = &edit(group, "EditNAT", "NAT");
    editNAT_->OnChange = [this](TComponent&) {
        if (const std::optional<double> v = NumberOf(editNAT_->Text()))
            ChangeRange([&](TZeitBereich& r) { r.Threshold = static_cast<float>(*v); });
    };
    editTR_ = &edit(group, "EditTR", "Transmission loss [dB]");
    editTR_->OnChange = [this](TComponent&) {
        if (const std::optional<double> v = NumberOf(editTR_->Text()); v && *v >= 0)
            ChangeRange([&](TZeitBereich& r) { r.TR = static_cast<float>(*v); });
    };
    for (TEdit* number : {editTa_, editLoudestN_, editThreshold_, editNAT_, editTR_})
        number->OnExit = Bind(&TBewertungForm::NumberExit);
    rowTa_ = &RowOf(*editTa_);
    rowLoudestN_ = &RowOf(*editLoudestN_);
    rowThreshold_ = &RowOf(*editThreshold_);
    rowNAT_ = &RowOf(*editNAT_);
    rowTR_ = &RowOf(*editTR_);

    rgMethod_ = &content.Add<TRadioGroup>("RGMethod");
    rgMethod_->SetCaption("Method");
    rgMethod_->SetAlign(alTop);
    rgMethod_->OnClick = Bind(&TBewertungForm::MethodClick);
}

// --- showing a range

void TBewertungForm::RebuildRangeTabs() {
    std::vector<std::string> tabs;
    for (const auto& range : data_.Ranges)
        tabs.push_back(range->Short);
    TSuspendEvents quiet(*tabRanges_);
    tabRanges_->SetTabs(std::move(tabs));
}

void TBewertungForm::SelectRange(int index) {
    const int count = static_cast<int>(data_.Ranges.size());
    if (count > 0) {
        TSuspendEvents quiet(*tabRanges_);
        tabRanges_->SetTabIndex(std::clamp(index, 0, count - 1));
    }
    RangeToControls();
}

void TBewertungForm::RangeToControls() {
    const bool wasShowing = std::exchange(showing_, true);
    {
        TSuspendEvents quiet(*cbAssessType_, *editRangeName_, *editRangeShort_, *editLimitName_,
                             *editLimitShort_, *editHours_, *editTa_, *editLoudestN_, *cbPenalties_,
                             *editThreshold_, *editNAT_, *editTR_, *rgMethod_);
        const TZeitBereich shownDefault;
        const TZeitBereich& r = CurrentRange() ? *CurrentRange() : shownDefault;
        const auto type = std::find(comboTypes_.begin(), comboTypes_.end(), r.AssessType);
        // Kinds kept from older data are not offered: the combo shows none.
        cbAssessType_->SetItemIndex(type == comboTypes_.end() ? -1
                                                              : static_cast<int>(type - comboTypes_.begin()));
        editRangeName_->SetText(r.Name);
        editRangeShort_->SetText(r.Short);
        editLimitName_->SetText(r.NameLimit);
        editLimitShort_->SetText(r.ShortLimit);
        editHours_->SetText(acoustic::HoursToText(r.Hours));
        editTa_->SetText(Fixed(r.TBewert, 1));
        editLoudestN_->SetText(std::to_string(r.loudestN));
        cbPenalties_->SetChecked(r.withPenalties);
        editThreshold_->SetText(Fixed(r.Threshold, 1));
        editNAT_->SetText(Fixed(r.Threshold, 3));
        editTR_->SetText(Fixed(r.TR, 1));
        rgMethod_->SetItems(acoustic::MethodItems(r.AssessType));
        rgMethod_->SetItemIndex(r.MethodIndex());
    }
    hoursInvalid_ = false;
    editHours_->SetHint("");
    showing_ = wasShowing;
    VisibleSettings();
}

void TBewertungForm::VisibleSettings() {
    const TZeitBereich* range = CurrentRange();
    const int t = range ? range->AssessType : 0;
    const bool limits = !(t >= 13 && t <= 20) && t != 23;
    rowLimitName_->SetVisible(limits);
    rowLimitShort_->SetVisible(limits);
    groupDefinition_->SetVisible(In(t, {0, 1, 3, 4, 7, 8, 9}));
    rowTa_->SetVisible(t == 0);
    rowLoudestN_->SetVisible(t == 0);
    RowOf(*cbPenalties_).SetVisible(In(t, {0, 1, 3, 4, 7, 8}));
    rowThreshold_->SetVisible(t == 7);
    rowTR_->SetVisible(In(t, {7, 8}));
    rowNAT_->SetVisible(t == 9);
    int rows = 0;
    for (int i = 0; i < groupDefinition_->ControlCount(); ++i)
        rows += groupDefinition_->Control(i).Visible() ? 1 : 0;
    groupDefinition_->SetHeight(TGroupBox::kCaptionHeight + 2 * TGroupBox::kFrame + rows * kRowHeight);

    const std::vector<std::string> methods = acoustic::MethodItems(t);
    rgMethod_->SetVisible(In(t, {13, 15, 20}));
    if (rgMethod_->Items() != methods) {
        TSuspendEvents quiet(*rgMethod_);
        rgMethod_->SetItems(methods);
        rgMethod_->SetItemIndex(range ? range->MethodIndex() : -1);
    }
    rgMethod_->SetHeight(TGroupBox::kCaptionHeight + 2 * TGroupBox::kFrame +
                         std::max<int>(1, static_cast<int>(methods.size())) * kRadioItemHeight);
    UpdateCommands();
}

// --- changing a range

void TBewertungForm::AssessTypeChange(TComponent& /*sender*/) {
    const int index = cbAssessType_->ItemIndex();
    if (showing_ || index < 0 || index >= static_cast<int>(comboTypes_.size()))
        return;
    ChangeRange([&](TZeitBereich& r) { r.SetAssessType(comboTypes_[static_cast<std::size_t>(index)]); });
    RangeToControls();
    DefineVGLimits();
}

void TBewertungForm::MethodClick(TComponent& /*sender*/) {
    const int index = rgMethod_->ItemIndex();
    if (index >= 0)
        ChangeRange([&](TZeitBereich& r) { r.SetMethodIndex(index); });
}

bool TBewertungForm::SetHoursText(const std::string& text) {
    const std::optional<std::array<bool, acoustic::kHoursPerDay + 1>> hours = acoustic::HoursFromText(text);
    hoursInvalid_ = !hours;
    editHours_->SetHint(hoursInvalid_ ? "Invalid input!" : "");
    if (!hours)
        return false;
    TZeitBereich* range = CurrentRange();
    if (range && range->Hours != *hours && MarkModified())
        range->Hours = *hours;
    return true;
}

void TBewertungForm::ShowInvalidHours() {
    warning_ = true;
    try {
        Ui().MessageDlg("Invalid input!", mtWarning, {mbOK});
    } catch (...) {
        warning_ = false;
        throw;
    }
    warning_ = false;
    if (pages_->ActivePage() == pageDefine_ && editHours_->Reachable())
        SetActiveControl(editHours_);
}

void TBewertungForm::HoursExit(TComponent& /*sender*/) {
    // Leaving the edit for the warning it raised is no second exit.
    if (warning_)
        return;
    if (hoursInvalid_) {
        ShowInvalidHours();
        editHours_->KeepFocus();
        return;
    }
    if (const TZeitBereich* range = CurrentRange()) {
        TSuspendEvents quiet(*editHours_);
        editHours_->SetText(acoustic::HoursToText(range->Hours));
    }
}

void TBewertungForm::NumberExit(TComponent& /*sender*/) {
    const TZeitBereich* range = CurrentRange();
    if (!range)
        return;
    // The stored values in their normal form: text that could not be taken goes.
    TSuspendEvents quiet(*editTa_, *editLoudestN_, *editThreshold_, *editNAT_, *editTR_);
    editTa_->SetText(Fixed(range->TBewert, 1));
    editLoudestN_->SetText(std::to_string(range->loudestN));
    editThreshold_->SetText(Fixed(range->Threshold, 1));
    editNAT_->SetText(Fixed(range->Threshold, 3));
    editTR_->SetText(Fixed(range->TR, 1));
}

void TBewertungForm::RangeTabsChanging(TComponent& /*sender*/, bool& allowChange) {
    if (hoursInvalid_) {
        ShowInvalidHours();
        allowChange = false;
    }
}

void TBewertungForm::PagesChanging(TComponent& /*sender*/, bool& allowChange) {
    if (hoursInvalid_) {
        ShowInvalidHours();
        allowChange = false;
    }
}

// --- range commands

void TBewertungForm::AddRangeClick(TComponent& /*sender*/) {
    if (!CurrentRange() || !MarkModified())
        return;
    const int at = CurrentRangeIndex() + 1;
    data_.Ranges.insert(data_.Ranges.begin() + at, std::make_unique<TZeitBereich>());
    RebuildRangeTabs();
    RebuildGrids();
    SelectRange(at);
    if (pages_->ActivePage() == pageDefine_)
        SetActiveControl(editRangeName_);
}

void TBewertungForm::DeleteRangeClick(TComponent& /*sender*/) {
    // An assessment always keeps one range.
    if (data_.Ranges.size() < 2 || !MarkModified())
        return;
    data_.Ranges.erase(data_.Ranges.begin() + CurrentRangeIndex());
    RebuildRangeTabs();
    RebuildGrids();
    SelectRange(0);
}

void TBewertungForm::MoveRange(int from, int to) {
    const int count = static_cast<int>(data_.Ranges.size());
    if (from < 0 || from >= count || to < 0 || to > count)
        return;
    // Dropped right of its old place, the range goes in front of the tab it was dropped on.
    if (to > from)
        --to;
    if (to == from || !MarkModified())
        return;
    // The range shown stays shown, wherever it went: a dragged tab was selected when it was picked up.
    const TZeitBereich* shown = CurrentRange();
    auto moved = std::move(data_.Ranges[static_cast<std::size_t>(from)]);
    data_.Ranges.erase(data_.Ranges.begin() + from);
    data_.Ranges.insert(data_.Ranges.begin() + to, std::move(moved));
    const auto at = std::find_if(data_.Ranges.begin(), data_.Ranges.end(),
                                 [shown](const auto& range) { return range.get() == shown; });
    RebuildRangeTabs();
    RebuildGrids();
    SelectRange(at == data_.Ranges.end() ? to : static_cast<int>(at - data_.Ranges.begin()));
}

} // namespace korvel::assessment
