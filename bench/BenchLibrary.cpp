#include "BenchLibrary.h"

#include "cli/LibSession.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/db/Collation.h"
#include "platform/db/Database.h"
#include "platform/db/Sqlite.h"
#include "platform/settings/ConfigLocation.h"
#include "sound/FormLibX.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sqlite3.h>
#include <sstream>
#include <vector>

namespace fs = std::filesystem;

namespace korvel::bench {

using acoustic::kEmissionLibType;

namespace {
std::int64_t gRows = 1000000;

fs::path BenchDir() {
    static const fs::path dir = [] {
        fs::path d = fs::temp_directory_path() / "korvel-bench";
        fs::create_directories(d);
        // The editors read and write the program's settings; the benchmarks keep theirs apart.
        SetKorvelLibIniFileName((d / "KorvelLib.ini").string());
        return d;
    }();
    return dir;
}

std::string GroupName(int g) {
    static const char* names[] = {"Pumpen",   "Lüfter",  "Kompressoren", "Motoren", "Getriebe", "Ventile",
                                  "Kühler",   "Brenner", "Turbinen",     "Gebläse", "Trafos",   "Antriebe",
                                  "Förderer", "Mühlen",  "Pressen",      "Sägen"};
    return names[g % 16];
}

// A sound-power library in folder, made by the sound editor when missing, with its 16 groups; returns the
// group numbers.
std::array<int, 16> EnsureEmissionLibrary(const std::string& folder) {
    std::ostringstream out, err;
    cli::TLibSession session(kEmissionLibType, out, err);
    const int tab = session.Open(folder, true);
    auto& editor = dynamic_cast<sound::TFormLibX&>(session.Editor());
    std::array<int, 16> groups{};
    for (int g = 0; g < 16; ++g)
        groups[static_cast<std::size_t>(g)] = editor.SetGroupValue(tab, GroupName(g));
    return groups;
}
} // namespace

std::int64_t Rows() {
    return gRows;
}

void SetRows(std::int64_t rows) {
    gRows = rows;
}

void TakeRowsFlag(int& argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], "--rows=", 7) == 0) {
            gRows = std::max<std::int64_t>(1000, std::atoll(argv[i] + 7));
            argv[i] = argv[--argc];
            --i;
        }
    }
}

std::string ElementName(std::int64_t i) {
    static const char* words[] = {"Lüfter",     "pumpe", "Ventilator", "ÖLKÜHLER",
                                  "Kompressor", "fan",   "Motor",      "Zahnrad"};
    std::uint64_t h = static_cast<std::uint64_t>(i) * 2654435761u % 1000003u;
    return std::string(words[h % 8]) + " " + std::to_string(h) + "-" + std::to_string(i);
}

const std::string& Library() {
    static std::string file = [] {
        std::string name = (BenchDir() / ("elements-" + std::to_string(gRows) + ".abs")).string();
        if (fs::exists(name))
            return name;
        auto db = std::make_shared<db::TDatabase>(name);
        db->Open(true);
        db::TTableDef def;
        def.AddField("Eintrag", db::TFieldType::AutoInc)
            .AddField("ElementName", db::TFieldType::String, 40)
            .AddField("Kommentar", db::TFieldType::Memo)
            .AddField("Gruppen1", db::TFieldType::Integer)
            .AddField("Spektrum", db::TFieldType::Blob);
        def.AddIndex("p", {"Eintrag"}, db::ixPrimary).AddIndex("EN", {"ElementName"}, db::ixCaseInsensitive);
        db->CreateTable("EmisX", def);
        db->StartTransaction();
        db::TStatement ins(db->Connection().Handle(),
                           "INSERT INTO EmisX (ElementName, Kommentar, Gruppen1, Spektrum, _ck_ElementName) "
                           "VALUES (?, ?, ?, ?, ?)");
        std::vector<std::uint8_t> spectrum(44 * 4, 0);
        for (std::int64_t i = 0; i < gRows; ++i) {
            std::string n = ElementName(i);
            ins.Reset();
            ins.Bind(1, n);
            ins.Bind(2, std::string("comment"));
            ins.Bind(3, i % 17);
            ins.BindBlob(4, spectrum);
            ins.BindBlob(5, db::CollationKey(n));
            ins.Run();
        }
        db->Commit();
        db->Close();
        return name;
    }();
    return file;
}

std::string CacheFolder(const std::string& name, bool fresh) {
    const fs::path dir = BenchDir() / name;
    if (fresh)
        fs::remove_all(dir);
    fs::create_directories(dir);
    return dir.string() + "/";
}

std::string EmissionFile(const std::string& folder) {
    return folder + LibName(kEmissionLibType);
}

void CopyLibrary(const std::string& file, const std::string& folder) {
    const std::string target = EmissionFile(folder);
    for (const char* suffix : {"", "-wal", "-shm"})
        fs::remove(target + suffix);
    fs::copy_file(file, target);
}

void AddEmissionElements(const std::string& folder, std::int64_t first, std::int64_t count, int numberStep) {
    const std::array<int, 16> groups = EnsureEmissionLibrary(folder);
    TMyTable lib(TableNames(kEmissionLibType));
    lib.InitLibX(folder, LibName(kEmissionLibType), TableNames(kEmissionLibType), false, true);
    lib.Open();
    db::TTable& table = *lib.GetTable();
    db::TDatabase& database = lib.Database();
    const std::string nameField = NameFieldName(kEmissionLibType);
    acoustic::TEmisLibSpectrum spectrum;
    database.StartTransaction();
    for (std::int64_t i = first; i < first + count; ++i) {
        if (numberStep > 1)
            database.RaiseNextAutoIncValue(table.TableName(), 1 + i * numberStep);
        const auto h = static_cast<std::uint64_t>(i) * 2654435761u;
        table.Append();
        OnNewRecord(table, kEmissionLibType, false);
        spectrum.SetSpecType(i % 5 == 0 ? acoustic::TSpecType::Octave : acoustic::TSpecType::ThirdOctave);
        spectrum.SetBMinBMax(15, 40);
        for (int band = 15; band <= 40; ++band)
            spectrum.SetValue(band, 60.0 + static_cast<double>((h >> (band % 16)) % 300) / 10.0);
        spectrum.SetdBX(i % 3 == 0 ? ' ' : 'A');
        spectrum.Groups = {groups[h % 16], groups[(h >> 8) % 16], 0, 0};
        table.FieldByName(nameField).SetAsString(ElementName(i));
        table.FieldByName("Kommentar").SetAsString("generated element " + std::to_string(i));
        spectrum.SaveToLibrary(lib, ElementName(i));
        table.Post();
    }
    database.Commit();
    lib.Close();
}

std::string EmissionFolder(std::int64_t rows, int numberStep) {
    const std::string name = "emission-" + std::to_string(rows) + (numberStep > 1 ? "-gaps" : "");
    const fs::path done = BenchDir() / (name + ".done");
    if (fs::exists(done))
        return CacheFolder(name);
    const std::string folder = CacheFolder(name, true);
    AddEmissionElements(folder, 0, rows, numberStep);
    std::ofstream(done) << rows << '\n';
    return folder;
}

const std::string& EmptyEmissionFile() {
    static const std::string file = [] {
        const std::string folder = CacheFolder("emission-empty", true);
        EnsureEmissionLibrary(folder);
        return EmissionFile(folder);
    }();
    return file;
}

TPlainRows ReadPlainRows(const std::string& file, const std::string& table, bool withNumber,
                         const std::string& where) {
    TPlainRows result;
    result.Table = table;
    db::TSqliteConnection conn(file, true, false);
    {
        db::TStatement info(conn.Handle(), "SELECT name FROM pragma_table_info(?) ORDER BY cid");
        info.Bind(1, table);
        while (info.Step()) {
            std::string column = info.ColumnText(0);
            if (withNumber || column != "Eintrag")
                result.Columns.push_back(column);
        }
    }
    std::string sql = "SELECT ";
    for (std::size_t c = 0; c < result.Columns.size(); ++c)
        sql += (c ? ", \"" : "\"") + result.Columns[c] + "\"";
    sql += " FROM \"" + table + "\"" + (where.empty() ? "" : " WHERE " + where) + " ORDER BY rowid";
    db::TStatement st(conn.Handle(), sql);
    while (st.Step()) {
        std::vector<TPlainValue> row(result.Columns.size());
        for (std::size_t c = 0; c < row.size(); ++c) {
            const int col = static_cast<int>(c);
            TPlainValue& v = row[c];
            v.Type = st.ColumnType(col);
            if (v.Type == SQLITE_INTEGER)
                v.Int = st.ColumnInt(col);
            else if (v.Type == SQLITE_FLOAT)
                v.Real = st.ColumnDouble(col);
            else if (v.Type == SQLITE_TEXT)
                v.Bytes = st.ColumnText(col);
            else if (v.Type == SQLITE_BLOB) {
                const std::vector<std::uint8_t> b = st.ColumnBlob(col);
                v.Bytes.assign(b.begin(), b.end());
            }
        }
        result.Rows.push_back(std::move(row));
    }
    return result;
}

TPlainInsert PlainInsert(const TPlainRows& rows, const std::string& templateFile,
                         const std::string& keyColumn) {
    const std::string folder = CacheFolder("plain-insert", true);
    CopyLibrary(templateFile.empty() ? EmptyEmissionFile() : templateFile, folder);
    std::string sql = "INSERT INTO \"" + rows.Table + "\" (";
    std::string marks;
    std::size_t key = rows.Columns.size();
    for (std::size_t c = 0; c < rows.Columns.size(); ++c) {
        sql += (c ? ", \"" : "\"") + rows.Columns[c] + "\"";
        marks += c ? ", ?" : "?";
        if (rows.Columns[c] == keyColumn)
            key = c;
    }
    sql += ") VALUES (" + marks + ")";
    auto bind = [](db::TStatement& st, int index, const TPlainValue& v) {
        if (v.Type == SQLITE_INTEGER)
            st.Bind(index, v.Int);
        else if (v.Type == SQLITE_FLOAT)
            st.Bind(index, v.Real);
        else if (v.Type == SQLITE_TEXT)
            st.Bind(index, std::string_view(v.Bytes));
        else if (v.Type == SQLITE_BLOB)
            st.BindBlob(index,
                        std::span(reinterpret_cast<const std::uint8_t*>(v.Bytes.data()), v.Bytes.size()));
        else
            st.BindNull(index);
    };
    TPlainInsert result;
    const auto t0 = Clock::now();
    {
        db::TSqliteConnection conn(EmissionFile(folder), false, false);
        conn.Exec("PRAGMA journal_mode=WAL");
        conn.Exec("PRAGMA synchronous=FULL");
        conn.Exec("BEGIN");
        db::TStatement ins(conn.Handle(), sql);
        db::TStatement find;
        if (key < rows.Columns.size())
            find = db::TStatement(conn.Handle(), "SELECT 1 FROM \"" + rows.Table + "\" WHERE \"" + keyColumn +
                                                     "\" = ? LIMIT 1");
        for (const auto& row : rows.Rows) {
            if (find.IsPrepared()) {
                find.Reset();
                bind(find, 1, row[key]);
                if (find.Step())
                    continue;
            }
            ins.Reset();
            for (std::size_t c = 0; c < row.size(); ++c)
                bind(ins, static_cast<int>(c) + 1, row[c]);
            ins.Run();
            ++result.Inserted;
        }
        conn.Exec("COMMIT");
    }
    result.Seconds = Seconds(Clock::now() - t0);
    return result;
}

double ReadStatusMb(const char* key) {
    std::ifstream in("/proc/self/status");
    std::string line;
    const std::size_t n = std::strlen(key);
    while (std::getline(in, line))
        if (line.compare(0, n, key) == 0)
            return std::atof(line.c_str() + n) / 1024.0;
    return 0;
}

double ResidentMb() {
    return ReadStatusMb("VmRSS:");
}

double PeakMb() {
    return ReadStatusMb("VmHWM:");
}

void RunBoth(bool& engineFirst, const std::function<void()>& engine, const std::function<void()>& plain) {
    if (engineFirst) {
        engine();
        plain();
    } else {
        plain();
        engine();
    }
    engineFirst = !engineFirst;
}

double Seconds(Clock::duration d) {
    return std::chrono::duration<double>(d).count();
}

void ReportRatio(benchmark::State& state, double engine, double plain) {
    const auto n = static_cast<double>(state.iterations());
    state.counters["engine_ms"] = engine * 1e3 / n;
    state.counters["sqlite_ms"] = plain * 1e3 / n;
    state.counters["ratio"] = plain > 0 ? engine / plain : 0;
}

} // namespace korvel::bench
