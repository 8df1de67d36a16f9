#pragma once

// One assessment as the editor holds it: the element's number and name, its ordered time ranges and its
// additions per usage area and hour, read from and written to the three tables of the library.

#include "platform/acoustic/TimeRange.h"

#include <array>
#include <memory>
#include <string>
#include <vector>

namespace korvel {
namespace db {
class TTable;
}
} // namespace korvel

namespace korvel::assessment {

inline constexpr int kAssessmentLibType = 135;
// Items of the library file: the main table, the time ranges, the additions.
inline constexpr int kMainItem = 0;
inline constexpr int kRangesItem = 1;
inline constexpr int kAdditionsItem = 2;

// Additions in dB by usage area 1..25 (row i - 1) and hour 1..24 (column k - 1: the hour k-1..k).
using TAdditions = std::array<std::array<float, acoustic::kHoursPerDay>, kUsageCount>;

class TBewertungDataSet {
public:
    int ElementNumber = 0;
    bool HasNumber = false; // false for a record that was never stored
    std::string ElementName;
    std::vector<std::unique_ptr<acoustic::TZeitBereich>> Ranges;
    TAdditions Additions{};

    TBewertungDataSet() = default;
    TBewertungDataSet(const TBewertungDataSet& other);
    TBewertungDataSet& operator=(const TBewertungDataSet& other);
    TBewertungDataSet(TBewertungDataSet&&) noexcept = default;
    TBewertungDataSet& operator=(TBewertungDataSet&&) noexcept = default;

    // Reads the current record of main and its rows of the child tables; the child tables are left
    // filtered to the element. Older tables: number from "BwNummer", name from "BwName", additions rows by
    // their usage short in "Kzl" (matched against UsageIds).
    void Read(db::TTable& main, db::TTable& ranges, db::TTable& additions);
    // Writes the additions rows and replaces the element's time-range rows; the element number is taken from
    // main's "Eintrag". The caller holds the transaction.
    void Write(db::TTable& main, db::TTable& ranges, db::TTable& additions) const;
    // Writes for an explicit element number (imports and conversion).
    void WriteFor(int elementNumber, db::TTable& ranges, db::TTable& additions) const;

    // Adds one default range when there is none: an element always has at least one.
    void EnsureRange();
};

// Narrows a child table to the rows of one element, in stored order (index "p").
void FilterToElement(db::TTable& child, int elementNumber);
// Writes one additions row (area 1..25) of an element, appending it when missing; child is filtered.
void WriteToGebTable(db::TTable& additions, int elementNumber, int usage,
                     const std::array<float, acoustic::kHoursPerDay>& values);
// The 25 zero rows of a new element.
void GebieteNeu(db::TTable& additions, int elementNumber);
// Deletes every child row of an element (before the element itself goes).
void DeleteElementRows(db::TTable& ranges, db::TTable& additions, int elementNumber);

// Copies an assessment between libraries whose usage areas may differ: every target area takes the limits
// and additions of the source area with the same short (ignoring case); areas without one get zeros.
TBewertungDataSet MapToUsages(const TBewertungDataSet& source, const TUsages& sourceUsages,
                              const TUsages& targetUsages);
// The source areas that no target area matches by short (ignoring case), as "short: description".
std::vector<std::string> MissingUsages(const TUsages& sourceUsages, const TUsages& targetUsages);

} // namespace korvel::assessment
