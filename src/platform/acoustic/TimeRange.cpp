#include "platform/acoustic/TimeRange.h"

#include "platform/base/Blob.h"
#include "platform/db/Table.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace korvel::acoustic {

// The sources of the kinds are in docs/assessment.md; kinds marked "older" are kept for data of earlier
// versions and not offered for new ranges.
const std::array<std::string_view, kAssessmentTypeCount> AtArray = {
    "Rating level with additions Lr",              // 0
    "Equivalent continuous level LAeq",            // 1
    "Day-night level Ldn",                         // 2
    "Loudest hour LAeq,1h,max",                    // 3
    "Maximum level LAFmax",                        // 4
    "Percentile level LAN (older)",                // 5
    "Rating level per weekday (older)",            // 6
    "Number of events above threshold NA",         // 7
    "Maximum level indoors",                       // 8
    "Number above threshold criterion NAT",        // 9
    "Level spectrum (older)",                      // 10
    "Level difference (older)",                    // 11
    "Community noise equivalent level CNEL",       // 12
    "Reverberation time T20/T30",                  // 13
    "Early decay time EDT",                        // 14
    "Clarity C80/C50",                             // 15
    "Definition D50",                              // 16
    "Centre time Ts",                              // 17
    "Sound strength G",                            // 18
    "Early lateral energy fraction JLF",           // 19
    "Speech transmission index STI",               // 20
    "Sound exposure level LAE",                    // 21
    "Day-evening-night level per weekday (older)", // 22
    "Octave-band level spectrum",                  // 23
    "Reserved (older)",                            // 24
};

bool AssessTypeOffered(int type) {
    switch (type) {
    case 5:
    case 6:
    case 10:
    case 11:
    case 22:
    case 24:
        return false;
    default:
        return type >= 0 && type < kAssessmentTypeCount;
    }
}

bool AssessTypeHasLimits(int type) {
    switch (type) {
    case 0:
    case 1:
    case 2:
    case 3:
    case 4:
    case 5:
    case 6:
    case 7:
    case 8:
    case 9:
    case 12:
    case 21:
    case 22:
        return true;
    default:
        return false;
    }
}

std::vector<std::string> MethodItems(int type) {
    switch (type) {
    case 13:
        return {"T20, from regression between -5..-25 dB (only relevant if using Schroeder method) ",
                "T30, from regression between -5..-35 dB (only relevant if using Schroeder method)"};
    case 15:
        return {"C80", "C50"};
    case 20:
        return {"female voice", "male voice", "mean between female and male voice"};
    default:
        return {};
    }
}

std::vector<std::string> MethodShorts(int type) {
    switch (type) {
    case 13:
        return {"T20", "T30"};
    case 15:
        return {"C80", "C50"};
    case 20:
        return {"female", "male", "mean"};
    default:
        return {};
    }
}

TZeitBereich::TZeitBereich() : Name("Whole day"), Short("LAeq") {
    std::fill(Hours.begin() + 1, Hours.end(), true);
}

void TZeitBereich::SetAssessType(int type) {
    AssessType = static_cast<TAssessmentType>(std::clamp(type, 0, kAssessmentTypeCount - 1));
    if (AssessType != 0)
        withPenalties = false;
}

int TZeitBereich::MethodIndex() const {
    switch (AssessType) {
    case 13:
        return static_cast<int>(revTimeType_);
    case 15:
        return static_cast<int>(clarityType_);
    case 20:
        return static_cast<int>(stiType_);
    default:
        return -1;
    }
}

bool TZeitBereich::SetMethodIndex(int index) {
    if (index < 0 || index >= static_cast<int>(MethodItems(AssessType).size()))
        return false;
    switch (AssessType) {
    case 13:
        revTimeType_ = static_cast<TRevTimeType>(index);
        break;
    case 15:
        clarityType_ = static_cast<TClarityType>(index);
        break;
    default:
        stiType_ = static_cast<TSTIType>(index);
        break;
    }
    return true;
}

int TZeitBereich::HourCount() const {
    return static_cast<int>(std::count(Hours.begin() + 1, Hours.end(), true));
}

namespace {

std::string HourField(int k) {
    return "h" + std::to_string(k);
}

// An enumeration stored as a small number; a value out of its range reads as the first item.
template <typename E> E EnumField(db::TTable& table, const char* name, int count) {
    const db::TField* f = table.FindField(name);
    const int v = f && !f->IsNull() ? f->AsInteger() : 0;
    return static_cast<E>(v >= 0 && v < count ? v : 0);
}

float FloatField(db::TTable& table, const char* name, float fallback) {
    const db::TField* f = table.FindField(name);
    if (!f || f->IsNull())
        return fallback;
    const double v = f->AsFloat();
    return std::isfinite(v) ? static_cast<float>(v) : fallback;
}

} // namespace

void TZeitBereich::ReadFromTable(db::TTable& table) {
    TZeitBereich r;
    if (const db::TField* f = table.FindField("AssessType"); f && !f->IsNull())
        r.AssessType = static_cast<TAssessmentType>(std::clamp(f->AsInteger(), 0, kAssessmentTypeCount - 1));
    if (const db::TField* f = table.FindField("loudestN"); f && !f->IsNull())
        r.loudestN = static_cast<std::uint8_t>(std::clamp(f->AsInteger(), 0, kHoursPerDay));
    for (int k = 1; k <= kHoursPerDay; ++k) {
        const db::TField* f = table.FindField(HourField(k));
        r.Hours[static_cast<std::size_t>(k)] = f && !f->IsNull() && f->AsBoolean();
    }
    r.Name = db::FieldString(table, "ZbName");
    r.Short = db::FieldString(table, "Bezeichner");
    r.NameLimit = db::FieldString(table, "LimitName");
    r.ShortLimit = db::FieldString(table, "LimitShort");
    r.TBewert = std::max(0.0f, FloatField(table, "TBewert", 0));
    if (const db::TField* f = table.FindField("withPenalties"); f && !f->IsNull())
        r.withPenalties = f->AsBoolean();
    if (const db::TField* f = table.FindField("Limits"); f && !f->IsNull()) {
        const db::TBytes bytes = f->AsBytes();
        // Anything but 25 singles is not a limits blob: the limits stay zero rather than half read.
        if (bytes.size() == static_cast<std::size_t>(kLimitsBlobSize)) {
            const std::vector<float> values = BlobToFloats(bytes);
            for (int i = 0; i < kUsageCount; ++i) {
                const float v = values[static_cast<std::size_t>(i)];
                r.Limits[static_cast<std::size_t>(i + 1)] = std::isfinite(v) ? v : 0.0f;
            }
        }
    }
    r.Threshold = FloatField(table, "Threshold", 0);
    r.TR = std::max(0.0f, FloatField(table, "TR", 0));
    r.revTimeType_ = EnumField<TRevTimeType>(table, "RevTimeType", 2);
    r.clarityType_ = EnumField<TClarityType>(table, "ClarityType", 2);
    r.stiType_ = EnumField<TSTIType>(table, "STIType", 3);
    *this = std::move(r);
}

void TZeitBereich::WriteToTable(db::TTable& table, int elementNumber) const {
    auto set = [&](std::string_view name, auto&& apply) {
        if (db::TField* f = table.FindField(name))
            apply(*f);
    };
    set("BwNummer", [&](db::TField& f) { f.SetAsInteger(elementNumber); });
    set("ZbName", [&](db::TField& f) { f.SetAsString(Name); });
    set("Bezeichner", [&](db::TField& f) { f.SetAsString(Short); });
    set("LimitName", [&](db::TField& f) { f.SetAsString(NameLimit); });
    set("LimitShort", [&](db::TField& f) { f.SetAsString(ShortLimit); });
    set("AssessType", [&](db::TField& f) { f.SetAsInteger(AssessType); });
    set("loudestN", [&](db::TField& f) { f.SetAsInteger(loudestN); });
    set("TBewert", [&](db::TField& f) { f.SetAsFloat(TBewert); });
    set("withPenalties", [&](db::TField& f) { f.SetAsBoolean(withPenalties); });
    for (int k = 1; k <= kHoursPerDay; ++k)
        set(HourField(k), [&](db::TField& f) { f.SetAsBoolean(Hours[static_cast<std::size_t>(k)]); });
    set("Limits", [&](db::TField& f) {
        f.SetAsBytes(FloatsToBlob(std::span<const float>(Limits.data() + 1, kUsageCount)));
    });
    set("Threshold", [&](db::TField& f) { f.SetAsFloat(Threshold); });
    set("TR", [&](db::TField& f) { f.SetAsFloat(TR); });
    set("RevTimeType", [&](db::TField& f) { f.SetAsInteger(static_cast<int>(revTimeType_)); });
    set("ClarityType", [&](db::TField& f) { f.SetAsInteger(static_cast<int>(clarityType_)); });
    set("STIType", [&](db::TField& f) { f.SetAsInteger(static_cast<int>(stiType_)); });
}

// --- hours text

std::string HoursToText(const std::array<bool, kHoursPerDay + 1>& hours) {
    struct TRun {
        int From, To; // flags
    };
    std::vector<TRun> runs;
    for (int k = 1; k <= kHoursPerDay; ++k) {
        if (!hours[static_cast<std::size_t>(k)])
            continue;
        if (!runs.empty() && runs.back().To == k - 1)
            runs.back().To = k;
        else
            runs.push_back({k, k});
    }
    // A leading run from hour 0 and a trailing run to hour 24 are one piece over midnight, written in the
    // leading run's place.
    bool wrap = runs.size() > 1 && runs.front().From == 1 && runs.back().To == kHoursPerDay;
    std::string text;
    for (std::size_t i = 0; i < runs.size(); ++i) {
        if (wrap && i + 1 == runs.size())
            break;
        const int from = wrap && i == 0 ? runs.back().From : runs[i].From;
        if (!text.empty())
            text += ';';
        text += std::to_string(from - 1) + "-" + std::to_string(runs[i].To);
    }
    return text;
}

namespace {

std::optional<int> WholeHour(std::string_view text) {
    int v = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
    if (text.empty() || ec != std::errc{} || end != text.data() + text.size() || v < 0 || v > kHoursPerDay)
        return std::nullopt;
    return v;
}

} // namespace

std::optional<std::array<bool, kHoursPerDay + 1>> HoursFromText(std::string_view text) {
    std::string compact;
    for (char c : text)
        if (c != ' ' && c != '\t')
            compact += c;
    std::array<bool, kHoursPerDay + 1> hours{};
    if (compact.empty())
        return hours;
    std::size_t start = 0;
    while (true) {
        const std::size_t semi = compact.find(';', start);
        const std::string_view piece = std::string_view(compact).substr(
            start, semi == std::string::npos ? std::string::npos : semi - start);
        const std::size_t dash = piece.find('-');
        if (dash == std::string_view::npos)
            return std::nullopt;
        const std::optional<int> a = WholeHour(piece.substr(0, dash));
        const std::optional<int> b = WholeHour(piece.substr(dash + 1));
        if (!a || !b)
            return std::nullopt;
        auto set = [&](int from, int to) {
            for (int k = from; k <= to; ++k)
                hours[static_cast<std::size_t>(k)] = true;
        };
        if (*a < *b) {
            set(*a + 1, *b);
        } else if (*a > *b) {
            set(*a + 1, kHoursPerDay);
            set(1, *b);
        }
        if (semi == std::string::npos)
            break;
        start = semi + 1;
    }
    return hours;
}

} // namespace korvel::acoustic
