// The limits, additions and usage-area grids of the assessment editor.

#include "assessment/BewertungForm.h"
#include "platform/dbctrls/FieldText.h"

#include <cmath>
#include <cstdio>

namespace korvel::assessment {

using acoustic::kHoursPerDay;
using acoustic::TZeitBereich;

namespace {

constexpr int kUsageRows = 1 + kUsageCount;

// One decimal; zero, and a negative value when negative has no text of its own, show blank.
std::string OneDecimal(double value, bool showNegative) {
    if (std::fabs(value) < 0.05 || (value < 0 && !showNegative))
        return "";
    char buf[48];
    std::snprintf(buf, sizeof buf, "%.1f", value);
    return buf;
}

// A typed number; a blank cell is zero.
float CellNumber(const std::string& text) {
    return static_cast<float>(ParseDecimalText(text).value_or(0.0));
}

// Fixed columns are set last: a grid keeps room for one column and one row beside them.
void Shape(TValueGrid& grid, int cols, int fixedCols) {
    grid.SetFixedCols(0);
    grid.SetFixedRows(0);
    grid.SetRowCount(kUsageRows);
    grid.SetColCount(cols);
    grid.SetFixedRows(1);
    grid.SetFixedCols(fixedCols);
}

} // namespace

void TBewertungForm::RebuildGrids() {
    DefineVGLimits();
    DefineVGAdditions();
    DefineVGUsages();
}

// --- limits: usage areas by the ranges that have limits

void TBewertungForm::DefineVGLimits() {
    limitColumns_.clear();
    for (std::size_t i = 0; i < data_.Ranges.size(); ++i)
        if (data_.Ranges[i]->HasLimits())
            limitColumns_.push_back(static_cast<int>(i));
    const int cols = 2 + std::max<int>(1, static_cast<int>(limitColumns_.size()));
    vgLimits_->LeaveEditMode();
    Shape(*vgLimits_, cols, 2);
    vgLimits_->SetColWidth(0, 80);
    vgLimits_->SetColWidth(1, 260);
    for (int col = 2; col < cols; ++col)
        vgLimits_->SetColWidth(col, 90);
    vgLimits_->Invalidate();
}

std::string TBewertungForm::LimitsGetText(int col, int row) {
    const TUsages& usages = Usages(GetCurIndex());
    const int column = col - 2;
    if (row == 0) {
        if (col == 0)
            return "Usage";
        if (col == 1)
            return "Description";
        if (column >= static_cast<int>(limitColumns_.size()))
            return "";
        const TZeitBereich& r = *data_.Ranges[static_cast<std::size_t>(limitColumns_[column])];
        return r.ShortLimit.empty() ? r.Short : r.ShortLimit;
    }
    if (row >= kUsageRows)
        return "";
    const TUsage& usage = usages[static_cast<std::size_t>(row - 1)];
    if (col == 0)
        return usage.Short;
    if (col == 1)
        return usage.Descr;
    if (column >= static_cast<int>(limitColumns_.size()))
        return "";
    const TZeitBereich& r = *data_.Ranges[static_cast<std::size_t>(limitColumns_[column])];
    return OneDecimal(r.Limits[static_cast<std::size_t>(row)], false);
}

void TBewertungForm::LimitsSetText(int col, int row, const std::string& text) {
    const int column = col - 2;
    if (CurrentReadOnly() || row < 1 || row >= kUsageRows || column < 0 ||
        column >= static_cast<int>(limitColumns_.size()))
        return;
    const float value = CellNumber(text);
    TZeitBereich& r = *data_.Ranges[static_cast<std::size_t>(limitColumns_[column])];
    float& limit = r.Limits[static_cast<std::size_t>(row)];
    // Leaving a cell as it was changes nothing, not even the edit state.
    if (limit == value || !MarkModified())
        return;
    limit = value;
    vgLimits_->InvalidateCell(col, row);
}

// --- additions: usage areas by hour

void TBewertungForm::DefineVGAdditions() {
    vgAdditions_->LeaveEditMode();
    Shape(*vgAdditions_, 1 + kHoursPerDay, 1);
    // As narrow as "10-11" and "-10.0" allow: most of the day shows beside the element list.
    vgAdditions_->SetColWidth(0, 56);
    for (int col = 1; col <= kHoursPerDay; ++col)
        vgAdditions_->SetColWidth(col, 46);
    vgAdditions_->Invalidate();
}

std::string TBewertungForm::AdditionsGetText(int col, int row) {
    if (row == 0)
        return col == 0 ? "Usage" : std::to_string(col - 1) + "-" + std::to_string(col);
    if (row >= kUsageRows || col > kHoursPerDay)
        return "";
    if (col == 0)
        return Usages(GetCurIndex())[static_cast<std::size_t>(row - 1)].Short;
    return OneDecimal(data_.Additions[static_cast<std::size_t>(row - 1)][static_cast<std::size_t>(col - 1)],
                      true);
}

void TBewertungForm::AdditionsSetText(int col, int row, const std::string& text) {
    if (CurrentReadOnly() || row < 1 || row >= kUsageRows || col < 1 || col > kHoursPerDay)
        return;
    const float value = CellNumber(text);
    float& addition = data_.Additions[static_cast<std::size_t>(row - 1)][static_cast<std::size_t>(col - 1)];
    if (addition == value || !MarkModified())
        return;
    addition = value;
    vgAdditions_->InvalidateCell(col, row);
}

// --- usage areas of the library

void TBewertungForm::DefineVGUsages() {
    vgUsages_->LeaveEditMode();
    Shape(*vgUsages_, 3, 1);
    vgUsages_->SetColWidth(0, 40);
    vgUsages_->SetColWidth(1, 130);
    vgUsages_->SetColWidth(2, 420);
    vgUsages_->Invalidate();
}

std::string TBewertungForm::UsagesGetText(int col, int row) {
    if (row == 0)
        return col == 1 ? "Usage short" : col == 2 ? "Usage description" : "";
    if (row >= kUsageRows)
        return "";
    const TUsage& usage = Usages(GetCurIndex())[static_cast<std::size_t>(row - 1)];
    switch (col) {
    case 0:
        return std::to_string(row);
    case 1:
        return usage.Short;
    case 2:
        return usage.Descr;
    default:
        return "";
    }
}

void TBewertungForm::UsagesSetText(int col, int row, const std::string& text) {
    const int tab = GetCurIndex();
    if (CurrentReadOnly() || row < 1 || row >= kUsageRows || col < 1 || col > 2)
        return;
    // The areas belong to the library, not to the element: they are written at once.
    TUsages usages = Usages(tab);
    TUsage& usage = usages[static_cast<std::size_t>(row - 1)];
    (col == 1 ? usage.Short : usage.Descr) = text;
    if (usages != Usages(tab))
        SetUsages(tab, usages);
}

} // namespace korvel::assessment
