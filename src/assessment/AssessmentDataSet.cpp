#include "assessment/AssessmentDataSet.h"

#include "platform/db/Table.h"
#include "platform/text/CaseFold.h"

#include <cmath>
#include <map>

namespace korvel::assessment {

using acoustic::kHoursPerDay;
using acoustic::TZeitBereich;

namespace {

std::string AdditionField(int hour) {
    return "Z" + std::to_string(hour);
}

// The usage area 1..25 of an additions row: its number, or on older tables its short; 0 when neither fits.
int RowUsage(db::TTable& additions) {
    if (const db::TField* id = additions.FindField("UsageId"))
        return id->IsNull() ? 0 : id->AsInteger();
    if (const db::TField* kzl = additions.FindField("Kzl")) {
        const std::string text = kzl->AsString();
        for (std::size_t i = 0; i < UsageIds.size(); ++i)
            if (SameTextIgnoringCase(UsageIds[i], text))
                return static_cast<int>(i) + 1;
    }
    return 0;
}

std::optional<int> ElementNumberOf(db::TTable& main) {
    for (const char* name : {"Eintrag", "BwNummer"})
        if (const db::TField* f = main.FindField(name))
            return f->IsNull() ? std::nullopt : std::optional<int>(f->AsInteger());
    return std::nullopt;
}

// The rows of the filtered additions table by usage area (the first row of an area counts).
std::map<int, db::TBookmark> RowsByUsage(db::TTable& additions) {
    std::map<int, db::TBookmark> rows;
    for (additions.First(); !additions.Eof(); additions.Next()) {
        const int usage = RowUsage(additions);
        if (usage >= 1 && usage <= kUsageCount)
            rows.emplace(usage, additions.GetBookmark());
    }
    return rows;
}

void SetAdditionsRow(db::TTable& additions, int elementNumber, int usage,
                     const std::array<float, kHoursPerDay>& values) {
    if (db::TField* id = additions.FindField("UsageId"))
        id->SetAsInteger(usage);
    else if (db::TField* kzl = additions.FindField("Kzl"))
        kzl->SetAsString(UsageIds[static_cast<std::size_t>(usage - 1)]);
    additions.FieldByName("BwNummer").SetAsInteger(elementNumber);
    for (int k = 1; k <= kHoursPerDay; ++k)
        if (db::TField* f = additions.FindField(AdditionField(k)))
            f->SetAsFloat(values[static_cast<std::size_t>(k - 1)]);
    additions.Post();
}

// Edits the area's row among rows (the filtered table's rows by area), or appends it.
void WriteAdditionsRow(db::TTable& additions, const std::map<int, db::TBookmark>& rows, int elementNumber,
                       int usage, const std::array<float, kHoursPerDay>& values) {
    if (auto it = rows.find(usage); it != rows.end() && additions.GotoBookmark(it->second))
        additions.Edit();
    else
        additions.Append();
    SetAdditionsRow(additions, elementNumber, usage, values);
}

// The 25 rows of the filtered table, its existing rows looked up once.
void WriteAdditionsRows(db::TTable& additions, int elementNumber, const TAdditions& values) {
    const std::map<int, db::TBookmark> rows = RowsByUsage(additions);
    for (int usage = 1; usage <= kUsageCount; ++usage)
        WriteAdditionsRow(additions, rows, elementNumber, usage, values[static_cast<std::size_t>(usage - 1)]);
}

void DeleteAllRows(db::TTable& table) {
    table.First();
    while (!table.Eof() && !table.IsEmpty())
        table.Delete();
}

} // namespace

TBewertungDataSet::TBewertungDataSet(const TBewertungDataSet& other)
    : ElementNumber(other.ElementNumber), HasNumber(other.HasNumber), ElementName(other.ElementName),
      Additions(other.Additions) {
    for (const auto& r : other.Ranges)
        Ranges.push_back(std::make_unique<TZeitBereich>(*r));
}

TBewertungDataSet& TBewertungDataSet::operator=(const TBewertungDataSet& other) {
    if (this != &other) {
        TBewertungDataSet copy(other);
        *this = std::move(copy);
    }
    return *this;
}

void FilterToElement(db::TTable& child, int elementNumber) {
    child.SetFilter("[BwNummer] = " + std::to_string(elementNumber));
    child.SetFiltered(true);
    if (child.IndexName() != "p")
        child.SetIndexName("p");
}

void TBewertungDataSet::Read(db::TTable& main, db::TTable& ranges, db::TTable& additions) {
    TBewertungDataSet fresh;
    const std::optional<int> number = main.IsEmpty() ? std::nullopt : ElementNumberOf(main);
    fresh.HasNumber = number.has_value();
    fresh.ElementNumber = number.value_or(0);
    if (!main.IsEmpty()) {
        fresh.ElementName = main.FindField("ElementName") ? db::FieldString(main, "ElementName")
                                                          : db::FieldString(main, "BwName");
    }
    if (fresh.HasNumber) {
        FilterToElement(additions, fresh.ElementNumber);
        FilterToElement(ranges, fresh.ElementNumber);
        for (const auto& [usage, mark] : RowsByUsage(additions)) {
            additions.GotoBookmark(mark);
            for (int k = 1; k <= kHoursPerDay; ++k) {
                const db::TField* f = additions.FindField(AdditionField(k));
                const double v = f && !f->IsNull() ? f->AsFloat() : 0.0;
                fresh.Additions[static_cast<std::size_t>(usage - 1)][static_cast<std::size_t>(k - 1)] =
                    std::isfinite(v) ? static_cast<float>(v) : 0.0f;
            }
        }
        for (ranges.First(); !ranges.Eof(); ranges.Next()) {
            auto range = std::make_unique<TZeitBereich>();
            range->ReadFromTable(ranges);
            fresh.Ranges.push_back(std::move(range));
        }
    }
    *this = std::move(fresh);
}

void TBewertungDataSet::Write(db::TTable& main, db::TTable& ranges, db::TTable& additions) const {
    WriteFor(main.FieldByName("Eintrag").AsInteger(), ranges, additions);
}

void TBewertungDataSet::WriteFor(int elementNumber, db::TTable& ranges, db::TTable& additions) const {
    FilterToElement(additions, elementNumber);
    FilterToElement(ranges, elementNumber);
    WriteAdditionsRows(additions, elementNumber, Additions);
    DeleteAllRows(ranges);
    for (const auto& range : Ranges) {
        ranges.Append();
        range->WriteToTable(ranges, elementNumber);
        ranges.Post();
    }
}

void TBewertungDataSet::EnsureRange() {
    if (Ranges.empty())
        Ranges.push_back(std::make_unique<TZeitBereich>());
}

void WriteToGebTable(db::TTable& additions, int elementNumber, int usage,
                     const std::array<float, kHoursPerDay>& values) {
    WriteAdditionsRow(additions, RowsByUsage(additions), elementNumber, usage, values);
}

void GebieteNeu(db::TTable& additions, int elementNumber) {
    FilterToElement(additions, elementNumber);
    WriteAdditionsRows(additions, elementNumber, TAdditions{});
}

void DeleteElementRows(db::TTable& ranges, db::TTable& additions, int elementNumber) {
    FilterToElement(ranges, elementNumber);
    FilterToElement(additions, elementNumber);
    DeleteAllRows(ranges);
    DeleteAllRows(additions);
}

TBewertungDataSet MapToUsages(const TBewertungDataSet& source, const TUsages& sourceUsages,
                              const TUsages& targetUsages) {
    TBewertungDataSet mapped;
    mapped.ElementName = source.ElementName;
    std::array<int, kUsageCount + 1> map{};
    for (int i = 1; i <= kUsageCount; ++i)
        map[static_cast<std::size_t>(i)] =
            FindUsageByShort(sourceUsages, targetUsages[static_cast<std::size_t>(i - 1)].Short);
    for (const auto& range : source.Ranges) {
        auto copy = std::make_unique<TZeitBereich>(*range);
        copy->Limits.fill(0);
        for (int i = 1; i <= kUsageCount; ++i)
            if (const int m = map[static_cast<std::size_t>(i)]; m > 0)
                copy->Limits[static_cast<std::size_t>(i)] = range->Limits[static_cast<std::size_t>(m)];
        mapped.Ranges.push_back(std::move(copy));
    }
    for (int i = 1; i <= kUsageCount; ++i)
        if (const int m = map[static_cast<std::size_t>(i)]; m > 0)
            mapped.Additions[static_cast<std::size_t>(i - 1)] =
                source.Additions[static_cast<std::size_t>(m - 1)];
    return mapped;
}

std::vector<std::string> MissingUsages(const TUsages& sourceUsages, const TUsages& targetUsages) {
    std::vector<std::string> missing;
    for (const TUsage& u : sourceUsages)
        if (FindUsageByShort(targetUsages, u.Short) == 0)
            missing.push_back(u.Short + ": " + u.Descr);
    return missing;
}

} // namespace korvel::assessment
