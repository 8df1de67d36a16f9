// Groups of the sound library editor and its element filter.

#include "editor/ElementCopy.h"
#include "platform/Errors.h"
#include "platform/db/Collation.h"
#include "platform/legacy/Trim.h"
#include "platform/text/CaseFold.h"
#include "platform/ui/Ui.h"
#include "sound/FormLibX.h"

#include <cmath>
#include <cstdio>

namespace korvel::sound {

using namespace acoustic;

namespace {

db::TTable* GroupTable(TMyTable* myTable) {
    if (!myTable || myTable->GetCount() < 2)
        return nullptr;
    db::TTable* t = myTable->GetItem(1);
    return t && t->Active() ? t : nullptr;
}

std::string FilterNumber(double v, int decimals) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.*f", decimals, v);
    return buf;
}

// A bound that is empty or no number counts as 0, which switches it off.
double ParseFilterNumber(const std::string& text) {
    if (TrimText(text).empty())
        return 0.0;
    try {
        return ParseGridNumber(text);
    } catch (const EKorvelError&) {
        return 0.0;
    }
}

} // namespace

// --- groups

int TFormLibX::GetGroupNo(int tabIndex, const std::string& name) {
    db::TTable* groups = GroupTable(GetMyTable(tabIndex));
    if (!groups || name.empty())
        return 0;
    if (TGroupMemo* memo = GroupMemo(tabIndex))
        if (const auto it = memo->Numbers.find(name); it != memo->Numbers.end())
            return it->second;
    const db::TBookmark mark = groups->GetBookmark();
    int number = 0;
    if (groups->Locate("GruppenName", {db::TValue(name)}, db::loCaseInsensitive))
        number = groups->FieldByName("Eintrag").AsInteger();
    groups->GotoBookmark(mark);
    RememberGroup(tabIndex, name, number);
    return number;
}

void TFormLibX::RememberGroup(int tabIndex, const std::string& name, int number) {
    if (TGroupMemo* memo = GroupMemo(tabIndex); memo && number > 0)
        memo->Numbers.emplace(name, number);
}

TFormLibX::TGroupMemo* TFormLibX::GroupMemo(int tabIndex) {
    const auto it = groupMemos_.find(tabIndex);
    return it == groupMemos_.end() ? nullptr : &it->second;
}

void TFormLibX::BulkWorkBegins(int tabIndex) {
    ++groupMemos_[tabIndex].Users;
}

void TFormLibX::BulkWorkEnds(int tabIndex) {
    const auto it = groupMemos_.find(tabIndex);
    if (it == groupMemos_.end() || --it->second.Users > 0)
        return;
    const bool stored = it->second.Stored;
    groupMemos_.erase(it);
    // Stored elements may belong to groups the filter named before they existed.
    if (stored && tabIndex < TabCount())
        FilterString(tabIndex, filter_);
}

void TFormLibX::BulkWorkUndone(int tabIndex) {
    if (TGroupMemo* memo = GroupMemo(tabIndex)) {
        memo->Numbers.clear();
        memo->Names.clear();
    }
}

int TFormLibX::SetGroupValue(int tabIndex, const std::string& name) {
    if (TrimText(name).empty())
        return 0;
    if (const int number = GetGroupNo(tabIndex, name))
        return number;
    db::TTable* groups = GroupTable(GetMyTable(tabIndex));
    if (!groups)
        throw EKorvelError("The library has no group table.");
    TBulkTag bulk(*groups);
    groups->Append();
    groups->FieldByName("GruppenName").SetAsString(db::TruncateCodePoints(name, 40));
    groups->Post();
    const int number = groups->FieldByName("Eintrag").AsInteger();
    RememberGroup(tabIndex, name, number);
    if (tabIndex == GetCurIndex())
        AddFilterGroupItems(tabIndex);
    return number;
}

std::string TFormLibX::GroupName(int tabIndex, int number) {
    db::TTable* groups = GroupTable(GetMyTable(tabIndex));
    if (!groups || number == 0)
        return {};
    TGroupMemo* memo = GroupMemo(tabIndex);
    if (memo)
        if (const auto it = memo->Names.find(number); it != memo->Names.end())
            return it->second;
    const db::TBookmark mark = groups->GetBookmark();
    std::string name;
    if (groups->Locate("Eintrag", {db::TValue(std::int64_t{number})}))
        name = groups->FieldByName("GruppenName").AsString();
    groups->GotoBookmark(mark);
    if (memo && !name.empty())
        memo->Names.emplace(number, name);
    return name;
}

std::vector<std::string> TFormLibX::ReadGrTableToStringList(int tabIndex) {
    std::vector<std::string> names;
    availableGroupNos_.clear();
    db::TTable* groups = GroupTable(GetMyTable(tabIndex));
    // A group being typed keeps its place; the lists follow once it is stored.
    if (!groups || groups->Editing())
        return names;
    const db::TBookmark mark = groups->GetBookmark();
    groups->SetIndexName("EN");
    for (groups->First(); !groups->Eof(); groups->Next()) {
        names.push_back(groups->FieldByName("GruppenName").AsString());
        availableGroupNos_.push_back(groups->FieldByName("Eintrag").AsInteger());
    }
    if (groups->BookmarkValid(mark))
        groups->GotoBookmark(mark);
    return names;
}

void TFormLibX::BindGroupTable() {
    groupLink_.reset();
    const int tab = GetCurIndex();
    groupSource_.SetDataSet(tab >= 0 ? GroupTable(GetMyTable(tab)) : nullptr);
    if (groupSource_.DataSet())
        groupLink_ = BindField(*editGroupName_, groupSource_, "GruppenName");
    navGroups_->UpdateButtons();
}

void TFormLibX::AvailableGroupClick(TComponent& /*sender*/) {
    db::TTable* groups = groupSource_.DataSet();
    const int index = lbAvailable_->ItemIndex();
    if (!groups || groups->Editing() || index < 0 || index >= static_cast<int>(availableGroupNos_.size()))
        return;
    groups->Locate("Eintrag",
                   {db::TValue(std::int64_t{availableGroupNos_[static_cast<std::size_t>(index)]})});
}

void TFormLibX::ShowGroups() {
    const int tab = GetCurIndex();
    std::vector<std::string> names;
    selectedGroupNos_.clear();
    for (int g : spectrum_->Groups) {
        if (g == 0)
            continue;
        std::string name = GroupName(tab, g);
        names.push_back(name.empty() ? "(" + std::to_string(g) + ")" : name);
        selectedGroupNos_.push_back(g);
    }
    lbSelected_->SetItems(names);
}

void TFormLibX::AddGroupClick(TComponent& /*sender*/) {
    if (CurrentReadOnly())
        return;
    const int index = lbAvailable_->ItemIndex();
    if (index < 0 || index >= static_cast<int>(availableGroupNos_.size()))
        return;
    const int number = availableGroupNos_[static_cast<std::size_t>(index)];
    auto& slots = spectrum_->Groups;
    if (std::find(slots.begin(), slots.end(), number) != slots.end()) {
        Ui().MessageDlg("Group already in selection!", mtError, {mbOK});
        return;
    }
    auto free = std::find(slots.begin(), slots.end(), 0);
    if (free == slots.end()) {
        Ui().MessageDlg("Only four groups selectable, remove a group first from the selection!", mtError,
                        {mbOK});
        return;
    }
    *free = number;
    ShowGroups();
    SetChanged();
}

void TFormLibX::RemoveGroupClick(TComponent& /*sender*/) {
    if (CurrentReadOnly())
        return;
    bool changed = false;
    for (int i : lbSelected_->SelectedIndexes()) {
        if (i < 0 || i >= static_cast<int>(selectedGroupNos_.size()))
            continue;
        for (int& slot : spectrum_->Groups)
            if (slot == selectedGroupNos_[static_cast<std::size_t>(i)]) {
                slot = 0;
                changed = true;
            }
    }
    if (!changed)
        return;
    ShowGroups();
    SetChanged();
}

// --- filter

void TFormLibX::AddFilterGroupItems(int tabIndex) {
    db::TTable* groups = GroupTable(GetMyTable(tabIndex));
    if (groups && groups->Editing())
        return;
    std::vector<std::string> names = ReadGrTableToStringList(tabIndex);
    lbAvailable_->SetItems(names);
    // The first entry of the filter boxes stands for "no group".
    names.insert(names.begin(), "");
    TSuspendEvents q1(*cbFilterGroup1_), q2(*cbFilterGroup2_);
    cbFilterGroup1_->SetItems(names);
    cbFilterGroup2_->SetItems(names);
    SetFilterSettings(tabIndex, filter_);
}

void TFormLibX::SetFilterSettings(int /*tabIndex*/, const TFilterRec& rec) {
    TSuspendEvents q1(*cbFilterEnabled_), q2(*cbFilterGroup1_), q3(*cbFilterGroup2_), q4(*cbFilterOperator_),
        q5(*editFilterMin_), q6(*editFilterMax_), q7(*editFilterText_);
    const int decimals = LibType() == kAbsorptionLibType ? 3 : LibType() == kTransmissionLibType ? 1 : 2;
    auto select = [](TComboBox& box, const std::string& name) {
        const auto& items = box.Items();
        int index = 0;
        for (std::size_t i = 1; i < items.size(); ++i)
            if (!name.empty() && SameTextIgnoringCase(items[i], name))
                index = static_cast<int>(i);
        box.SetItemIndex(items.empty() ? -1 : index);
        return index;
    };
    const bool group1 = select(*cbFilterGroup1_, rec.Group(0)) > 0;
    cbFilterGroup2_->SetVisible(group1);
    cbFilterOperator_->SetVisible(group1);
    select(*cbFilterGroup2_, rec.Group(1));
    cbFilterOperator_->SetItemIndex(static_cast<int>(rec.Operator()));
    editFilterMin_->SetText(FilterNumber(rec.Min(), decimals));
    editFilterMax_->SetText(FilterNumber(rec.Max(), decimals));
    editFilterText_->SetText(rec.GetTextFilter());
    cbFilterEnabled_->SetChecked(rec.Enabled());
}

void TFormLibX::FilterChange(TComponent& sender) {
    auto groupText = [](const TComboBox& box) {
        const int i = box.ItemIndex();
        return i <= 0 ? std::string() : box.Items()[static_cast<std::size_t>(i)];
    };
    const std::string g1 = groupText(*cbFilterGroup1_);
    const std::string g2 = cbFilterGroup2_->Visible() ? groupText(*cbFilterGroup2_) : std::string();
    const int op = std::max(0, cbFilterOperator_->ItemIndex());
    const double minimum = ParseFilterNumber(editFilterMin_->Text());
    const double maximum = ParseFilterNumber(editFilterMax_->Text());
    const std::string text = TrimText(editFilterText_->Text());

    const bool changed =
        g1 != filter_.Group(0) || g2 != filter_.Group(1) || op != static_cast<int>(filter_.Operator()) ||
        std::fabs(minimum - filter_.Min()) > kFilterRangeEpsilon ||
        std::fabs(maximum - filter_.Max()) > kFilterRangeEpsilon || text != filter_.GetTextFilter();
    if (!changed) {
        if (cbFilterEnabled_->Checked() == filter_.Enabled())
            return;
        filter_.SetEnabled(cbFilterEnabled_->Checked());
    } else {
        filter_.SetEnabled(true);
        for (int slot = 0; slot < kFilterGroupSlots; ++slot)
            filter_.SetGroup(slot, "");
        filter_.SetGroup(0, g1);
        if (!g1.empty())
            filter_.SetGroup(1, g2);
        filter_.SetOperator(static_cast<TLogOperator>(op));
        if (std::fabs(minimum - filter_.Min()) > kFilterRangeEpsilon)
            filter_.SetMin(static_cast<float>(minimum));
        if (std::fabs(maximum - filter_.Max()) > kFilterRangeEpsilon)
            filter_.SetMax(static_cast<float>(maximum));
        filter_.UpdateActiveFlags();
        filter_.SetTextFilter(text);
    }
    const int tab = GetCurIndex();
    // Typing in an edit must not move its text under the cursor: only the other controls are refreshed.
    if (&sender != editFilterMin_ && &sender != editFilterMax_ && &sender != editFilterText_)
        SetFilterSettings(tab, filter_);
    else {
        TSuspendEvents q(*cbFilterEnabled_);
        cbFilterEnabled_->SetChecked(filter_.Enabled());
        const bool group1 = !filter_.Group(0).empty();
        cbFilterGroup2_->SetVisible(group1);
        cbFilterOperator_->SetVisible(group1);
    }
    FilterString(tab, filter_);
    DBList().SetColumnTitle(1, ListTitle());
}

void TFormLibX::FilterString(int tabIndex, const TFilterRec& rec) {
    db::TTable* table = GetMainTable(tabIndex);
    if (!table || !table->Active())
        return;
    const bool editing = table->Editing();
    if (editing)
        return; // the filter applies once the element is stored or cancelled
    const db::TBookmark mark = table->GetBookmark();
    std::optional<int> g1, g2;
    auto number = [&](const std::string& name) {
        const int n = GetGroupNo(tabIndex, name);
        return n == 0 ? kUnknownGroupNo : n;
    };
    if (!rec.Group(0).empty())
        g1 = number(rec.Group(0));
    if (!rec.Group(1).empty())
        g2 = number(rec.Group(1));
    const std::string groupPart = BuildGroupFilter(g1, g2, rec.Operator());
    const std::string rangePart = table->FindField("SumValue") ? BuildRangeFilter(rec, "SumValue") : "";
    if (!TrimText(rec.GetTextFilter()).empty() && rec.Enabled())
        table->SetOnFilterRecord(
            [text = rec.GetTextFilter()](db::TTable& t) { return MainTableFilterRecord(t, text); });
    else
        table->SetOnFilterRecord(nullptr);
    table->SetFilterOptions(db::foCaseInsensitive);
    table->SetFilter(JoinFilterParts({groupPart, rangePart}));
    table->SetFiltered(rec.Enabled());
    if (table->BookmarkValid(mark))
        table->GotoBookmark(mark);
    else
        table->First();
}

bool TFormLibX::MainTableFilterRecord(db::TTable& table, const std::string& text) {
    db::TField* comment = table.FindField("Kommentar");
    db::TField* name = table.FindField("ElementName");
    return TextFilterAccepts(text, comment ? comment->AsString() : std::string(),
                             name ? name->AsString() : std::string());
}

} // namespace korvel::sound
