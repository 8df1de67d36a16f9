#include "platform/base/LibKinds.h"

#include "platform/text/CaseFold.h"

#include <algorithm>
#include <utility>

namespace korvel {

namespace {

using S = TLibSubsystem;

// A file name without folder and extension.
std::string Stem(std::string_view fileName) {
    size_t slash = fileName.find_last_of("/\\");
    std::string_view base = slash == std::string_view::npos ? fileName : fileName.substr(slash + 1);
    size_t dot = base.rfind('.');
    return std::string(dot == std::string_view::npos ? base : base.substr(0, dot));
}

// Builds one row of the kind table. The main table and the settings key are named like the file; kinds with
// more tables list them.
TLibKindInfo Kind(int type, const char* editor, const char* caption, const char* file, S subsystem,
                  const char* nameField = "ElementName", std::vector<std::string> tables = {},
                  const char* printTitle = "", const char* kindName = nullptr) {
    TLibKindInfo k;
    k.Type = type;
    k.EditorClass = editor;
    k.Caption = caption;
    k.PrintTitle = printTitle;
    k.KindName = kindName ? kindName : caption;
    k.FileName = file;
    std::string stem = Stem(file);
    k.Tables = tables.empty() ? std::vector<std::string>{stem} : std::move(tables);
    k.RegName = stem;
    k.NameField = nameField;
    k.Subsystem = subsystem;
    return k;
}

std::vector<TLibKindInfo> BuildKinds() {
    std::vector<TLibKindInfo> kinds = {
        Kind(5, "TTgForm", "Day histogram library", "Time.abs", S::TimeHistograms, "ElementName", {},
             "Korvel Time Histogram Library", "Day histogram library"),
        Kind(8, "TFormWindStatistics", "Wind statistics", "WindStat.abs", S::Meteorology, "ElementName", {},
             "Korvel Wind Statistics Library"),
        Kind(9, "TFormPollutants", "Pollutants", "Stoffe.abs", S::Meteorology, "Short"),
        Kind(10, "TFormNMPBMeteo", "NMPB Meteo statistics", "NMPBMet.abs", S::Meteorology, "ElementName", {},
             "Korvel NMPB Meteorology Statistics Library"),
        Kind(11, "TFormTrafficTable", "Traffic tables", "Traffic.abs", S::TimeHistograms),
        Kind(12, "TFormAircrafts", "Aircrafts", "Aircraft.abs", S::Aircraft),
        Kind(14, "TFormN2kVehicles", "Nord2000 Vehicles", "N2kVehicles.abs", S::Road),
        Kind(15, "TFormN2kRoadSurface", "Nord2000 Road surfaces", "N2kRoadSurface.abs", S::Road),
        Kind(16, "TFormTrafficTableNew", "Traffic tables Nord2000", "TrafficN2k.abs", S::TimeHistograms),
        Kind(20, "TFormTSSchall03", "Train setup \"Schall03\"", "TSSchall03.abs", S::Rail, "Name"),
        Kind(21, "TFormTSRMR2002", "Train setup \"RMR2002\"", "TSRMR2002.abs", S::Rail, "TrainName"),
        Kind(22, "TFormTSN2KRail", "Train setup \"Nord2000\"", "TSN2kRail.abs", S::Rail, "Name"),
        Kind(23, "TFormTSTrapid", "Train setup \"Transrapid\"", "TSTransrapid.abs", S::Rail, "Name"),
        Kind(24, "TFormTSHURail", "Train setup \"Hungarian Rail\"", "TSHURail.abs", S::Rail, "Name"),
        Kind(25, "TFormTSONR305011", "Train setup \"ONS 305011\"", "TSONR305011.abs", S::Rail, "TrainName",
             {"TSONR305011", "TSONR305011Spectra"}),
        Kind(26, "TTNMForm", "TNM vehicle definition", "TNMVeh.abs", S::Road),
        Kind(28, "TFormTSVBUSch", "Train setup \"VBUSch\"", "TSVBUSch.abs", S::Rail, "Name"),
        Kind(29, "TFormN2kWeather", "Nord2000 Weather statistics", "N2kWeather.abs", S::Meteorology),
        Kind(30, "TFormTSIsraeliRail", "Train setup \"Israeli Rail\"", "TSIsraeliRail.abs", S::Rail, "Name"),
        Kind(31, "TFormN2kWind", "Nord2000 Meteorological parameters", "N2kMetClasses.abs", S::Meteorology),
        Kind(32, "TFormTSSNCF", "Train setup \"SNCF\"", "TSSNCF.abs", S::Rail, "Name"),
        Kind(33, "TFormTSSemibel", "Train setup \"Semibel\"", "TSSemibel.abs", S::Rail, "Name"),
        Kind(90, "TFormTSCRN", "Train setup \"CRN\"", "TSCRN.abs", S::Rail, "Name"),
        Kind(91, "TFormTSJapRail", "Train setup \"Japan Rail\"", "TSJapRail.abs", S::Rail, "Name"),
        Kind(92, "TFormTSNMT96", "Train setup \"NMT\"", "TSNMT96.abs", S::Rail, "Name"),
        Kind(100, "TVehCatS03_2012Form", "Vehicle Category Schall03-2012", "VehCatS03_2012.abs", S::Rail),
        Kind(101, "TTSS03_2012Form", "Train setup Schall 03-2012", "TSS03_2012.abs", S::Rail, "ElementName",
             {}, "Train setup Schall 03-2012"),
        Kind(102, "TVehCatFRA2005Form", "Vehicle Category FRA - 2005", "VehCatFRA2005.abs", S::Rail),
        Kind(103, "TTSFRA2005Form", "Train setup FRA - 2005", "TSFRA2005.abs", S::Rail),
        Kind(105, "TFormAirCraftsECAC", "Aircrafts", "AircraftECAC.abs", S::Aircraft),
        Kind(106, "TFormAirplaneDataECAC", "ECAC Airplane data", "AirplaneDataECAC.abs", S::Aircraft,
             "ACFT_ID",
             {"AirplaneDataECAC", "Flaps", "JetThrust", "PropellerThrust", "NPD", "Spectra", "DefaultWeights",
              "ApproachSteps", "DepartureSteps", "FixedPointProfiles"}),
        Kind(117, "TFormBAIAssess", "Building acoustics assessment", "BAIAssess.abs", S::Assessment),
        Kind(118, "TFormGenAircrafts", "General Aircraft Data", "GenAircraft.abs", S::Aircraft),
        Kind(119, "TFormRiwiX", "Directivity library", "RiwiX.abs", S::Directivity, "ElementName", {},
             "Korvel Directivity Library", "2D-Directivity library"),
        Kind(120, "TFormLibX", "Emission library", "EmisX.abs", S::Sound, "ElementName",
             {"EmisX", "EmisXGrp"}, "Korvel Emission Library"),
        Kind(121, "TFormLibX", "Absorption library", "AbsorX.abs", S::Sound, "ElementName",
             {"AbsorX", "AbsorXGrp"}, "Korvel Absorption Library"),
        Kind(122, "TFormLibX", "Transmission library", "TransX.abs", S::Sound, "ElementName",
             {"TransX", "TransXGrp"}, "Korvel Transmission Library"),
        Kind(123, "TFormLibX", "Attenuation library", "AttenX.abs", S::Sound, "ElementName",
             {"AttenX", "AttenXGrp"}, "Korvel Attenuation Library"),
        Kind(124, "TTFGangForm", "Time histogram spectra", "TimeSpectra.abs", S::TimeHistograms,
             "ElementName", {}, "Korvel Time Histogram Spectra Library"),
        Kind(125, "TFormTrafficTableNew", "Traffic tables CNOSSOS-EU", "TrafficCnossos.abs",
             S::TimeHistograms),
        Kind(126, "TFormCnossosVehicles", "CNOSSOS Vehicles", "CnossosVehicles.abs", S::Road),
        Kind(127, "TFormCnossosRoadSurface", "CNOSSOS Road surfaces", "CnossosRoadSurface.abs", S::Road),
        Kind(128, "TFormCnossosRailVehicles", "CNOSSOS Rail vehicles library", "CnossosRailVehicles.abs",
             S::Rail, "ElementName",
             {"CnossosRailVehicles", "VehicleTransfer", "ContactFilter", "WheelRoughness", "TractionNoise",
              "AerodynamicNoise", "StructureTransfer"}),
        Kind(129, "TTSCnossosForm", "Train setup CNOSSOS", "TSCnossos.abs", S::Rail, "ElementName", {},
             "Train setup CNOSSOS"),
        Kind(130, "TFormCnossosTrackTransfer", "CNOSSOS Rail track transfer library",
             "CnossosTrackTransfer.abs", S::Rail),
        Kind(132, "TFormCnossosRailRoughness", "CNOSSOS Rail roughness library", "CnossosRailRoughness.abs",
             S::Rail),
        Kind(133, "TFormCnossosImpactNoise", "CNOSSOS Rail impact noise library", "CnossosImpactNoise.abs",
             S::Rail),
        Kind(134, "TFormCnossosBridgeConstant", "CNOSSOS Rail bridge constant library",
             "CnossosBridgeConstant.abs", S::Rail),
        Kind(135, "TBewertungForm", "Assessment library", "Assessment.abs", S::Assessment, "ElementName",
             {"Assess", "ZBDef", "Gebiete"}, "Korvel Assessment Library"),
        Kind(136, "TFormTSHS2", "Train setup \"HS2\"", "TSHS2.abs", S::Rail, "Name"),
        Kind(137, "TFormSRM2RoadSurface", "SRM2 Road surfaces", "SRM2RoadSurface.abs", S::Road),
        Kind(142, "TFormsonROAD18RoadSurface", "sonROAD18 Road surfaces", "sonROAD18RoadSurface.abs",
             S::Road),
        Kind(143, "TFormTrafficTableNew", "Traffic tables sonROAD18", "TrafficSonROAD18.abs",
             S::TimeHistograms),
    };
    std::sort(kinds.begin(), kinds.end(), [](const auto& a, const auto& b) { return a.Type < b.Type; });
    return kinds;
}

// Older-generation and foreign file stems that still identify a kind (imports and conversion read them).
struct LegacyStem {
    const char* Stem;
    int Type;
};
constexpr LegacyStem kLegacyStems[] = {
    {"Emis", 120},     {"EmisGrp", 120}, {"Absor", 121},    {"Abso", 121},  {"AbsorGrp", 121}, {"Trans", 122},
    {"TransGrp", 122}, {"Atten", 123},   {"AttenGrp", 123}, {"Riwi", 119},  {"Riwi3D", 119},   {"Riwis", 119},
    {"Assess", 135},   {"ZBDef", 135},   {"Gebiete", 135},  {"Taggang", 5},
};

} // namespace

std::string_view SubsystemCaption(TLibSubsystem subsystem) {
    switch (subsystem) {
    case TLibSubsystem::Sound:
        return "Sound";
    case TLibSubsystem::Directivity:
        return "Directivity";
    case TLibSubsystem::Assessment:
        return "Assessment";
    case TLibSubsystem::TimeHistograms:
        return "Time histograms and traffic";
    case TLibSubsystem::Meteorology:
        return "Meteorology and pollutants";
    case TLibSubsystem::Road:
        return "Road";
    case TLibSubsystem::Rail:
        return "Rail";
    case TLibSubsystem::Aircraft:
        return "Aircraft";
    }
    return "";
}

const std::vector<TLibKindInfo>& AllLibKinds() {
    static const std::vector<TLibKindInfo> kinds = BuildKinds();
    return kinds;
}

const TLibKindInfo* FindLibKind(int libType) {
    const auto& kinds = AllLibKinds();
    auto it = std::lower_bound(kinds.begin(), kinds.end(), libType,
                               [](const TLibKindInfo& k, int type) { return k.Type < type; });
    return it != kinds.end() && it->Type == libType ? &*it : nullptr;
}

std::string LibName(int libType) {
    const auto* k = FindLibKind(libType);
    return k ? k->FileName : "";
}

std::vector<std::string> TableNames(int libType) {
    const auto* k = FindLibKind(libType);
    return k ? k->Tables : std::vector<std::string>{};
}

std::string RegLibName(int libType) {
    const auto* k = FindLibKind(libType);
    return k ? k->RegName : "";
}

std::string NameFieldName(int libType) {
    const auto* k = FindLibKind(libType);
    return k ? k->NameField : "ElementName";
}

int GetLibType(std::string_view fileName) {
    std::string stem = Stem(fileName);
    if (stem.empty()) {
        return -1;
    }
    for (const auto& k : AllLibKinds()) {
        if (SameTextIgnoringCase(stem, Stem(k.FileName))) {
            return k.Type;
        }
    }
    for (const auto& legacy : kLegacyStems) {
        if (SameTextIgnoringCase(stem, legacy.Stem)) {
            return legacy.Type;
        }
    }
    return -1;
}

} // namespace korvel
