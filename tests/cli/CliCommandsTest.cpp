#include "CliRunner.h"
#include "meteo/PollutantsSchema.h"
#include "platform/base/LibEditorRegistry.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/settings/ProgramSettings.h"
#include "support/SettingsSandbox.h"
#include "support/TempDir.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace korvel::test {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

// The exit codes scripts rely on (docs/cli.md).
constexpr int kUsage = 2;
constexpr int kUnknownType = 3;
constexpr int kNoEditor = 4;
constexpr int kNoLibrary = 5;
constexpr int kNoElement = 6;
constexpr int kReadOnly = 7;
constexpr int kRefused = 8;
constexpr int kExists = 9;

const std::string kType = std::to_string(meteo::kPollutantsLibType);

std::string Describe(const TCliResult& r) {
    return "exit " + std::to_string(r.ExitCode) + "\nstdout: " + r.Out + "\nstderr: " + r.Err;
}

using TNames = std::vector<std::pair<int, std::string>>;

class CliCommands : public ::testing::Test {
protected:
    // A folder below the test's temporary folder, made when missing; with a trailing separator.
    std::string Folder(const std::string& name) {
        fs::create_directories(root_.Path() / name);
        return (root_.Path() / name).string() + "/";
    }
    std::string Config() const { return (root_.Path() / "config").string(); }

    TCliResult Run(std::vector<std::string> args, const std::string& input = {}) {
        args.insert(args.begin(), {"--config", Config()});
        return RunKorvellib(args, input);
    }

    int Add(const std::string& folder, const std::string& shortName, const std::string& name = "") {
        std::vector<std::string> args{"add", kType, folder, "--set", "Short=" + shortName};
        if (!name.empty())
            args.insert(args.end(), {"--set", "StoffName=" + name});
        TCliResult r = Run(args);
        EXPECT_EQ(r.ExitCode, 0) << Describe(r);
        return r.ExitCode == 0 ? std::stoi(r.Out) : -1;
    }

    json List(const std::string& folder) {
        TCliResult r = Run({"list", kType, folder, "--json"});
        EXPECT_EQ(r.ExitCode, 0) << Describe(r);
        return r.ExitCode == 0 ? json::parse(r.Out) : json::array();
    }

    // number -> short name, in the order listed
    TNames Names(const std::string& folder) {
        TNames names;
        for (const json& row : List(folder))
            names.emplace_back(row.at("number").get<int>(), row.at("name").get<std::string>());
        return names;
    }

    json Show(const std::string& folder, int number) {
        TCliResult r = Run({"show", kType, folder, std::to_string(number), "--json"});
        EXPECT_EQ(r.ExitCode, 0) << Describe(r);
        return r.ExitCode == 0 ? json::parse(r.Out) : json::object();
    }

    TempDir root_;
};

TEST_F(CliCommands, AddListShowAndSetRoundTrip) {
    const std::string lib = Folder("project");
    EXPECT_EQ(Add(lib, "NO2", "Nitrogen dioxide"), 1);
    EXPECT_EQ(Add(lib, "PM10", "Fine dust"), 2);

    json list = List(lib);
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[1].at("number"), 2);
    EXPECT_EQ(list[1].at("name"), "PM10");
    EXPECT_EQ(list[1].at("columns").at("StoffName"), "Fine dust");
    EXPECT_EQ(list[1].at("columns").at("Short"), "PM10");

    TCliResult text = Run({"list", kType, lib});
    ASSERT_EQ(text.ExitCode, 0) << Describe(text);
    EXPECT_EQ(text.Out, "     1  NO2\n     2  PM10\n");

    json shown = Show(lib, 2);
    EXPECT_EQ(shown.at("type"), meteo::kPollutantsLibType);
    EXPECT_EQ(shown.at("folder"), lib);
    EXPECT_EQ(shown.at("number"), 2);
    EXPECT_EQ(shown.at("name"), "PM10");
    EXPECT_EQ(shown.at("fields").at("Eintrag"), 2);
    // New elements start with the kind's defaults.
    EXPECT_EQ(shown.at("fields").at("Perc"), meteo::kDefaultPercentile);
    EXPECT_FALSE(shown.at("fields").at("LastChangeDateTime").is_null());
    EXPECT_EQ(shown.at("element").at("StoffName"), "Fine dust");

    // The element object goes back in as it came out, with changes.
    json element = shown.at("element");
    element["StoffName"] = "Particles below 10 µm";
    element["Perc"] = 90.4;
    element["Kornfraktion"] = 2;
    const std::string file = root_.File("element.json");
    std::ofstream(file) << element.dump();
    TCliResult set = Run({"set", kType, lib, "2", "--element-json", file});
    ASSERT_EQ(set.ExitCode, 0) << Describe(set);

    json again = Show(lib, 2);
    EXPECT_EQ(again.at("fields").at("StoffName"), "Particles below 10 µm");
    EXPECT_EQ(again.at("fields").at("Perc"), 90.4);
    EXPECT_EQ(again.at("fields").at("Kornfraktion"), 2);
    EXPECT_EQ(again.at("fields").at("Short"), "PM10");
    EXPECT_EQ(Show(lib, 1).at("fields").at("StoffName"), "Nitrogen dioxide") << "only element 2 changes";

    // --set after the JSON, from standard input, wins; the text show lists every field.
    TCliResult piped = Run({"set", kType, lib, "1", "--element-json", "-", "--set", "Perc=95"},
                           R"({"Perc": 50, "Kommentar": "line one"})");
    ASSERT_EQ(piped.ExitCode, 0) << Describe(piped);
    TCliResult readable = Run({"show", kType, lib, "1"});
    ASSERT_EQ(readable.ExitCode, 0) << Describe(readable);
    EXPECT_NE(readable.Out.find("\nPerc: 95\n"), std::string::npos) << readable.Out;
    EXPECT_NE(readable.Out.find("\nKommentar: line one\n"), std::string::npos) << readable.Out;
    EXPECT_NE(readable.Out.find("\nShort: NO2\n"), std::string::npos) << readable.Out;
}

TEST_F(CliCommands, RefusedStoresAndBadInputChangeNothing) {
    const std::string lib = Folder("project");
    ASSERT_EQ(Add(lib, "NO2"), 1);
    const json before = Show(lib, 1);

    TCliResult empty = Run({"add", kType, lib, "--set", "Short=  ", "--set", "StoffName=nameless"});
    EXPECT_EQ(empty.ExitCode, kRefused) << Describe(empty);
    EXPECT_NE(empty.Err.find("No element name entered"), std::string::npos) << empty.Err;
    EXPECT_TRUE(empty.Out.empty()) << empty.Out;

    TCliResult badClass = Run({"set", kType, lib, "1", "--set", "Kornfraktion=7"});
    EXPECT_EQ(badClass.ExitCode, kRefused) << Describe(badClass);
    EXPECT_NE(badClass.Err.find("particle size class"), std::string::npos) << badClass.Err;

    TCliResult emptied = Run({"set", kType, lib, "1", "--set", "Short="});
    EXPECT_EQ(emptied.ExitCode, kRefused) << Describe(emptied);

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
        EXPECT_EQ(r.ExitCode, kUsage) << args.back() << '\n' << Describe(r);
        EXPECT_FALSE(r.Err.empty());
    }
    TCliResult unknownMember =
        Run({"set", kType, lib, "1", "--element-json", "-"}, R"({"Short": "Z", "Bogus": 1})");
    EXPECT_EQ(unknownMember.ExitCode, kUsage) << Describe(unknownMember);
    EXPECT_NE(unknownMember.Err.find("Bogus"), std::string::npos) << unknownMember.Err;

    EXPECT_EQ(Names(lib), (TNames{{1, "NO2"}}));
    EXPECT_EQ(Show(lib, 1).at("fields"), before.at("fields"));

    // A refused first element leaves no empty library behind.
    const std::string fresh = Folder("fresh");
    TCliResult refused = Run({"add", kType, fresh, "--set", "Short="});
    EXPECT_EQ(refused.ExitCode, kRefused) << Describe(refused);
    EXPECT_TRUE(fs::is_empty(fresh));
}

TEST_F(CliCommands, ClearMessagesAndDistinctCodesForWhatIsMissing) {
    const std::string lib = Folder("project");
    ASSERT_EQ(Add(lib, "NO2"), 1);

    TCliResult unknown = Run({"list", "999", lib});
    EXPECT_EQ(unknown.ExitCode, kUnknownType) << Describe(unknown);
    EXPECT_NE(unknown.Err.find("Unknown library type 999"), std::string::npos);

    const TLibKindInfo* without = nullptr;
    for (const TLibKindInfo& kind : AllLibKinds())
        if (!HasLibEditor(kind.Type) && !without)
            without = &kind;
    if (without) {
        TCliResult r = Run({"add", std::to_string(without->Type), lib, "--set", "ElementName=x"});
        EXPECT_EQ(r.ExitCode, kNoEditor) << Describe(r);
        EXPECT_NE(r.Err.find("Not yet implemented for this library type!"), std::string::npos) << r.Err;
        EXPECT_FALSE(fs::exists(lib + without->FileName));
    }

    TCliResult noLibrary = Run({"show", kType, Folder("empty"), "1"});
    EXPECT_EQ(noLibrary.ExitCode, kNoLibrary) << Describe(noLibrary);
    EXPECT_NE(noLibrary.Err.find("No library \"Stoffe.abs\""), std::string::npos) << noLibrary.Err;
    TCliResult noFolder = Run({"add", kType, root_.File("nowhere"), "--set", "Short=A"});
    EXPECT_EQ(noFolder.ExitCode, kNoLibrary) << Describe(noFolder);
    EXPECT_FALSE(fs::exists(root_.File("nowhere")));

    // A file of the library's name that is no library is neither opened nor replaced.
    const std::string damaged = Folder("damaged");
    std::ofstream(damaged + "Stoffe.abs") << "not a library";
    for (const char* command : {"list", "add"}) {
        TCliResult r = Run({command, kType, damaged});
        EXPECT_EQ(r.ExitCode, 1) << Describe(r);
        EXPECT_NE(r.Err.find("is not a library of this kind or is damaged"), std::string::npos) << r.Err;
    }
    std::ifstream kept(damaged + "Stoffe.abs");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(kept), {}), "not a library");

    TCliResult noElement = Run({"show", kType, lib, "5"});
    EXPECT_EQ(noElement.ExitCode, kNoElement) << Describe(noElement);
    EXPECT_NE(noElement.Err.find("No element 5"), std::string::npos) << noElement.Err;

    TCliResult usage = Run({"show", kType, lib});
    EXPECT_EQ(usage.ExitCode, kUsage) << Describe(usage);
    // Reading never writes the settings file.
    EXPECT_FALSE(fs::exists(Config() + "/KorvelLib.ini"));
}

TEST_F(CliCommands, DeleteRemovesTheFoundElementsAndNamesTheMissingOnes) {
    const std::string lib = Folder("project");
    for (const char* name : {"A", "B", "C", "D"})
        Add(lib, name);
    TCliResult r = Run({"delete", kType, lib, "2", "9", "4", "2"});
    EXPECT_EQ(r.ExitCode, kNoElement) << Describe(r);
    EXPECT_NE(r.Err.find("No element 9 "), std::string::npos) << r.Err;
    EXPECT_EQ(Names(lib), (TNames{{1, "A"}, {3, "C"}}));

    // The last element goes too; the emptied library stays a library.
    ASSERT_EQ(Run({"delete", kType, lib, "1", "3"}).ExitCode, 0);
    EXPECT_TRUE(List(lib).empty());
    EXPECT_EQ(Add(lib, "E"), 5) << "numbers are never reused";
}

TEST_F(CliCommands, CopyFollowsTheConflictPolicy) {
    const std::string src = Folder("src");
    const std::string dst = Folder("dst");
    Add(src, "NO2", "from source");
    Add(src, "PM10", "from source");
    Add(src, "SO2", "from source");
    Add(dst, "no2", "in destination");

    TCliResult skip = Run({"copy", kType, src, dst, "1", "2"});
    ASSERT_EQ(skip.ExitCode, 0) << Describe(skip);
    EXPECT_NE(skip.Out.find("1 new, 0 overwritten, 1 skipped"), std::string::npos) << skip.Out;
    EXPECT_EQ(Names(dst), (TNames{{1, "no2"}, {2, "PM10"}}));
    EXPECT_EQ(Show(dst, 1).at("fields").at("StoffName"), "in destination");
    // Copies carry their source's change time.
    EXPECT_EQ(Show(dst, 2).at("fields").at("LastChangeDateTime"),
              Show(src, 2).at("fields").at("LastChangeDateTime"));

    TCliResult overwrite = Run({"copy", kType, src, dst, "--all", "--on-conflict", "overwrite"});
    ASSERT_EQ(overwrite.ExitCode, 0) << Describe(overwrite);
    EXPECT_NE(overwrite.Out.find("1 new, 2 overwritten, 0 skipped"), std::string::npos) << overwrite.Out;
    EXPECT_EQ(Names(dst), (TNames{{1, "NO2"}, {2, "PM10"}, {3, "SO2"}}));
    EXPECT_EQ(Show(dst, 1).at("fields").at("StoffName"), "from source");

    TCliResult rename = Run({"copy", kType, src, dst, "1", "3", "--on-conflict", "rename"});
    ASSERT_EQ(rename.ExitCode, 0) << Describe(rename);
    EXPECT_EQ(Names(dst), (TNames{{1, "NO2"}, {2, "PM10"}, {3, "SO2"}, {4, "NO2 (2)"}, {5, "SO2 (2)"}}));
    EXPECT_EQ(Names(src), (TNames{{1, "NO2"}, {2, "PM10"}, {3, "SO2"}})) << "the source is untouched";

    // A missing destination library is made; missing numbers are named and the others still copied.
    const std::string fresh = Folder("fresh");
    TCliResult partly = Run({"copy", kType, src, fresh, "3", "8"});
    EXPECT_EQ(partly.ExitCode, kNoElement) << Describe(partly);
    EXPECT_EQ(Names(fresh), (TNames{{1, "SO2"}}));
    // Nothing to copy makes nothing.
    const std::string untouched = Folder("untouched");
    EXPECT_EQ(Run({"copy", kType, src, untouched, "8"}).ExitCode, kNoElement);
    EXPECT_TRUE(fs::is_empty(untouched));

    EXPECT_EQ(Run({"copy", kType, src, dst, "1", "--on-conflict", "ask"}).ExitCode, kUsage);
    EXPECT_EQ(Run({"copy", kType, src, dst}).ExitCode, kUsage);
    EXPECT_EQ(Run({"copy", kType, src, src, "1"}).ExitCode, kUsage);
}

TEST_F(CliCommands, BackupReproducesNumbersWithGapsOnce) {
    const std::string lib = Folder("project");
    Add(lib, "A");
    Add(lib, "B");
    Add(lib, "C");
    ASSERT_EQ(Run({"delete", kType, lib, "2"}).ExitCode, 0);

    TCliResult backup = Run({"backup", kType, lib});
    ASSERT_EQ(backup.ExitCode, 0) << Describe(backup);
    EXPECT_NE(backup.Out.find("2 elements"), std::string::npos) << backup.Out;
    EXPECT_EQ(Names(lib + "libs_backup"), (TNames{{1, "A"}, {3, "C"}}));

    TCliResult again = Run({"backup", kType, lib});
    EXPECT_EQ(again.ExitCode, kExists) << Describe(again);
    EXPECT_NE(again.Err.find("Backup copy already exists, please delete the files first!"),
              std::string::npos);
    EXPECT_EQ(Names(lib + "libs_backup"), (TNames{{1, "A"}, {3, "C"}}));
}

TEST_F(CliCommands, ConvertWithoutOlderFilesChangesNothing) {
    const std::string folder = Folder("project");
    Add(folder, "A");
    TCliResult r = Run({"convert", folder});
    ASSERT_EQ(r.ExitCode, 0) << Describe(r);
    EXPECT_NE(r.Out.find("No older library files to convert"), std::string::npos) << r.Out;
    std::vector<std::string> files;
    for (const auto& entry : fs::directory_iterator(folder))
        files.push_back(entry.path().filename().string());
    EXPECT_EQ(files, std::vector<std::string>{"Stoffe.abs"});

    EXPECT_EQ(Run({"convert", root_.File("nowhere")}).ExitCode, kNoLibrary);
}

TEST_F(CliCommands, SystemLibrariesAreReadOnly) {
    const std::string project = Folder("project");
    Add(project, "A");
    const std::string system = Folder("inst/system/libs");

    TCliResult create = Run({"add", kType, system, "--set", "Short=B"});
    EXPECT_EQ(create.ExitCode, kReadOnly) << Describe(create);
    EXPECT_TRUE(fs::is_empty(system));

    fs::copy_file(project + "Stoffe.abs", system + "Stoffe.abs");
    EXPECT_EQ(Names(system), (TNames{{1, "A"}}));
    for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
             {"add", kType, system, "--set", "Short=B"},
             {"set", kType, system, "1", "--set", "Short=B"},
             {"delete", kType, system, "1"},
             {"copy", kType, project, system, "1", "--on-conflict", "overwrite"},
         }) {
        TCliResult r = Run(args);
        EXPECT_EQ(r.ExitCode, kReadOnly) << args.front() << '\n' << Describe(r);
        EXPECT_NE(r.Err.find("read-only"), std::string::npos) << r.Err;
    }
    EXPECT_EQ(Names(system), (TNames{{1, "A"}}));

    // A folder named as System folder for the run counts as one, and only for that run.
    const std::string other = Folder("other");
    fs::copy_file(project + "Stoffe.abs", other + "Stoffe.abs");
    TCliResult named =
        RunKorvellib({"--config", Config(), "--system-folder", other, "delete", kType, other, "1"});
    EXPECT_EQ(named.ExitCode, kReadOnly) << Describe(named);
    EXPECT_EQ(Run({"delete", kType, other, "1"}).ExitCode, 0);
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
    const json list = List(folder);
    ASSERT_EQ(list.size(), 1500u - 1500u / 7);
    int previous = 0;
    for (const json& row : list) {
        const int number = row.at("number").get<int>();
        EXPECT_GT(number, previous);
        EXPECT_NE(number % 7, 0);
        EXPECT_EQ(row.at("name"), "P" + std::to_string(10000 - number));
        previous = number;
    }
}

TEST(ProgramSettingsOverride, HoldsForTheProcessWithoutWritingTheSettings) {
    SettingsSandbox settings;
    SetGlobalLibPath("/data/global");
    SetSystemLibPath2("/data/system2");
    SetGlobalLibPathOverride("/run/global");
    SetSystemLibPathOverride("/run/system");
    EXPECT_EQ(GetGlobalLibPath(), "/run/global/");
    EXPECT_EQ(GetSystemLibPath1(), "/run/system/");
    EXPECT_EQ(GetSystemLibPath2(), "");
    SetGlobalLibPathOverride(std::nullopt);
    SetSystemLibPathOverride(std::nullopt);
    EXPECT_EQ(GetGlobalLibPath(), "/data/global/");
    EXPECT_EQ(GetSystemLibPath2(), "/data/system2/");
}

} // namespace

} // namespace korvel::test
