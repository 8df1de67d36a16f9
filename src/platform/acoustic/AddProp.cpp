#include "platform/acoustic/AddProp.h"

#include "platform/Errors.h"
#include "platform/acoustic/LibSpectrum.h"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace korvel::acoustic {

namespace {

bool SameName(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
        return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
    });
}

std::vector<TAddPropDef> DefsOf(int libType) {
    using T = TAddPropType;
    switch (libType) {
    case kEmissionLibType:
        return {{"Manufacturer", "", T::Text},      {"Model", "", T::Text},
                {"NominalPower", "kW", T::Float},   {"RotationalSpeed", "1/min", T::Integer},
                {"VolumeFlow", "m³/h", T::Float},   {"MeasurementStandard", "", T::Text},
                {"OperatingHours", "h/a", T::Float}};
    case kAbsorptionLibType:
        return {{"Thickness", "mm", T::Float},
                {"FlowResistivity", "kPas/m²", T::Float},
                {"Density", "kg/m³", T::Float},
                {"Manufacturer", "", T::Text},
                {"FireClass", "", T::Text}};
    case kTransmissionLibType:
        return {{std::string(kMassPerArea), "kg/m²", T::Float},
                {std::string(kDRiw), "dB", T::Float},
                {std::string(kDRjw), "dB", T::Float},
                {"Thickness", "mm", T::Float},
                {"Manufacturer", "", T::Text}};
    case kAttenuationLibType:
        return {{"Length", "m", T::Float}, {"CrossSection", "m²", T::Float}, {"Manufacturer", "", T::Text}};
    default:
        return {};
    }
}

void PutText(TBlobWriter& w, const std::string& s) {
    if (s.size() > 0xFFFF)
        throw EKorvelError("Additional property text is longer than 65535 bytes.");
    w.U16(static_cast<std::uint16_t>(s.size()));
    w.Bytes(AsBytes(s));
}

std::string TakeText(TByteSpan blob, std::size_t& pos) {
    if (blob.size() - pos < 2)
        throw EKorvelError("The additional properties are damaged (a text ends early).");
    const std::size_t n = LoadU16LE(blob.data() + pos);
    pos += 2;
    if (blob.size() - pos < n)
        throw EKorvelError("The additional properties are damaged (a text ends early).");
    std::string s(reinterpret_cast<const char*>(blob.data() + pos), n);
    pos += n;
    return s;
}

// Lower case without blanks: older libraries wrote "Nominal power" where the definition says "NominalPower".
std::string Folded(std::string_view s) {
    std::string out;
    for (char c : s)
        if (!std::isspace(static_cast<unsigned char>(c)))
            out.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
    return out;
}

// The definition an older name stands for: its name alone or followed by its unit in brackets or
// parentheses, as the older editor labelled its four value boxes.
const TAddPropDef* MatchKennName(std::string_view name, const TAddPropDefList& defs) {
    const std::string key = Folded(name);
    if (key.empty())
        return nullptr;
    for (const auto& d : defs.Items) {
        const std::string base = Folded(d.Name);
        if (key == base)
            return &d;
        if (d.Unit.empty())
            continue;
        const std::string unit = Folded(d.Unit);
        if (key == base + "[" + unit + "]" || key == base + "(" + unit + ")")
            return &d;
    }
    return nullptr;
}

std::string ShortestNumber(double v) {
    char buf[32];
    const auto r = std::to_chars(buf, buf + sizeof buf, v);
    return std::string(buf, r.ptr);
}

std::string TrimBlanks(std::string_view s) {
    const auto first = s.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    const auto last = s.find_last_not_of(" \t");
    return std::string(s.substr(first, last - first + 1));
}

} // namespace

TAddPropDefList::TAddPropDefList(int libType) : Items(DefsOf(libType)) {}

const TAddPropDef* TAddPropDefList::Find(std::string_view name) const {
    for (const auto& d : Items)
        if (SameName(d.Name, name))
            return &d;
    return nullptr;
}

int TAddPropList::IndexOf(std::string_view name) const {
    for (std::size_t i = 0; i < Items.size(); ++i)
        if (SameName(Items[i].Name, name))
            return static_cast<int>(i);
    return -1;
}

void TAddPropList::Ensure(std::string_view name, std::string_view value) {
    if (IndexOf(name) < 0)
        Items.push_back({std::string(name), std::string(value)});
}

void TAddPropList::Remove(std::string_view name) {
    std::erase_if(Items, [&](const TAddProp& p) { return SameName(p.Name, name); });
}

TBlob TAddPropList::ToBlob() const {
    if (Items.empty())
        return {};
    if (Items.size() > 0xFFFF)
        throw EKorvelError("Too many additional properties.");
    TBlobWriter w;
    w.U16(static_cast<std::uint16_t>(Items.size()));
    for (const auto& p : Items) {
        PutText(w, p.Name);
        PutText(w, p.Value);
    }
    return w.Blob();
}

void TAddPropList::FromBlob(TByteSpan blob) {
    std::vector<TAddProp> items;
    if (!blob.empty()) {
        if (blob.size() < 2)
            throw EKorvelError("The additional properties are damaged (the count is cut off).");
        const std::size_t count = LoadU16LE(blob.data());
        std::size_t pos = 2;
        for (std::size_t i = 0; i < count; ++i) {
            TAddProp p;
            p.Name = TakeText(blob, pos);
            p.Value = TakeText(blob, pos);
            items.push_back(std::move(p));
        }
        if (pos != blob.size())
            throw EKorvelError("The additional properties are damaged (" + std::to_string(blob.size() - pos) +
                               " bytes after the last property).");
    }
    Items = std::move(items);
}

std::string TAddPropList::ReadFromKenn(const std::array<double, 4>& values,
                                       const std::array<std::string, 4>& names, const TAddPropDefList& defs) {
    std::vector<TAddProp> items;
    std::string rest;
    auto leftover = [&](const std::string& name, double value) {
        if (!rest.empty())
            rest += "\r\n";
        rest += name + " = " + ShortestNumber(value);
    };
    for (std::size_t i = 0; i < values.size(); ++i) {
        const std::string name = TrimBlanks(names[i]);
        const double value = values[i];
        if (name.empty()) {
            // An unnamed slot holding a number is still data the person typed once.
            if (value != 0.0)
                leftover("Value " + std::to_string(i + 1), value);
            continue;
        }
        const TAddPropDef* def = MatchKennName(name, defs);
        const bool taken = def && std::any_of(items.begin(), items.end(),
                                              [&](const TAddProp& p) { return SameName(p.Name, def->Name); });
        if (!def || taken) {
            leftover(name, value);
            continue;
        }
        items.push_back({def->Name, ShortestNumber(value)});
    }
    Items = std::move(items);
    return rest;
}

bool AddPropCharAllowed(TAddPropType type, char c, char decimalSeparator) {
    const auto u = static_cast<unsigned char>(c);
    if (u < 32 || u == 127)
        return true;
    switch (type) {
    case TAddPropType::Text:
        return true;
    case TAddPropType::Integer:
        return c == '+' || c == '-' || (c >= '0' && c <= '9');
    case TAddPropType::Float:
        return c == '+' || c == '-' || (c >= '0' && c <= '9') || c == decimalSeparator;
    }
    return false;
}

const std::vector<TOutsideElementType>& OutsideElementTypes() {
    static const std::vector<TOutsideElementType> types = {
        {0, "Not defined"},         {1, "Solid wall"},       {2, "Solid floor/ceiling"},
        {3, "Solid roof"},          {4, "Window"},           {5, "Door"},
        {6, "Lightweight wall"},    {7, "Lightweight roof"}, {8, "Roller shutter box"},
        {9, "Ventilation opening"}, {10, "Glass facade"}};
    return types;
}

} // namespace korvel::acoustic
