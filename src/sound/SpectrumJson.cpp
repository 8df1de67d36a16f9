#include "sound/SpectrumJson.h"

#include "editor/JsonMembers.h"
#include "platform/Errors.h"

#include <charconv>
#include <cstdio>
#include <set>

namespace korvel::sound {

using namespace acoustic;
using nlohmann::json;
using nlohmann::ordered_json;

namespace {

ordered_json BandMap(const TCustomLibSpectrum& s, const std::function<double(int)>& value) {
    ordered_json out = ordered_json::object();
    for (int b : s.Bands()) {
        const double v = value(b);
        if (!IsEmptyBandLevel(v))
            out[std::to_string(b)] = v;
    }
    return out;
}

std::string ColorText(std::uint32_t c) {
    char buf[8];
    std::snprintf(buf, sizeof buf, "#%06X", static_cast<unsigned>(c & 0xFFFFFFu));
    return buf;
}

// Band maps take band numbers as keys: {"30": 80.5}. null clears a band.
void ReadBandMap(const json& v, const std::string& member, const std::function<void(int, double)>& set) {
    if (!v.is_object())
        BadMember(member, "an object of band numbers and values is expected");
    for (const auto& [key, value] : v.items()) {
        int band = -1;
        const auto [p, ec] = std::from_chars(key.data(), key.data() + key.size(), band);
        if (ec != std::errc() || p != key.data() + key.size() || band < 0 || band >= kBandCount)
            BadMember(member, "\"" + key + "\" is not a band number 0..43");
        set(band, value.is_null() ? kEmptyBandLevel : MemberNumber(value, member + "." + key));
    }
}

int EnumIndex(const json& v, const std::string& member, std::span<const std::string_view> names) {
    if (v.is_string()) {
        for (std::size_t i = 0; i < names.size(); ++i)
            if (names[i] == v.get<std::string>())
                return static_cast<int>(i);
        BadMember(member, "unknown value \"" + v.get<std::string>() + "\"");
    }
    return MemberInteger(v, member, 0, static_cast<int>(names.size()) - 1);
}

} // namespace

ordered_json SpectrumToJson(const TCustomLibSpectrum& s, const std::string& name, const std::string& comment,
                            const TSpectrumJsonGroups& groups) {
    ordered_json o;
    o["name"] = name;
    o["comment"] = comment;
    o["bandType"] = static_cast<int>(s.SpecType());
    o["bandTypeText"] = std::string(SpecTypeStr[static_cast<std::size_t>(s.SpecType())]);
    o["bmin"] = s.Bmin();
    o["bmax"] = s.Bmax();
    o["values"] = BandMap(s, [&](int b) { return s.GetValue(b); });
    const double sum = s.GetValueSum();
    o["sum"] = IsEmptyBandLevel(sum) ? ordered_json() : ordered_json(sum);
    ordered_json names = ordered_json::array();
    for (int g : s.Groups)
        if (g != 0)
            names.push_back(groups.NameOf ? groups.NameOf(g) : std::to_string(g));
    o["groups"] = names;
    if (s.LibType() != kAttenuationLibType)
        o["color"] = ColorText(s.Color);
    ordered_json props = ordered_json::object();
    for (const auto& p : s.AddProps.Items)
        props[p.Name] = p.Value;
    o["properties"] = props;
    ordered_json docs = ordered_json::array();
    for (const auto& f : s.LinkedFiles)
        docs.push_back(f);
    o["documents"] = docs;

    if (const auto* e = dynamic_cast<const TEmisLibSpectrum*>(&s)) {
        o["weighting"] = e->dBX() == kUnweighted ? std::string() : std::string(1, e->dBX());
        o["weightedValues"] = BandMap(s, [&](int b) { return e->GetdBXValue(b); });
        const double ws = e->GetdBXValueSum();
        o["weightedSum"] = IsEmptyBandLevel(ws) ? ordered_json() : ordered_json(ws);
        o["reference"] = static_cast<int>(e->EmisRef);
        o["entryType"] = std::string(EmisEntryStr[static_cast<std::size_t>(e->EntryType)]);
        o["heightAboveGround"] = e->HeightAboveGround;
        o["sigma"] = e->Sigma;
        o["directivity"] = e->Directivity;
        o["formula"] = e->FormulaText;
    } else if (const auto* a = dynamic_cast<const TAbsoLibSpectrum*>(&s)) {
        o["scattering"] = BandMap(s, [&](int b) { return a->GetScatValue(b); });
    } else if (const auto* t = dynamic_cast<const TTransLibSpectrum*>(&s)) {
        o["transmissionType"] = static_cast<int>(t->TransType);
        o["Rw"] = t->Rw;
        o["C"] = t->C;
        o["Ctr"] = t->Ctr;
        o["outsideElementType"] = t->BauteilTyp;
    }
    return o;
}

void SpectrumFromJson(const json& object, TCustomLibSpectrum& target, std::string& name, std::string& comment,
                      const TSpectrumJsonGroups& groups) {
    if (!object.is_object())
        throw EKorvelError("An element must be a JSON object");
    static const std::set<std::string> common = {"name",   "comment", "bandType",   "bandTypeText",
                                                 "bmin",   "bmax",    "values",     "sum",
                                                 "groups", "color",   "properties", "documents"};
    static const std::set<std::string> emission = {"weighting", "weightedValues", "weightedSum",
                                                   "reference", "entryType",      "heightAboveGround",
                                                   "sigma",     "directivity",    "formula"};
    static const std::set<std::string> absorption = {"scattering"};
    static const std::set<std::string> transmission = {"transmissionType", "Rw", "C", "Ctr",
                                                       "outsideElementType"};
    const int kind = target.LibType();
    for (const auto& [key, value] : object.items()) {
        const bool known = common.count(key) || (kind == kEmissionLibType && emission.count(key)) ||
                           (kind == kAbsorptionLibType && absorption.count(key)) ||
                           (kind == kTransmissionLibType && transmission.count(key));
        if (!known)
            throw EKorvelError("Unknown member \"" + key + "\" for this library kind");
    }

    std::unique_ptr<TCustomLibSpectrum> s = target.Clone();
    std::string newName = name, newComment = comment;
    auto has = [&](const char* m) {
        return object.contains(m);
    };
    if (has("name"))
        newName = MemberText(object["name"], "name");
    if (has("comment"))
        newComment = MemberText(object["comment"], "comment");
    if (has("bandType")) {
        const int type = MemberInteger(object["bandType"], "bandType", 0, 2);
        if (type == 2 && (kind == kAbsorptionLibType || kind == kAttenuationLibType))
            BadMember("bandType", "this library kind has no single values");
        s->SetSpecType(static_cast<TSpecType>(type));
    }
    if (has("bmin") || has("bmax"))
        s->SetBMinBMax(has("bmin") ? MemberInteger(object["bmin"], "bmin", 0, 43) : s->Bmin(),
                       has("bmax") ? MemberInteger(object["bmax"], "bmax", 0, 43) : s->Bmax());
    if (has("values"))
        ReadBandMap(object["values"], "values", [&](int b, double v) { s->SetValue(b, v); });
    if (s->SpecType() == TSpecType::SingleValue && has("sum") && !object["sum"].is_null() &&
        kind != kTransmissionLibType)
        s->SetSingleValue(MemberNumber(object["sum"], "sum"));
    if (has("groups")) {
        const json& g = object["groups"];
        if (!g.is_array() || g.size() > static_cast<std::size_t>(kGroupSlots))
            BadMember("groups", "a list of at most four group names is expected");
        std::array<int, kGroupSlots> numbers{};
        for (std::size_t i = 0; i < g.size(); ++i) {
            const std::string groupName = MemberText(g[i], "groups");
            if (!groups.NumberOf)
                BadMember("groups", "this library has no group table");
            numbers[i] = groups.NumberOf(groupName);
        }
        s->Groups = numbers;
    }
    if (has("color")) {
        const std::string c = MemberText(object["color"], "color");
        unsigned value = 0;
        const auto [p, ec] = c.size() == 7 && c[0] == '#'
                                 ? std::from_chars(c.data() + 1, c.data() + 7, value, 16)
                                 : std::from_chars_result{c.data(), std::errc::invalid_argument};
        if (ec != std::errc() || p != c.data() + 7)
            BadMember("color", "\"#RRGGBB\" is expected");
        s->Color = value;
    }
    if (has("properties")) {
        const json& p = object["properties"];
        if (!p.is_object())
            BadMember("properties", "an object of property names and values is expected");
        s->AddProps.Items.clear();
        for (const auto& [key, value] : p.items())
            s->AddProps.Items.push_back({key, value.is_string()   ? value.get<std::string>()
                                              : value.is_number() ? value.dump()
                                                                  : ""});
    }
    if (has("documents")) {
        const json& d = object["documents"];
        if (!d.is_array() || d.size() > static_cast<std::size_t>(kLinkedFileSlots))
            BadMember("documents", "a list of at most four file names is expected");
        for (int i = 0; i < kLinkedFileSlots; ++i)
            s->SetLinkedFile(i, static_cast<std::size_t>(i) < d.size()
                                    ? MemberText(d[static_cast<std::size_t>(i)], "documents")
                                    : std::string());
    }

    if (auto* e = dynamic_cast<TEmisLibSpectrum*>(s.get())) {
        if (has("weighting")) {
            const std::string w = MemberText(object["weighting"], "weighting");
            if (w.size() > 1 || (w.size() == 1 && !(w[0] >= 'A' && w[0] <= 'D')))
                BadMember("weighting", "\"A\", \"B\", \"C\", \"D\" or \"\" is expected");
            e->SetdBX(w.empty() ? kUnweighted : w[0]);
        }
        if (has("reference"))
            e->EmisRef = static_cast<TEmisRef>(EnumIndex(object["reference"], "reference", EmisRefStr));
        if (has("entryType")) {
            const json& v = object["entryType"];
            int type =
                v.is_string() ? EmisEntryFromText(v.get<std::string>()) : MemberInteger(v, "entryType", 0, 3);
            if (type < 0)
                BadMember("entryType", "unknown entry type \"" + v.get<std::string>() + "\"");
            e->EntryType = static_cast<TEmisEntrytype>(type);
        }
        if (has("heightAboveGround"))
            e->HeightAboveGround = MemberNumber(object["heightAboveGround"], "heightAboveGround");
        if (has("sigma"))
            e->Sigma = MemberNumber(object["sigma"], "sigma");
        if (has("directivity"))
            e->Directivity = MemberInteger(object["directivity"], "directivity", 0, 2147483647);
        if (has("formula"))
            e->FormulaText = MemberText(object["formula"], "formula");
    } else if (auto* a = dynamic_cast<TAbsoLibSpectrum*>(s.get())) {
        if (has("scattering"))
            ReadBandMap(object["scattering"], "scattering", [&](int b, double v) { a->SetScatValue(b, v); });
    } else if (auto* t = dynamic_cast<TTransLibSpectrum*>(s.get())) {
        if (has("transmissionType"))
            t->TransType = static_cast<TTransType>(
                EnumIndex(object["transmissionType"], "transmissionType", TransTypeStr));
        // Rated spectra get their numbers from the bands on store; single values keep what is given.
        if (t->SpecType() == TSpecType::SingleValue) {
            if (has("Rw"))
                t->Rw = MemberNumber(object["Rw"], "Rw");
            if (has("C"))
                t->C = MemberNumber(object["C"], "C");
            if (has("Ctr"))
                t->Ctr = MemberNumber(object["Ctr"], "Ctr");
        }
        if (has("outsideElementType"))
            t->BauteilTyp = MemberInteger(object["outsideElementType"], "outsideElementType", 0, 1000);
    }
    // Everything checked: take it over.
    target.Assign(*s);
    name = newName;
    comment = newComment;
}

} // namespace korvel::sound
