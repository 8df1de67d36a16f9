// The condition grid of the building-acoustics editor: the conditions of the selected class and room type,
// with drop-downs for the named columns, the derived "Mod", and an empty row after the last condition in
// which a value appends one.

#include "building/FormBAIAssess.h"
#include "platform/Errors.h"
#include "platform/dbctrls/FieldText.h"
#include "platform/legacy/Trim.h"

#include <algorithm>
#include <span>

namespace korvel::building {

using namespace acoustic;

namespace {

constexpr TColor kDerivedColor = 0xF0F0F0;

template <std::size_t N> std::vector<std::string> Names(const std::array<std::string_view, N>& table) {
    return {table.begin(), table.end()};
}

std::vector<std::string> NamesOf(std::span<const std::string_view> table, const std::vector<int>& indexes) {
    std::vector<std::string> names;
    for (int i : indexes)
        if (i >= 0 && static_cast<std::size_t>(i) < table.size())
            names.emplace_back(table[static_cast<std::size_t>(i)]);
    return names;
}

template <std::size_t N>
int IndexOfName(const std::array<std::string_view, N>& table, const std::string& text, const char* what) {
    for (std::size_t i = 0; i < N; ++i)
        if (table[i] == text)
            return static_cast<int>(i);
    throw EKorvelError("\"" + text + "\" is not " + what + ".");
}

// A limit typed as a number; the unit the cell shows may stay behind it.
double ParseLimit(std::string text, const std::string& unit) {
    text = TrimText(text);
    if (text.size() > unit.size() && text.compare(text.size() - unit.size(), unit.size(), unit) == 0)
        text = TrimText(text.substr(0, text.size() - unit.size()));
    const std::optional<double> v = ParseDecimalText(text);
    if (!v)
        throw EKorvelError("A condition needs a limit.");
    return *v;
}

} // namespace

void TFormBAIAssess::BuildConditionGrid(TControl& parent) {
    navConditions_ = &parent.Add<TNavigator>("NavConditions");
    navConditions_->SetAlign(alBottom);
    navConditions_->SetHeight(28);
    navConditions_->SetVisibleButtons({nbFirst, nbPrior, nbNext, nbLast, nbInsert, nbDelete});
    vgConditions_ = &parent.Add<TValueGrid>("VGConditions");
    vgConditions_->SetAlign(alClient);
    vgConditions_->SetColCount(bcCount);
    vgConditions_->SetRowCount(2);
    vgConditions_->SetFixedRows(1);
    vgConditions_->SetFixedCols(0);
    const int widths[bcCount] = {135, 140, 100, 100, 90, 38, 76};
    for (int c = 0; c < bcCount; ++c)
        vgConditions_->SetColWidth(c, widths[c]);
    vgConditions_->SetCurrentCell(0, 1);
    vgConditions_->OnGetText = [this](int col, int row) {
        return GridGetText(col, row);
    };
    vgConditions_->OnGetEditText = [this](int col, int row) {
        return GridGetEditText(col, row);
    };
    vgConditions_->OnSetText = [this](int col, int row, const std::string& text) {
        GridSetText(col, row, text);
    };
    vgConditions_->OnGetCellStyle = [this](int col, int row, TCellStyle& style) {
        GridCellStyle(col, row, style);
    };
    // The navigator follows the current row.
    gridWatch_ = vgConditions_->SubscribeScoped([this](TComponent&, const TChange& change) {
        if (change.Kind == TChangeKind::Selection && navConditions_)
            navConditions_->UpdateButtons();
    });
}

std::vector<TBAICondition>* TFormBAIAssess::CurrentConditions() {
    return scheme_.Conditions(SelectedClass(), SelectedRoom());
}

int TFormBAIAssess::ConditionCount() {
    const std::vector<TBAICondition>* list = CurrentConditions();
    return list ? static_cast<int>(list->size()) : 0;
}

int TFormBAIAssess::CurrentCondition() const {
    return vgConditions_->Row() - 1;
}

void TFormBAIAssess::ShowConditions() {
    vgConditions_->CancelEdit();
    ConditionsChanged(CurrentCondition());
}

void TFormBAIAssess::ConditionsChanged(int select) {
    // A header, the conditions and the row that takes a new one.
    const int count = ConditionCount();
    vgConditions_->SetRowCount(1 + count + 1);
    const int row = 1 + std::clamp(select, 0, count);
    vgConditions_->SetCurrentCell(std::max(vgConditions_->Col(), 0), row);
    vgConditions_->Invalidate();
    UpdateEditState();
}

void TFormBAIAssess::MoveToCondition(int index) {
    const int count = ConditionCount();
    if (count == 0)
        return;
    vgConditions_->SetCurrentCell(std::max(vgConditions_->Col(), 0), 1 + std::clamp(index, 0, count - 1));
}

void TFormBAIAssess::InsertCondition() {
    if (CurrentConditions() == nullptr || !BeginChange())
        return;
    std::vector<TBAICondition>& list = *CurrentConditions();
    const int at = std::clamp(CurrentCondition(), 0, static_cast<int>(list.size()));
    list.insert(list.begin() + at, TBAICondition{});
    ConditionsChanged(at);
}

void TFormBAIAssess::DeleteCondition() {
    const int at = CurrentCondition();
    if (at < 0 || at >= ConditionCount() || !BeginChange())
        return;
    std::vector<TBAICondition>& list = *CurrentConditions();
    list.erase(list.begin() + at);
    ConditionsChanged(at);
}

std::string TFormBAIAssess::ToRoomText(const TBAICondition& c) const {
    const TBAIRoom* room = scheme_.RoomById(c.ToRoom);
    return room ? room->Name : std::string(kBAIAnyRoom);
}

std::string TFormBAIAssess::GridGetText(int col, int row) {
    if (row == 0) {
        static constexpr const char* kTitles[bcCount] = {"Type",      "From", "To Room", "Param",
                                                         "Frequency", "Mod",  "Limit"};
        return kTitles[col];
    }
    const std::vector<TBAICondition>* list = CurrentConditions();
    const int i = row - 1;
    if (!list || i >= static_cast<int>(list->size()))
        return {};
    const TBAICondition& c = (*list)[static_cast<std::size_t>(i)];
    switch (col) {
    case bcType:
        return std::string(BAIAssessRequirementTypeStr[static_cast<std::size_t>(c.RequirementType)]);
    case bcFrom:
        return c.HasFrom() ? std::string(BAIAssessFromUnitTypeStr[static_cast<std::size_t>(c.FromUnit)]) : "";
    case bcToRoom:
        return c.HasToRoom() ? ToRoomText(c) : "";
    case bcParam:
        return std::string(BAIParamTypeStr[static_cast<std::size_t>(c.Param)]);
    case bcFrequency:
        return std::string(BAIFreqTypeStr[static_cast<std::size_t>(c.Freq)]);
    case bcMod:
        return std::to_string(c.Mod());
    default:
        return FloatText(c.Limit) + " " + c.GetUnit();
    }
}

std::string TFormBAIAssess::GridGetEditText(int col, int row) {
    const std::vector<TBAICondition>* list = CurrentConditions();
    const int i = row - 1;
    if (col == bcLimit && list && i >= 0 && i < static_cast<int>(list->size()))
        return FloatText((*list)[static_cast<std::size_t>(i)].Limit);
    return GridGetText(col, row);
}

void TFormBAIAssess::GridCellStyle(int col, int row, TCellStyle& style) {
    if (row == 0)
        return;
    const std::vector<TBAICondition>* list = CurrentConditions();
    if (!list) {
        style.Editable = false;
        return;
    }
    const int i = row - 1;
    // The row after the last condition offers what a new condition starts with.
    const TBAICondition c =
        i < static_cast<int>(list->size()) ? (*list)[static_cast<std::size_t>(i)] : TBAICondition{};
    switch (col) {
    case bcType:
        style.PickList = Names(BAIAssessRequirementTypeStr);
        break;
    case bcFrom:
        if (c.HasFrom())
            style.PickList = Names(BAIAssessFromUnitTypeStr);
        else
            style.Editable = false;
        break;
    case bcToRoom:
        if (c.HasToRoom()) {
            style.PickList = {std::string(kBAIAnyRoom)};
            for (const TBAIRoom& r : scheme_.Rooms())
                style.PickList.push_back(r.Name);
        } else {
            style.Editable = false;
        }
        break;
    case bcParam:
        style.PickList = NamesOf(BAIParamTypeStr, BAIParamsOf(c.RequirementType));
        break;
    case bcFrequency:
        style.PickList = NamesOf(BAIFreqTypeStr, BAIFreqsOf(c.Param));
        break;
    case bcMod:
        style.Editable = false;
        style.Color = kDerivedColor;
        break;
    default:
        break;
    }
    if (!style.Editable)
        style.Color = kDerivedColor;
}

void TFormBAIAssess::GridSetText(int col, int row, const std::string& text) {
    std::vector<TBAICondition>* list = CurrentConditions();
    const int i = row - 1;
    if (!list || i < 0 || i > static_cast<int>(list->size()))
        return;
    const bool append = i == static_cast<int>(list->size());
    if (append && TrimText(text).empty())
        return;
    // The change is checked on a copy, so a refused text changes nothing.
    TBAICondition c = append ? TBAICondition{} : (*list)[static_cast<std::size_t>(i)];
    switch (col) {
    case bcType:
        c.SetRequirementType(IndexOfName(BAIAssessRequirementTypeStr, text, "a requirement type"));
        break;
    case bcFrom:
        c.FromUnit = IndexOfName(BAIAssessFromUnitTypeStr, text, "a kind of neighbouring space");
        break;
    case bcToRoom:
        if (text == kBAIAnyRoom) {
            c.ToRoom = 0;
        } else {
            const auto it = std::find_if(scheme_.Rooms().begin(), scheme_.Rooms().end(),
                                         [&](const TBAIRoom& r) { return r.Name == text; });
            if (it == scheme_.Rooms().end())
                throw EKorvelError("\"" + text + "\" is not a room type of this scheme.");
            c.ToRoom = it->Id;
        }
        break;
    case bcParam: {
        const int param = IndexOfName(BAIParamTypeStr, text, "a quantity");
        if (!BAIParamFits(c.RequirementType, param))
            throw EKorvelError(
                "\"" + text + "\" does not belong to the requirement type \"" +
                std::string(BAIAssessRequirementTypeStr[static_cast<std::size_t>(c.RequirementType)]) +
                "\".");
        c.SetParam(param);
        break;
    }
    case bcFrequency: {
        const int freq = IndexOfName(BAIFreqTypeStr, text, "a frequency range");
        if (!BAIFreqFits(c.Param, freq))
            throw EKorvelError("\"" + text + "\" is no frequency range of \"" +
                               std::string(BAIParamTypeStr[static_cast<std::size_t>(c.Param)]) + "\".");
        c.Freq = freq;
        break;
    }
    case bcLimit:
        c.Limit = ParseLimit(text, c.GetUnit());
        break;
    default:
        return;
    }
    // A condition without a room type on the other side keeps none.
    if (!c.HasToRoom())
        c.ToRoom = 0;
    if (!BeginChange())
        return;
    list = CurrentConditions();
    if (append)
        list->push_back(c);
    else
        (*list)[static_cast<std::size_t>(i)] = c;
    const int count = ConditionCount();
    if (vgConditions_->RowCount() != 2 + count)
        vgConditions_->SetRowCount(2 + count);
    vgConditions_->InvalidateRow(row);
    navConditions_->UpdateButtons();
}

} // namespace korvel::building
