#pragma once

// Reads the rows of an element list's windows on a thread of its own, through its own read-only connection
// to the library file, so the thread that draws never waits for the file. The caller maps positions to
// rowids (the table's order, filter and per-record filter stay in one place) and asks for the rows by rowid;
// the texts come back formatted as TDBElementList::CellText formats them.
//
// Every request carries a generation: whatever the caller knew before a change (a store, a re-sort) has a
// lower one. A newer generation drops the older requests still queued, and the receiver drops answers of
// generations it has left behind, so a stale window never reaches the screen.

#include "platform/db/FieldDefs.h"
#include "platform/db/Table.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace korvel {

struct TLoadColumn {
    // Empty when the table lacks the column's field: the cell stays empty.
    std::string FieldName{};
    db::TFieldType Type = db::TFieldType::String;
};

struct TRowRequest {
    std::uint64_t Generation = 0;
    // Position of the first row, handed back with the result.
    std::int64_t First = 0;
    std::vector<db::TBookmark> RowIds;
    std::string TableName;
    std::vector<TLoadColumn> Columns;
};

struct TLoadedRow {
    db::TBookmark RowId = 0;
    std::vector<std::string> Texts; // one per column
};

struct TRowResult {
    std::uint64_t Generation = 0;
    std::int64_t First = 0;
    // In the order of the request's rowids; a row deleted meanwhile shows empty texts.
    std::vector<TLoadedRow> Rows;
    // Not empty when the rows could not be read (file gone, locked, damaged); Rows is empty then.
    std::string Error;
};

class TRowLoader {
public:
    // Runs on the loader's thread; must not block for long nor destroy the loader.
    using TOnResult = std::function<void(TRowResult result)>;

    // Requests of the newest generation that may wait; older ones are pushed out (a quick scroll passes
    // many windows, and the ones it left are not worth reading).
    static constexpr std::size_t kMaxQueued = 8;

    // The file is opened at the first request, so a missing file is answered, not thrown. busyWait is how
    // long a read waits for a writer's lock before it gives up with an error.
    TRowLoader(std::string fileName, TOnResult onResult,
               std::chrono::milliseconds busyWait = std::chrono::milliseconds(2000));
    // Stops the thread, interrupting a read or a wait for a lock, and joins it; no result is delivered after.
    ~TRowLoader();
    TRowLoader(const TRowLoader&) = delete;
    TRowLoader& operator=(const TRowLoader&) = delete;

    const std::string& FileName() const { return fileName_; }

    // Queues a window; the newest request is read first. Generations never go down. Returns the First of
    // the requests this one pushed out of the queue: they are never answered.
    std::vector<std::int64_t> Request(TRowRequest request);

    // Requests waiting to be read (not the one being read).
    std::size_t Queued() const;

    // Rows read from the file so far.
    std::uint64_t RowsRead() const { return rowsRead_.load(); }

private:
    struct TConnection;

    void Run();
    TRowResult Load(std::unique_ptr<TConnection>& connection, const TRowRequest& request);
    void Read(TConnection& connection, const TRowRequest& request, TRowResult& result);
    static int OnProgress(void* self);
    static int OnBusy(void* self, int attempts);

    const std::string fileName_;
    const TOnResult onResult_;
    const std::chrono::milliseconds busyWait_;
    std::atomic<bool> stop_{false};
    std::atomic<std::uint64_t> rowsRead_{0};
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<TRowRequest> queue_;
    // Last member: started when everything it uses exists.
    std::thread thread_;
};

} // namespace korvel
