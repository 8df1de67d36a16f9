#pragma once

// An assessment as JSON for the command line and the System library sources. Limits and additions are keyed
// by the library's usage shorts, so the object reads the same in any library:
//
//   {"name", "comment",
//    "ranges": [{"name", "short", "type", "typeName", "hours": "22-6", "Ta", "loudestN", "withPenalties",
//                "threshold", "transmissionLoss", "limitName", "limitShort", "method",
//                "limits": {"WA": 55.0, ...}}],
//    "additions": {"WA": [24 values for the hours 0-1 .. 23-24], ...}}
//
// "typeName" and "method" as text are for reading; on input "type" decides and "method" may be the item's
// short ("T30", "C50", "male") or its index. Usage shorts missing from "limits" and "additions" mean zero.

#include "assessment/AssessmentDataSet.h"

#include <nlohmann/json.hpp>
#include <string>

namespace korvel::assessment {

nlohmann::ordered_json RangeToJson(const acoustic::TZeitBereich& range, const TUsages& usages);
nlohmann::ordered_json AssessmentToJson(const TBewertungDataSet& data, const std::string& comment,
                                        const TUsages& usages);

// Applies the members present onto data (others keep their values); "ranges" replaces the whole list and
// "additions" the whole table. Throws EKorvelError naming the member for an unknown member, an unknown usage
// short, an invalid hours text or a value out of range; data and comment are then unchanged.
void AssessmentFromJson(const nlohmann::json& object, const TUsages& usages, TBewertungDataSet& data,
                        std::string& comment);

// The usage areas as JSON: [{"number": 1, "short": "WR", "description": "..."}, ...].
nlohmann::ordered_json UsagesToJson(const TUsages& usages);

} // namespace korvel::assessment
