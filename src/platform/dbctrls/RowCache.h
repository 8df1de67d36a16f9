#pragma once

// Rows of a table cursor by position, read in windows: a list shows a screenful at a time, so it keeps a few
// windows around the rows it was asked for and never reads the table as a whole.

#include "platform/db/Table.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace korvel {

class TRowCache {
public:
    static constexpr std::int64_t kWindowRows = 256;
    static constexpr std::size_t kMaxWindows = 4;

    // The row at a 0-based position, reading its window (only the given fields) when it is not cached; the
    // least recently used window makes room. Valid until the next call. nullptr past the end.
    const db::TTable::TRow* Row(db::TTable& table, const std::vector<int>& fieldIndexes, std::int64_t row);
    void Clear() { windows_.clear(); }

    // Rows read from the table, by the windows and by ScanRowIds.
    std::uint64_t RowsRead() const { return rowsRead_; }

    // Calls visit(position, rowid) for the rows first..first+count-1 in cursor order, from the table's
    // positions in chunks, so a huge table never needs a second copy of them.
    void ScanRowIds(db::TTable& table, std::int64_t first, std::int64_t count,
                    const std::function<void(std::int64_t position, db::TBookmark rowid)>& visit);

private:
    struct TWindow {
        std::int64_t First = 0;
        std::vector<db::TTable::TRow> Rows;
        std::uint64_t LastUse = 0;
    };
    std::vector<TWindow> windows_;
    std::uint64_t clock_ = 0;
    std::uint64_t rowsRead_ = 0;
};

} // namespace korvel
