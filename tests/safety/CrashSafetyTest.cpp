// Killed programs: korvellib is stopped with SIGKILL at a random moment of a text or DOS import, a copy, a
// backup and a schema update, and the library must still open, hold only whole elements and never hand a
// number out twice. KORVEL_CRASH_RUNS sets the runs per operation, KORVEL_CRASH_SEED repeats a sequence of
// kill times.

#include "cli/CliRunner.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/db/Database.h"
#include "platform/db/Sqlite.h"
#include "platform/db/Table.h"
#include "platform/formats/DosLibFiles.h"
#include "sound/LegacySchema.h"
#include "support/FileBytes.h"
#include "support/TempDir.h"

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <set>
#include <sqlite3.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace korvel::test {
namespace {

namespace fs = std::filesystem;
using namespace acoustic;
using Clock = std::chrono::steady_clock;

const std::string kEmission = std::to_string(kEmissionLibType);
constexpr std::size_t kSpectrumBytes = kBandCount * sizeof(float);

int RunsPerOperation() {
    const char* text = std::getenv("KORVEL_CRASH_RUNS");
    const int runs = text ? std::atoi(text) : 0;
    return runs > 0 ? runs : 13; // five operations: at least 50 kills locally
}

unsigned Seed() {
    const char* text = std::getenv("KORVEL_CRASH_SEED");
    return text && *text ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : std::random_device{}();
}

std::string Describe(const TCliResult& r) {
    return "exit " + std::to_string(r.ExitCode) + "\nstdout: " + r.Out + "\nstderr: " + r.Err;
}

// One element as the file holds it; the colour is left out (the schema update draws it at random).
struct TElement {
    std::string Name;
    std::string Comment;
    std::vector<std::uint8_t> Spectrum;
    std::vector<std::uint8_t> AddProp;
    std::array<std::string, kGroupSlots> Groups; // group names, "" for an empty slot
    bool operator==(const TElement&) const = default;
};
using TSnapshot = std::map<std::int64_t, TElement>;

// The first difference between two snapshots, "" when they are equal.
std::string Difference(const TSnapshot& got, const TSnapshot& want) {
    if (got.size() != want.size())
        return std::to_string(got.size()) + " elements instead of " + std::to_string(want.size());
    for (auto g = got.begin(), w = want.begin(); g != got.end(); ++g, ++w) {
        if (g->first != w->first)
            return "element " + std::to_string(g->first) + " instead of " + std::to_string(w->first);
        if (!(g->second == w->second))
            return "element " + std::to_string(g->first) + " (\"" + g->second.Name + "\") differs";
    }
    return {};
}

std::int64_t Highest(const TSnapshot& s) {
    return s.empty() ? 0 : s.rbegin()->first;
}

struct TMakeSpec {
    int Count = 0;
    int FirstNumber = 1;
    int Step = 1; // a step over 1 leaves gaps in the numbering
    std::string Prefix;
    int GroupCount = 0;         // groups "G1".."Gn"
    std::int64_t HandedOut = 0; // numbers up to this were used already (their elements deleted)
    bool OlderLayout = false;   // the main table as an older version wrote it
};

// An emission library written directly through the engine, in one transaction.
void MakeEmissionLibrary(const std::string& folder, const TMakeSpec& s) {
    fs::create_directories(folder);
    TMyTable lib(TableNames(kEmissionLibType));
    lib.InitLibX(folder, LibName(kEmissionLibType), TableNames(kEmissionLibType), false, true);
    SetFieldIndexDefs(lib, kEmissionLibType, true);
    if (s.OlderLayout)
        lib.GetItem(0)->Defs() = sound::LegacyLibTableDef(kEmissionLibType);
    lib.CreateDBTable();
    lib.Open();
    db::TDatabase& database = lib.Database();
    database.StartTransaction();
    db::TTable& groups = *lib.GetItem(1);
    for (int g = 1; g <= s.GroupCount; ++g) {
        groups.Append();
        groups.FieldByName("GruppenName").SetAsString("G" + std::to_string(g));
        groups.Post();
    }
    db::TTable& t = *lib.GetTable();
    for (int i = 0; i < s.Count; ++i) {
        database.RaiseNextAutoIncValue(t.TableName(), s.FirstNumber + i * s.Step);
        const std::string name = s.Prefix + std::to_string(i);
        t.Append();
        OnNewRecord(t, kEmissionLibType, false);
        t.FieldByName("ElementName").SetAsString(name);
        t.FieldByName("Kommentar").SetAsString("note " + std::to_string(i));
        TEmisLibSpectrum e;
        for (int b = e.Bmin(); b <= e.Bmax(); ++b)
            e.SetValue(b, 40.0 + (i + b) % 37);
        if (s.GroupCount > 0) {
            e.Groups[0] = 1 + i % s.GroupCount;
            e.Groups[1] = i % 3 == 0 ? 1 + (i / 3) % s.GroupCount : 0;
        }
        e.SaveToLibrary(lib, name);
        if (s.OlderLayout) {
            // One value the kind knows nothing of: the update moves it into the comment.
            t.FieldByName("Kennwerte1").SetAsFloat(0.5 * i);
            t.FieldByName("KennNames1").SetAsString("Porosity");
        }
        t.Post();
    }
    if (s.HandedOut > 0)
        database.RaiseNextAutoIncValue(t.TableName(), s.HandedOut + 1);
    database.Commit();
    lib.Close();
}

class CrashSafety : public ::testing::Test {
protected:
    CrashSafety() : seed_(Seed()), random_(seed_) {}

    void SetUp() override { RecordProperty("seed", std::to_string(seed_)); }
    void TearDown() override { RecordProperty("killed", std::to_string(killed_)); }

    std::string Folder(const std::string& name) const { return (root_.Path() / name).string() + "/"; }
    std::string Config() const { return (root_.Path() / "config").string(); }

    TCliResult Cli(std::vector<std::string> args) {
        args.insert(args.begin(), {"--config", Config()});
        return RunKorvellib(args);
    }

    // Starts korvellib and kills it after delay unless it ended before; true when it was killed.
    bool RunAndKill(const std::vector<std::string>& args, Clock::duration delay) {
        std::vector<std::string> argv{"--config", Config()};
        argv.insert(argv.end(), args.begin(), args.end());
        const Clock::time_point deadline = Clock::now() + delay;
        const pid_t pid = StartKorvellib(argv);
        if (pid < 0) {
            ADD_FAILURE() << "korvellib could not be started";
            return false;
        }
        int status = 0;
        while (waitpid(pid, &status, WNOHANG) == 0) {
            if (Clock::now() >= deadline) {
                kill(pid, SIGKILL);
                waitpid(pid, &status, 0);
                killed_ += WIFSIGNALED(status) ? 1 : 0;
                return WIFSIGNALED(status);
            }
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "an uninterrupted run failed";
        return false;
    }

    // Wall time of an uninterrupted run, which must succeed.
    Clock::duration Measure(const std::vector<std::string>& args) {
        const Clock::time_point start = Clock::now();
        const TCliResult r = Cli(args);
        const Clock::duration took = Clock::now() - start;
        EXPECT_EQ(r.ExitCode, 0) << Describe(r);
        return took;
    }

    Clock::duration RandomMoment(Clock::duration span) {
        std::uniform_int_distribution<std::int64_t> pick(0, std::chrono::nanoseconds(span).count());
        return std::chrono::nanoseconds(pick(random_));
    }

    // Opens the library writable with the engine (which recovers what a kill left), reads every element
    // with the spectrum object, checks the file with SQLite and lists it with korvellib; returns the
    // elements. Every finding is a test failure.
    TSnapshot CheckLibrary(const std::string& folder) {
        const std::string file = folder + LibName(kEmissionLibType);
        SCOPED_TRACE(file);
        std::vector<std::int64_t> numbers;
        try {
            TMyTable lib(TableNames(kEmissionLibType));
            lib.InitLibX(folder, LibName(kEmissionLibType), TableNames(kEmissionLibType), false, true);
            lib.Open();
            db::TTable& t = *lib.GetTable();
            t.SetIndexName("p");
            const TAddPropDefList defs(kEmissionLibType);
            for (t.First(); !t.Eof(); t.Next()) {
                numbers.push_back(t.Fields(0).AsLargeInt());
                TEmisLibSpectrum e;
                try {
                    e.ReadFromLibrary(lib, defs);
                } catch (const std::exception& error) {
                    ADD_FAILURE() << "element " << numbers.back() << " cannot be read: " << error.what();
                }
            }
            lib.Close();
        } catch (const std::exception& error) {
            ADD_FAILURE() << "the library does not open writable: " << error.what();
            return {};
        }

        TSnapshot elements;
        db::TSqliteConnection conn(file, true, false);
        {
            db::TStatement check(conn.Handle(), "PRAGMA integrity_check");
            EXPECT_TRUE(check.Step() && check.ColumnText(0) == "ok") << "integrity_check failed";
        }
        std::map<std::int64_t, std::string> groups;
        db::TStatement g(conn.Handle(), "SELECT Eintrag, GruppenName FROM " +
                                            db::QuoteIdent(TableNames(kEmissionLibType)[1]));
        while (g.Step())
            groups[g.ColumnInt(0)] = g.ColumnText(1);
        db::TStatement e(conn.Handle(),
                         "SELECT Eintrag, ElementName, Kommentar, Spectrum, AddProp, Gruppen1, Gruppen2, "
                         "Gruppen3, Gruppen4 FROM " +
                             db::QuoteIdent(TableNames(kEmissionLibType)[0]) + " ORDER BY Eintrag");
        int broken = 0;
        while (e.Step()) {
            const std::int64_t number = e.ColumnInt(0);
            TElement element;
            element.Name = e.ColumnText(1);
            element.Comment = e.IsNull(2) ? std::string() : e.ColumnText(2);
            if (e.ColumnType(3) == SQLITE_BLOB)
                element.Spectrum = e.ColumnBlob(3);
            if (!e.IsNull(4))
                element.AddProp = e.ColumnBlob(4);
            // Every element here was stored with its spectrum: a name without it is half an element.
            if (element.Name.empty() || element.Spectrum.size() != kSpectrumBytes)
                if (++broken <= 5)
                    ADD_FAILURE() << "element " << number << " is not whole: name \"" << element.Name
                                  << "\", spectrum of " << element.Spectrum.size() << " bytes";
            for (int slot = 0; slot < kGroupSlots; ++slot) {
                const std::int64_t id = e.ColumnInt(5 + slot);
                if (id == 0)
                    continue;
                auto found = groups.find(id);
                if (found == groups.end()) {
                    if (++broken <= 5)
                        ADD_FAILURE()
                            << "element " << number << " refers to group " << id << ", which does not exist";
                } else {
                    element.Groups[static_cast<std::size_t>(slot)] = found->second;
                }
            }
            EXPECT_TRUE(elements.emplace(number, std::move(element)).second)
                << "number " << number << " twice";
        }
        EXPECT_EQ(broken, 0) << "elements that are not whole";
        std::vector<std::int64_t> stored;
        for (const auto& [number, element] : elements)
            stored.push_back(number);
        EXPECT_EQ(numbers, stored) << "the engine and SQLite see other elements";

        const TCliResult list = Cli({"list", kEmission, folder});
        EXPECT_EQ(list.ExitCode, 0) << Describe(list);
        EXPECT_EQ(static_cast<std::size_t>(std::count(list.Out.begin(), list.Out.end(), '\n')),
                  elements.size())
            << "korvellib lists another number of elements";
        return elements;
    }

    // Adds an element through korvellib: its number must lie above every number handed out before.
    void CheckNextNumber(const std::string& folder, std::int64_t& handedOut) {
        const TCliResult r = Cli({"add", kEmission, folder, "--set", "ElementName=probe"});
        ASSERT_EQ(r.ExitCode, 0) << Describe(r);
        const std::int64_t number = std::stoll(r.Out);
        EXPECT_GT(number, handedOut) << "a number was handed out twice";
        handedOut = std::max(handedOut, number);
    }

    // Elements before a run stay as they were; those the run added carry numbers never handed out.
    // Returns how many were added.
    std::size_t CheckAdded(const TSnapshot& before, const TSnapshot& after, std::int64_t& handedOut) {
        std::size_t added = 0;
        for (const auto& [number, element] : after) {
            auto old = before.find(number);
            if (old == before.end()) {
                ++added;
                EXPECT_GT(number, handedOut) << "number " << number << " was handed out before";
            } else {
                EXPECT_TRUE(old->second == element) << "element " << number << " changed";
            }
        }
        EXPECT_EQ(after.size(), before.size() + added) << "elements were lost";
        handedOut = std::max(handedOut, Highest(after));
        return added;
    }

    void
    KillAddingRuns(const std::string& what, const std::string& lib, std::int64_t handedOut, int whole,
                   const std::function<std::vector<std::string>(int run, const std::string& target)>& args,
                   const std::function<void()>& afterEach = {});
    void KillImportRuns(const std::function<std::string(int run)>& makeInput, int rows);

    void CopyLibrary(const std::string& from, const std::string& to) {
        fs::remove_all(to);
        fs::create_directories(to);
        ASSERT_FALSE(fs::exists(from + LibName(kEmissionLibType) + "-wal"));
        fs::copy_file(from + LibName(kEmissionLibType), to + LibName(kEmissionLibType));
    }

    TempDir root_;
    unsigned seed_;
    std::mt19937_64 random_;
    int runs_ = RunsPerOperation();
    int killed_ = 0; // runs that ended by the kill rather than finishing first
};

std::string ImportTable(int run, int rows) {
    std::ostringstream csv;
    csv << "Element name;63Hz;125Hz;250Hz;500Hz;1kHz;Weighting;Group(1);Group(2)\n";
    for (int i = 0; i < rows; ++i)
        csv << "R" << run << "-" << i << ";" << 60 + i % 10 << ";61;62;" << 50 + i % 13 << ";64;A;G"
            << 1 + i % 7 << ";N" << run << "-" << i % 3 << "\n";
    return csv.str();
}

// The DOS generation of such rows: index, data and group file in a folder of their own.
std::string DosLibraryFiles(const std::string& folder, int run, int rows) {
    fs::create_directories(folder);
    const std::string index = folder + "EMISLIB.002";
    auto append = [](TBlob& to, const TBlob& record) {
        to.insert(to.end(), record.begin(), record.end());
    };
    TBlob indexBytes, dataBytes, groupBytes;
    for (int g = 1; g <= 7; ++g)
        append(groupBytes, formats::EncodeDosGroupRecord("G" + std::to_string(g)));
    for (int i = 0; i < rows; ++i) {
        formats::TDosIndexRecord entry;
        entry.Name = "D" + std::to_string(run) + "-" + std::to_string(i);
        entry.Entry = static_cast<std::int16_t>(i + 1);
        entry.Groups[0] = static_cast<std::uint8_t>(1 + i % 7);
        append(indexBytes, formats::EncodeDosIndexRecord(entry));
        formats::TDosDataRecord data;
        data.Comment[0] = "run " + std::to_string(run);
        data.ThirdOctaves.fill(static_cast<float>(60 + i % 10));
        data.KennChar = {'A', 'A', 0, 0};
        append(dataBytes, formats::EncodeDosDataRecord(data));
    }
    WriteAll(index, indexBytes);
    WriteAll(formats::DosDataFileName(index, kEmissionLibType), dataBytes);
    WriteAll(formats::DosGroupFileName(index, kEmissionLibType), groupBytes);
    return index;
}

// Runs of a command that adds `whole` elements to lib, killed at random moments: after each, lib holds all
// of them or none, elements there before are unchanged and numbering goes on. args(run, target) gives the
// command; run -1 measures its time on a scratch copy of lib. afterEach adds checks of its own.
void CrashSafety::KillAddingRuns(
    const std::string& what, const std::string& lib, std::int64_t handedOut, int whole,
    const std::function<std::vector<std::string>(int run, const std::string& target)>& args,
    const std::function<void()>& afterEach) {
    const std::string scratch = Folder("measure");
    CopyLibrary(lib, scratch);
    const Clock::duration span = Measure(args(-1, scratch));

    TSnapshot before = CheckLibrary(lib);
    for (int run = 0; run < runs_; ++run) {
        SCOPED_TRACE(what + " run " + std::to_string(run) + ", seed " + std::to_string(seed_));
        RunAndKill(args(run, lib), RandomMoment(span));
        const TSnapshot after = CheckLibrary(lib);
        const std::size_t added = CheckAdded(before, after, handedOut);
        EXPECT_TRUE(added == 0 || added == static_cast<std::size_t>(whole))
            << added << " of " << whole << " elements were added by the " << what;
        if (afterEach)
            afterEach();
        CheckNextNumber(lib, handedOut);
        if (HasFailure())
            return;
        before = CheckLibrary(lib);
    }
}

// Imports of a file made per run (makeInput) into a library of 300 elements: the whole file goes in or
// nothing of it, existing groups reused and new ones made.
void CrashSafety::KillImportRuns(const std::function<std::string(int run)>& makeInput, int rows) {
    const std::string lib = Folder("import");
    MakeEmissionLibrary(lib, {.Count = 300, .Prefix = "Base-", .GroupCount = 5, .HandedOut = 400});
    KillAddingRuns("import", lib, 400, rows, [&](int run, const std::string& target) {
        return std::vector<std::string>{"import", kEmission, target, makeInput(run)};
    });
}

TEST_F(CrashSafety, KilledImportLeavesTheFileImportedWholeOrNotAtAll) {
    constexpr int kRows = 1500;
    KillImportRuns(
        [&](int run) {
            const std::string csv = root_.File("big" + std::to_string(run) + ".csv");
            std::ofstream(csv) << ImportTable(run, kRows);
            return csv;
        },
        kRows);
}

TEST_F(CrashSafety, KilledDosImportLeavesTheFilesImportedWholeOrNotAtAll) {
    constexpr int kRows = 1500;
    KillImportRuns(
        [&](int run) {
            return DosLibraryFiles((root_.Path() / ("dos" + std::to_string(run))).string() + "/", run, kRows);
        },
        kRows);
}

// Some names exist in the destination (renamed on the way), some groups too; the copy is whole or absent.
TEST_F(CrashSafety, KilledCopyLeavesTheSelectionCopiedWholeOrNotAtAll) {
    constexpr int kElements = 1000;
    const std::string src = Folder("source");
    const std::string dst = Folder("destination");
    MakeEmissionLibrary(src, {.Count = kElements, .Prefix = "Element-", .GroupCount = 6});
    MakeEmissionLibrary(dst, {.Count = 200, .Prefix = "Element-", .GroupCount = 3, .HandedOut = 500});
    const TSnapshot source = CheckLibrary(src);
    KillAddingRuns(
        "copy", dst, 500, kElements,
        [&](int, const std::string& target) {
            return std::vector<std::string>{"copy",  kEmission,       src,     target,
                                            "--all", "--on-conflict", "rename"};
        },
        [&] { EXPECT_EQ(Difference(CheckLibrary(src), source), "") << "the source changed"; });
}

// The source has gaps in its numbering and used numbers above its last element; a backup that exists is a
// complete copy with the same numbers, and one that does not can be made by the next attempt.
TEST_F(CrashSafety, KilledBackupLeavesNoBackupOrAWholeOneAndTheSourceUnchanged) {
    constexpr int kElements = 1500;
    const std::string src = Folder("library");
    const std::string backup = src + "libs_backup/";
    const std::int64_t handedOut = 3 * kElements + 20;
    MakeEmissionLibrary(src, {.Count = kElements,
                              .FirstNumber = 2,
                              .Step = 3,
                              .Prefix = "Element-",
                              .GroupCount = 6,
                              .HandedOut = handedOut});
    const TSnapshot source = CheckLibrary(src);

    const Clock::duration span = Measure({"backup", kEmission, src});
    fs::remove_all(backup);

    auto checkBackup = [&] {
        EXPECT_EQ(Difference(CheckLibrary(backup), source), "") << "the backup is not a complete copy";
        std::int64_t seen = handedOut;
        CheckNextNumber(backup, seen);
    };
    for (int run = 0; run < runs_; ++run) {
        SCOPED_TRACE("backup run " + std::to_string(run) + ", seed " + std::to_string(seed_));
        RunAndKill({"backup", kEmission, src}, RandomMoment(span));
        EXPECT_EQ(Difference(CheckLibrary(src), source), "") << "the source changed";
        if (fs::exists(backup + LibName(kEmissionLibType))) {
            checkBackup();
        } else {
            // What the kill left behind must not stand in the way of the next backup.
            const TCliResult again = Cli({"backup", kEmission, src});
            EXPECT_EQ(again.ExitCode, 0) << Describe(again);
            checkBackup();
        }
        if (HasFailure())
            return;
        fs::remove_all(backup);
    }
}

bool HasField(const std::string& folder, const std::string& field) {
    db::TDatabase database(folder + LibName(kEmissionLibType));
    database.Open();
    return database.ReadTableDef(TableNames(kEmissionLibType)[0]).FindField(field) != nullptr;
}

// An older-layout library is opened (which updates it) and killed; the next opening finishes the update,
// and the result equals that of an uninterrupted update.
TEST_F(CrashSafety, KilledSchemaUpdateIsFinishedByTheNextOpening) {
    constexpr int kElements = 250;
    const std::string pristine = Folder("older");
    const std::int64_t handedOut = 2 * kElements + 30;
    MakeEmissionLibrary(pristine, {.Count = kElements,
                                   .Step = 2,
                                   .Prefix = "Element-",
                                   .GroupCount = 4,
                                   .HandedOut = handedOut,
                                   .OlderLayout = true});
    ASSERT_TRUE(HasField(pristine, "Kennwerte1"));

    const std::string reference = Folder("reference");
    CopyLibrary(pristine, reference);
    const Clock::duration span = Measure({"list", kEmission, reference});
    const TSnapshot updated = CheckLibrary(reference);
    ASSERT_EQ(updated.size(), static_cast<std::size_t>(kElements));
    ASSERT_NE(updated.begin()->second.Comment.find("Porosity"), std::string::npos) << "no update ran";

    const std::string work = Folder("work");
    for (int run = 0; run < runs_; ++run) {
        SCOPED_TRACE("update run " + std::to_string(run) + ", seed " + std::to_string(seed_));
        CopyLibrary(pristine, work);
        RunAndKill({"list", kEmission, work}, RandomMoment(span));
        const TCliResult next = Cli({"list", kEmission, work});
        EXPECT_EQ(next.ExitCode, 0) << Describe(next);
        for (const char* field : {"AddProp", "Color", "VarListIn", "Formula"})
            EXPECT_TRUE(HasField(work, field)) << field << " missing after the next opening";
        for (const char* field : {"Kennwerte1", "KennNames1", "VarList"})
            EXPECT_FALSE(HasField(work, field)) << field << " left after the next opening";
        EXPECT_EQ(Difference(CheckLibrary(work), updated), "")
            << "the update did not finish as uninterrupted";
        std::int64_t seen = handedOut;
        CheckNextNumber(work, seen);
        if (HasFailure())
            return;
    }
}

} // namespace
} // namespace korvel::test
