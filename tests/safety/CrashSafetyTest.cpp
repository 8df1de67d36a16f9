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
#include "sound/LegacySchema.h"
#include "support/FileBytes.h"
#include "support/LegacyFiles.h"
#include "support/TempDir.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <sstream>
#include <sys/wait.h>
#include <thread>

namespace korvel::test {
namespace {

namespace fs = std::filesystem;
using namespace acoustic;
using Clock = std::chrono::steady_clock;
using TArgs = std::vector<std::string>;

const std::string kEmission = std::to_string(kEmissionLibType);

// A positive number from the environment, or the fallback.
long EnvNumber(const char* name, long fallback) {
    const char* text = std::getenv(name);
    const long number = text ? std::strtol(text, nullptr, 10) : 0;
    return number > 0 ? number : fallback;
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

std::int64_t Highest(const TSnapshot& s) {
    return s.empty() ? 0 : s.rbegin()->first;
}

struct TMakeSpec {
    int Count = 0;
    int FirstNumber = 1;
    int Step = 1;               // a step over 1 leaves gaps in the numbering
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
        const std::string name = "Element-" + std::to_string(i);
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

// The fields of the main table, as the file declares them.
std::vector<std::string> FieldNames(const std::string& folder) {
    db::TDatabase database(folder + LibName(kEmissionLibType));
    database.Open();
    std::vector<std::string> names;
    for (const db::TFieldDef& field : database.ReadTableDef(TableNames(kEmissionLibType)[0]).Fields)
        names.push_back(field.Name);
    return names;
}

class CrashSafety : public ::testing::Test {
protected:
    CrashSafety() : seed_(EnvNumber("KORVEL_CRASH_SEED", std::random_device{}())), random_(seed_) {}

    void SetUp() override { RecordProperty("seed", std::to_string(seed_)); }
    void TearDown() override { RecordProperty("killed", std::to_string(killed_)); }

    std::string Folder(const std::string& name) const { return (root_.Path() / name).string() + "/"; }

    TCliResult Cli(TArgs args) {
        args.insert(args.begin(), {"--config", (root_.Path() / "config").string()});
        return RunKorvellib(args);
    }

    // Wall time of an uninterrupted run, which must succeed.
    Clock::duration Measure(const TArgs& args) {
        const Clock::time_point start = Clock::now();
        EXPECT_TRUE(ExitedWith(Cli(args), 0));
        return Clock::now() - start;
    }

    // Runs of the command args(run), each killed at a random moment of span unless it ended before, and
    // then looked at by check(run).
    void KillRuns(const std::string& what, Clock::duration span, const std::function<TArgs(int run)>& args,
                  const std::function<void(int run)>& check) {
        std::uniform_int_distribution<std::int64_t> pick(0, std::chrono::nanoseconds(span).count());
        for (int run = 0; run < runs_ && !HasFailure(); ++run) {
            SCOPED_TRACE(what + " run " + std::to_string(run) + ", seed " + std::to_string(seed_));
            TArgs argv = args(run);
            argv.insert(argv.begin(), {"--config", (root_.Path() / "config").string()});
            const Clock::time_point deadline = Clock::now() + std::chrono::nanoseconds(pick(random_));
            const pid_t pid = StartKorvellib(argv);
            ASSERT_GT(pid, 0) << "korvellib could not be started";
            int status = 0;
            while (waitpid(pid, &status, WNOHANG) == 0) {
                if (Clock::now() >= deadline) {
                    kill(pid, SIGKILL);
                    waitpid(pid, &status, 0);
                    break;
                }
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
            if (WIFSIGNALED(status))
                ++killed_;
            else
                EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "an uninterrupted run failed";
            check(run);
        }
    }

    // Lists the library with korvellib, whose opening recovers what a kill left, checks the file with SQLite
    // and returns its elements. Every finding is a test failure.
    TSnapshot CheckLibrary(const std::string& folder) {
        const std::string file = folder + LibName(kEmissionLibType);
        SCOPED_TRACE(file);
        EXPECT_TRUE(ExitedWith(Cli({"list", kEmission, folder}), 0));
        TSnapshot elements;
        db::TSqliteConnection conn(file, true, false);
        db::TStatement check(conn.Handle(), "PRAGMA integrity_check");
        EXPECT_TRUE(check.Step() && check.ColumnText(0) == "ok") << "integrity_check failed";
        std::map<std::int64_t, std::string> groups;
        db::TStatement g(conn.Handle(), "SELECT Eintrag, GruppenName FROM " +
                                            db::QuoteIdent(TableNames(kEmissionLibType)[1]));
        while (g.Step())
            groups[g.ColumnInt(0)] = g.ColumnText(1);
        db::TStatement e(conn.Handle(),
                         "SELECT Eintrag, ElementName, Kommentar, Spectrum, AddProp, Gruppen1, "
                         "Gruppen2, Gruppen3, Gruppen4 FROM " +
                             db::QuoteIdent(TableNames(kEmissionLibType)[0]));
        int broken = 0;
        while (e.Step()) {
            TElement element{
                e.ColumnText(1), e.IsNull(2) ? "" : e.ColumnText(2), e.ColumnBlob(3), e.ColumnBlob(4), {}};
            // Every element here was stored with its spectrum: a name without it is half an element.
            broken += element.Name.empty() || element.Spectrum.size() != kBandCount * sizeof(float);
            for (std::size_t slot = 0; slot < kGroupSlots; ++slot) {
                const std::int64_t id = e.ColumnInt(5 + static_cast<int>(slot));
                broken += id != 0 && !groups.contains(id);
                element.Groups[slot] = id == 0 ? "" : groups[id];
            }
            EXPECT_TRUE(elements.emplace(e.ColumnInt(0), std::move(element)).second) << "a number twice";
        }
        EXPECT_EQ(broken, 0) << "elements that are not whole or refer to groups that do not exist";
        return elements;
    }

    // Adds an element through korvellib: its number must lie above every number handed out before.
    void CheckNextNumber(const std::string& folder, std::int64_t handedOut) {
        const TCliResult r = Cli({"add", kEmission, folder, "--set", "ElementName=probe"});
        ASSERT_TRUE(ExitedWith(r, 0));
        EXPECT_GT(std::stoll(r.Out), handedOut) << "a number was handed out twice";
    }

    // Runs of a command that adds `whole` elements to lib: after each, lib holds all of them or none,
    // elements there before are unchanged and numbering goes on. args(target) gives the command; it is timed
    // on a scratch copy of lib first. afterEach adds checks of its own.
    void KillAddingRuns(
        const std::string& what, const std::string& lib, std::int64_t handedOut, int whole,
        const std::function<TArgs(int run, const std::string& target)>& args,
        const std::function<void()>& afterEach = [] {}) {
        const std::string scratch = Folder("measure");
        CopyLibrary(lib, scratch);
        const Clock::duration span = Measure(args(-1, scratch));
        TSnapshot before = CheckLibrary(lib);
        KillRuns(
            what, span, [&](int run) { return args(run, lib); },
            [&](int) {
                const TSnapshot after = CheckLibrary(lib);
                std::size_t added = 0;
                for (const auto& [number, element] : after) {
                    const auto old = before.find(number);
                    added += old == before.end();
                    EXPECT_TRUE(old == before.end() ? number > handedOut : old->second == element)
                        << "element " << number << " changed, or its number was handed out before";
                }
                EXPECT_EQ(after.size(), before.size() + added) << "elements were lost";
                EXPECT_TRUE(added == 0 || added == static_cast<std::size_t>(whole))
                    << added << " of " << whole << " elements were added by the " << what;
                afterEach();
                handedOut = std::max(handedOut, Highest(after));
                CheckNextNumber(lib, handedOut);
                before = CheckLibrary(lib);
                handedOut = std::max(handedOut, Highest(before)); // the probe's number
            });
    }

    // Imports of a file of kImportRows made per run into a library of 300 elements: the whole file goes in
    // or nothing of it, existing groups reused and new ones made.
    static constexpr int kImportRows = 1500;
    void KillImportRuns(const std::function<std::string(int run)>& makeInput) {
        const std::string lib = Folder("import");
        MakeEmissionLibrary(lib, {.Count = 300, .GroupCount = 5, .HandedOut = 400});
        KillAddingRuns("import", lib, 400, kImportRows, [&](int run, const std::string& target) {
            return TArgs{"import", kEmission, target, makeInput(run)};
        });
    }

    void CopyLibrary(const std::string& from, const std::string& to) {
        fs::remove_all(to);
        fs::create_directories(to);
        ASSERT_FALSE(fs::exists(from + LibName(kEmissionLibType) + "-wal"));
        fs::copy_file(from + LibName(kEmissionLibType), to + LibName(kEmissionLibType));
    }

    TempDir root_;
    unsigned seed_;
    std::mt19937_64 random_;
    long runs_ = EnvNumber("KORVEL_CRASH_RUNS", 13); // five operations: at least 50 kills locally
    int killed_ = 0; // runs that ended by the kill rather than finishing first
};

TEST_F(CrashSafety, KilledImportLeavesTheFileImportedWholeOrNotAtAll) {
    KillImportRuns([&](int run) {
        std::ostringstream csv;
        csv << "Element name;63Hz;125Hz;250Hz;500Hz;1kHz;Weighting;Group(1);Group(2)\n";
        for (int i = 0; i < kImportRows; ++i)
            csv << "R" << run << "-" << i << ";" << 60 + i % 10 << ";61;62;" << 50 + i % 13 << ";64;A;G"
                << 1 + i % 7 << ";N" << run << "-" << i % 3 << "\n";
        const std::string file = root_.File("big" + std::to_string(run) + ".csv");
        WriteAll(file, csv.str());
        return file;
    });
}

// The DOS generation of such rows: index, data and group file in a folder of their own.
TEST_F(CrashSafety, KilledDosImportLeavesTheFilesImportedWholeOrNotAtAll) {
    KillImportRuns([&](int run) {
        const std::string folder = Folder("dos" + std::to_string(run));
        fs::create_directories(folder);
        std::vector<TBlob> indexRecords, dataRecords, groupRecords;
        for (int g = 1; g <= 7; ++g)
            groupRecords.push_back(DosGroupBytes("G" + std::to_string(g)));
        for (int i = 0; i < kImportRows; ++i) {
            const auto group = static_cast<std::uint8_t>(1 + i % 7);
            indexRecords.push_back(DosIndexBytes({"D" + std::to_string(run) + "-" + std::to_string(i),
                                                  static_cast<std::int16_t>(i + 1),
                                                  {group}}));
            formats::TDosDataRecord data;
            data.Comment[0] = "run " + std::to_string(run);
            data.ThirdOctaves.fill(static_cast<float>(60 + i % 10));
            data.KennChar = {'A', 'A', 0, 0};
            dataRecords.push_back(DosDataBytes(data));
        }
        WriteDosLibrary(folder + "EMISLIB.002", indexRecords, dataRecords, groupRecords);
        return folder + "EMISLIB.002";
    });
}

// Some names exist in the destination (renamed on the way), some groups too; the copy is whole or absent.
TEST_F(CrashSafety, KilledCopyLeavesTheSelectionCopiedWholeOrNotAtAll) {
    constexpr int kElements = 1000;
    const std::string src = Folder("source");
    const std::string dst = Folder("destination");
    MakeEmissionLibrary(src, {.Count = kElements, .GroupCount = 6});
    MakeEmissionLibrary(dst, {.Count = 200, .GroupCount = 3, .HandedOut = 500});
    const TSnapshot source = CheckLibrary(src);
    KillAddingRuns(
        "copy", dst, 500, kElements,
        [&](int, const std::string& target) {
            return TArgs{"copy", kEmission, src, target, "--all", "--on-conflict", "rename"};
        },
        [&] { EXPECT_TRUE(CheckLibrary(src) == source) << "the source changed"; });
}

// The source has gaps in its numbering and used numbers above its last element; a backup that exists is a
// complete copy with the same numbers, and one that does not can be made by the next attempt.
TEST_F(CrashSafety, KilledBackupLeavesNoBackupOrAWholeOneAndTheSourceUnchanged) {
    constexpr int kElements = 1500;
    const std::string src = Folder("library");
    const std::string backup = src + "libs_backup/";
    const std::int64_t handedOut = 3 * kElements + 20;
    MakeEmissionLibrary(
        src, {.Count = kElements, .FirstNumber = 2, .Step = 3, .GroupCount = 6, .HandedOut = handedOut});
    const TSnapshot source = CheckLibrary(src);
    const Clock::duration span = Measure({"backup", kEmission, src});
    fs::remove_all(backup);

    KillRuns(
        "backup", span,
        [&](int) {
            return TArgs{"backup", kEmission, src};
        },
        [&](int) {
            EXPECT_TRUE(CheckLibrary(src) == source) << "the source changed";
            if (!fs::exists(backup + LibName(kEmissionLibType))) {
                // What the kill left behind must not stand in the way of the next backup.
                EXPECT_TRUE(ExitedWith(Cli({"backup", kEmission, src}), 0));
            }
            EXPECT_TRUE(CheckLibrary(backup) == source) << "the backup is not a complete copy";
            CheckNextNumber(backup, handedOut);
            fs::remove_all(backup);
        });
}

// An older-layout library is opened (which updates it) and killed; the next opening finishes the update,
// and the result equals that of an uninterrupted update.
TEST_F(CrashSafety, KilledSchemaUpdateIsFinishedByTheNextOpening) {
    constexpr int kElements = 250;
    const std::string pristine = Folder("older");
    const std::int64_t handedOut = 2 * kElements + 30;
    MakeEmissionLibrary(
        pristine,
        {.Count = kElements, .Step = 2, .GroupCount = 4, .HandedOut = handedOut, .OlderLayout = true});

    const std::string reference = Folder("reference");
    CopyLibrary(pristine, reference);
    const Clock::duration span = Measure({"list", kEmission, reference});
    const TSnapshot updated = CheckLibrary(reference);
    ASSERT_EQ(updated.size(), static_cast<std::size_t>(kElements));
    ASSERT_NE(updated.begin()->second.Comment.find("Porosity"), std::string::npos) << "no update ran";

    const std::string work = Folder("work");
    KillRuns(
        "update", span,
        [&](int) {
            CopyLibrary(pristine, work);
            return TArgs{"list", kEmission, work};
        },
        [&](int) {
            // The listing in CheckLibrary is the next opening.
            EXPECT_TRUE(CheckLibrary(work) == updated) << "the update did not finish as uninterrupted";
            EXPECT_EQ(FieldNames(work), FieldNames(reference)) << "the next opening left another layout";
            CheckNextNumber(work, handedOut);
        });
}

} // namespace
} // namespace korvel::test
