#pragma once

// A time range of an assessment (day, evening, night, a loudest hour, a room-acoustic parameter...): its
// kind, its hours of the day, how its level is averaged and its limit per usage area. An assessment is an
// ordered list of such ranges plus a table of additions; see docs/assessment.md for the kinds and their
// sources, and for the row layout of the time-range table.

#include "platform/base/Usages.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace korvel {
namespace db {
class TTable;
}
} // namespace korvel

namespace korvel::acoustic {

// The kinds of assessment, 0..24; the numbers are stored and fixed.
using TAssessmentType = std::uint8_t;
inline constexpr int kAssessmentTypeCount = 25;

// Names of the kinds, by number.
extern const std::array<std::string_view, kAssessmentTypeCount> AtArray;
// Whether a range of the kind is compared with limits (gets a column in the limits grid).
bool AssessTypeHasLimits(int type);
// Whether the kind is offered for new ranges; the others are read and kept but not chosen.
bool AssessTypeOffered(int type);

// Reverberation time from the decay between -5 and -25 dB or -5 and -35 dB.
enum class TRevTimeType : std::uint8_t { T20 = 0, T30 = 1 };
enum class TClarityType : std::uint8_t { C80 = 0, C50 = 1 };
// The speech spectrum of the speech transmission index.
enum class TSTIType : std::uint8_t { Female = 0, Male = 1, Mean = 2 };

inline constexpr int kHoursPerDay = 24;
// The byte length of the limits blob: 25 little-endian singles.
inline constexpr int kLimitsBlobSize = kUsageCount * 4;

class TZeitBereich {
public:
    // A default range: the equivalent level over the whole day, no limits.
    TZeitBereich();

    void Assign(const TZeitBereich& other) { *this = other; }
    bool operator==(const TZeitBereich&) const = default;

    TAssessmentType AssessType = 1;
    std::uint8_t loudestN = 0;
    // Hours[k] for k = 1..24: the hour k-1..k belongs to the range; index 0 is unused.
    std::array<bool, kHoursPerDay + 1> Hours{};
    std::string Name;
    std::string Short;
    std::string NameLimit;
    std::string ShortLimit;
    float TBewert = 24;
    // Limits[i] for usage area i = 1..25, in dB; index 0 is unused.
    std::array<float, kUsageCount + 1> Limits{};
    bool withPenalties = false;
    // Threshold in dB (kind 7) or the NAT value (kind 9).
    float Threshold = 0;
    float TR = 0;

    bool HasLimits() const { return AssessTypeHasLimits(AssessType); }
    // Sets the kind; additions only count for the rating level, so the switch goes off for the others.
    void SetAssessType(int type);
    TRevTimeType GetRevTimeType() const { return revTimeType_; }
    void SetRevTimeType(TRevTimeType type) { revTimeType_ = type; }
    TClarityType GetClarityType() const { return clarityType_; }
    void SetClarityType(TClarityType type) { clarityType_ = type; }
    TSTIType GetSTIType() const { return stiType_; }
    void SetSTIType(TSTIType type) { stiType_ = type; }
    // The method item of the kinds with a method (13, 15, 20), -1 for the others.
    int MethodIndex() const;
    // Sets the method of the range's kind by item; false when the kind has no such item.
    bool SetMethodIndex(int index);
    // The number of hours set.
    int HourCount() const;

    // Reads the current row of a time-range table; fields the table lacks keep their defaults, and a limits
    // blob of another length than 100 bytes gives zero limits.
    void ReadFromTable(db::TTable& table);
    // Sets the fields of the table's current row (in append or edit state) for the owning element.
    void WriteToTable(db::TTable& table, int elementNumber) const;

private:
    TRevTimeType revTimeType_ = TRevTimeType::T20;
    TClarityType clarityType_ = TClarityType::C80;
    TSTIType stiType_ = TSTIType::Female;
};

// The items of the method radio group for a kind (empty for kinds without a method).
std::vector<std::string> MethodItems(int type);
// Short names of the methods for text and JSON ("T20", "C50", "male"), by kind; empty for kinds without.
std::vector<std::string> MethodShorts(int type);

// The hours as text: pieces "a-b" joined by ";", a run over midnight written once ("22-6").
std::string HoursToText(const std::array<bool, kHoursPerDay + 1>& hours);
// Parses the hours text (blanks ignored); nullopt when a piece is not two whole hours 0..24 joined by "-".
// "a-a" sets nothing; a > b runs over midnight.
std::optional<std::array<bool, kHoursPerDay + 1>> HoursFromText(std::string_view text);

} // namespace korvel::acoustic
