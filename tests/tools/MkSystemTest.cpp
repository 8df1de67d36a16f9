// The System library build tool, run as the build runs it: libraries made from sources read back as written,
// and wrong sources refused with the file, the element and the member named, the old library kept.

#include "platform/acoustic/Directivity.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/base/LibKinds.h"
#include "platform/base/MyTable.h"
#include "platform/db/Database.h"
#include "platform/db/Table.h"
#include "support/FileBytes.h"
#include "support/RunProcess.h"
#include "support/TempDir.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <numbers>
#include <set>
#include <tuple>

namespace korvel::test {

namespace {

namespace fs = std::filesystem;
using acoustic::TSpecType;
using nlohmann::json;
using namespace nlohmann::literals;
using ::testing::HasSubstr;
using TNames = std::vector<std::string>;

constexpr int kPollutants = 9;
constexpr int kDirectivities = 119;
const fs::path kSources = KORVEL_SYSTEM_SOURCES_DIR;

RunResult RunTool(const std::vector<fs::path>& args) {
    std::string line;
    for (const fs::path& arg : args)
        line += (line.empty() ? "'" : " '") + arg.string() + "'";
    return RunProgram(KORVEL_MKSYSTEM_EXE, line);
}

json Source(int type, const char* file, json elements) {
    return {{"type", type}, {"file", file}, {"source", "test values"}, {"elements", std::move(elements)}};
}
json Pollutants(json elements) {
    return Source(kPollutants, "Stoffe.abs", std::move(elements));
}

TNames FilesIn(const fs::path& folder) {
    TNames names;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(folder, ec))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::string JournalMode(const std::string& file) {
    db::TDatabase database(file);
    database.SetReadOnly(true);
    database.Open();
    db::TStatement pragma(database.Connection().Handle(), "PRAGMA journal_mode");
    return pragma.Step() ? pragma.ColumnText(0) : std::string();
}

// A library of the folder, open for reading as the editor reads it.
class TLib {
public:
    TLib(const fs::path& folder, int type) : type_(type), lib_(TableNames(type)) {
        lib_.InitLibX(folder.string(), LibName(type), TableNames(type), true, true);
        lib_.Open();
        Table().SetIndexName("p");
    }
    ~TLib() { lib_.Close(); }

    db::TTable& Table() { return *lib_.GetTable(); }
    db::TField& Field(const std::string& name) { return Table().FieldByName(name); }

    // The sound element of that number.
    std::unique_ptr<acoustic::TCustomLibSpectrum> Element(int number) {
        auto s = acoustic::CreateLibSpectrum(type_);
        s->ReadFromLibrary(lib_, acoustic::TAddPropDefList{}, number);
        return s;
    }
    template <class TSpectrum = acoustic::TCustomLibSpectrum>
    std::unique_ptr<TSpectrum> Named(const std::string& name) {
        EXPECT_TRUE(Table().Locate("ElementName", {db::TValue(name)})) << name;
        auto s = Element(static_cast<int>(Field("Eintrag").AsInteger()));
        return std::unique_ptr<TSpectrum>(dynamic_cast<TSpectrum*>(s.release()));
    }

    TNames GroupNames(const acoustic::TCustomLibSpectrum& s) {
        TNames names;
        db::TTable& groups = *lib_.GetItem(1);
        for (int g : s.Groups)
            if (g != 0)
                names.push_back(groups.Locate("Eintrag", {db::TValue(std::int64_t{g})})
                                    ? groups.FieldByName("GruppenName").AsString()
                                    : "(missing " + std::to_string(g) + ")");
        return names;
    }
    std::int64_t GroupCount() { return lib_.GetItem(1)->RecordCount(); }

private:
    int type_;
    TMyTable lib_;
};

// The current record holds the source element's values, field by field.
void ExpectHolds(TLib& lib, const json& element) {
    for (const auto& [name, value] : element.items()) {
        if (value.is_string())
            EXPECT_EQ(lib.Field(name).AsString(), value.get<std::string>()) << name;
        else if (value.is_boolean())
            EXPECT_EQ(lib.Field(name).AsBoolean(), value.get<bool>()) << name;
        else
            EXPECT_DOUBLE_EQ(lib.Field(name).AsFloat(), value.get<double>()) << name;
    }
}

class MkSystem : public ::testing::Test {
protected:
    TempDir dir;
    const fs::path out = dir.Path() / "libs";
};

TEST_F(MkSystem, BuildsElementsInOrderThatOpenReadOnlyFromALockedFolder) {
    const json elements = {{{"Short", "NO2"},
                            {"StoffName", "Stickstoffdioxid"},
                            {"Limit_Mean", 40},
                            {"Perc", 99.8},
                            {"Limit_Perc", 200.0},
                            {"Kommentar", "2008/50/EC Annex XI"},
                            {"NOx", false}},
                           {{"Short", "NO"}, {"NOx", true}},
                           {{"Short", "Größe µ"}, {"FromDayMean", true}, {"Kornfraktion", 2}}};
    json dated = elements;
    dated[2]["LastChangeDateTime"] = "2024-05-01 12:30:00";
    const fs::path source = dir.Path() / "pollutants.json";
    WriteAll(source, Pollutants(dated).dump());
    RunResult r = RunTool({out, source});
    ASSERT_EQ(r.ExitCode, 0) << r.Out;
    // Nothing beside the library: no temporary file and no WAL files.
    EXPECT_EQ(FilesIn(out), TNames{"Stoffe.abs"});
    // WAL cannot be read from a folder its reader may not write to, and root ignores the chmod below.
    EXPECT_EQ(JournalMode((out / "Stoffe.abs").string()), "delete");
    {
        // Read-only as an installed System folder is; writable again for the clean-up, whatever fails.
        fs::permissions(out, fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                        fs::perm_options::remove);
        const std::shared_ptr<void> unlock(
            nullptr, [&](void*) { fs::permissions(out, fs::perms::owner_write, fs::perm_options::add); });
        TLib lib(out, kPollutants);
        ASSERT_EQ(lib.Table().RecordCount(), 3);
        lib.Table().First();
        for (int number = 1; number <= 3; ++number, lib.Table().Next()) {
            EXPECT_EQ(lib.Field("Eintrag").AsInteger(), number);
            ExpectHolds(lib, elements[number - 1]);
        }
        lib.Table().Last();
        EXPECT_EQ(lib.Field("LastChangeDateTime").AsString(), "2024-05-01 12:30:00.000");
        // Fields the source leaves out keep the kind's defaults for a new element.
        ASSERT_TRUE(lib.Table().Locate("Short", {std::string("NO")}));
        ExpectHolds(lib, {{"Perc", 98.0}, {"Limit_Mean", 0.0}});
        EXPECT_FALSE(lib.Field("LastChangeDateTime").IsNull());
    }
    EXPECT_EQ(FilesIn(out), TNames{"Stoffe.abs"});
}

TEST_F(MkSystem, WrongElementsFailNamingFileElementAndMemberAndKeepTheOldLibrary) {
    constexpr int kPol = kPollutants, kAbs = acoustic::kAbsorptionLibType, kEmis = acoustic::kEmissionLibType,
                  kTrans = acoustic::kTransmissionLibType, kDir = kDirectivities;
    // Each kind's library file and a good element; an absorption source starts with it, so that the wrong
    // element is the second.
    const std::map<int, std::pair<const char*, json>> kinds = {
        {kPol, {"Stoffe.abs", R"({"Short": "NO2", "Limit_Mean": 40})"_json}},
        {kAbs, {"AbsorX.abs", R"({"name": "Good", "bandType": 1, "bmin": 21, "bmax": 24,
                                         "values": {"21": 0.1, "24": 0.2}})"_json}},
        {kTrans, {"TransX.abs", R"({"name": "Good", "bandType": 2, "Rw": 50})"_json}},
        {kEmis, {"EmisX.abs", R"({"name": "Good", "bandType": 2, "sum": 50})"_json}},
        {kDir, {"RiwiX.abs", R"({"name": "Good"})"_json}}};
    const std::string longShort = json::array({{{"Short", std::string(41, 'x')}}}).dump();
    const std::string longGroup =
        json{{"name", "Bad"}, {"values", {{"30", 0.5}}}, {"groups", {std::string(41, 'g')}}}.dump();
    const std::string longName = json{{"name", std::string(41, 'n')}, {"values", {{"30", 0.5}}}}.dump();
    // Kind, the elements (an array, or the wrong absorption element alone) and parts of the message.
    const std::vector<std::tuple<int, std::string, TNames>> cases = {
        {kPol,
         R"([{"Short": "NO2"}, {"Short": "PM10", "Limt_Mean": 40}])",
         {"element 2 (\"PM10\")", "\"Limt_Mean\"", "is not a field"}},
        {kPol, R"([{"Short": "NO2", "limit_mean": 40}])", {"\"limit_mean\"", "\"Limit_Mean\""}},
        {kPol, R"([{"Short": "NO", "NOx": "yes"}])", {"element 1 (\"NO\")", "\"NOx\"", "true or false"}},
        {kPol, R"([{"Short": "NO", "StoffName": 5}])", {"\"StoffName\"", "must be a string"}},
        {kPol, R"([{"Short": "PM", "Kornfraktion": 1.5}])", {"\"Kornfraktion\"", "whole number"}},
        {kPol, R"([{"Short": "PM", "Deposition": "0.01"}])", {"\"Deposition\"", "a number"}},
        {kPol, R"([{"Short": "PM", "Kornfraktion": 5000000000}])", {"\"Kornfraktion\""}},
        {kPol, longShort, {"\"Short\"", "41 characters"}},
        {kPol, R"([{"Short": "NO", "Eintrag": 7}])", {"\"Eintrag\"", "order of the elements"}},
        {kPol, R"([{"Short": "NO", "LastChangeDateTime": "yesterday"}])", {"\"LastChangeDateTime\""}},
        {kPol, R"([{"Short": "NO"}, {"StoffName": "nameless"}])", {"element 2", "\"Short\""}},
        {kPol, R"([{"Short": ""}])", {"element 1", "\"Short\"", "empty"}},
        {kPol, R"([{"Short": "NO2"}, {"Short": "no2"}])", {"element 2 (\"no2\")"}},
        {kPol, R"([{"Short": "NO2"}, 42])", {"element 2", "object"}},
        {kAbs, R"({"name": "Bad", "valeus": {"21": 0.1}})", {"element 2 (\"Bad\")", "\"valeus\""}},
        {kAbs, R"({"name": "Bad", "weighting": "A"})", {"element 2 (\"Bad\")", "\"weighting\""}},
        {kAbs, R"({"name": "Bad", "values": {"44": 0.5}})", {"element 2 (\"Bad\")", "\"values\"", "\"44\""}},
        {kAbs,
         R"({"name": "Bad", "bandType": 1, "bmin": 21, "bmax": 36, "values": {"39": 0.5}})",
         {"element 2 (\"Bad\")", "\"values\"", "band 39 (8000 Hz)", "\"bmax\""}},
        {kAbs,
         R"({"name": "Bad", "bandType": 1, "bmin": 21, "bmax": 36, "values": {"22": 0.5}})",
         {"\"values\"", "band 22", "not an octave band"}},
        {kAbs, R"({"name": "Bad"})", {"element 2 (\"Bad\")", "no value"}},
        {kAbs, R"({"name": "Bad", "values": {"30": 0.5}, "groups": [" "]})", {"\"groups\"", "empty"}},
        {kAbs, longGroup, {"\"groups\"", "40 characters"}},
        {kAbs, longName, {"\"name\"", "41 characters"}},
        {kAbs, R"({"values": {"30": 0.5}})", {"element 2", "\"name\""}},
        {kAbs, R"({"name": "Bad", "values": {"30": 0.5}, "documents": ["a.pdf"]})", {"\"documents\""}},
        {kAbs, R"({"name": "Bad", "values": {"30": 0.5}, "bandTypeText": "x"})", {"\"bandTypeText\""}},
        // A rating given for a rated spectrum, a spectrum too narrow to rate, single values without theirs.
        {kTrans,
         R"([{"name": "Wall", "bandType": 1, "bmin": 21, "bmax": 33, "Rw": 60,
              "values": {"21": 30, "24": 35, "27": 40, "30": 45, "33": 50}}])",
         {"element 1 (\"Wall\")", "\"Rw\"", "computed"}},
        {kTrans,
         R"([{"name": "Narrow", "bmin": 25, "bmax": 35, "values": {"25": 40, "30": 45}}])",
         {"element 1 (\"Narrow\")", "cannot be rated", "EN ISO 717-1"}},
        {kTrans, R"([{"name": "Window", "bandType": 2}])", {"\"Rw\"", "missing"}},
        {kEmis, R"([{"name": "Machine", "bandType": 2}])", {"element 1 (\"Machine\")", "\"sum\"", "missing"}},
        // Directivities: the reader's own checks, a computed value given, samples that would fill nothing.
        {kDir, R"([{"name": "Fan", "dirType": 3}])", {"element 1 (\"Fan\")", "member \"dirType\""}},
        {kDir, R"([{"name": "Fan", "bands": {"30": {"grid": []}}}])", {"\"bands.30\"", "not a band"}},
        {kDir, R"([{"name": "Fan", "bands": {"27": {"dLtot": -3}}}])", {"\"bands.27.dLtot\"", "computed"}},
        {kDir, R"([{"name": "Fan", "samples": [{"theta": 0}]}])", {"\"samples\"", "\"interpolation\""}},
        {kDir, R"([{"dirType": 1}])", {"element 1", "member \"name\""}},
        {kDir, json::array({{{"name", std::string(41, 'n')}}}).dump(), {"\"name\"", "41 characters"}},
    };
    const fs::path goodFile = dir.Path() / "good.json";
    const fs::path bad = dir.Path() / "bad.json";
    for (const auto& [type, wrong, expected] : cases) {
        SCOPED_TRACE(wrong);
        const auto& [file, good] = kinds.at(type);
        // A good library of the kind is there first; a failed build must leave it exactly as it was.
        fs::remove_all(out);
        WriteAll(goodFile, Source(type, file, json::array({good})).dump());
        ASSERT_EQ(RunTool({out, goodFile}).ExitCode, 0);
        const std::string before = ReadAll(out / file);

        const json elements = type == kAbs ? json::array({good, json::parse(wrong)}) : json::parse(wrong);
        WriteAll(bad, Source(type, file, elements).dump());
        RunResult r = RunTool({out, bad});
        EXPECT_EQ(r.ExitCode, 1) << r.Out;
        EXPECT_THAT(r.Out, HasSubstr(bad.string()));
        for (const auto& part : expected)
            EXPECT_THAT(r.Out, HasSubstr(part));
        EXPECT_EQ(FilesIn(out), TNames{file});
        EXPECT_EQ(ReadAll(out / file), before);
    }

    // Without an earlier library a failed build leaves nothing at all.
    fs::remove_all(out);
    WriteAll(bad, Pollutants(R"([{"Short": "NO2"}, {"Short": "NO", "NOx": 1}])"_json).dump());
    EXPECT_EQ(RunTool({out, bad}).ExitCode, 1);
    EXPECT_TRUE(FilesIn(out).empty());
}

TEST_F(MkSystem, WrongSourcesAndUsageAreRefusedBeforeAnythingIsWritten) {
    int written = 0;
    const auto write = [&](const std::string& text) {
        fs::path file = dir.Path() / ("source" + std::to_string(++written) + ".json");
        WriteAll(file, text);
        return file;
    };
    const json element = json::array({{{"Short", "NO2"}}});
    // The good source with one member changed, or left out for null.
    const auto with = [&](const char* key, const json& value) {
        json source = Pollutants(element);
        if (value.is_null())
            source.erase(key);
        else
            source[key] = value;
        return write(source.dump());
    };
    const fs::path good = write(Pollutants(element).dump());
    // A missing file, and two sources of one kind: all sources are read before any library is built.
    for (const auto& [sources, expected] : std::vector<std::pair<std::vector<fs::path>, std::string>>{
             {{write("{\"type\": 9, \"file\": ")}, "not valid JSON"},
             {{write("[1, 2]")}, "JSON object"},
             {{with("file", "Stofe.abs")}, "\"Stoffe.abs\""},
             {{with("type", 4)}, "type 4 is not a library kind"},
             {{with("source", nullptr)}, "\"source\""},
             {{with("elemnts", json::array())}, "\"elemnts\""},
             {{good, dir.Path() / "none.json"}, "none.json"},
             {{good, write(Pollutants(element).dump())}, "type 9"},
         }) {
        SCOPED_TRACE(expected);
        std::vector<fs::path> args{out};
        args.insert(args.end(), sources.begin(), sources.end());
        RunResult r = RunTool(args);
        EXPECT_EQ(r.ExitCode, 1) << r.Out;
        EXPECT_THAT(r.Out, HasSubstr(expected));
        EXPECT_FALSE(fs::exists(out));
    }
    EXPECT_EQ(RunTool({}).ExitCode, 2);
    EXPECT_EQ(RunTool({out}).ExitCode, 2);
    EXPECT_FALSE(fs::exists(out));
}

// Every element of every shipped sound source comes back with its name, comment, bands, values and groups;
// a few are checked for what the editor derives from them (weighted view, rating, single values).
TEST_F(MkSystem, ShippedSoundSourcesMakeLibrariesThatReadBackAsWritten) {
    const std::map<int, const char*> sources = {{acoustic::kEmissionLibType, "emission.json"},
                                                {acoustic::kAbsorptionLibType, "absorption.json"},
                                                {acoustic::kTransmissionLibType, "transmission.json"},
                                                {acoustic::kAttenuationLibType, "attenuation.json"}};
    std::vector<fs::path> args{out};
    for (const auto& [type, file] : sources)
        args.push_back(kSources / file);
    RunResult r = RunTool(args);
    ASSERT_EQ(r.ExitCode, 0) << r.Out;

    for (const auto& [type, file] : sources) {
        SCOPED_TRACE(file);
        const json source = json::parse(ReadAll(kSources / file));
        EXPECT_FALSE(source.at("source").get<std::string>().empty());
        TLib lib(out, type);
        const json& elements = source.at("elements");
        ASSERT_GE(elements.size(), 8u) << "a useful set of elements";
        ASSERT_EQ(lib.Table().RecordCount(), static_cast<std::int64_t>(elements.size()));
        std::set<std::string> groupsUsed;
        for (std::size_t i = 0; i < elements.size(); ++i) {
            const json& e = elements[i];
            SCOPED_TRACE(e.at("name").get<std::string>());
            auto s = lib.Element(static_cast<int>(i + 1));
            EXPECT_EQ(lib.Field("ElementName").AsString(), e.at("name").get<std::string>());
            EXPECT_EQ(lib.Field("Kommentar").AsString(), e.at("comment").get<std::string>());
            EXPECT_FALSE(e.at("comment").get<std::string>().empty())
                << "each element says where it comes from";
            EXPECT_EQ(s->SpecType(), static_cast<TSpecType>(e.value("bandType", 0)));
            const TNames groups = e.value("groups", TNames{});
            EXPECT_EQ(lib.GroupNames(*s), groups);
            groupsUsed.insert(groups.begin(), groups.end());
            if (s->SpecType() == TSpecType::SingleValue)
                continue;
            EXPECT_EQ(std::pair(s->Bmin(), s->Bmax()),
                      std::pair(e.at("bmin").get<int>(), e.at("bmax").get<int>()));
            for (const auto& [band, value] : e.at("values").items()) // bands are stored as 32-bit floats
                EXPECT_NEAR(s->GetValue(std::stoi(band)), value.get<double>(), 1e-4) << "band " << band;
            EXPECT_EQ(e.at("values").size(), s->Bands().size()) << "every band of the range has a value";
        }
        // Each group once, however many elements name it.
        EXPECT_EQ(lib.GroupCount(), static_cast<std::int64_t>(groupsUsed.size()));
    }
    {
        // Emission values are stored unweighted; the A-weighted view gives the published spectrum, whose sum
        // is 0 dB(A).
        TLib lib(out, acoustic::kEmissionLibType);
        auto e = lib.Named<acoustic::TEmisLibSpectrum>("ISO 717-1 spectrum No. 2, 1/3 octaves");
        ASSERT_NE(e, nullptr);
        EXPECT_EQ(e->dBX(), 'A');
        EXPECT_NEAR(e->GetdBXValueSum(), 0.0, 0.05);
        EXPECT_NEAR(lib.Field("SumValue").AsFloat(), e->GetdBXValueSum(), 1e-6);
        EXPECT_EQ(lib.Named<acoustic::TEmisLibSpectrum>("Pink noise, octaves 63 Hz-8 kHz")->dBX(),
                  acoustic::kUnweighted);
        auto limit = lib.Named("Compressor, P <= 15 kW (limit)");
        EXPECT_DOUBLE_EQ(limit->SingleValue(), 97.0);
        EXPECT_DOUBLE_EQ(lib.Field("SumValue").AsFloat(), 97.0);
    }
    {
        // Rated spectra carry the rating of their bands; single values what the source gives.
        TLib lib(out, acoustic::kTransmissionLibType);
        auto sheet = lib.Named<acoustic::TTransLibSpectrum>("Steel sheet 1 mm");
        // 20 lg(7.85 f) - 47 rises 2 dB per band; checked by hand. Ratings are whole decibels.
        EXPECT_EQ(std::tuple(sheet->Rw, sheet->C, sheet->Ctr, lib.Field("SumValue").AsFloat()),
                  std::tuple(29.0, -1.0, -5.0, 29.0));
        auto wall = lib.Named<acoustic::TTransLibSpectrum>("Concrete 200 mm");
        EXPECT_EQ(std::pair(wall->Rw, wall->Ctr), std::pair(58.0, -7.0)); // 37.5 lg 460 - 42 = 57.9
    }
    TLib lib(out, acoustic::kAttenuationLibType);
    // An octave spectrum has no third-octave bands.
    EXPECT_DOUBLE_EQ(lib.Named("Air absorption 10 °C, 70 % r.h. (dB/km)")->GetValue(31), kEmptyBandLevel);
}

// The shipped directivities hold, at every grid point, the textbook pattern they name: 20 lg of the pressure
// relative to the axis, never below the -40 dB floor that stands for the nulls.
TEST_F(MkSystem, ShippedDirectivitiesFollowTheirFormulas) {
    RunResult r = RunTool({out, kSources / "directivity.json"});
    ASSERT_EQ(r.ExitCode, 0) << r.Out;
    const auto dB = [](double pressure) {
        return std::max(-40.0, 20 * std::log10(std::abs(pressure)));
    };
    const auto rad = [](double degrees) {
        return degrees * std::numbers::pi / 180;
    };
    // Each element's formula by its name; the angle is theta, or phi for the horizontal element.
    const auto formula = [&](const std::string& name, double angle, double f) {
        const double cosine = std::cos(rad(angle));
        // Piston, a = 0.1 m, c = 343 m/s: 2 J1(x) / x with x = ka sin theta in front, nothing behind.
        const double x = 2 * std::numbers::pi * f / 343.0 * 0.1 * std::sin(rad(angle));
        if (name == "Monopole (omnidirectional)")
            return 0.0;
        if (name == "Dipole, vertical axis")
            return dB(cosine);
        if (name == "Cardioid, vertical axis" || name == "Cardioid, horizontal plane")
            return dB((1 + cosine) / 2);
        if (name == "Circular piston in baffle, a = 0.1 m")
            return angle > 90 ? -40.0 : x == 0 ? 0.0 : dB(2 * std::cyl_bessel_j(1.0, x) / x);
        ADD_FAILURE() << "no formula for " << name;
        return 0.0;
    };

    const json elements = json::parse(ReadAll(kSources / "directivity.json")).at("elements");
    TLib lib(out, kDirectivities);
    ASSERT_EQ(lib.Table().RecordCount(), 5);
    std::map<std::string, acoustic::TDirectivity> read;
    for (std::size_t i = 0; i < elements.size(); ++i) {
        const std::string name = elements[i].at("name").get<std::string>();
        SCOPED_TRACE(name);
        acoustic::TDirectivity& d = read[name];
        d.ReadFromLibrary(lib.Table(), static_cast<int>(i + 1));
        EXPECT_EQ(lib.Field("ElementName").AsString(), name);
        EXPECT_EQ(lib.Field("Kommentar").AsString(), elements[i].at("comment").get<std::string>());
        const bool horizontal = d.DirType() == acoustic::TDirType::Horizontal;
        for (int b = 0; b < d.BandCount(); ++b)
            for (int row = 0; row < d.ThetaCount(); ++row)
                for (int col = 0; col < d.PhiCount(); ++col) {
                    const double expected = formula(name, horizontal ? d.PhiOf(col) : d.ThetaOf(row),
                                                    ThirdOctaves[d.GetItem(b).Band]);
                    // Rounded to 0.01 dB in the source, stored as 32-bit floats.
                    ASSERT_NEAR(d.Value(b, row, col), expected, 0.0051)
                        << "band " << d.GetItem(b).Band << ", row " << row << ", column " << col;
                }
    }
    // A few points by hand: 20 lg 0.5 = -6.02 dB (dipole at 60 degrees, cardioid at 90 degrees);
    // piston at 2 kHz on the baffle: ka = 3.6637, 2 J1(ka) / ka = 0.03762 -> -28.49 dB.
    EXPECT_NEAR(read["Dipole, vertical axis"].Value(0, 6, 0), -6.02, 0.006);
    EXPECT_NEAR(read["Dipole, vertical axis"].Value(0, 9, 17), -40.0, 1e-6);
    EXPECT_NEAR(read["Cardioid, vertical axis"].Value(0, 9, 0), -6.02, 0.006);
    EXPECT_NEAR(read["Cardioid, horizontal plane"].Value(0, 0, 18), -40.0, 1e-6);
    const acoustic::TDirectivity& p = read["Circular piston in baffle, a = 0.1 m"];
    ASSERT_EQ(std::pair(p.GetItem(0).Band, p.GetItem(p.BandCount() - 1).Band), std::pair(18, 39));
    EXPECT_EQ(p.BandCount(), 8);
    EXPECT_NEAR(p.Value(5, 9, 0), -28.49, 0.006);
    // The monopole radiates equally everywhere; the piston, with nothing behind its baffle, about half. The
    // mean of cos^2 over the sphere is 1/3, of ((1 + cos)/2)^2 over the circle 3/8.
    EXPECT_NEAR(read["Monopole (omnidirectional)"].GetItem(0).dLtot, 0.0, 1e-6);
    EXPECT_NEAR(read["Dipole, vertical axis"].GetItem(0).dLtot, 10 * std::log10(1.0 / 3), 0.05);
    EXPECT_NEAR(read["Cardioid, horizontal plane"].GetItem(0).dLtot, 10 * std::log10(3.0 / 8), 0.05);
    EXPECT_NEAR(p.GetItem(0).dLtot, -3.0, 0.5);
}

} // namespace

} // namespace korvel::test
