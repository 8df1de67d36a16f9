#include "platform/base/LibKinds.h"
#include "platform/base/MyTable.h"
#include "platform/db/Database.h"
#include "platform/db/Table.h"
#include "support/FileBytes.h"
#include "support/RunProcess.h"
#include "support/TempDir.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace korvel::test {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr int kPollutants = 9;

RunResult RunTool(const std::string& args) {
    return RunProgram(KORVEL_MKSYSTEM_EXE, args);
}

std::string Quote(const fs::path& p) {
    return "'" + p.string() + "'";
}

json Source(json elements) {
    return {{"type", kPollutants},
            {"file", "Stoffe.abs"},
            {"source", "test values"},
            {"elements", std::move(elements)}};
}

std::vector<std::string> FilesIn(const fs::path& folder) {
    std::vector<std::string> names;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(folder, ec)) {
        names.push_back(entry.path().filename().string());
    }
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

// Makes a folder read-only for the lifetime of the object, so the library inside it can only be read the
// way an installed System library is.
class ReadOnlyFolder {
public:
    explicit ReadOnlyFolder(fs::path folder) : folder_(std::move(folder)) {
        fs::permissions(folder_, fs::perms::owner_read | fs::perms::owner_exec | fs::perms::group_read |
                                     fs::perms::group_exec | fs::perms::others_read | fs::perms::others_exec);
    }
    ~ReadOnlyFolder() {
        std::error_code ec;
        fs::permissions(folder_, fs::perms::owner_all, fs::perm_options::add, ec);
    }
    ReadOnlyFolder(const ReadOnlyFolder&) = delete;
    ReadOnlyFolder& operator=(const ReadOnlyFolder&) = delete;

private:
    fs::path folder_;
};

} // namespace

TEST(MkSystem, BuildsElementsInOrderThatOpenReadOnlyFromALockedFolder) {
    TempDir dir;
    const fs::path out = dir.Path() / "libs";
    const fs::path source = dir.Path() / "pollutants.json";
    WriteAll(source, Source({{{"Short", "NO2"},
                              {"StoffName", "Stickstoffdioxid"},
                              {"Limit_Mean", 40},
                              {"Perc", 99.8},
                              {"Limit_Perc", 200.0},
                              {"Kommentar", "2008/50/EC Annex XI"}},
                             {{"Short", "NO"}, {"NOx", true}},
                             {{"Short", "Größe µ"},
                              {"FromDayMean", true},
                              {"Kornfraktion", 2},
                              {"LastChangeDateTime", "2024-05-01 12:30:00"}}})
                         .dump());

    RunResult r = RunTool(Quote(out) + " " + Quote(source));
    ASSERT_EQ(r.ExitCode, 0) << r.Out;
    // Nothing beside the library: no temporary file and no WAL files.
    EXPECT_EQ(FilesIn(out), std::vector<std::string>{"Stoffe.abs"});
    // WAL cannot be read from a folder its reader may not write to, and root ignores the chmod below.
    EXPECT_EQ(JournalMode((out / "Stoffe.abs").string()), "delete");

    ReadOnlyFolder locked(out);
    TMyTable lib(TableNames(kPollutants));
    lib.InitLibX(out.string(), LibName(kPollutants), TableNames(kPollutants), true, true);
    lib.Open();
    db::TTable& t = *lib.GetTable();
    t.SetIndexName("p");
    ASSERT_EQ(t.RecordCount(), 3);

    t.First();
    EXPECT_EQ(t.FieldByName("Eintrag").AsInteger(), 1);
    EXPECT_EQ(t.FieldByName("Short").AsString(), "NO2");
    EXPECT_EQ(t.FieldByName("StoffName").AsString(), "Stickstoffdioxid");
    EXPECT_DOUBLE_EQ(t.FieldByName("Limit_Mean").AsFloat(), 40.0);
    EXPECT_DOUBLE_EQ(t.FieldByName("Perc").AsFloat(), 99.8);
    EXPECT_DOUBLE_EQ(t.FieldByName("Limit_Perc").AsFloat(), 200.0);
    EXPECT_EQ(t.FieldByName("Kommentar").AsString(), "2008/50/EC Annex XI");
    EXPECT_FALSE(t.FieldByName("NOx").AsBoolean());
    EXPECT_FALSE(t.FieldByName("LastChangeDateTime").IsNull());

    t.Next();
    EXPECT_EQ(t.FieldByName("Eintrag").AsInteger(), 2);
    EXPECT_EQ(t.FieldByName("Short").AsString(), "NO");
    EXPECT_TRUE(t.FieldByName("NOx").AsBoolean());
    // Fields the source leaves out keep the kind's defaults for a new element.
    EXPECT_DOUBLE_EQ(t.FieldByName("Perc").AsFloat(), 98.0);
    EXPECT_DOUBLE_EQ(t.FieldByName("Limit_Mean").AsFloat(), 0.0);

    t.Next();
    EXPECT_EQ(t.FieldByName("Eintrag").AsInteger(), 3);
    EXPECT_EQ(t.FieldByName("Short").AsString(), "Größe µ");
    EXPECT_TRUE(t.FieldByName("FromDayMean").AsBoolean());
    EXPECT_EQ(t.FieldByName("Kornfraktion").AsInteger(), 2);
    EXPECT_EQ(t.FieldByName("LastChangeDateTime").AsString(), "2024-05-01 12:30:00.000");
    lib.Close();
    EXPECT_EQ(FilesIn(out), std::vector<std::string>{"Stoffe.abs"});
}

TEST(MkSystem, WrongElementsFailNamingFileElementAndFieldAndKeepTheOldLibrary) {
    TempDir dir;
    const fs::path out = dir.Path() / "libs";
    const fs::path good = dir.Path() / "good.json";
    WriteAll(good, Source({{{"Short", "NO2"}, {"Limit_Mean", 40}}}).dump());

    struct Case {
        const char* What;
        json Elements;
        std::vector<std::string> Expected; // parts of the message
    };
    const std::vector<Case> cases = {
        {"unknown field",
         {{{"Short", "NO2"}}, {{"Short", "PM10"}, {"Limt_Mean", 40}}},
         {"element 2 (\"PM10\")", "\"Limt_Mean\"", "is not a field"}},
        {"field in the wrong case",
         {{{"Short", "NO2"}, {"limit_mean", 40}}},
         {"\"limit_mean\"", "\"Limit_Mean\""}},
        {"string for a boolean",
         {{{"Short", "NO"}, {"NOx", "yes"}}},
         {"element 1 (\"NO\")", "\"NOx\"", "true or false"}},
        {"number for a string", {{{"Short", "NO"}, {"StoffName", 5}}}, {"\"StoffName\"", "must be a string"}},
        {"fraction for an integer",
         {{{"Short", "PM"}, {"Kornfraktion", 1.5}}},
         {"\"Kornfraktion\"", "whole number"}},
        {"string for a number", {{{"Short", "PM"}, {"Deposition", "0.01"}}}, {"\"Deposition\"", "a number"}},
        {"integer out of range", {{{"Short", "PM"}, {"Kornfraktion", 5000000000}}}, {"\"Kornfraktion\""}},
        {"name longer than its field", {{{"Short", std::string(41, 'x')}}}, {"\"Short\"", "41 characters"}},
        {"element number given",
         {{{"Short", "NO"}, {"Eintrag", 7}}},
         {"\"Eintrag\"", "order of the elements"}},
        {"bad date", {{{"Short", "NO"}, {"LastChangeDateTime", "yesterday"}}}, {"\"LastChangeDateTime\""}},
        {"missing name", {{{"Short", "NO"}}, {{"StoffName", "nameless"}}}, {"element 2", "\"Short\""}},
        {"empty name", {{{"Short", ""}}}, {"element 1", "\"Short\"", "empty"}},
        {"name twice, differing in case", {{{"Short", "NO2"}}, {{"Short", "no2"}}}, {"element 2 (\"no2\")"}},
        {"element not an object", {{{"Short", "NO2"}}, 42}, {"element 2", "object"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.What);
        // A good library is there first; a failed build must leave it exactly as it was.
        fs::remove_all(out);
        ASSERT_EQ(RunTool(Quote(out) + " " + Quote(good)).ExitCode, 0);
        const std::string before = ReadAll(out / "Stoffe.abs");

        const fs::path bad = dir.Path() / "bad.json";
        WriteAll(bad, Source(c.Elements).dump());
        RunResult r = RunTool(Quote(out) + " " + Quote(bad));
        EXPECT_EQ(r.ExitCode, 1) << r.Out;
        EXPECT_NE(r.Out.find(bad.string()), std::string::npos) << r.Out;
        for (const auto& part : c.Expected) {
            EXPECT_NE(r.Out.find(part), std::string::npos) << "missing " << part << " in: " << r.Out;
        }
        EXPECT_EQ(FilesIn(out), std::vector<std::string>{"Stoffe.abs"});
        EXPECT_EQ(ReadAll(out / "Stoffe.abs"), before);
    }

    // Without an earlier library a failed build leaves nothing at all.
    fs::remove_all(out);
    const fs::path bad = dir.Path() / "bad.json";
    WriteAll(bad, Source({{{"Short", "NO2"}}, {{"Short", "NO"}, {"NOx", 1}}}).dump());
    RunResult r = RunTool(Quote(out) + " " + Quote(bad));
    EXPECT_EQ(r.ExitCode, 1) << r.Out;
    EXPECT_TRUE(FilesIn(out).empty());
}

TEST(MkSystem, WrongSourcesAndUsageAreRefusedBeforeAnythingIsWritten) {
    TempDir dir;
    const fs::path out = dir.Path() / "libs";
    auto write = [&](const std::string& name, const std::string& text) {
        fs::path file = dir.Path() / name;
        WriteAll(file, text);
        return file;
    };
    json element = json::array({{{"Short", "NO2"}}});
    json wrongFile = Source(element);
    wrongFile["file"] = "Stofe.abs";
    json unknownType = Source(element);
    unknownType["type"] = 4;
    json noSource = Source(element);
    noSource.erase("source");
    json extra = Source(element);
    extra["elemnts"] = json::array();

    struct Case {
        std::string Json;
        std::string Expected;
    };
    const std::vector<Case> cases = {
        {"{\"type\": 9, \"file\": ", "not valid JSON"},
        {"[1, 2]", "JSON object"},
        {wrongFile.dump(), "\"Stoffe.abs\""},
        {unknownType.dump(), "type 4 is not a library kind"},
        {noSource.dump(), "\"source\""},
        {extra.dump(), "\"elemnts\""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.Json);
        fs::path file = write("source.json", c.Json);
        RunResult r = RunTool(Quote(out) + " " + Quote(file));
        EXPECT_EQ(r.ExitCode, 1) << r.Out;
        EXPECT_NE(r.Out.find(c.Expected), std::string::npos) << r.Out;
        EXPECT_FALSE(fs::exists(out));
    }

    // A missing file, and two sources of one kind: all sources are read before any library is built.
    fs::path good = write("good.json", Source(element).dump());
    RunResult missing = RunTool(Quote(out) + " " + Quote(good) + " " + Quote(dir.Path() / "none.json"));
    EXPECT_EQ(missing.ExitCode, 1) << missing.Out;
    EXPECT_NE(missing.Out.find("none.json"), std::string::npos) << missing.Out;
    fs::path twice = write("twice.json", Source(element).dump());
    RunResult both = RunTool(Quote(out) + " " + Quote(good) + " " + Quote(twice));
    EXPECT_EQ(both.ExitCode, 1) << both.Out;
    EXPECT_NE(both.Out.find("type 9"), std::string::npos) << both.Out;
    EXPECT_FALSE(fs::exists(out));

    EXPECT_EQ(RunTool("").ExitCode, 2);
    EXPECT_EQ(RunTool(Quote(out)).ExitCode, 2);
    EXPECT_FALSE(fs::exists(out));
}

// The library the build delivers, against the source it was made from.
TEST(MkSystem, DeliveredPollutantsLibraryHoldsItsSource) {
    const fs::path file = fs::path(KORVEL_SYSTEM_LIBS_DIR) / LibName(kPollutants);
    ASSERT_TRUE(fs::exists(file)) << file;
    EXPECT_EQ(JournalMode(file.string()), "delete");
    const json source = json::parse(ReadAll(fs::path(KORVEL_SYSTEM_SOURCES_DIR) / "pollutants.json"));

    TMyTable lib(TableNames(kPollutants));
    lib.InitLibX(KORVEL_SYSTEM_LIBS_DIR, LibName(kPollutants), TableNames(kPollutants), true, true);
    lib.Open();
    db::TTable& t = *lib.GetTable();
    t.SetIndexName("p");
    ASSERT_EQ(t.RecordCount(), static_cast<std::int64_t>(source.at("elements").size()));
    t.First();
    for (const auto& element : source.at("elements")) {
        EXPECT_EQ(t.FieldByName("Short").AsString(), element.at("Short").get<std::string>());
        t.Next();
    }

    ASSERT_TRUE(t.Locate("Short", {std::string("NO2")}));
    EXPECT_DOUBLE_EQ(t.FieldByName("Limit_Mean").AsFloat(), 40.0);
    EXPECT_DOUBLE_EQ(t.FieldByName("Limit_Perc").AsFloat(), 200.0);
    EXPECT_FALSE(t.FieldByName("NOx").AsBoolean());
    ASSERT_TRUE(t.Locate("Short", {std::string("NO")}));
    EXPECT_TRUE(t.FieldByName("NOx").AsBoolean());
    ASSERT_TRUE(t.Locate("Short", {std::string("PM10")}));
    EXPECT_TRUE(t.FieldByName("FromDayMean").AsBoolean());
    EXPECT_EQ(t.FieldByName("Kornfraktion").AsInteger(), 2);
}

} // namespace korvel::test
