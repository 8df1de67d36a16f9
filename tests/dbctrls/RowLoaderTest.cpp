#include "platform/dbctrls/RowLoader.h"

#include "DbCtrlsFixture.h"
#include "platform/dbctrls/ElementList.h"

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>

namespace korvel {
namespace {

using namespace std::chrono_literals;

// Collects the loader's results from its thread; while held, the next result waits in the callback, which
// keeps the loader busy while a test queues requests behind it.
class TCollector {
public:
    void operator()(TRowResult result) {
        std::unique_lock lock(mutex_);
        results_.push_back(std::move(result));
        changed_.notify_all();
        changed_.wait(lock, [&] { return !held_; });
    }
    void Hold(bool held) {
        std::lock_guard lock(mutex_);
        held_ = held;
        changed_.notify_all();
    }
    // The results so far, once at least n came in or the time ran out.
    std::vector<TRowResult> Results(std::size_t n = 0) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, 10s, [&] { return results_.size() >= n; });
        return results_;
    }
    // Result i, waiting for it; a result that does not come in time fails the test.
    TRowResult At(std::size_t i) {
        const auto all = Results(i + 1);
        EXPECT_GT(all.size(), i) << "no result in time";
        return i < all.size() ? all[i] : TRowResult{};
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<TRowResult> results_;
    bool held_ = false;
};

class RowLoaderTest : public test::DbCtrlsFixture {
protected:
    void SetUp() override {
        DbCtrlsFixture::SetUp();
        AddNamedElements();
        test::SetField(*elements, "Level", "0.00015");
        test::SetField(*elements, "LastChangeDateTime", "2024-03-05 14:07:09");
        test::SetField(*elements, "Active", "True");
        test::SetField(*elements, "Kommentar", "two\nlines");
        elements->FieldByName("Spektrum").SetAsBytes(db::TBytes(176, 7));
        elements->Post();
        list.SetDataSource(&source);
        list.SetColumns({{"Nr"},
                         {"ElementName"},
                         {"Level"},
                         {"LastChangeDateTime"},
                         {"Active"},
                         {"Kommentar"},
                         {"Spektrum"},
                         {"NotThere"}});
    }

    // What the list shows, as a loader request.
    TRowRequest Request(std::uint64_t generation, std::int64_t first, std::int64_t count) {
        TRowRequest request;
        request.Generation = generation;
        request.First = first;
        request.RowIds = list.RowIds(first, count);
        request.TableName = "Elements";
        for (const auto& column : list.Columns()) {
            const db::TField* field = elements->FindField(column.FieldName);
            request.Columns.push_back(field ? TLoadColumn{column.FieldName, field->DataType()}
                                            : TLoadColumn{});
        }
        return request;
    }

    TDBElementList& list = form.Add<TDBElementList>("ElementList");
    TCollector collector;
};

TEST_F(RowLoaderTest, ReadsTheTextsTheListShowsInTheOrderAsked) {
    TRowLoader loader(db->FileName(), std::ref(collector));
    loader.Request(Request(1, 0, 5));
    const TRowResult result = collector.At(0);
    EXPECT_EQ(std::tuple(result.Error, result.Generation, result.Rows.size(), loader.RowsRead()),
              std::tuple("", 1u, 5u, 5u));
    for (std::size_t r = 0; r < result.Rows.size(); ++r) {
        SCOPED_TRACE(r);
        std::vector<std::string> shown;
        for (int c = 0; c < list.ColumnCount(); ++c)
            shown.push_back(list.CellText(static_cast<std::int64_t>(r), c));
        EXPECT_EQ(std::pair(result.Rows[r].RowId, result.Rows[r].Texts),
                  std::pair(list.RowBookmark(static_cast<std::int64_t>(r)), shown));
    }
    EXPECT_EQ(std::pair(result.Rows.at(0).Texts.at(2), result.Rows[0].Texts.at(5)),
              (std::pair<std::string, std::string>("0.00015", "two lines")));

    // Another order, a window in the middle, and a row deleted after the positions were taken.
    elements->SetIndexName("EN"); // alpha bravo Charlie Delta Echo
    EXPECT_EQ(list.RowIds(1, 3),
              (std::vector<db::TBookmark>{numbers["bravo"], numbers["Charlie"], numbers["Delta"]}));
    EXPECT_EQ(list.RowIds(4, 10), std::vector<db::TBookmark>{numbers["Echo"]});
    EXPECT_TRUE(list.RowIds(5, 1).empty());
    TRowRequest middle = Request(2, 1, 3);
    ASSERT_TRUE(elements->Locate("ElementName", {std::string("Charlie")}));
    elements->Delete();
    loader.Request(middle);
    const TRowResult second = collector.At(1);
    ASSERT_EQ(std::pair(second.First, second.Rows.size()), (std::pair<std::int64_t, std::size_t>(1, 3)));
    EXPECT_EQ(std::pair(second.Rows[0].Texts.at(1), second.Rows[2].Texts.at(1)),
              (std::pair<std::string, std::string>("bravo", "Delta")));
    EXPECT_EQ(second.Rows[1].Texts, std::vector<std::string>(8)); // gone: empty, the window keeps its shape
}

TEST_F(RowLoaderTest, ANewerGenerationDropsOlderQueuedRequestsAndTheQueueStaysShort) {
    TRowLoader loader(db->FileName(), std::ref(collector));
    collector.Hold(true);
    loader.Request(Request(1, 0, 1));
    ASSERT_EQ(collector.Results(1).size(), 1u); // the loader now waits in the callback

    loader.Request(Request(1, 1, 1));
    loader.Request(Request(1, 2, 1));
    EXPECT_EQ(loader.Queued(), 2u);
    EXPECT_TRUE(loader.Request(Request(2, 3, 1)).empty());
    EXPECT_EQ(loader.Queued(), 1u);

    // A quick scroll: only the newest windows wait, the others are reported as never to be answered.
    std::vector<std::int64_t> pushedOut;
    for (std::int64_t first = 10; first < 10 + static_cast<std::int64_t>(TRowLoader::kMaxQueued) + 1; ++first)
        for (std::int64_t out : loader.Request(Request(3, first, 1)))
            pushedOut.push_back(out);
    EXPECT_EQ(pushedOut, std::vector<std::int64_t>{10});
    EXPECT_EQ(loader.Queued(), TRowLoader::kMaxQueued);

    collector.Hold(false);
    // Newest first: the window the user looks at now.
    std::vector<std::pair<std::uint64_t, std::int64_t>> answered, expected = {{1, 0}};
    for (const TRowResult& r : collector.Results(1 + TRowLoader::kMaxQueued))
        answered.emplace_back(r.Generation, r.First);
    for (std::int64_t first = 10 + static_cast<std::int64_t>(TRowLoader::kMaxQueued); first > 10; --first)
        expected.emplace_back(3, first);
    EXPECT_EQ(answered, expected);
    EXPECT_EQ(loader.Queued(), 0u);
}

TEST_F(RowLoaderTest, ErrorsComeBackAsResults) {
    {
        TCollector missing;
        TRowLoader loader(dir.File("Gone.abs"), std::ref(missing));
        loader.Request(Request(1, 0, 2));
        const auto result = missing.At(0);
        EXPECT_NE(result.Error.find("Gone.abs"), std::string::npos) << result.Error;
        EXPECT_TRUE(result.Rows.empty());
    }

    TRowLoader loader(db->FileName(), std::ref(collector));
    TRowRequest wrongTable = Request(1, 0, 2);
    wrongTable.TableName = "NoSuchTable";
    loader.Request(wrongTable);
    EXPECT_NE(collector.At(0).Error.find("NoSuchTable"), std::string::npos);
}

TEST_F(RowLoaderTest, DestructorStopsAReadThatWaitsForALock) {
    // A library in the rollback journal, so a writer can shut readers out.
    const std::string file = dir.File("Lockable.abs");
    db::TDatabase other(file);
    other.Open(true);
    other.CreateTable("Elements", ElementDef());
    other.Connection().Exec("INSERT INTO Elements (ElementName) VALUES ('One'), ('Two')");
    other.SetJournalModeDelete();
    db::TSqliteConnection writer(file, false, false);
    writer.Exec("BEGIN EXCLUSIVE");
    auto loader = std::make_unique<TRowLoader>(file, std::ref(collector), 60s);
    loader->Request({1, 0, {1, 2}, "Elements", {{"ElementName", db::TFieldType::String}}});
    for (int i = 0; i < 100 && loader->Queued() > 0; ++i)
        std::this_thread::sleep_for(5ms);
    EXPECT_EQ(loader->Queued(), 0u); // taken: the read now waits for the writer
    std::this_thread::sleep_for(50ms);
    const auto start = std::chrono::steady_clock::now();
    loader.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
    EXPECT_TRUE(collector.Results().empty()); // nothing is delivered after the stop
    writer.Exec("ROLLBACK");
}

} // namespace
} // namespace korvel
