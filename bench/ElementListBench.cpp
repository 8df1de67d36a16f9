// The element list of the desktop program on a library of a million elements ordered by name: how long until
// the first rows are on the screen, how long a scroll step to any place takes until its rows are there, and
// what select-all costs. Each figure is timed beside the plain SQLite reads it stands on, in the same
// iterations.
//
//   build/<release folder>/bench/bench_element_list [--rows=N]

#include "BenchLibrary.h"
#include "gui/elementlist/ElementListModel.h"
#include "gui/elementlist/ElementListView.h"
#include "platform/db/Database.h"
#include "platform/db/Sqlite.h"
#include "platform/db/Table.h"
#include "platform/dbctrls/DataSource.h"
#include "platform/dbctrls/ElementList.h"

#include <QApplication>
#include <QScrollBar>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <string>

namespace {

using namespace korvel;
using bench::Clock;
using bench::Library;
using bench::Seconds;

// An editor's list: the library's main table read-only in name order, the number and name columns, the
// view at a usual size.
struct TEditorList {
    TEditorList() {
        database->SetReadOnly(true);
        table.SetIndexName("EN");
        table.Open();
        source.SetDataSet(&table);
        list.SetDataSource(&source);
        list.SetColumns({{"Eintrag", "###", 60}, {"ElementName", "Element name", 240}});
        model = new gui::TElementListModel(list, &view);
        view.setModel(model);
        view.resize(500, 700);
        view.show();
    }
    ~TEditorList() { source.SetDataSet(nullptr); }

    // Until every row in the viewport has its text, painted as the user sees it.
    void WaitForVisibleRows() {
        for (;;) {
            view.viewport()->repaint();
            const auto [first, last] = view.VisibleRows();
            if (model->RowsReady(first, last))
                return;
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
    }

    std::shared_ptr<db::TDatabase> database = std::make_shared<db::TDatabase>(Library());
    db::TTable table{database, "EmisX"};
    TDataSource source;
    TDBElementList list{"ElementList"};
    gui::TElementListView view;
    gui::TElementListModel* model = nullptr;
};

// Plain SQLite: the positions in name order, and rows by rowid.
struct Plain {
    Plain() : conn(Library(), true, false) {}

    std::vector<std::int64_t> Positions() {
        db::TStatement ids(conn.Handle(), "SELECT rowid FROM EmisX ORDER BY _ck_ElementName, rowid");
        std::vector<std::int64_t> all;
        while (ids.Step())
            all.push_back(ids.ColumnInt(0));
        return all;
    }

    void Rows(const std::vector<std::int64_t>& ids, std::size_t first, std::size_t count) {
        count = std::min(count, ids.size() - first);
        std::string sql = "SELECT rowid, Eintrag, ElementName FROM EmisX WHERE rowid IN (?";
        for (std::size_t i = 1; i < count; ++i)
            sql += ", ?";
        sql += ")";
        db::TStatement st(conn.Handle(), sql);
        for (std::size_t i = 0; i < count; ++i)
            st.Bind(static_cast<int>(i) + 1, ids[first + i]);
        while (st.Step())
            benchmark::DoNotOptimize(st.ColumnText(2));
    }

    db::TSqliteConnection conn;
};

// Open the library, order by name and show the list until its first screen of rows is there.
void FirstRowsAfterOpen(benchmark::State& state) {
    Library();
    double engine = 0, plain = 0, blocked = 0;
    bool engineFirst = true;
    for (auto _ : state) {
        auto runEngine = [&] {
            const auto t0 = Clock::now();
            TEditorList editor; // the GUI thread is blocked for this part: positions, count, header
            const auto t1 = Clock::now();
            editor.WaitForVisibleRows();
            engine += Seconds(Clock::now() - t0);
            blocked += Seconds(t1 - t0);
        };
        auto runPlain = [&] {
            const auto t0 = Clock::now();
            Plain p;
            const auto ids = p.Positions();
            p.Rows(ids, 0, 256);
            plain += Seconds(Clock::now() - t0);
        };
        bench::RunBoth(engineFirst, runEngine, runPlain);
    }
    bench::ReportRatio(state, engine, plain);
    state.counters["gui_blocked_ms"] = blocked * 1e3 / static_cast<double>(state.iterations());
}

// Jump the scroll bar to random places; each step lasts until the rows of the new place are painted.
void ScrollStep(benchmark::State& state) {
    TEditorList editor;
    editor.WaitForVisibleRows();
    Plain p;
    const auto ids = p.Positions();
    std::mt19937 random(11);
    QScrollBar* bar = editor.view.verticalScrollBar();
    double engine = 0, plain = 0;
    const auto readBefore = editor.model->LoaderRowsRead();
    for (auto _ : state) {
        const int offset = static_cast<int>(random() % static_cast<unsigned>(bar->maximum() + 1));
        const auto t0 = Clock::now();
        bar->setValue(offset);
        editor.WaitForVisibleRows();
        const auto t1 = Clock::now();
        // The same windows the model reads.
        const auto [first, last] = editor.view.VisibleRows();
        const std::int64_t w = gui::TElementListModel::kWindowRows;
        for (std::int64_t at = first / w * w; at <= last; at += w)
            p.Rows(ids, static_cast<std::size_t>(at), static_cast<std::size_t>(w));
        const auto t2 = Clock::now();
        engine += Seconds(t1 - t0);
        plain += Seconds(t2 - t1);
    }
    bench::ReportRatio(state, engine, plain);
    state.counters["rows_read"] = static_cast<double>(editor.model->LoaderRowsRead() - readBefore) /
                                  static_cast<double>(state.iterations());
}

// Select all elements and repaint: the core keeps the bookmarks; plain SQLite reads the rowids.
void SelectAll(benchmark::State& state) {
    TEditorList editor;
    editor.list.SetMultiSelect(true);
    editor.WaitForVisibleRows();
    Plain p;
    double engine = 0, plain = 0;
    for (auto _ : state) {
        editor.list.ClearSelection();
        const auto t0 = Clock::now();
        editor.list.SelectAll();
        editor.view.viewport()->repaint();
        const auto t1 = Clock::now();
        benchmark::DoNotOptimize(p.Positions());
        const auto t2 = Clock::now();
        engine += Seconds(t1 - t0);
        plain += Seconds(t2 - t1);
    }
    bench::ReportRatio(state, engine, plain);
}

BENCHMARK(FirstRowsAfterOpen)->Unit(benchmark::kMillisecond);
BENCHMARK(ScrollStep)->Unit(benchmark::kMillisecond);
BENCHMARK(SelectAll)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    bench::TakeRowsFlag(argc, argv);
    if (std::getenv("QT_QPA_PLATFORM") == nullptr)
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
