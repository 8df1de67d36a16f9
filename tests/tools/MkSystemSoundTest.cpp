// The sound System libraries (120..123): made from their shipped sources and read back through the spectra
// the editor uses, and wrong sound elements refused with the file, the element and the member named.

#include "platform/acoustic/LibSpectrum.h"
#include "platform/base/LibKinds.h"
#include "platform/base/MyTable.h"
#include "platform/db/Table.h"
#include "support/RunProcess.h"
#include "support/TempDir.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>

namespace korvel::test {

namespace {

namespace fs = std::filesystem;
using acoustic::TSpecType;
using nlohmann::json;

struct TSoundSource {
    int Type;
    const char* File;
};
constexpr TSoundSource kSoundSources[] = {
    {acoustic::kEmissionLibType, "emission.json"},
    {acoustic::kAbsorptionLibType, "absorption.json"},
    {acoustic::kTransmissionLibType, "transmission.json"},
    {acoustic::kAttenuationLibType, "attenuation.json"},
};

std::string Quote(const fs::path& p) {
    return "'" + p.string() + "'";
}

json ReadJson(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return json::parse(std::string(std::istreambuf_iterator<char>(in), {}));
}

// A library made by the tool, read as the editor reads it.
class TSoundLib {
public:
    TSoundLib(const fs::path& folder, int type) : type_(type), lib_(TableNames(type)) {
        lib_.InitLibX(folder.string(), LibName(type), TableNames(type), true, true);
        lib_.Open();
    }
    ~TSoundLib() { lib_.Close(); }

    std::int64_t Count() { return lib_.GetTable()->RecordCount(); }

    // The element of that number; its name and comment on the side.
    std::unique_ptr<acoustic::TCustomLibSpectrum> Element(int number, std::string* name = nullptr) {
        auto s = acoustic::CreateLibSpectrum(type_);
        s->ReadFromLibrary(lib_, acoustic::TAddPropDefList{}, number);
        if (name)
            *name = Field("ElementName").AsString();
        return s;
    }

    // The element of that name.
    std::unique_ptr<acoustic::TCustomLibSpectrum> Named(const std::string& name) {
        db::TTable& t = *lib_.GetTable();
        EXPECT_TRUE(t.Locate("ElementName", {db::TValue(name)})) << name;
        return Element(static_cast<int>(t.FieldByName("Eintrag").AsInteger()));
    }

    db::TField& Field(const std::string& name) { return lib_.GetTable()->FieldByName(name); }

    std::vector<std::string> GroupNames(const acoustic::TCustomLibSpectrum& s) {
        std::vector<std::string> names;
        db::TTable& groups = *lib_.GetItem(1);
        for (int g : s.Groups) {
            if (g == 0)
                continue;
            names.push_back(groups.Locate("Eintrag", {db::TValue(std::int64_t{g})})
                                ? groups.FieldByName("GruppenName").AsString()
                                : "(missing " + std::to_string(g) + ")");
        }
        return names;
    }

    std::int64_t GroupCount() { return lib_.GetItem(1)->RecordCount(); }

private:
    int type_;
    TMyTable lib_;
};

TSpecType SpecTypeOf(const json& element) {
    return static_cast<TSpecType>(element.value("bandType", 0));
}

} // namespace

// Every element of every shipped source comes back with its name, comment, bands, values and groups; a few
// are checked for what the editor derives from them (weighted view, rating, single values).
TEST(MkSystemSound, ShippedSourcesMakeLibrariesThatReadBackAsWritten) {
    TempDir dir;
    const fs::path out = dir.Path() / "libs";
    std::string args = Quote(out);
    for (const auto& s : kSoundSources)
        args += " " + Quote(fs::path(KORVEL_SYSTEM_SOURCES_DIR) / s.File);
    RunResult r = RunProgram(KORVEL_MKSYSTEM_EXE, args);
    ASSERT_EQ(r.ExitCode, 0) << r.Out;

    for (const auto& src : kSoundSources) {
        SCOPED_TRACE(src.File);
        const json source = ReadJson(fs::path(KORVEL_SYSTEM_SOURCES_DIR) / src.File);
        EXPECT_FALSE(source.at("source").get<std::string>().empty());
        TSoundLib lib(out, src.Type);
        const json& elements = source.at("elements");
        ASSERT_GE(elements.size(), 8u) << "a useful set of elements";
        ASSERT_EQ(lib.Count(), static_cast<std::int64_t>(elements.size()));
        std::set<std::string> groupsUsed;
        for (std::size_t i = 0; i < elements.size(); ++i) {
            const json& e = elements[i];
            SCOPED_TRACE(e.at("name").get<std::string>());
            std::string name;
            auto s = lib.Element(static_cast<int>(i + 1), &name);
            EXPECT_EQ(name, e.at("name").get<std::string>());
            EXPECT_EQ(lib.Field("Kommentar").AsString(), e.at("comment").get<std::string>());
            EXPECT_FALSE(e.at("comment").get<std::string>().empty())
                << "each element says where it comes from";
            EXPECT_EQ(s->SpecType(), SpecTypeOf(e));
            std::vector<std::string> groups = e.value("groups", std::vector<std::string>{});
            EXPECT_EQ(lib.GroupNames(*s), groups);
            groupsUsed.insert(groups.begin(), groups.end());
            if (s->SpecType() == TSpecType::SingleValue)
                continue;
            EXPECT_EQ(s->Bmin(), e.at("bmin").get<int>());
            EXPECT_EQ(s->Bmax(), e.at("bmax").get<int>());
            int given = 0;
            for (const auto& [band, value] : e.at("values").items()) {
                // Bands are stored as 32-bit floats.
                EXPECT_NEAR(s->GetValue(std::stoi(band)), value.get<double>(), 1e-4) << "band " << band;
                ++given;
            }
            EXPECT_EQ(given, static_cast<int>(s->Bands().size())) << "every band of the range has a value";
        }
        // Each group once, however many elements name it.
        EXPECT_EQ(lib.GroupCount(), static_cast<std::int64_t>(groupsUsed.size()));
    }

    {
        // Emission values are stored unweighted; the A-weighted view gives the published A-weighted spectrum.
        TSoundLib lib(out, acoustic::kEmissionLibType);
        auto s = lib.Named("ISO 717-1 spectrum No. 2, 1/3 octaves");
        auto* e = dynamic_cast<acoustic::TEmisLibSpectrum*>(s.get());
        ASSERT_NE(e, nullptr);
        EXPECT_EQ(e->dBX(), 'A');
        EXPECT_NEAR(e->GetdBXValue(20), -20.0, 1e-4); // 100 Hz
        EXPECT_NEAR(e->GetdBXValue(30), -8.0, 1e-4);  // 1 kHz
        EXPECT_NEAR(e->GetdBXValue(35), -15.0, 1e-4); // 3150 Hz
        EXPECT_NEAR(e->GetdBXValueSum(), 0.0, 0.05);  // the spectrum is normalized to 0 dB(A)
        EXPECT_NEAR(lib.Field("SumValue").AsFloat(), e->GetdBXValueSum(), 1e-6);
        auto pink = lib.Named("Pink noise, octaves 63 Hz-8 kHz");
        EXPECT_EQ(dynamic_cast<acoustic::TEmisLibSpectrum&>(*pink).dBX(), acoustic::kUnweighted);
        auto limit = lib.Named("Compressor, P <= 15 kW (limit)");
        EXPECT_EQ(limit->SpecType(), TSpecType::SingleValue);
        EXPECT_DOUBLE_EQ(limit->SingleValue(), 97.0);
        EXPECT_DOUBLE_EQ(lib.Field("SumValue").AsFloat(), 97.0);
    }
    {
        // Rated spectra carry the rating of their bands; single values what the source gives.
        TSoundLib lib(out, acoustic::kTransmissionLibType);
        auto sheet = lib.Named("Steel sheet 1 mm");
        auto& t = dynamic_cast<acoustic::TTransLibSpectrum&>(*sheet);
        EXPECT_DOUBLE_EQ(t.Rw, 29.0); // 20 lg(7.85 f) - 47 rises 2 dB per band; checked by hand
        EXPECT_DOUBLE_EQ(t.C, -1.0);
        EXPECT_DOUBLE_EQ(t.Ctr, -5.0);
        EXPECT_DOUBLE_EQ(lib.Field("SumValue").AsFloat(), 29.0);
        auto wall = lib.Named("Concrete 200 mm");
        auto& w = dynamic_cast<acoustic::TTransLibSpectrum&>(*wall);
        EXPECT_EQ(w.SpecType(), TSpecType::SingleValue);
        EXPECT_DOUBLE_EQ(w.Rw, 58.0); // 37.5 lg 460 - 42 = 57.9
        EXPECT_DOUBLE_EQ(w.Ctr, -7.0);
    }
    {
        TSoundLib lib(out, acoustic::kAttenuationLibType);
        auto air = lib.Named("Air absorption 10 °C, 70 % r.h. (dB/km)");
        EXPECT_EQ(air->SpecType(), TSpecType::Octave);
        EXPECT_NEAR(air->GetValue(30), 3.7, 1e-5);
        EXPECT_NEAR(air->GetValue(39), 117.0, 1e-4);
        EXPECT_DOUBLE_EQ(air->GetValue(31), kEmptyBandLevel)
            << "an octave spectrum has no third-octave bands";
    }
}

TEST(MkSystemSound, WrongSoundElementsFailNamingFileElementAndMember) {
    TempDir dir;
    const fs::path out = dir.Path() / "libs";
    const json good = {
        {"name", "Good"},
        {"bandType", 1},
        {"bmin", 21},
        {"bmax", 36},
        {"values", {{"21", 0.1}, {"24", 0.2}, {"27", 0.3}, {"30", 0.4}, {"33", 0.5}, {"36", 0.6}}}};
    // Single values of emission (a level in "sum") and transmission (its "Rw").
    const json goodSingle = {{"Rw", {{"name", "Good"}, {"bandType", 2}, {"Rw", 50}}},
                             {"sum", {{"name", "Good"}, {"bandType", 2}, {"sum", 50}}}};
    auto source = [](int type, const char* file, json elements) {
        return json{
            {"type", type}, {"file", file}, {"source", "test values"}, {"elements", std::move(elements)}};
    };
    auto absorption = [&](json element) {
        return source(acoustic::kAbsorptionLibType, "AbsorX.abs", json::array({good, std::move(element)}));
    };
    auto transmission = [&](json element) {
        return source(acoustic::kTransmissionLibType, "TransX.abs", json::array({std::move(element)}));
    };
    auto emission = [&](json element) {
        return source(acoustic::kEmissionLibType, "EmisX.abs", json::array({std::move(element)}));
    };
    json ratedWithRw = {{"name", "Wall"}, {"bandType", 1}, {"bmin", 21}, {"bmax", 33}, {"Rw", 60}};
    ratedWithRw["values"] = {{"21", 30}, {"24", 35}, {"27", 40}, {"30", 45}, {"33", 50}};

    struct Case {
        const char* What;
        json Source;
        std::vector<std::string> Expected; // parts of the message
    };
    const std::vector<Case> cases = {
        {"unknown member",
         absorption({{"name", "Bad"}, {"valeus", {{"21", 0.1}}}}),
         {"element 2 (\"Bad\")", "\"valeus\""}},
        {"member of another kind",
         absorption({{"name", "Bad"}, {"weighting", "A"}}),
         {"element 2 (\"Bad\")", "\"weighting\""}},
        {"band number beyond the table",
         absorption({{"name", "Bad"}, {"values", {{"44", 0.5}}}}),
         {"element 2 (\"Bad\")", "\"values\"", "\"44\""}},
        {"band outside the element's range",
         absorption(
             {{"name", "Bad"}, {"bandType", 1}, {"bmin", 21}, {"bmax", 36}, {"values", {{"39", 0.5}}}}),
         {"element 2 (\"Bad\")", "\"values\"", "band 39 (8000 Hz)", "\"bmax\""}},
        {"third-octave band in an octave spectrum",
         absorption(
             {{"name", "Bad"}, {"bandType", 1}, {"bmin", 21}, {"bmax", 36}, {"values", {{"22", 0.5}}}}),
         {"\"values\"", "band 22", "not an octave band"}},
        {"spectrum without values", absorption({{"name", "Bad"}}), {"element 2 (\"Bad\")", "no value"}},
        {"empty group name",
         absorption({{"name", "Bad"}, {"values", {{"30", 0.5}}}, {"groups", {" "}}}),
         {"\"groups\"", "empty"}},
        {"group name too long",
         absorption({{"name", "Bad"}, {"values", {{"30", 0.5}}}, {"groups", {std::string(41, 'g')}}}),
         {"\"groups\"", "40 characters"}},
        {"name too long",
         absorption({{"name", std::string(41, 'n')}, {"values", {{"30", 0.5}}}}),
         {"\"name\"", "41 characters"}},
        {"missing name", absorption({{"values", {{"30", 0.5}}}}), {"element 2", "\"name\""}},
        {"linked documents",
         absorption({{"name", "Bad"}, {"values", {{"30", 0.5}}}, {"documents", {"a.pdf"}}}),
         {"\"documents\""}},
        {"computed member",
         absorption({{"name", "Bad"}, {"values", {{"30", 0.5}}}, {"bandTypeText", "x"}}),
         {"\"bandTypeText\""}},
        {"rating given for a rated spectrum",
         transmission(ratedWithRw),
         {"element 1 (\"Wall\")", "\"Rw\"", "computed"}},
        {"spectrum too narrow to rate",
         transmission({{"name", "Narrow"}, {"bmin", 25}, {"bmax", 35}, {"values", {{"25", 40}, {"30", 45}}}}),
         {"element 1 (\"Narrow\")", "cannot be rated", "EN ISO 717-1"}},
        {"single transmission value without Rw",
         transmission({{"name", "Window"}, {"bandType", 2}}),
         {"\"Rw\"", "missing"}},
        {"single emission value without sum",
         emission({{"name", "Machine"}, {"bandType", 2}}),
         {"element 1 (\"Machine\")", "\"sum\"", "missing"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.What);
        // A good library of the kind is there first; a failed build must leave it exactly as it was.
        fs::remove_all(out);
        json goodSource = c.Source;
        const int type = goodSource["type"].get<int>();
        goodSource["elements"] =
            json::array({type == acoustic::kAbsorptionLibType     ? good
                         : type == acoustic::kTransmissionLibType ? goodSingle.at("Rw")
                                                                  : goodSingle.at("sum")});
        const fs::path goodFile = dir.Path() / "good.json";
        std::ofstream(goodFile) << goodSource.dump();
        RunResult made = RunProgram(KORVEL_MKSYSTEM_EXE, Quote(out) + " " + Quote(goodFile));
        ASSERT_EQ(made.ExitCode, 0) << made.Out;
        const fs::path lib = out / goodSource["file"].get<std::string>();
        std::ifstream before(lib, std::ios::binary);
        const std::string bytes(std::istreambuf_iterator<char>(before), {});

        const fs::path bad = dir.Path() / "bad.json";
        std::ofstream(bad) << c.Source.dump();
        RunResult r = RunProgram(KORVEL_MKSYSTEM_EXE, Quote(out) + " " + Quote(bad));
        EXPECT_EQ(r.ExitCode, 1) << r.Out;
        EXPECT_NE(r.Out.find(bad.string()), std::string::npos) << r.Out;
        for (const auto& part : c.Expected)
            EXPECT_NE(r.Out.find(part), std::string::npos) << "missing " << part << " in: " << r.Out;
        std::ifstream after(lib, std::ios::binary);
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(after), {}), bytes);
    }
}

} // namespace korvel::test
