#include "BenchLibrary.h"

#include "platform/db/Collation.h"
#include "platform/db/Database.h"
#include "platform/db/Sqlite.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <vector>

namespace korvel::bench {

namespace {
std::int64_t gRows = 1000000;
}

std::int64_t Rows() {
    return gRows;
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
        auto dir = std::filesystem::temp_directory_path() / "korvel-bench";
        std::filesystem::create_directories(dir);
        std::string name = (dir / ("elements-" + std::to_string(gRows) + ".abs")).string();
        if (std::filesystem::exists(name))
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
