#include "tools/mksystem/SoundElementSource.h"

#include "platform/Errors.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/acoustic/RwRating.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/db/Collation.h"
#include "platform/db/Table.h"
#include "sound/SpectrumJson.h"
#include "tools/mksystem/ElementText.h"
#include "tools/mksystem/SystemLibSource.h"

#include <charconv>
#include <memory>
#include <sstream>

namespace korvel::tools {

namespace {

using acoustic::TSpecType;
using nlohmann::json;

constexpr std::size_t kGroupNameChars = 40;

[[noreturn]] void Bad(const std::string& member, const std::string& why) {
    throw EKorvelError("member \"" + member + "\" " + why);
}

std::string BandText(int band) {
    std::ostringstream text;
    text << "band " << band << " (" << ThirdOctaves[static_cast<std::size_t>(band)] << " Hz)";
    return text.str();
}

// What the editor computes or what a System library cannot carry; the reader would ignore the first kind
// quietly, which in a source hides a mistake.
void CheckSourceOnlyMembers(const json& element) {
    for (const char* computed : {"bandTypeText", "weightedValues", "weightedSum"})
        if (element.contains(computed))
            Bad(computed, "is computed from the bands and cannot be given");
    if (element.contains("documents"))
        Bad("documents", "cannot be given: linked documents are not delivered with a System library");
}

// Every band given must be one the element shows, or its value would be stored where nobody sees it.
void CheckBandsInRange(const json& element, const char* member, const acoustic::TCustomLibSpectrum& s) {
    auto it = element.find(member);
    if (it == element.end() || !it->is_object())
        return;
    for (const auto& [key, value] : it->items()) {
        int band = -1;
        std::from_chars(key.data(), key.data() + key.size(), band); // the reader checked the key
        if (s.SpecType() == TSpecType::SingleValue)
            Bad(member, "cannot be given for a single value");
        if (s.InRange(band))
            continue;
        if (s.SpecType() == TSpecType::Octave && band >= s.Bmin() && band <= s.Bmax())
            Bad(member, "gives " + BandText(band) + ", which is not an octave band");
        Bad(member, "gives " + BandText(band) + ", outside the element's range " + BandText(s.Bmin()) +
                        " to " + BandText(s.Bmax()) + " (members \"bmin\", \"bmax\")");
    }
}

void CheckValues(const json& element, acoustic::TCustomLibSpectrum& s) {
    const int kind = s.LibType();
    const bool single = s.SpecType() == TSpecType::SingleValue;
    CheckBandsInRange(element, "values", s);
    CheckBandsInRange(element, "scattering", s);
    if (element.contains("sum") && (!single || kind == acoustic::kTransmissionLibType))
        Bad("sum", single ? "is not used by transmission elements: give \"Rw\""
                          : "is computed from the bands and cannot be given");
    if (auto* t = dynamic_cast<acoustic::TTransLibSpectrum*>(&s)) {
        if (single) {
            if (!element.contains("Rw"))
                Bad("Rw", "is missing: a single value is its Rw");
            return;
        }
        for (const char* rating : {"Rw", "C", "Ctr"})
            if (element.contains(rating))
                Bad(rating, "is computed from the bands of a rated spectrum and cannot be given");
        const std::string message = t->RechneRwCCtr();
        if (message == acoustic::kRwNotWideEnoughMessage)
            Bad("values",
                "cannot be rated by EN ISO 717-1: a rated spectrum needs every third-octave band from "
                "100 Hz to 3150 Hz, or every octave band from 125 Hz to 2000 Hz");
        if (!message.empty())
            Bad("values", "cannot be rated: " + message);
        return;
    }
    if (single) {
        if (!element.contains("sum") || element["sum"].is_null())
            Bad("sum", "is missing: it holds the single value");
        return;
    }
    bool any = false;
    for (int band : s.Bands())
        any = any || !IsEmptyBandLevel(s.GetValue(band));
    if (!any)
        Bad("values", "holds no value within the element's bands");
}

} // namespace

TSoundElementWriter::TSoundElementWriter(TMyTable& lib, int libType) : lib_(lib), libType_(libType) {
    if (!acoustic::IsSoundLibType(libType))
        throw EKorvelError("type " + std::to_string(libType) + " is not a sound library kind");
    db::TTable* groups = lib_.GetCount() > 1 ? lib_.GetItem(1) : nullptr;
    if (!groups || !groups->Active())
        throw EKorvelError("the library has no open group table");
}

int TSoundElementWriter::GroupNumber(const std::string& name) {
    if (name.find_first_not_of(" \t") == std::string::npos)
        Bad("groups", "holds an empty group name");
    if (db::CodePointCount(name) > kGroupNameChars)
        Bad("groups", "\"" + name + "\" is longer than " + std::to_string(kGroupNameChars) + " characters");
    db::TTable& groups = *lib_.GetItem(1);
    if (groups.Locate("GruppenName", {db::TValue(name)}, db::loCaseInsensitive))
        return groups.FieldByName("Eintrag").AsInteger();
    groups.Append();
    groups.FieldByName("GruppenName").SetAsString(name);
    groups.Post();
    return groups.FieldByName("Eintrag").AsInteger();
}

void TSoundElementWriter::Append(const json& element) {
    CheckSourceOnlyMembers(element);
    db::TTable& table = *lib_.GetTable();
    table.Append();
    OnNewRecord(table, libType_, false);
    // The spectrum starts as the new record does, with the kind's defaults.
    std::unique_ptr<acoustic::TCustomLibSpectrum> spectrum = acoustic::CreateLibSpectrum(libType_);
    spectrum->ReadFromLibrary(lib_, acoustic::TAddPropDefList{});

    sound::TSpectrumJsonGroups groups;
    groups.NumberOf = [this](const std::string& name) {
        return GroupNumber(name);
    };
    std::string name, comment;
    try {
        sound::SpectrumFromJson(element, *spectrum, name, comment, groups);
    } catch (const EKorvelError& e) {
        throw EKorvelError(ContinuedMessage(e.what()));
    }
    CheckValues(element, *spectrum);

    SetElementText(table, NameFieldName(libType_), kElementNameMember, name);
    SetElementText(table, "Kommentar", "comment", comment);
    spectrum->SaveToLibrary(lib_, name);
    table.Post();
}

namespace {

std::unique_ptr<TElementWriter> MakeSoundWriter(TMyTable& lib, const TSystemLibSource& source) {
    return std::make_unique<TSoundElementWriter>(lib, source.Type);
}

} // namespace

KORVEL_REGISTER_ELEMENT_WRITER(acoustic::kEmissionLibType, MakeSoundWriter);
KORVEL_REGISTER_ELEMENT_WRITER(acoustic::kAbsorptionLibType, MakeSoundWriter);
KORVEL_REGISTER_ELEMENT_WRITER(acoustic::kTransmissionLibType, MakeSoundWriter);
KORVEL_REGISTER_ELEMENT_WRITER(acoustic::kAttenuationLibType, MakeSoundWriter);

} // namespace korvel::tools
