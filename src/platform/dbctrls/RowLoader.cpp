#include "platform/dbctrls/RowLoader.h"

#include "platform/Errors.h"
#include "platform/db/Binding.h"
#include "platform/db/Sqlite.h"
#include "platform/dbctrls/ElementList.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <sqlite3.h>
#include <unordered_map>

namespace korvel {

namespace {

// Rowids bound per statement; a window is 256 rows, larger requests are read in several statements.
constexpr std::size_t kChunk = 512;
// SQLite virtual machine steps between checks for a stop.
constexpr int kProgressSteps = 1000;
constexpr std::chrono::milliseconds kBusyStep(10);

} // namespace

// The loader's own connection and its last statement: a list asks for windows of one size and columns, so
// the statement is prepared once. The statement goes before the connection.
struct TRowLoader::TConnection {
    db::TSqliteConnection Conn;
    std::string Sql;
    std::unique_ptr<db::TStatement> Statement;
};

TRowLoader::TRowLoader(std::string fileName, TOnResult onResult, std::chrono::milliseconds busyWait)
    : fileName_(std::move(fileName)), onResult_(std::move(onResult)), busyWait_(busyWait),
      thread_([this] { Run(); }) {}

TRowLoader::~TRowLoader() {
    {
        std::lock_guard lock(mutex_);
        stop_ = true;
    }
    wake_.notify_one();
    thread_.join();
}

std::vector<std::int64_t> TRowLoader::Request(TRowRequest request) {
    std::vector<std::int64_t> pushedOut;
    {
        std::lock_guard lock(mutex_);
        std::erase_if(queue_, [&](const TRowRequest& r) { return r.Generation < request.Generation; });
        queue_.push_back(std::move(request));
        while (queue_.size() > kMaxQueued) {
            pushedOut.push_back(queue_.front().First);
            queue_.pop_front();
        }
    }
    wake_.notify_one();
    return pushedOut;
}

std::size_t TRowLoader::Queued() const {
    std::lock_guard lock(mutex_);
    return queue_.size();
}

void TRowLoader::Run() {
    // Opened, used and closed on this thread only.
    std::unique_ptr<TConnection> connection;
    for (;;) {
        TRowRequest request;
        {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [&] { return stop_ || !queue_.empty(); });
            if (stop_)
                break;
            request = std::move(queue_.back());
            queue_.pop_back();
        }
        TRowResult result = Load(connection, request);
        if (stop_)
            break;
        try {
            onResult_(std::move(result));
        } catch (...) {
            // The receiver's failure must not end the thread; it has nothing to report to.
        }
    }
}

TRowResult TRowLoader::Load(std::unique_ptr<TConnection>& connection, const TRowRequest& request) {
    TRowResult result;
    result.Generation = request.Generation;
    result.First = request.First;
    try {
        if (!connection) {
            std::error_code ec;
            if (!std::filesystem::is_regular_file(fileName_, ec))
                throw EKorvelError("The library file \"" + fileName_ + "\" does not exist");
            auto opened = std::make_unique<TConnection>();
            opened->Conn = db::TSqliteConnection(fileName_, true, false);
            // Both replace SQLite's fixed wait, so a stop is seen at once even while a writer holds the file.
            sqlite3_busy_handler(opened->Conn.Handle(), &TRowLoader::OnBusy, this);
            sqlite3_progress_handler(opened->Conn.Handle(), kProgressSteps, &TRowLoader::OnProgress, this);
            connection = std::move(opened);
        }
        Read(*connection, request, result);
    } catch (const std::exception& e) {
        result.Rows.clear();
        result.Error = std::string("Cannot read the elements of \"") + fileName_ + "\": " + e.what();
        // Opened again at the next request: the file may be back or unlocked by then.
        connection.reset();
    }
    return result;
}

void TRowLoader::Read(TConnection& connection, const TRowRequest& request, TRowResult& result) {
    std::string columns = "rowid";
    std::vector<int> sqlColumn(request.Columns.size(), -1);
    int next = 1;
    for (std::size_t c = 0; c < request.Columns.size(); ++c) {
        if (request.Columns[c].FieldName.empty())
            continue;
        columns += ", " + db::QuoteIdent(request.Columns[c].FieldName);
        sqlColumn[c] = next++;
    }
    result.Rows.resize(request.RowIds.size());
    std::unordered_map<db::TBookmark, std::size_t> slot;
    for (std::size_t i = 0; i < request.RowIds.size(); ++i) {
        result.Rows[i].RowId = request.RowIds[i];
        result.Rows[i].Texts.resize(request.Columns.size());
        slot.emplace(request.RowIds[i], i);
    }
    for (std::size_t start = 0; start < request.RowIds.size(); start += kChunk) {
        const std::size_t n = std::min(kChunk, request.RowIds.size() - start);
        std::string sql =
            "SELECT " + columns + " FROM " + db::QuoteIdent(request.TableName) + " WHERE rowid IN (?";
        for (std::size_t i = 1; i < n; ++i)
            sql += ", ?";
        sql += ")";
        if (sql != connection.Sql || !connection.Statement) {
            connection.Statement.reset();
            connection.Statement = std::make_unique<db::TStatement>(connection.Conn.Handle(), sql);
            connection.Sql = std::move(sql);
        }
        db::TStatement& st = *connection.Statement;
        st.Reset();
        for (std::size_t i = 0; i < n; ++i)
            st.Bind(static_cast<int>(i) + 1, request.RowIds[start + i]);
        std::uint64_t read = 0;
        while (st.Step()) {
            ++read;
            auto it = slot.find(st.ColumnInt(0));
            if (it == slot.end())
                continue;
            auto& texts = result.Rows[it->second].Texts;
            for (std::size_t c = 0; c < request.Columns.size(); ++c)
                if (sqlColumn[c] > 0)
                    texts[c] = TDBElementList::DisplayText(request.Columns[c].Type,
                                                           db::ColumnValue(st, sqlColumn[c]));
        }
        st.Reset(); // ends the read, so a writer is not held up by this connection
        rowsRead_ += read;
    }
}

int TRowLoader::OnProgress(void* self) {
    return static_cast<TRowLoader*>(self)->stop_ ? 1 : 0;
}

int TRowLoader::OnBusy(void* self, int attempts) {
    auto* loader = static_cast<TRowLoader*>(self);
    if (loader->stop_ || attempts * kBusyStep >= loader->busyWait_)
        return 0;
    std::this_thread::sleep_for(kBusyStep);
    return 1;
}

} // namespace korvel
