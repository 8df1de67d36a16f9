#pragma once

// Assessment libraries written straight through the tables, for tests that read them through the editor.

#include "assessment/AssessmentDataSet.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/db/Table.h"

#include <memory>
#include <string>
#include <vector>

namespace korvel::assessment::test {

// A range with a short, its hours and a limit for usage area 2 (WA).
inline acoustic::TZeitBereich Range(const std::string& shortName, const std::string& hours, float limitWa) {
    acoustic::TZeitBereich r;
    r.Short = shortName;
    r.Name = shortName + " range";
    r.Hours = *acoustic::HoursFromText(hours);
    r.Limits[2] = limitWa;
    return r;
}

inline TBewertungDataSet Assessment(const std::string& name, std::vector<acoustic::TZeitBereich> ranges) {
    TBewertungDataSet d;
    d.ElementName = name;
    for (auto& r : ranges)
        d.Ranges.push_back(std::make_unique<acoustic::TZeitBereich>(std::move(r)));
    return d;
}

// The library of kind 135 in folder (made when missing), open.
class TAssessmentLib {
public:
    explicit TAssessmentLib(const std::string& folder) {
        lib_.InitLibX(folder, LibName(kAssessmentLibType), TableNames(kAssessmentLibType), false, true);
        if (!lib_.Exists()) {
            SetFieldIndexDefs(lib_, kAssessmentLibType, true);
            lib_.CreateDBTable();
        }
        lib_.Open();
    }
    db::TTable& Main() { return *lib_.GetItem(kMainItem); }
    db::TTable& Ranges() { return *lib_.GetItem(kRangesItem); }
    db::TTable& Additions() { return *lib_.GetItem(kAdditionsItem); }
    // Appends an element with its ranges and additions; returns its number.
    int Add(const TBewertungDataSet& d) {
        Main().Append();
        Main().FieldByName("ElementName").SetAsString(d.ElementName);
        Main().Post();
        const int n = Main().FieldByName("Eintrag").AsInteger();
        d.WriteFor(n, Ranges(), Additions());
        return n;
    }
    // The element of that number as stored (a fresh read; empty ranges when there is none).
    TBewertungDataSet Read(int number) {
        TBewertungDataSet d;
        if (Main().Locate("Eintrag", {db::TValue(static_cast<std::int64_t>(number))}))
            d.Read(Main(), Ranges(), Additions());
        return d;
    }
    // The number of the element of that name, 0 when there is none.
    int Find(const std::string& name) {
        return Main().Locate("ElementName", {db::TValue(name)}) ? Main().FieldByName("Eintrag").AsInteger()
                                                                : 0;
    }

private:
    TMyTable lib_{TableNames(kAssessmentLibType)};
};

} // namespace korvel::assessment::test
