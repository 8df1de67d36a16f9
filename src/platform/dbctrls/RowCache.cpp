#include "platform/dbctrls/RowCache.h"

#include <algorithm>

namespace korvel {

namespace {

// Scans read the rowids in chunks, so a huge table never needs them all in memory at once.
constexpr std::int64_t kScanChunk = 8192;

} // namespace

const db::TTable::TRow* TRowCache::Row(db::TTable& table, const std::vector<int>& fieldIndexes,
                                       std::int64_t row) {
    if (row < 0)
        return nullptr;
    const std::int64_t first = row / kWindowRows * kWindowRows;
    auto it =
        std::find_if(windows_.begin(), windows_.end(), [&](const TWindow& w) { return w.First == first; });
    if (it == windows_.end()) {
        TWindow window;
        window.First = first;
        window.Rows = table.ReadRows(first, kWindowRows, fieldIndexes);
        rowsRead_ += window.Rows.size();
        if (windows_.size() >= kMaxWindows) {
            auto oldest =
                std::min_element(windows_.begin(), windows_.end(),
                                 [](const TWindow& a, const TWindow& b) { return a.LastUse < b.LastUse; });
            *oldest = std::move(window);
            it = oldest;
        } else {
            windows_.push_back(std::move(window));
            it = windows_.end() - 1;
        }
    }
    it->LastUse = ++clock_;
    const auto offset = static_cast<std::size_t>(row - first);
    return offset < it->Rows.size() ? &it->Rows[offset] : nullptr;
}

void TRowCache::ScanRowIds(db::TTable& table, std::int64_t first, std::int64_t count,
                           const std::function<void(std::int64_t, db::TBookmark)>& visit) {
    const std::int64_t end = first + count;
    for (std::int64_t from = first; from < end; from += kScanChunk) {
        const auto ids = table.RowIdsAt(from, std::min(kScanChunk, end - from));
        rowsRead_ += ids.size();
        if (ids.empty())
            break;
        for (std::size_t i = 0; i < ids.size(); ++i)
            visit(from + static_cast<std::int64_t>(i), ids[i]);
    }
}

} // namespace korvel
