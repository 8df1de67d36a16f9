// Damaged and hostile files: library files that are cut, overwritten or no library at all, tables that lack
// fields, blobs of every wrong length, file names from data that try to leave their folder, and spreadsheets
// built to exhaust memory. Each must end in a message naming what is wrong, never a crash or a changed file.

#include "cli/CliRunner.h"
#include "formats/XlsxWriter.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/settings/PathText.h"
#include "sound/SoundEditors.h"
#include "sound/TinyBitmap.h"
#include "support/FileBytes.h"
#include "support/ScopedEnv.h"
#include "support/TempDir.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iostream>
#include <map>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/wait.h>

namespace korvel::test {
namespace {

namespace fs = std::filesystem;
using namespace acoustic;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr int kDirectivityType = 119;

std::string Describe(const TCliResult& r) {
    return "exit " + std::to_string(r.ExitCode) + "\nstdout: " + r.Out + "\nstderr: " + r.Err;
}

// Stores raw bytes into one field of one element, as a foreign tool or a broken disk would.
void SetRawBlob(const std::string& file, const std::string& table, const std::string& field, int number,
                const std::string& bytes) {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
    const std::string sql = "UPDATE \"" + table + "\" SET \"" + field + "\" = ? WHERE Eintrag = ?";
    sqlite3_stmt* st = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(db, sql.c_str(), -1, &st, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
    sqlite3_bind_blob(st, 1, bytes.data(), static_cast<int>(bytes.size()), SQLITE_TRANSIENT);
    sqlite3_bind_int(st, 2, number);
    EXPECT_EQ(sqlite3_step(st), SQLITE_DONE);
    EXPECT_EQ(sqlite3_changes(db), 1);
    sqlite3_finalize(st);
    sqlite3_close(db);
}

class DamagedFiles : public ::testing::Test {
protected:
    std::string Folder(const std::string& name) {
        fs::create_directories(root_.Path() / name);
        return (root_.Path() / name).string() + "/";
    }
    // The folder emptied of what an earlier case left.
    std::string Fresh(const std::string& name) {
        fs::remove_all(root_.Path() / name);
        return Folder(name);
    }
    TCliResult Run(std::vector<std::string> args) {
        args.insert(args.begin(), {"--config", (root_.Path() / "config").string()});
        return RunKorvellib(args);
    }
    // A library of the kind with the named elements.
    static void Make(int libType, const std::string& folder, const std::vector<std::string>& names) {
        std::vector<std::map<std::string, std::string>> rows;
        for (const std::string& n : names)
            rows.push_back({{"ElementName", n}});
        LibFolders::MakeLibrary(libType, folder, rows);
    }
    TempDir root_;
};

// --- damaged library files

std::string Garbage(std::size_t n) {
    std::string g(n, '\0');
    std::uint32_t x = 2463534242u;
    for (char& c : g) {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        c = static_cast<char>(x & 0xFF);
    }
    return g;
}

// The library file spoilt in the ways a disk, a cut copy or a wrong file give, by name.
std::vector<std::pair<std::string, std::string>> Damaged(const std::string& good) {
    return {
        {"cut in half", good.substr(0, good.size() / 2)},
        {"cut after the header", good.substr(0, 100)},
        {"header overwritten", Garbage(4096) + good.substr(4096)},
        {"pages overwritten, header intact", good.substr(0, 4096) + Garbage(good.size() - 4096)},
        {"zero bytes", ""},
        {"a text", "Element name;63Hz\nFan;70\n"},
        {"a zip", std::string("PK\x05\x06", 4) + std::string(18, '\0')},
    };
}

TEST_F(DamagedFiles, ReadingCommandsAndTheEditorNameTheFileAndChangeNothing) {
    const std::string good = Folder("good");
    Make(kEmissionLibType, good, {"Fan", "Pump", "Horn", "Siren", "Chiller", "Valve", "Tower", "Roof"});
    const std::string goodBytes = ReadAll(good + "EmisX.abs");
    ASSERT_GT(goodBytes.size(), 8192u);
    const std::string type = std::to_string(kEmissionLibType);
    for (const auto& [damage, bytes] : Damaged(goodBytes)) {
        SCOPED_TRACE(damage);
        const std::string lib = Fresh("lib");
        const std::string target = Fresh("target");
        const std::string file = lib + "EmisX.abs";
        WriteAll(file, bytes);
        for (const std::vector<std::string>& command :
             {std::vector<std::string>{"list", type, lib},
              {"show", type, lib, "1"},
              {"copy", type, lib, target, "--all"},
              {"export", type, lib, (root_.Path() / "out.xlsx").string()},
              {"backup", type, lib}}) {
            const TCliResult r = Run(command);
            EXPECT_EQ(r.ExitCode, 1) << command[0] << ": " << Describe(r);
            EXPECT_THAT(r.Err, HasSubstr(file)) << command[0];
            EXPECT_TRUE(ReadAll(file) == bytes) << command[0] << ": the file changed";
        }
        EXPECT_FALSE(fs::exists(target + "EmisX.abs"));
        EXPECT_FALSE(fs::exists(root_.Path() / "out.xlsx"));
        EXPECT_FALSE(fs::exists(lib + "libs_backup/EmisX.abs"));

        // The editor, asked to open the folder and make what is missing, reports the file and leaves it.
        LibFolders f;
        WriteAll(f.Project() + "EmisX.abs", bytes);
        f.Ui().ExpectMessage(mtError, f.Project() + "EmisX.abs", mrOk);
        sound::TFormLibX& editor = sound::OpenSoundEditor(f, kEmissionLibType, {f.Project()});
        EXPECT_EQ(editor.TabCount(), 0);
        EXPECT_TRUE(ReadAll(f.Project() + "EmisX.abs") == bytes) << "the editor changed the file";
    }
}

// --- tables that lack fields

// A library missing a field or its group table: every reading command gives a result or a message, never a
// crash, and whatever a copy wrote is a library again.
TEST_F(DamagedFiles, TablesWithoutTheirFieldsAreReportedOrShownWithoutThem) {
    const std::string type = std::to_string(kEmissionLibType);
    // No field dropped: the group table is.
    for (const std::vector<std::string>& dropped : {std::vector<std::string>{"Spectrum"},
                                                    {"ElementName"},
                                                    {"Gruppen1", "Gruppen2", "Gruppen3", "Gruppen4"},
                                                    {}}) {
        SCOPED_TRACE(dropped.empty() ? "no group table" : dropped[0]);
        const std::string lib = Fresh("lib");
        const std::string target = Fresh("target");
        std::vector<std::string> names = TableNames(kEmissionLibType);
        if (dropped.empty())
            names.resize(1);
        TMyTable t(names);
        t.InitLibX(lib, LibName(kEmissionLibType), names, false, true);
        SetFieldIndexDefs(t, kEmissionLibType, true);
        db::TTableDef& def = t.GetTable()->Defs();
        for (const std::string& d : dropped) {
            std::erase_if(def.Fields, [&](const db::TFieldDef& f) { return f.Name == d; });
            std::erase_if(def.Indexes,
                          [&](const db::TIndexDef& i) { return std::ranges::count(i.Fields, d) > 0; });
        }
        t.CreateDBTable();
        t.Open();
        for (const char* n : {"Fan", "Pump"}) {
            t.GetTable()->Append();
            if (db::TField* f = t.GetTable()->FindField("ElementName"))
                f->SetAsString(n);
            t.GetTable()->Post();
        }
        t.Close();
        for (const std::vector<std::string>& command :
             {std::vector<std::string>{"list", type, lib},
              {"show", type, lib, "2"},
              {"copy", type, lib, target, "--all"},
              {"export", type, lib, (root_.Path() / "out.xlsx").string()}}) {
            const TCliResult r = Run(command);
            EXPECT_TRUE(r.ExitCode == 0 ||
                        (r.ExitCode == 1 && r.Err.find("korvellib: ") != std::string::npos))
                << command[0] << ": " << Describe(r);
        }
        EXPECT_TRUE(!fs::exists(target + "EmisX.abs") || Run({"list", type, target}).ExitCode == 0);
    }
}

// --- blobs of wrong lengths

struct TBlobCase {
    int LibType;
    std::string Field;
    std::size_t ValidLength; // 0: only an empty blob is surely valid (layouts with lengths inside)
    bool ReadOnCopy;         // the kind's copy decodes the field (a raw copy carries any bytes)
};

std::vector<std::pair<std::string, std::string>> WrongLengths(std::size_t valid) {
    std::vector<std::pair<std::string, std::string>> out = {
        {"one byte", std::string(1, '\x01')},
        {"three bytes", std::string("\x03\x00\x05", 3)},
        {"huge", Garbage(3 * 1024 * 1024 + 1)},
    };
    if (valid > 0) {
        out.push_back({"one byte short", Garbage(valid - 1)});
        out.push_back({"one byte long", Garbage(valid + 1)});
    } else {
        out.push_back({"a length pointing past the end", std::string("\x02\x00\xFF\xFF", 4)});
    }
    return out;
}

TEST_F(DamagedFiles, BlobsOfWrongLengthsAreReportedPerElementAndLoseNothingElse) {
    const std::vector<TBlobCase> cases = {
        {kEmissionLibType, "Spectrum", 44 * 4, true},     {kEmissionLibType, "AddProp", 0, true},
        {kEmissionLibType, "VarListIn", 0, true},         {kEmissionLibType, "Graphic", 0, false},
        {kAbsorptionLibType, "ScatValues", 44 * 4, true}, {kTransmissionLibType, "Spectrum", 44 * 4, true},
        {kDirectivityType, "DirValues", 0, false},        {kDirectivityType, "Samples", 0, false}};
    for (const TBlobCase& c : cases) {
        const std::string type = std::to_string(c.LibType);
        const bool sound = c.LibType != kDirectivityType;
        for (const auto& [what, bytes] : WrongLengths(c.ValidLength)) {
            SCOPED_TRACE(c.Field + " of type " + type + ", " + what);
            const std::string lib = Fresh("lib");
            const std::string target = Fresh("target");
            Make(c.LibType, lib, {"First", "Broken", "Last"});
            SetRawBlob(lib + LibName(c.LibType), TableNames(c.LibType).front(), c.Field, 2, bytes);

            const TCliResult shown = Run({"show", type, lib, "2"});
            EXPECT_TRUE(shown.ExitCode == 0 || shown.ExitCode == 1) << Describe(shown);
            if (sound && c.ReadOnCopy) {
                EXPECT_THAT(shown.Err, HasSubstr("damaged")) << Describe(shown);
            }

            const TCliResult copied = Run({"copy", type, lib, target, "--all"});
            EXPECT_TRUE(copied.ExitCode == 0 || copied.ExitCode == 1) << Describe(copied);
            const TCliResult listed = Run({"list", type, target});
            ASSERT_EQ(listed.ExitCode, 0) << Describe(copied) << Describe(listed);
            EXPECT_THAT(listed.Out, AllOf(HasSubstr("First"), HasSubstr("Last")));
            if (c.ReadOnCopy) {
                EXPECT_THAT(listed.Out, Not(HasSubstr("Broken")));
                EXPECT_THAT(copied.Err, HasSubstr("\"Broken\"")) << Describe(copied);
            }

            if (sound) { // the export decodes every field
                const TCliResult exported = Run({"export", type, lib, (root_.Path() / "out.xlsx").string()});
                EXPECT_EQ(exported.ExitCode, 0) << Describe(exported);
                EXPECT_THAT(exported.Out, HasSubstr("Exported 2 elements")) << Describe(exported);
                EXPECT_THAT(exported.Err, HasSubstr("\"Broken\" cannot be exported")) << Describe(exported);
            }
        }
    }
}

// --- names from data that try to leave their folder

TEST_F(DamagedFiles, LinkedDocumentNamesFromALibraryNeverLeaveItsFolder) {
    std::vector<std::string> names = {"../x.pdf",  "sub/../../x.pdf", "..\\x.pdf",
                                      "C:\\x.pdf", "/tmp/x.pdf",      ".."};
    for (const std::string& bad : names)
        EXPECT_FALSE(IsPlainFileName(bad)) << bad;
    EXPECT_EQ(std::tuple(IsPlainFileName(""), IsPlainFileName("a\nb"), IsPlainFileName("sheet.pdf"),
                         IsPlainFileName("data..v2.pdf")),
              std::tuple(false, false, true, true));
    EXPECT_EQ(FileInFolder("/lib", "a.pdf").value_or(""), "/lib/a.pdf");
    EXPECT_FALSE(FileInFolder("/lib/", "../a.pdf"));

    // The source lies two levels deeper than the target, so "../x.pdf" names different files on both sides.
    const std::string src = Folder("a/b/src");
    const std::string dst = Folder("c/dst");
    WriteAll(root_.Path() / "a/b/x.pdf", "secret beside the source");
    WriteAll(src + "..\\x.pdf", "a file whose name holds a backslash");
    const std::string outside = (root_.Path() / "abs.pdf").string();
    WriteAll(outside, "an absolute target");
    WriteAll(src + "sheet.pdf", "a plain document");
    std::vector<std::map<std::string, std::string>> rows;
    names.push_back(outside);
    for (std::size_t i = 0; i < names.size(); ++i)
        rows.push_back({{"ElementName", "E" + std::to_string(i)}, {"OLE1", names[i]}, {"OLE2", "sheet.pdf"}});
    LibFolders::MakeLibrary(kEmissionLibType, src, rows);

    const std::string type = std::to_string(kEmissionLibType);
    const TCliResult r = Run({"copy", type, src, dst, "--all"});
    EXPECT_EQ(r.ExitCode, 0) << Describe(r);
    for (const std::string& n : names)
        EXPECT_THAT(r.Err, HasSubstr("\"" + n + "\""));
    EXPECT_THAT(r.Err, HasSubstr("not a plain file name"));
    // Nothing was written beside or above the target, nothing outside the source was read into it.
    EXPECT_FALSE(fs::exists(root_.Path() / "x.pdf"));
    EXPECT_FALSE(fs::exists(root_.Path() / "c/x.pdf"));
    EXPECT_FALSE(fs::exists(dst + "..\\x.pdf"));
    EXPECT_EQ(ReadAll(outside), "an absolute target");
    EXPECT_EQ(ReadAll(dst + "sheet.pdf"), "a plain document");
    std::size_t files = 0;
    for (const auto& entry : fs::directory_iterator(dst))
        files += entry.path().filename() == "sheet.pdf" ? 0 : entry.path().extension() == ".pdf";
    EXPECT_EQ(files, 0u);

    // The editor shows such a name as refused instead of a path outside the library.
    LibFolders f;
    LibFolders::MakeLibrary(kEmissionLibType, f.Project(), {{{"ElementName", "Doc"}, {"OLE1", "../x.pdf"}}});
    sound::TFormLibX& editor = sound::OpenSoundEditor(f, kEmissionLibType, {f.Project()});
    editor.RefreshElement();
    const std::string caption = editor.LabelLinkedFile(0).Caption();
    EXPECT_THAT(caption, AllOf(HasSubstr("refused"), Not(HasSubstr(f.Project() + "../"))));
}

TEST_F(DamagedFiles, ImportedPictureNamesMustLieInTheImportedFilesFolder) {
    const std::string imp = Folder("imp");
    WriteTinyBitmap((root_.Path() / "outside.bmp").string(), 2, 1, 0x30);
    WriteTinyBitmap(imp + "inside.bmp", 2, 1, 0x30);
    std::string csv = "Element name;63Hz;Bitmap file name\nGood;70;inside.bmp\n";
    const std::vector<std::string> bad = {"../outside.bmp", (root_.Path() / "outside.bmp").string(),
                                          "sub/../../outside.bmp"};
    for (std::size_t i = 0; i < bad.size(); ++i)
        csv += "Bad" + std::to_string(i) + ";70;" + bad[i] + "\n";
    WriteAll(imp + "levels.csv", csv);
    const std::string lib = Folder("lib");
    const std::string type = std::to_string(kEmissionLibType);
    const TCliResult r = Run({"import", type, lib, imp + "levels.csv"});
    ASSERT_EQ(r.ExitCode, 0) << Describe(r);
    for (const std::string& b : bad)
        EXPECT_THAT(r.Err, HasSubstr("\"" + b + "\" is no file of the imported file's folder"));
    // The rows are imported, with a picture only where the name was plain.
    TMyTable t(TableNames(kEmissionLibType));
    t.InitLibX(lib, LibName(kEmissionLibType), TableNames(kEmissionLibType), true, true);
    t.Open();
    db::TTable& table = *t.GetTable();
    int rows = 0;
    for (table.First(); !table.Eof(); table.Next()) {
        ++rows;
        const bool picture =
            !table.FieldByName("Graphic").IsNull() && !table.FieldByName("Graphic").AsBytes().empty();
        EXPECT_EQ(picture, table.FieldByName("ElementName").AsString() == "Good")
            << table.FieldByName("ElementName").AsString();
    }
    EXPECT_EQ(rows, 4);
}

// --- spreadsheets built to exhaust memory or time

TEST_F(DamagedFiles, HostileSpreadsheetsAreRefusedWithinBoundedMemoryAndTime) {
    // Sheets are read as a stream, so memory follows the cells kept, never the size of a part; a text table
    // above its bound is refused before it is read. Under ASan the freed blocks it holds back would count as
    // peak memory and hide what the reader keeps, so the child's quarantine is made small.
    constexpr long kMaxKiB = 400 * 1024;
#if defined(__SANITIZE_ADDRESS__)
    const char* asan = std::getenv("ASAN_OPTIONS");
    const std::string childAsan =
        (asan != nullptr && *asan != '\0' ? std::string(asan) + ":" : std::string()) +
        "quarantine_size_mb=16";
    const ScopedEnv smallQuarantine("ASAN_OPTIONS", childAsan.c_str());
#endif
    constexpr double kMaxSeconds = 60;
    struct TCase {
        const char* Name;
        const char* File;
        std::string Body; // repeated Count times after the heading row
        std::size_t Count;
        bool MayImport;
    };
    std::string dense = "<row>";
    for (int c = 0; c < 60; ++c)
        dense += "<c><v>" + std::to_string(c) + "</v></c>";
    dense += "</row>";
    const std::vector<TCase> cases = {
        {"zip bomb: a sheet part of 1.1 GB", "bomb.xlsx", std::string(1 << 20, ' '), 1100, false},
        {"a cell in the last row and column", "far.xlsx",
         "<row r=\"1048576\"><c r=\"A1048576\" t=\"inlineStr\"><is><t>Far</t></is></c><c "
         "r=\"XFD1048576\"><v>1</v></c></row>",
         1, true},
        // Every cell names the last column of row 1: the sheet keeps one row of 16,384 columns.
        {"a million cells in the last column", "sparse.xlsx", "<row><c r=\"XFD1\"><v>1</v></c></row>",
         1'000'000, true},
        {"sixty dense columns in 15 MB of sheet", "below.xlsx", dense, 15 * 1024 * 1024 / dense.size(), true},
        {"a text table of 300 MB in one line", "long.csv", std::string(1 << 20, '7'), 300, false},
    };
    const std::string type = std::to_string(kEmissionLibType);
    for (const TCase& c : cases) {
        SCOPED_TRACE(c.Name);
        const std::string file = Folder("sheets") + c.File;
        if (file.ends_with(".csv")) {
            std::ofstream out(file, std::ios::binary);
            out << "Element name;63Hz\nFan;";
            for (std::size_t i = 0; i < c.Count; ++i)
                out << c.Body;
            out << "\n";
        } else {
            TRowStream sheet;
            sheet.Head = kXmlDecl + "<worksheet " + kSheetNs +
                         "><dimension ref=\"A1:XFD1048576\"/><sheetData><row r=\"1\"><c r=\"A1\" "
                         "t=\"inlineStr\"><is><t>Element name</t></is></c><c r=\"B1\" "
                         "t=\"inlineStr\"><is><t>63Hz</t></is></c></row>";
            sheet.Tail = "</sheetData></worksheet>";
            sheet.Same = c.Body;
            sheet.Rows = c.Count;
            WriteXlsx(file, sheet);
        }
        const std::string lib = Fresh("lib");
        // korvellib as a child, its peak memory from the kernel's accounting.
        const std::string err = root_.File("err.txt");
        const auto start = std::chrono::steady_clock::now();
        const pid_t pid = StartKorvellib(
            {"--config", (root_.Path() / "config").string(), "import", type, lib, file}, {}, err);
        ASSERT_GT(pid, 0);
        int status = 0;
        rusage usage{};
        wait4(pid, &status, 0, &usage);
        const double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        const int exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        const std::string messages = ReadAll(err);
        EXPECT_LT(usage.ru_maxrss, kMaxKiB) << "peak " << usage.ru_maxrss / 1024 << " MB\n" << messages;
        EXPECT_LT(seconds, kMaxSeconds) << messages;
        if (c.MayImport) {
            EXPECT_TRUE(exitCode == 0 || exitCode == 1) << exitCode << "\n" << messages;
        } else {
            EXPECT_EQ(exitCode, 1) << messages;
            EXPECT_THAT(messages, HasSubstr(file));
        }
        std::cout << "[ measured ] " << c.Name << ": peak " << usage.ru_maxrss / 1024 << " MB, " << seconds
                  << " s\n";
        fs::remove(file);
    }
}

} // namespace
} // namespace korvel::test
