// The commands of korvellib run as a user runs them: element commands, the element filter of list, and the
// conversion of a folder of the older generation.

#include "CliRunner.h"
#include "meteo/PollutantsSchema.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/base/Bands.h"
#include "platform/base/LibEditorRegistry.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/settings/ProgramSettings.h"
#include "sound/ElementFilter.h"
#include "sound/UpdateFixtures.h"
#include "support/FileBytes.h"
#include "support/SettingsSandbox.h"
#include "support/TempDir.h"

#include <algorithm>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <set>
#include <tuple>

namespace korvel::test {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using ::testing::HasSubstr;
using namespace sound::test;

// The exit codes scripts rely on (docs/cli.md).
enum TExit { kUsage = 2, kUnknownType, kNoEditor, kNoLibrary, kNoElement, kReadOnly, kRefused, kExists };

const std::string kType = std::to_string(meteo::kPollutantsLibType);

using TNames = std::vector<std::pair<int, std::string>>;

// Runs with settings of their own, in a temporary folder beside the library folders the test makes there.
class CliCommands : public ::testing::Test {
protected:
    // A folder below the temporary one, made when missing, with a trailing separator.
    std::string Folder(const std::string& name) const {
        fs::create_directories(root_.Path() / name);
        return root_.File(name) + "/";
    }
    std::string Config() const { return root_.File("config"); }
    TCliResult Run(std::vector<std::string> args, const std::string& input = {}) const {
        args.insert(args.begin(), {"--config", Config()});
        return RunKorvellib(args, input);
    }
    int Add(const std::string& folder, const std::string& shortName, const std::string& name = "") {
        std::vector<std::string> args{"add", kType, folder, "--set", "Short=" + shortName};
        if (!name.empty())
            args.insert(args.end(), {"--set", "StoffName=" + name});
        TCliResult r = Run(args);
        EXPECT_TRUE(ExitedWith(r, 0));
        return r.ExitCode == 0 ? std::stoi(r.Out) : -1;
    }

    // The output of a run with --json.
    json Json(std::vector<std::string> args) {
        args.push_back("--json");
        TCliResult r = Run(args);
        EXPECT_TRUE(ExitedWith(r, 0));
        return r.ExitCode == 0 ? json::parse(r.Out) : json();
    }
    json List(const std::string& folder) { return Json({"list", kType, folder}); }
    json Show(const std::string& folder, int number) {
        return Json({"show", kType, folder, std::to_string(number)});
    }
    json Fields(const std::string& folder, int number) { return Show(folder, number).at("fields"); }

    // number -> short name, in the order listed
    TNames Names(const std::string& folder) {
        TNames names;
        for (const json& row : List(folder))
            names.emplace_back(row.at("number").get<int>(), row.at("name").get<std::string>());
        return names;
    }

    TempDir root_;
};

TEST_F(CliCommands, AddListShowAndSetRoundTrip) {
    const std::string lib = Folder("project");
    EXPECT_EQ(Add(lib, "NO2", "Nitrogen dioxide"), 1);
    EXPECT_EQ(Add(lib, "PM10", "Fine dust"), 2);

    json list = List(lib);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[1], json::parse(R"({"number": 2, "name": "PM10",
                                       "columns": {"Eintrag": 2, "Short": "PM10", "StoffName": "Fine dust"}})"));
    EXPECT_EQ(Run({"list", kType, lib}).Out, "     1  NO2\n     2  PM10\n");

    json shown = Show(lib, 2);
    // New elements start with the kind's defaults.
    EXPECT_EQ(shown.at("fields").at("Perc"), meteo::kDefaultPercentile);
    EXPECT_FALSE(shown.at("fields").at("LastChangeDateTime").is_null());
    // The element object goes back in as it came out, with changes.
    json element = shown.at("element");
    for (const char* part : {"fields", "element"})
        shown.erase(part);
    EXPECT_EQ(shown,
              json({{"type", meteo::kPollutantsLibType}, {"folder", lib}, {"number", 2}, {"name", "PM10"}}));
    element["StoffName"] = "Particles below 10 µm";
    element["Perc"] = 90.4;
    element["Kornfraktion"] = 2;
    const std::string file = root_.File("element.json");
    WriteAll(file, element.dump());
    ASSERT_TRUE(ExitedWith(Run({"set", kType, lib, "2", "--element-json", file}), 0));

    element["ParticleSizeClass"] = "2 (2.5-10 µm)"; // follows the class; the given text is not read
    EXPECT_EQ(Show(lib, 2).at("element"), element);
    EXPECT_EQ(Fields(lib, 1).at("StoffName"), "Nitrogen dioxide") << "only element 2 changes";
}

TEST_F(CliCommands, RefusedStoresAndBadInputChangeNothing) {
    const std::string lib = Folder("project");
    ASSERT_EQ(Add(lib, "NO2"), 1);
    const json before = Fields(lib, 1);

    TCliResult empty = Run({"add", kType, lib, "--set", "Short=  ", "--set", "StoffName=nameless"});
    EXPECT_TRUE(ExitedWith(empty, kRefused, {"No element name entered"}));
    EXPECT_EQ(empty.Out, "");
    EXPECT_TRUE(ExitedWith(Run({"set", kType, lib, "1", "--set", "Kornfraktion=7"}), kRefused,
                           {"particle size class"}));
    EXPECT_TRUE(ExitedWith(Run({"set", kType, lib, "1", "--set", "Short="}), kRefused));

    for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
             {"set", kType, lib, "1", "--set", "Nope=1"},
             {"set", kType, lib, "1", "--set", "Perc=abc"},
             {"set", kType, lib, "1", "--set", "Eintrag=7"},
             {"set", kType, lib, "1", "--set", "Short"},
             {"set", kType, lib, "1"},
             {"set", kType, lib, "1", "--element-json", "-"},
             {"add", kType, lib, "--set", "Short=X", "--element-json", root_.File("missing.json")},
         }) {
        TCliResult r = Run(args, "{\"Short\": ");
        EXPECT_TRUE(ExitedWith(r, kUsage)) << args.back();
        EXPECT_FALSE(r.Err.empty());
    }
    EXPECT_TRUE(
        ExitedWith(Run({"set", kType, lib, "1", "--element-json", "-"}, R"({"Short": "Z", "Bogus": 1})"),
                   kUsage, {"Bogus"}));

    EXPECT_EQ(Names(lib), (TNames{{1, "NO2"}}));
    EXPECT_EQ(Fields(lib, 1), before);

    // A refused first element leaves no empty library behind.
    const std::string fresh = Folder("fresh");
    EXPECT_TRUE(ExitedWith(Run({"add", kType, fresh, "--set", "Short="}), kRefused));
    EXPECT_TRUE(fs::is_empty(fresh));
}

TEST_F(CliCommands, ClearMessagesAndDistinctCodesForWhatIsMissing) {
    const std::string lib = Folder("project");
    ASSERT_EQ(Add(lib, "NO2"), 1);
    EXPECT_TRUE(ExitedWith(Run({"list", "999", lib}), kUnknownType, {"Unknown library type 999"}));

    const auto without =
        std::ranges::find_if(AllLibKinds(), [](auto& kind) { return !HasLibEditor(kind.Type); });
    ASSERT_NE(without, AllLibKinds().end());
    EXPECT_TRUE(ExitedWith(Run({"add", std::to_string(without->Type), lib, "--set", "ElementName=x"}),
                           kNoEditor, {"Not yet implemented for this library type!"}));
    EXPECT_FALSE(fs::exists(lib + without->FileName));

    EXPECT_TRUE(
        ExitedWith(Run({"show", kType, Folder("empty"), "1"}), kNoLibrary, {"No library \"Stoffe.abs\""}));
    EXPECT_TRUE(ExitedWith(Run({"add", kType, root_.File("nowhere"), "--set", "Short=A"}), kNoLibrary));
    EXPECT_FALSE(fs::exists(root_.File("nowhere")));

    // A file of the library's name that is no library is neither opened nor replaced.
    const std::string damaged = Folder("damaged");
    WriteAll(damaged + "Stoffe.abs", "not a library");
    for (const char* command : {"list", "add"})
        EXPECT_TRUE(
            ExitedWith(Run({command, kType, damaged}), 1, {"is not a library of this kind or is damaged"}));
    EXPECT_EQ(ReadAll(damaged + "Stoffe.abs"), "not a library");
    EXPECT_TRUE(ExitedWith(Run({"show", kType, lib, "5"}), kNoElement, {"No element 5"}));
}

TEST_F(CliCommands, DeleteNamesTheMissingNumbersAndBackupKeepsTheGaps) {
    const std::string lib = Folder("project");
    for (const char* name : {"A", "B", "C", "D"})
        Add(lib, name);
    EXPECT_TRUE(ExitedWith(Run({"delete", kType, lib, "2", "9", "4", "2"}), kNoElement, {"No element 9 "}));
    EXPECT_EQ(Names(lib), (TNames{{1, "A"}, {3, "C"}}));

    TCliResult backup = Run({"backup", kType, lib});
    ASSERT_TRUE(ExitedWith(backup, 0));
    EXPECT_THAT(backup.Out, HasSubstr("2 elements"));
    EXPECT_EQ(Names(lib + "libs_backup"), (TNames{{1, "A"}, {3, "C"}}));
    EXPECT_TRUE(ExitedWith(Run({"backup", kType, lib}), kExists,
                           {"Backup copy already exists, please delete the files first!"}));
    EXPECT_EQ(Names(lib + "libs_backup"), (TNames{{1, "A"}, {3, "C"}}));

    // The last element goes too; the emptied library stays a library.
    ASSERT_TRUE(ExitedWith(Run({"delete", kType, lib, "1", "3"}), 0));
    EXPECT_TRUE(List(lib).empty());
    EXPECT_EQ(Add(lib, "E"), 5) << "numbers are never reused";
}

TEST_F(CliCommands, CopyFollowsTheConflictPolicy) {
    const std::string src = Folder("src");
    const std::string dst = Folder("dst");
    for (const char* name : {"NO2", "PM10", "SO2"})
        Add(src, name, "from source");
    Add(dst, "no2", "in destination");

    TCliResult skip = Run({"copy", kType, src, dst, "1", "2"});
    ASSERT_TRUE(ExitedWith(skip, 0));
    EXPECT_THAT(skip.Out, HasSubstr("1 new, 0 overwritten, 1 skipped"));
    EXPECT_EQ(Names(dst), (TNames{{1, "no2"}, {2, "PM10"}}));
    // Copies carry their source's change time.
    EXPECT_EQ(Fields(dst, 2).at("LastChangeDateTime"), Fields(src, 2).at("LastChangeDateTime"));

    TCliResult overwrite = Run({"copy", kType, src, dst, "--all", "--on-conflict", "overwrite"});
    ASSERT_TRUE(ExitedWith(overwrite, 0));
    EXPECT_THAT(overwrite.Out, HasSubstr("1 new, 2 overwritten, 0 skipped"));
    EXPECT_EQ(Names(dst), (TNames{{1, "NO2"}, {2, "PM10"}, {3, "SO2"}}));

    ASSERT_TRUE(ExitedWith(Run({"copy", kType, src, dst, "1", "3", "--on-conflict", "rename"}), 0));
    EXPECT_EQ(Names(dst), (TNames{{1, "NO2"}, {2, "PM10"}, {3, "SO2"}, {4, "NO2 (2)"}, {5, "SO2 (2)"}}));
    EXPECT_EQ(Names(src), (TNames{{1, "NO2"}, {2, "PM10"}, {3, "SO2"}})) << "the source is untouched";

    // A missing destination library is made; missing numbers are named and the others still copied.
    const std::string fresh = Folder("fresh");
    EXPECT_TRUE(ExitedWith(Run({"copy", kType, src, fresh, "3", "8"}), kNoElement));
    EXPECT_EQ(Names(fresh), (TNames{{1, "SO2"}}));
    // Nothing to copy makes nothing.
    const std::string untouched = Folder("untouched");
    EXPECT_TRUE(ExitedWith(Run({"copy", kType, src, untouched, "8"}), kNoElement));
    EXPECT_TRUE(fs::is_empty(untouched));

    EXPECT_TRUE(ExitedWith(Run({"copy", kType, src, dst, "1", "--on-conflict", "ask"}), kUsage));
    EXPECT_TRUE(ExitedWith(Run({"copy", kType, src, dst}), kUsage));
    EXPECT_TRUE(ExitedWith(Run({"copy", kType, src, src, "1"}), kUsage));
}

TEST_F(CliCommands, SystemLibrariesAreReadOnly) {
    const std::string project = Folder("project");
    Add(project, "A");
    const std::string system = Folder("inst/system/libs");
    EXPECT_TRUE(ExitedWith(Run({"add", kType, system, "--set", "Short=B"}), kReadOnly));
    EXPECT_TRUE(fs::is_empty(system));

    fs::copy_file(project + "Stoffe.abs", system + "Stoffe.abs");
    EXPECT_EQ(Names(system), (TNames{{1, "A"}}));
    for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
             {"add", kType, system, "--set", "Short=B"},
             {"set", kType, system, "1", "--set", "Short=B"},
             {"delete", kType, system, "1"},
             {"copy", kType, project, system, "1", "--on-conflict", "overwrite"},
         })
        EXPECT_TRUE(ExitedWith(Run(args), kReadOnly, {"read-only"})) << args.front();
    EXPECT_EQ(Names(system), (TNames{{1, "A"}}));

    // A folder named as System folder for the run counts as one, and only for that run.
    const std::string other = Folder("other");
    fs::copy_file(project + "Stoffe.abs", other + "Stoffe.abs");
    EXPECT_TRUE(ExitedWith(Run({"--system-folder", other, "delete", kType, other, "1"}), kReadOnly));
    EXPECT_TRUE(ExitedWith(Run({"delete", kType, other, "1"}), 0));
    EXPECT_FALSE(fs::exists(Config() + "/KorvelLib.ini")) << "folder options are not written to the settings";
}

TEST_F(CliCommands, ListWalksALargeLibraryInNumberOrder) {
    const std::string folder = Folder("large");
    {
        TMyTable lib(TableNames(meteo::kPollutantsLibType));
        lib.InitLibX(folder, LibName(meteo::kPollutantsLibType), TableNames(meteo::kPollutantsLibType), false,
                     true);
        SetFieldIndexDefs(lib, meteo::kPollutantsLibType, true);
        lib.CreateDBTable();
        lib.Open();
        db::TTable& t = *lib.GetTable();
        lib.Database().StartTransaction();
        // Names in the opposite order of the numbers, so a walk by name would show.
        for (int i = 1; i <= 1500; ++i) {
            t.Append();
            OnNewRecord(t, meteo::kPollutantsLibType, false);
            t.FieldByName("Short").SetAsString("P" + std::to_string(10000 - i));
            t.Post();
        }
        t.SetIndexName("p");
        for (int n = 7; n <= 1500; n += 7)
            if (t.FindKey({db::TValue(static_cast<std::int64_t>(n))}))
                t.Delete();
        lib.Database().Commit();
        lib.Close();
    }
    TNames expected;
    for (int n = 1; n <= 1500; ++n)
        if (n % 7 != 0)
            expected.emplace_back(n, "P" + std::to_string(10000 - n));
    EXPECT_EQ(Names(folder), expected);
}

TEST(ProgramSettingsOverride, HoldsForTheProcessWithoutWritingTheSettings) {
    SettingsSandbox settings;
    SetGlobalLibPath("/data/global");
    SetSystemLibPath2("/data/system2");
    SetGlobalLibPathOverride("/run/global");
    SetSystemLibPathOverride("/run/system");
    EXPECT_EQ(std::tuple(GetGlobalLibPath(), GetSystemLibPath1(), GetSystemLibPath2()),
              std::tuple("/run/global/", "/run/system/", ""));
    SetGlobalLibPathOverride(std::nullopt);
    SetSystemLibPathOverride(std::nullopt);
    EXPECT_EQ(std::tuple(GetGlobalLibPath(), GetSystemLibPath2()),
              std::tuple("/data/global/", "/data/system2/"));
}

// --- list with the element filter of the sound libraries: groups (OR, AND) and the text over comment and
// name

const std::string kEmission = "120";

class CliFilter : public CliCommands {
protected:
    void SetUp() override {
        for (const char* element :
             {R"({"name": "Fan A", "comment": "Roof fan", "groups": ["Fans", "Roof"], "values": {"30": 80}})",
              R"({"name": "Pump", "comment": "Basement", "groups": ["Pumps"], "values": {"30": 70}})",
              R"({"name": "Fan B", "comment": "Wall fan", "groups": ["fans"], "values": {"30": 75}})",
              R"({"name": "Chiller", "comment": "Roof unit", "groups": ["Roof", "Pumps"],
                  "values": {"30": 85}})",
              R"({"name": "DACHLÜFTER", "comment": "", "values": {"30": 60}})"})
            ASSERT_TRUE(ExitedWith(Run({"add", kEmission, lib_, "--element-json", "-"}, element), 0));
    }

    std::vector<int> Listed(const std::vector<std::string>& options) {
        std::vector<std::string> args{"list", kEmission, lib_};
        args.insert(args.end(), options.begin(), options.end());
        std::vector<int> numbers;
        for (const json& row : Json(args))
            numbers.push_back(row.at("number").get<int>());
        return numbers;
    }

    std::string lib_ = Folder("project");
};

using TNumbers = std::vector<int>;

TEST_F(CliFilter, GroupsCombineIgnoringCaseAndTextSearchesCommentFollowedByName) {
    // "fans" was given to Fan B: the group table finds the group by name whatever its case.
    EXPECT_EQ(Listed({"--filter-group", "Fans"}), (TNumbers{1, 3}));
    EXPECT_EQ(Listed({"--filter-group", "Fans", "--filter-group", "Pumps"}), (TNumbers{1, 2, 3, 4}));
    EXPECT_EQ(Listed({"--filter-group", "Roof", "--filter-group", "Pumps", "--filter-and"}), (TNumbers{4}));

    // A group the library lacks matches nothing, and says so; with OR the other group still counts.
    TCliResult unknown = Run({"list", kEmission, lib_, "--filter-group", "Valves"});
    EXPECT_TRUE(ExitedWith(unknown, 0, {"\"Valves\""}));
    EXPECT_EQ(unknown.Out, "");
    EXPECT_EQ(Listed({"--filter-group", "Valves", "--filter-group", "Pumps"}), (TNumbers{2, 4}));

    EXPECT_EQ(Listed({"--filter-text", "roof"}), (TNumbers{1, 4}));
    // Comment and name are one text: "Roof fan" + "Fan A" holds "fanfan".
    EXPECT_EQ(Listed({"--filter-text", "fanfan"}), (TNumbers{1, 3}));
    EXPECT_EQ(Listed({"--filter-text", "lüfter"}), (TNumbers{5}));
    EXPECT_EQ(Listed({"--filter-group", "Fans", "--filter-text", "wall"}), (TNumbers{3}));
    EXPECT_EQ(Listed({"--filter-group", "Roof", "--filter-text", "fan"}), (TNumbers{1}));
    // A filter holds for its own run only: nothing is kept beside the library.
    EXPECT_FALSE(fs::exists(lib_ + "EmisX.fil"));

    // A filter the editor kept switched on beside the library does not narrow a plain list.
    sound::TFilterRec kept;
    kept.SetEnabled(true);
    kept.SetTextFilter("nothing like it");
    sound::SaveFilter(lib_ + "EmisX.abs", kept);
    EXPECT_EQ(Listed({}), (TNumbers{1, 2, 3, 4, 5}));
}

TEST_F(CliFilter, WrongFilterOptionsAreUsageErrors) {
    const std::vector<std::pair<std::vector<std::string>, std::string_view>> cases = {
        {{"list", "9", lib_, "--filter-text", "x"},
         "Filters exist for the sound libraries (types 120 to 123) only"},
        {{"list", kEmission, lib_, "--filter-group", "A", "--filter-group", "B", "--filter-group", "C"},
         "at most twice"},
        {{"list", kEmission, lib_, "--filter-group", "Fans", "--filter-and"}, "two --filter-group"},
        {{"list", kEmission, lib_, "--filter-group", ""}, "group name"},
        {{"list", kEmission, lib_, "--filter-group", std::string(41, 'g')}, "40 characters"},
        {{"list", kEmission, lib_, "--filter-text", std::string(81, 't')}, "80 characters"},
    };
    for (const auto& [args, expected] : cases) {
        SCOPED_TRACE(args.back());
        TCliResult r = Run(args);
        EXPECT_TRUE(ExitedWith(r, kUsage, {expected}));
        EXPECT_EQ(r.Out, "");
    }
}

// --- show --charts: the editor's chart models as data, for every kind without code of its own

TEST_F(CliCommands, ShowChartsGivesTheChartsTheEditorDrawsForTheElement) {
    const std::string sound = Folder("sound");
    ASSERT_TRUE(ExitedWith(Run({"add", kEmission, sound, "--element-json", "-"},
                               R"({"name": "Roof fan", "values": {"25": 78, "28": 81.5, "31": 75}})"),
                           0));
    const json charts = Json({"show", kEmission, sound, "1", "--charts"}).at("charts");
    ASSERT_EQ(charts.size(), 1u);
    EXPECT_EQ(std::tuple(charts[0].at("name"), charts[0].at("title"), charts[0].at("axes")[0].at("kind")),
              std::tuple("Graph", "Roof fan", "log"));
    // The spectrum as steps over the element's bands, the bands without a value as gaps.
    const json& levels = charts[0].at("series")[0];
    json values = json::array();
    for (const json& point : levels.at("points"))
        if (!point[1].is_null())
            values.push_back(point);
    EXPECT_EQ(
        std::tuple(levels.at("title"), levels.at("style"), values),
        std::tuple(
            "dB", "step",
            json::array({{ThirdOctaves[25], 78.0}, {ThirdOctaves[28], 81.5}, {ThirdOctaves[31], 75.0}})));

    // A kind whose editor has no chart gives an empty list; --charts alone is refused.
    const std::string lib = Folder("project");
    ASSERT_EQ(Add(lib, "NO2"), 1);
    EXPECT_EQ(Json({"show", kType, lib, "1", "--charts"}).at("charts"), json::array());
    TCliResult bare = Run({"show", kEmission, sound, "1", "--charts"});
    EXPECT_TRUE(ExitedWith(bare, kUsage, {"--charts", "--json"}));
    EXPECT_EQ(bare.Out, "");
}

// --- convert: the older files become current sound libraries, what was created and removed is reported, and
// a failed kind keeps its files and fails the run

class CliConvert : public CliCommands {
protected:
    TCliResult Convert() { return Run({"convert", folder_}); }
    std::set<fs::path> Files() const {
        return {fs::recursive_directory_iterator(folder_), fs::recursive_directory_iterator()};
    }
    const std::string folder_ = Folder("old");
};

TEST_F(CliConvert, ConvertsTheSoundKindsReportsCreatedAndRemovedFilesAndKeepsADamagedOne) {
    MakeOlderFile(acoustic::kEmissionLibType, folder_,
                  {{{"Eintrag", Int(12)}, {"ElementName", Text("Fan")}, {"dBX", Text("A")}}},
                  {{{"GruppenName", Text("Roof")}}});
    MakeOlderFile(acoustic::kTransmissionLibType, folder_, {{{"ElementName", Text("Wall")}}}, {});

    const TCliResult r = Convert();
    ASSERT_TRUE(ExitedWith(r, 0));
    for (const std::string& line :
         {"Updating library \"" + folder_ + "Emis.abs\"", "Created \"" + folder_ + "EmisX.abs\"",
          "Created \"" + folder_ + "TransX.abs\"", "Removed \"" + folder_ + "TransGrp.abs\"",
          "Removed \"" + folder_ + "Emis.abs\" (a copy is in \"" + folder_ + "backup/\")"})
        EXPECT_THAT(r.Out, HasSubstr(line));
    // Neither the new libraries nor the removed older files leave journal files behind.
    for (const auto& entry : fs::directory_iterator(folder_))
        EXPECT_FALSE(entry.path().string().ends_with("-wal") || entry.path().string().ends_with("-shm"))
            << entry.path();

    EXPECT_EQ(Column(acoustic::kEmissionLibType, folder_, "Eintrag"), std::vector{Int(12)});
    EXPECT_EQ(Column(acoustic::kEmissionLibType, folder_, "ElementName"), std::vector{Text("Fan")});
    EXPECT_EQ(FileRows(acoustic::kTransmissionLibType, folder_).size(), 1u);
    EXPECT_FALSE(fs::exists(folder_ + "Emis.abs"));
    EXPECT_TRUE(fs::exists(folder_ + "backup/TransGrp.abs"));

    // Run again: nothing is left to convert and nothing changes, the backup included.
    const std::set<fs::path> files = Files();
    const TCliResult again = Convert();
    EXPECT_TRUE(ExitedWith(again, 0));
    EXPECT_THAT(again.Out, HasSubstr("No older library files to convert"));
    EXPECT_EQ(Files(), files);
    EXPECT_TRUE(ExitedWith(Run({"convert", root_.File("nowhere")}), kNoLibrary));
    // A folder without older files gets nothing, not even the backup folder.
    const std::string empty = Folder("empty");
    EXPECT_THAT(Run({"convert", empty}).Out, HasSubstr("No older library files to convert"));
    EXPECT_TRUE(fs::is_empty(empty));

    // A damaged older file fails the run and stays, its copy beside it.
    WriteAll(folder_ + "Atten.abs", "not a library");
    EXPECT_TRUE(ExitedWith(Convert(), 1, {"Error: Error while updating "}));
    EXPECT_TRUE(fs::exists(folder_ + "Atten.abs"));
    EXPECT_TRUE(fs::exists(folder_ + "backup/Atten.abs"));
}

} // namespace

} // namespace korvel::test
