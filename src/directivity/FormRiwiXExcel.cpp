// Spreadsheet and text-table import of the directivity library: one horizontal directivity in 10 degree
// steps per row. The row's angle values are completed in memory by the mirror rules and stored as a real
// directivity; only whether the row was complete, and its energetic mean, are kept as fields of their own.

#include "directivity/FormRiwiX.h"
#include "editor/ElementCopy.h"
#include "platform/Errors.h"
#include "platform/base/Bands.h"
#include "platform/db/Collation.h"
#include "platform/db/Table.h"
#include "platform/dbctrls/FieldText.h"
#include "platform/legacy/Trim.h"
#include "platform/log/Log.h"
#include "platform/ui/Ui.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <optional>

namespace korvel::directivity {

using namespace acoustic;

namespace {

constexpr int kAngles = 36; // 10, 20, ..., 360 degrees
constexpr int kStep = 10;
constexpr int kAllBands = 27;
constexpr double kNoValue = -199.0;
constexpr int kMinSamplesToInterpolate = 4;

// The values of one row by angle index 1..36 (index 0 unused); kNoValue where none is given.
using TRowValues = std::array<double, kAngles + 1>;

bool Given(double v) {
    return v > kNoValue;
}

// Completes a row by symmetry: first about 90 degrees (10..80 give 170..100), then about 180 degrees
// (10..170 give 350..190), each only where the target angle has no value of its own. 90, 180 and 360
// degrees have no partner.
void MirrorRow(TRowValues& v) {
    for (int i = 1; i <= 8; ++i)
        if (Given(v[i]) && !Given(v[18 - i]))
            v[18 - i] = v[i];
    for (int i = 1; i <= 17; ++i)
        if (Given(v[i]) && !Given(v[36 - i]))
            v[36 - i] = v[i];
}

bool Complete(const TRowValues& v) {
    for (int i = 1; i <= kAngles; ++i)
        if (!Given(v[i]))
            return false;
    return true;
}

// The energetic mean of a complete row in dB.
double EnergeticMean(const TRowValues& v) {
    double sum = 0;
    for (int i = 1; i <= kAngles; ++i)
        sum += std::pow(10.0, v[i] / 10.0);
    return 10.0 * std::log10(sum / kAngles);
}

// A cell as a number, '.' or ',' as decimal separator; an empty cell is no value.
double ParseCell(const TFieldNameItem& item) {
    try {
        return ParseDecimalText(item.Value).value_or(kNoValue);
    } catch (const EKorvelError& e) {
        throw EKorvelError("Field \"" + item.Caption + "\": " + e.what());
    }
}

// The text cut to what the field keeps, so that the name looked up is the name stored.
std::string FitToField(const std::string& text, const db::TField* field) {
    if (!field || field->DataType() != db::TFieldType::String || field->Size() <= 0)
        return text;
    return TrimText(db::TruncateCodePoints(text, static_cast<std::size_t>(field->Size())));
}

// The row as a directivity: horizontal, frequency independent, 10 degree steps; every given angle is a
// sample and its grid value (360 degrees is the grid's column 0). The cells of a row with gaps are filled by
// the interpolation when there are samples enough for it, else they stay 0 dB; the given values are kept
// exactly either way. Returns the interpolation's refusal, if any.
std::optional<std::string> RowDirectivity(const TRowValues& v, bool complete, TDirectivity& d) {
    d.SetDirType(TDirType::Horizontal);
    d.SetSpecType(TSpecType::SingleValue);
    d.SetBMinBMax(kAllBands, kAllBands);
    d.SetStep(kStep, kStep);
    d.ClearSamples();
    const double theta = d.ThetaOf(0);
    for (int k = 0; k < kAngles; ++k) {
        const double value = v[static_cast<std::size_t>(k == 0 ? kAngles : k)];
        d.SetValue(0, 0, k, 0.0);
        if (Given(value))
            d.AddSample(theta, k * kStep, value);
    }
    std::optional<std::string> refused;
    if (!complete && static_cast<int>(d.Samples.size()) >= kMinSamplesToInterpolate) {
        try {
            d.Interpolate(TSplineType::Cubic, 0);
        } catch (const EKorvelError& e) {
            refused = e.what();
        }
    }
    for (int k = 0; k < kAngles; ++k)
        if (const double value = v[static_cast<std::size_t>(k == 0 ? kAngles : k)]; Given(value))
            d.SetValue(0, 0, k, value);
    d.CalcLtot();
    return refused;
}

} // namespace

TFieldNameList TFormRiwiX::ImportFieldList() {
    TFieldNameList list;
    list.Add("ElementName", "Element name");
    list.Add("Freq", "Freq", 0,
             [this](TFieldNameItem& item, const std::string& text) { SetFreqValue(item, text); });
    for (int i = 1; i <= kAngles; ++i)
        list.Add("Values" + std::to_string(i), std::to_string(i * kStep) + " [deg]", i);
    list.Add("Kommentar", "Comment").MultiLine = true;
    return list;
}

int TFormRiwiX::ImportAsciiExcel(const std::string& fileName, int& count, int& duplicates) {
    TExcelImportForm form(Ui(), fileName, ImportFieldList());
    form.OnImportLine = [this](TExcelImportForm& sender, TImportLineAction& action) {
        ImportExcelLine(sender, action);
    };
    return RunExcelImport(form, count, duplicates);
}

void TFormRiwiX::ImportExcelLine(TExcelImportForm& sender, TImportLineAction& action) {
    if (Host().HasLog())
        Host().Log().SetProgressOf(sender.LineNo(), sender.LineCount());
    TMyTable* myTable = GetMyTable(GetCurIndex());
    db::TTable* table = CurrentTable();
    if (!myTable || !table)
        throw EKorvelError("No library is open to import into.");
    TFieldNameList& fields = sender.Fields();

    // Everything the row says is read before a record is begun, so a bad cell leaves nothing behind.
    std::string name;
    std::string freq;
    TRowValues values;
    values.fill(kNoValue);
    for (TFieldNameItem& item : fields.Items) {
        if (item.FieldName == "ElementName")
            name = TrimText(item.Value);
        else if (item.FieldName == "Freq")
            freq = item.Value;
        else if (item.FieldName.starts_with("Values") && item.Tag >= 1 && item.Tag <= kAngles)
            values[static_cast<std::size_t>(item.Tag)] = ParseCell(item);
    }
    if (name.empty())
        return; // a row without a name is no element
    // The name is checked as it will be stored, frequency included, so a second import finds it.
    if (!freq.empty())
        name += " " + freq;
    name = FitToField(name, table->FindField("ElementName"));

    MirrorRow(values);
    const bool complete = Complete(values);
    TDirectivity dir;
    if (const std::optional<std::string> refused = RowDirectivity(values, complete, dir))
        Host().Log().AddError("Line " + std::to_string(sender.LineNo()) + ": the missing angles of \"" +
                              name + "\" stay 0 dB: " + *refused);

    TBulkTag bulk(*table);
    if (!CheckImportRowName(sender, *table, name, action))
        return;
    // Whatever stops this row before its store drops the record it began.
    TPendingRecord pending(*table);
    for (TFieldNameItem& item : fields.Items) {
        if (item.Value.empty() || item.FieldName == "ElementName" || item.FieldName == "Freq" ||
            item.FieldName.starts_with("Values"))
            continue;
        if (db::TField* field = table->FindField(item.FieldName))
            field->SetAsString(item.Value);
    }
    if (db::TField* f = table->FindField("LastChangeDateTime"))
        f->SetAsDateTime(db::Now());
    if (db::TField* f = table->FindField("Komplett"))
        f->SetAsBoolean(complete);
    if (db::TField* f = table->FindField("Values0"))
        f->SetAsFloat(complete ? EnergeticMean(values) : kNoValue);
    dir.SaveToLibrary(*table, name);
    PostOrCancel(*table);
    ++sender.Imported;
}

void TFormRiwiX::SetFreqValue(TFieldNameItem& item, const std::string& text) {
    std::string t;
    for (char c : text)
        if (c != ' ')
            t += c == ',' ? '.' : c;
    for (std::size_t at; (at = t.find("Hz")) != std::string::npos;)
        t.erase(at, 2);
    double hz = 0;
    if (const std::size_t k = t.find('k'); k != std::string::npos) {
        t.erase(k, 1);
        char* end = nullptr;
        const double v = std::strtod(t.c_str(), &end);
        if (!t.empty() && end == t.c_str() + t.size() && std::isfinite(v))
            hz = std::round(1000.0 * v);
    } else {
        char* end = nullptr;
        const long v = std::strtol(t.c_str(), &end, 10);
        if (!t.empty() && end == t.c_str() + t.size())
            hz = static_cast<double>(v);
    }
    // A frequency outside the third-octave table (0 for a text that is no number) names no band.
    const int band = ThirdOctaveBandOf(hz);
    item.Value =
        band < 0 ? std::string() : std::string(ThirdOctavesStrShort[static_cast<std::size_t>(band)]) + " Hz";
}

} // namespace korvel::directivity
