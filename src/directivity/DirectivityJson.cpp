#include "directivity/DirectivityJson.h"

#include "editor/JsonMembers.h"
#include "platform/Errors.h"
#include "platform/base/Bands.h"

#include <charconv>
#include <cmath>
#include <set>

namespace korvel::directivity {

using namespace acoustic;
using nlohmann::json;
using nlohmann::ordered_json;

namespace {

double Angle(const json& v, const std::string& member, double hi) {
    const double a = MemberNumber(v, member);
    if (a < 0 || a > hi)
        BadMember(member,
                  "an angle from 0 to " + std::to_string(static_cast<int>(hi)) + " degrees is expected");
    return a;
}

// The band item holding a band number given as a key ("27").
int ItemOfKey(const TDirectivity& d, const std::string& key, const std::string& member) {
    int band = -1;
    const auto [p, ec] = std::from_chars(key.data(), key.data() + key.size(), band);
    if (ec == std::errc() && p == key.data() + key.size())
        for (int i = 0; i < d.BandCount(); ++i)
            if (d.GetItem(i).Band == band)
                return i;
    BadMember(member, "\"" + key + "\" is not a band of the directivity");
}

void ReadSamples(const json& v, TDirectivity& d) {
    if (!v.is_array())
        BadMember("samples", "a list of samples is expected");
    d.ClearSamples();
    for (std::size_t i = 0; i < v.size(); ++i) {
        const std::string member = "samples[" + std::to_string(i) + "]";
        const json& s = v[i];
        if (!s.is_object())
            BadMember(member, "an object with theta, phi and values is expected");
        for (const auto& [key, value] : s.items())
            if (key != "theta" && key != "phi" && key != "values")
                BadMember(member + "." + key, "unknown member");
        TSampleItem& item = d.AddSample(s.contains("theta") ? Angle(s["theta"], member + ".theta", 180) : 90,
                                        s.contains("phi") ? Angle(s["phi"], member + ".phi", 360) : 0);
        if (!s.contains("values"))
            continue;
        const json& values = s["values"];
        if (!values.is_object())
            BadMember(member + ".values", "an object of band numbers and values is expected");
        for (const auto& [key, value] : values.items()) {
            const std::string m = member + ".values." + key;
            item.Values[static_cast<std::size_t>(ItemOfKey(d, key, m))] = MemberNumber(value, m);
        }
    }
}

void ReadBands(const json& v, TDirectivity& d) {
    if (!v.is_object())
        BadMember("bands", "an object of band numbers is expected");
    for (const auto& [key, band] : v.items()) {
        const std::string member = "bands." + key;
        const int index = ItemOfKey(d, key, member);
        if (!band.is_object())
            BadMember(member, "an object with the grid is expected");
        for (const auto& [k, value] : band.items())
            if (k != "grid" && k != "dLtot")
                BadMember(member + "." + k, "unknown member");
        if (!band.contains("grid"))
            continue;
        const json& grid = band["grid"];
        const int rows = d.ThetaCount(), cols = d.PhiCount();
        if (!grid.is_array() || static_cast<int>(grid.size()) != rows)
            BadMember(member + ".grid", "a list of " + std::to_string(rows) + " rows is expected");
        for (int r = 0; r < rows; ++r) {
            const json& row = grid[static_cast<std::size_t>(r)];
            const std::string m = member + ".grid[" + std::to_string(r) + "]";
            if (!row.is_array() || static_cast<int>(row.size()) != cols)
                BadMember(m, "a row of " + std::to_string(cols) + " values is expected");
            for (int c = 0; c < cols; ++c)
                d.SetValue(index, r, c, MemberNumber(row[static_cast<std::size_t>(c)], m));
        }
    }
}

void RunInterpolation(const json& v, TDirectivity& d) {
    if (!v.is_object())
        BadMember("interpolation", "an object with kind and parameter is expected");
    for (const auto& [key, value] : v.items())
        if (key != "kind" && key != "parameter")
            BadMember("interpolation." + key, "unknown member");
    const std::string kind = v.contains("kind") ? MemberText(v["kind"], "interpolation.kind") : "cubic";
    TSplineType type = TSplineType::Cubic;
    int parameter = 0;
    if (kind == "exponential" || kind == "fourier") {
        type = kind == "fourier" ? TSplineType::Fourier : TSplineType::Exponential;
        parameter =
            v.contains("parameter") ? MemberInteger(v["parameter"], "interpolation.parameter", 1, 30) : 3;
    } else if (kind == "harmonics") {
        parameter =
            v.contains("parameter") ? MemberInteger(v["parameter"], "interpolation.parameter", 1, 300) : 30;
    } else if (kind != "cubic") {
        BadMember("interpolation.kind", "one of cubic, exponential, fourier, harmonics is expected");
    }
    if ((kind == "harmonics") != (d.DirType() == TDirType::Full3D))
        BadMember("interpolation.kind", kind == "harmonics" ? "harmonics serve full 3D directivities only"
                                                            : "a full 3D directivity is fitted by harmonics");
    try {
        d.Interpolate(type, parameter);
    } catch (const EKorvelError& e) {
        BadMember("interpolation", e.what());
    }
}

} // namespace

ordered_json DirectivityToJson(const TDirectivity& d, const std::string& name, const std::string& comment) {
    ordered_json out;
    out["name"] = name;
    out["dirType"] = static_cast<int>(d.DirType());
    out["bandType"] = static_cast<int>(d.SpecType());
    out["bmin"] = d.GetBmin();
    out["bmax"] = d.GetBmax();
    out["stepH"] = d.StepH();
    out["stepV"] = d.StepV();
    ordered_json samples = ordered_json::array();
    for (const TSampleItem& s : d.Samples) {
        ordered_json values = ordered_json::object();
        for (int i = 0; i < d.BandCount() && i < static_cast<int>(s.Values.size()); ++i)
            values[std::to_string(d.GetItem(i).Band)] = s.Values[static_cast<std::size_t>(i)];
        samples.push_back({{"theta", s.Theta()}, {"phi", s.Phi()}, {"values", std::move(values)}});
    }
    out["samples"] = std::move(samples);
    ordered_json bands = ordered_json::object();
    for (int i = 0; i < d.BandCount(); ++i) {
        ordered_json grid = ordered_json::array();
        for (int r = 0; r < d.ThetaCount(); ++r) {
            ordered_json row = ordered_json::array();
            for (int c = 0; c < d.PhiCount(); ++c)
                row.push_back(d.Value(i, r, c));
            grid.push_back(std::move(row));
        }
        bands[std::to_string(d.GetItem(i).Band)] = {{"dLtot", d.GetItem(i).dLtot}, {"grid", std::move(grid)}};
    }
    out["bands"] = std::move(bands);
    out["comment"] = comment;
    return out;
}

void DirectivityFromJson(const json& object, TDirectivity& dir, std::string& name, std::string& comment) {
    if (!object.is_object())
        throw EKorvelError("A directivity is a JSON object");
    static const std::set<std::string> known = {"name",    "comment", "dirType",      "bandType",
                                                "bmin",    "bmax",    "stepH",        "stepV",
                                                "samples", "bands",   "interpolation"};
    for (const auto& [key, value] : object.items())
        if (!known.contains(key))
            BadMember(key, "unknown member");
    TDirectivity d = dir;
    std::string newName = object.contains("name") ? MemberText(object["name"], "name") : name;
    std::string newComment = object.contains("comment") ? MemberText(object["comment"], "comment") : comment;
    if (object.contains("dirType"))
        d.SetDirType(static_cast<TDirType>(MemberInteger(object["dirType"], "dirType", 0, 2)));
    if (object.contains("bandType"))
        d.SetSpecType(static_cast<TSpecType>(MemberInteger(object["bandType"], "bandType", 0, 2)));
    if (object.contains("bmin") || object.contains("bmax")) {
        const int bmin =
            object.contains("bmin") ? MemberInteger(object["bmin"], "bmin", 0, kBandCount - 1) : d.GetBmin();
        const int bmax =
            object.contains("bmax") ? MemberInteger(object["bmax"], "bmax", 0, kBandCount - 1) : d.GetBmax();
        d.SetBMinBMax(bmin, bmax);
    }
    if (object.contains("stepH") || object.contains("stepV")) {
        const int h = object.contains("stepH") ? MemberInteger(object["stepH"], "stepH", 1, 90) : d.StepH();
        const int v = object.contains("stepV") ? MemberInteger(object["stepV"], "stepV", 1, 90) : d.StepV();
        try {
            d.SetStep(h, v);
        } catch (const EKorvelError& e) {
            BadMember(object.contains("stepH") ? "stepH" : "stepV", e.what());
        }
    }
    if (object.contains("samples"))
        ReadSamples(object["samples"], d);
    if (object.contains("bands"))
        ReadBands(object["bands"], d);
    if (object.contains("interpolation"))
        RunInterpolation(object["interpolation"], d);
    d.CalcLtot();
    dir = std::move(d);
    name = std::move(newName);
    comment = std::move(newComment);
}

} // namespace korvel::directivity
