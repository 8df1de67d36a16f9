#include "assessment/AssessmentJson.h"

#include "editor/JsonMembers.h"
#include "platform/Errors.h"

#include <charconv>
#include <cmath>

namespace korvel::assessment {

using acoustic::kHoursPerDay;
using acoustic::TZeitBereich;
using nlohmann::json;
using nlohmann::ordered_json;

namespace {

// The shortest decimal that reads back as the stored single (55 rather than 55.000000001).
double FloatJson(float value) {
    char buf[32];
    const auto [end, ec] = std::to_chars(buf, buf + sizeof buf, value);
    double d = value;
    std::from_chars(buf, end, d);
    return d;
}

// The key of an area: its short, or "#n" when the short is empty or an earlier area has it too.
std::string UsageKey(const TUsages& usages, int usage) {
    const std::string& s = usages[static_cast<std::size_t>(usage - 1)].Short;
    if (s.empty() || FindUsageByShort(usages, s) != usage)
        return "#" + std::to_string(usage);
    return s;
}

int UsageOfKey(const TUsages& usages, const std::string& key, const std::string& member) {
    if (key.size() > 1 && key[0] == '#') {
        int n = 0;
        const auto [end, ec] = std::from_chars(key.data() + 1, key.data() + key.size(), n);
        if (ec == std::errc{} && end == key.data() + key.size() && n >= 1 && n <= kUsageCount)
            return n;
    }
    if (const int usage = FindUsageByShort(usages, key))
        return usage;
    BadMember(member + "." + key, "no usage area of the library has this short");
}

const std::initializer_list<std::string_view> kRangeMembers = {
    "name",      "short",      "type",          "typeName",  "hours",
    "Ta",        "loudestN",   "withPenalties", "threshold", "transmissionLoss",
    "limitName", "limitShort", "method",        "limits"};

TZeitBereich RangeFromJson(const json& v, const TUsages& usages, const std::string& member) {
    if (!v.is_object())
        BadMember(member, "a time range object is expected");
    CheckKnownMembers(v, kRangeMembers, member + ".");
    TZeitBereich r;
    const std::string m = member + ".";
    if (v.contains("type")) {
        r.SetAssessType(MemberInteger(v["type"], m + "type", 0, acoustic::kAssessmentTypeCount - 1));
        r.withPenalties = false;
    }
    if (v.contains("name"))
        r.Name = MemberText(v["name"], m + "name", 40);
    if (v.contains("short"))
        r.Short = MemberText(v["short"], m + "short", 20);
    if (v.contains("limitName"))
        r.NameLimit = MemberText(v["limitName"], m + "limitName", 40);
    if (v.contains("limitShort"))
        r.ShortLimit = MemberText(v["limitShort"], m + "limitShort", 20);
    if (v.contains("hours")) {
        const auto hours = acoustic::HoursFromText(MemberText(v["hours"], m + "hours"));
        if (!hours)
            BadMember(m + "hours", "pieces of two whole hours 0..24 joined by \"-\", separated by \";\" are "
                                   "expected, such as \"22-6\" or \"8-13;15-20\"");
        r.Hours = *hours;
    }
    if (v.contains("Ta")) {
        const double ta = MemberNumber(v["Ta"], m + "Ta");
        if (ta < 0 || ta > 8784)
            BadMember(m + "Ta", "an averaging time from 0 hours is expected");
        r.TBewert = static_cast<float>(ta);
    }
    if (v.contains("loudestN"))
        r.loudestN = static_cast<std::uint8_t>(MemberInteger(v["loudestN"], m + "loudestN", 0, kHoursPerDay));
    if (v.contains("withPenalties")) {
        r.withPenalties = MemberBool(v["withPenalties"], m + "withPenalties");
        if (r.withPenalties && r.AssessType != 0)
            BadMember(m + "withPenalties", "additions count for the rating level (type 0) only");
    }
    if (v.contains("threshold"))
        r.Threshold = static_cast<float>(MemberNumber(v["threshold"], m + "threshold"));
    if (v.contains("transmissionLoss")) {
        const double tr = MemberNumber(v["transmissionLoss"], m + "transmissionLoss");
        if (tr < 0)
            BadMember(m + "transmissionLoss", "a transmission loss from 0 dB is expected");
        r.TR = static_cast<float>(tr);
    }
    if (v.contains("method") && !v["method"].is_null()) {
        const json& method = v["method"];
        const std::vector<std::string> shorts = acoustic::MethodShorts(r.AssessType);
        int index = -1;
        if (method.is_string()) {
            for (std::size_t i = 0; i < shorts.size(); ++i)
                if (shorts[i] == method.get<std::string>())
                    index = static_cast<int>(i);
        } else if (method.is_number_integer()) {
            index = method.get<int>();
        }
        if (!r.SetMethodIndex(index)) {
            std::string known;
            for (const std::string& s : shorts)
                known += (known.empty() ? "" : ", ") + s;
            BadMember(m + "method", shorts.empty() ? "this type of assessment has no method"
                                                   : "one of " + known + " is expected");
        }
    }
    if (v.contains("limits")) {
        const json& limits = v["limits"];
        if (!limits.is_object())
            BadMember(m + "limits", "an object of usage shorts and limits in dB is expected");
        for (const auto& [key, value] : limits.items()) {
            const int usage = UsageOfKey(usages, key, m + "limits");
            r.Limits[static_cast<std::size_t>(usage)] =
                static_cast<float>(MemberNumber(value, m + "limits." + key));
        }
    }
    return r;
}

TAdditions AdditionsFromJson(const json& v, const TUsages& usages) {
    if (!v.is_object())
        BadMember("additions", "an object of usage shorts and 24 additions in dB is expected");
    TAdditions additions{};
    for (const auto& [key, value] : v.items()) {
        const int usage = UsageOfKey(usages, key, "additions");
        const std::string m = "additions." + key;
        if (!value.is_array() || value.size() != static_cast<std::size_t>(kHoursPerDay))
            BadMember(m, "24 values for the hours 0-1 to 23-24 are expected");
        for (int k = 0; k < kHoursPerDay; ++k)
            additions[static_cast<std::size_t>(usage - 1)][static_cast<std::size_t>(k)] = static_cast<float>(
                MemberNumber(value[static_cast<std::size_t>(k)], m + "[" + std::to_string(k) + "]"));
    }
    return additions;
}

} // namespace

ordered_json RangeToJson(const TZeitBereich& r, const TUsages& usages) {
    ordered_json out;
    out["name"] = r.Name;
    out["short"] = r.Short;
    out["type"] = r.AssessType;
    out["typeName"] = std::string(acoustic::AtArray[r.AssessType]);
    out["hours"] = acoustic::HoursToText(r.Hours);
    out["Ta"] = FloatJson(r.TBewert);
    out["loudestN"] = r.loudestN;
    out["withPenalties"] = r.withPenalties;
    out["threshold"] = FloatJson(r.Threshold);
    out["transmissionLoss"] = FloatJson(r.TR);
    out["limitName"] = r.NameLimit;
    out["limitShort"] = r.ShortLimit;
    const int method = r.MethodIndex();
    out["method"] =
        method < 0 ? ordered_json(nullptr)
                   : ordered_json(acoustic::MethodShorts(r.AssessType)[static_cast<std::size_t>(method)]);
    ordered_json limits = ordered_json::object();
    for (int i = 1; i <= kUsageCount; ++i)
        if (const float v = r.Limits[static_cast<std::size_t>(i)]; v != 0)
            limits[UsageKey(usages, i)] = FloatJson(v);
    out["limits"] = std::move(limits);
    return out;
}

ordered_json AssessmentToJson(const TBewertungDataSet& data, const std::string& comment,
                              const TUsages& usages) {
    ordered_json out;
    out["name"] = data.ElementName;
    ordered_json ranges = ordered_json::array();
    for (const auto& r : data.Ranges)
        ranges.push_back(RangeToJson(*r, usages));
    out["ranges"] = std::move(ranges);
    ordered_json additions = ordered_json::object();
    for (int i = 1; i <= kUsageCount; ++i) {
        const auto& row = data.Additions[static_cast<std::size_t>(i - 1)];
        if (std::all_of(row.begin(), row.end(), [](float v) { return v == 0; }))
            continue;
        ordered_json values = ordered_json::array();
        for (float v : row)
            values.push_back(FloatJson(v));
        additions[UsageKey(usages, i)] = std::move(values);
    }
    out["additions"] = std::move(additions);
    out["comment"] = comment;
    return out;
}

void AssessmentFromJson(const json& object, const TUsages& usages, TBewertungDataSet& data,
                        std::string& comment) {
    if (!object.is_object())
        throw EKorvelError("An assessment is a JSON object");
    CheckKnownMembers(object, {"name", "comment", "ranges", "additions"});
    TBewertungDataSet d = data;
    std::string newComment = object.contains("comment") ? MemberText(object["comment"], "comment") : comment;
    if (object.contains("name"))
        d.ElementName = MemberText(object["name"], "name", 40);
    if (object.contains("ranges")) {
        const json& ranges = object["ranges"];
        if (!ranges.is_array() || ranges.empty())
            BadMember("ranges", "a list of at least one time range is expected");
        d.Ranges.clear();
        for (std::size_t i = 0; i < ranges.size(); ++i)
            d.Ranges.push_back(std::make_unique<TZeitBereich>(
                RangeFromJson(ranges[i], usages, "ranges[" + std::to_string(i) + "]")));
    }
    if (object.contains("additions"))
        d.Additions = AdditionsFromJson(object["additions"], usages);
    data = std::move(d);
    comment = std::move(newComment);
}

ordered_json UsagesToJson(const TUsages& usages) {
    ordered_json list = ordered_json::array();
    for (std::size_t i = 0; i < usages.size(); ++i)
        list.push_back({{"number", i + 1}, {"short", usages[i].Short}, {"description", usages[i].Descr}});
    return list;
}

} // namespace korvel::assessment
