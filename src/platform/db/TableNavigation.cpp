#include "platform/db/Binding.h"
#include "platform/db/Collation.h"
#include "platform/db/DbErrors.h"
#include "platform/db/Schema.h"
#include "platform/db/Table.h"
#include "platform/text/CaseFold.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <sstream>

namespace korvel::db {

namespace {

// Records fetched per step; a walk through the table costs one query per page.
constexpr int kPageSize = 64;

std::vector<std::string> SplitFieldNames(const std::string& text) {
    std::vector<std::string> out;
    std::stringstream in(text);
    std::string part;
    while (std::getline(in, part, ';')) {
        auto b = part.find_first_not_of(' ');
        auto e = part.find_last_not_of(' ');
        if (b != std::string::npos) {
            out.push_back(part.substr(b, e - b + 1));
        }
    }
    return out;
}

} // namespace

void TTable::Invalidate() {
    count_.reset();
    rowIds_.reset();
    position_.reset();
    savedPositions_.reset();
    if (database_ && database_->Active()) {
        localStamp_ = database_->LocalChanges();
        externalStamp_ = database_->ExternalVersion();
    }
}

// Another cursor or another program changed the file: forget counts and positions, and keep only the
// current record, from which the next step starts by key.
void TTable::CheckStamp(bool external) {
    bool changed = database_->LocalChanges() != localStamp_;
    localStamp_ = database_->LocalChanges();
    if (external) {
        std::uint64_t version = database_->ExternalVersion();
        changed = changed || version != externalStamp_;
        externalStamp_ = version;
    }
    if (changed) {
        count_.reset();
        rowIds_.reset();
        position_.reset();
        if (current_ < window_.size()) {
            TRecord keep = std::move(window_[current_]);
            window_.clear();
            window_.push_back(std::move(keep));
            current_ = 0;
        }
    }
}

void TTable::RebuildSql() {
    const TIndexDef* index = indexName_.empty() ? nullptr : defs_.FindIndex(indexName_);
    compiledFilter_.reset();
    if (filtered_ && !filterText_.empty()) {
        TFilterCompileOptions options;
        options.CaseInsensitive = (filterOptions_ & foCaseInsensitive) != 0;
        options.PartialCompare = (filterOptions_ & foNoPartialCompare) == 0;
        compiledFilter_ = CompileFilter(filterText_, defs_, options);
    }
    sql_ =
        std::make_unique<TCursorSql>(tableName_, defs_, index, compiledFilter_ ? &*compiledFilter_ : nullptr);
    seekSql_.reset();
    constexpr std::size_t kMaxStatements = 64; // filters typed one after another make new texts
    const void* connection = database_->Connection().Handle();
    if (connection != statementsConnection_ || statements_.size() > kMaxStatements) {
        statements_.clear();
        statementsConnection_ = connection;
    }
    Invalidate();
}

TStatement& TTable::Prepared(const std::string& sql) {
    auto it = statements_.find(sql);
    if (it == statements_.end()) {
        it = statements_.emplace(sql, std::make_unique<TStatement>(database_->Connection().Handle(), sql))
                 .first;
    }
    it->second->Reset();
    return *it->second;
}

void TTable::BindFilter(TStatement& st, int& index) const {
    if (compiledFilter_) {
        for (const auto& p : compiledFilter_->Params) {
            BindValue(st, index++, p);
        }
    }
}

void TTable::BindKeyset(TStatement& st, int& index, const TRecord& from) const {
    if (!from.Keys.empty()) {
        BindValue(st, index++, from.Keys.front());
    }
    for (const auto& k : from.Keys) {
        BindValue(st, index++, k);
    }
    st.Bind(index++, from.RowId);
}

TRecord TTable::ReadRecord(TStatement& st) const {
    ++recordsFetched_;
    TRecord r;
    r.RowId = st.ColumnInt(0);
    size_t n = sql_->FieldCount();
    r.Values.reserve(n);
    for (size_t i = 0; i < n; ++i) {
        r.Values.push_back(ColumnValue(st, static_cast<int>(i) + 1));
    }
    for (size_t k = 0; k < sql_->KeyCount(); ++k) {
        r.Keys.push_back(ColumnValue(st, static_cast<int>(n + k) + 1));
    }
    return r;
}

bool TTable::Accepts(const TRecord& record) {
    if (!filtered_ || !onFilterRecord_) {
        return true;
    }
    const TRecord* saved = candidate_;
    candidate_ = &record;
    bool accept = false;
    try {
        accept = onFilterRecord_(*this);
    } catch (...) {
        candidate_ = saved;
        throw;
    }
    candidate_ = saved;
    return accept;
}

std::vector<TRecord> TTable::FetchPage(bool forward, const TRecord* from, int limit) {
    std::vector<TRecord> page;
    std::optional<TRecord> cursor;
    if (from) {
        cursor = *from;
    }
    bool perRecord = filtered_ && HasFilterRecord();
    // A per-record test may reject records; keep reading pages until enough are accepted or none remain.
    for (;;) {
        std::string sql = cursor ? (forward ? sql_->After(limit) : sql_->Before(limit))
                                 : (forward ? sql_->First(limit) : sql_->Last(limit));
        TStatement& st = Prepared(sql);
        int index = 1;
        BindFilter(st, index);
        if (cursor) {
            BindKeyset(st, index, *cursor);
        }
        int read = 0;
        while (st.Step()) {
            ++read;
            TRecord r = ReadRecord(st);
            cursor = r;
            if (Accepts(r)) {
                page.push_back(std::move(r));
            }
        }
        st.Reset();
        if (!perRecord || read < limit || static_cast<int>(page.size()) >= limit) {
            break;
        }
    }
    return page;
}

std::optional<TRecord> TTable::FetchOne(const std::string& sql, const std::vector<TValue>& params) {
    TStatement& st = Prepared(sql);
    int index = 1;
    BindFilter(st, index);
    for (const auto& p : params) {
        BindValue(st, index++, p);
    }
    while (st.Step()) {
        TRecord r = ReadRecord(st);
        if (Accepts(r)) {
            st.Reset();
            return r;
        }
    }
    st.Reset();
    return std::nullopt;
}

std::optional<std::int64_t> TTable::FetchRowId(const std::string& sql, const std::vector<TValue>& params) {
    TStatement& st = Prepared(sql);
    int index = 1;
    BindFilter(st, index);
    for (const auto& p : params) {
        BindValue(st, index++, p);
    }
    std::optional<std::int64_t> rowId;
    if (st.Step()) {
        rowId = st.ColumnInt(0);
    }
    st.Reset();
    return rowId;
}

std::optional<TRecord> TTable::FetchByRowId(std::int64_t rowid) {
    TStatement& st = Prepared(sql_->ByRowId());
    st.Bind(1, rowid);
    std::optional<TRecord> out;
    if (st.Step()) {
        out = ReadRecord(st);
    }
    st.Reset();
    return out;
}

void TTable::ShowRecord(TRecord record, std::optional<std::int64_t> position) {
    window_.clear();
    window_.push_back(std::move(record));
    current_ = 0;
    position_ = position;
    bof_ = false;
    eof_ = false;
    Notify(TDataEvent::RecordChange);
}

void TTable::ScrollTo(TRecord record, std::optional<std::int64_t> position) {
    Fire(BeforeScroll);
    ShowRecord(std::move(record), position);
    Fire(AfterScroll);
}

void TTable::ShowNothing() {
    window_.clear();
    current_ = 0;
    bof_ = true;
    eof_ = true;
    position_.reset();
    Notify(TDataEvent::RecordChange);
}

void TTable::First() {
    CheckBrowseMode();
    Fire(BeforeScroll);
    CheckStamp();
    auto page = FetchPage(true, nullptr, kPageSize);
    window_ = std::move(page);
    current_ = 0;
    bof_ = true;
    eof_ = window_.empty();
    position_ = window_.empty() ? std::nullopt : std::optional<std::int64_t>(1);
    Notify(TDataEvent::RecordChange);
    Fire(AfterScroll);
}

void TTable::Last() {
    CheckBrowseMode();
    Fire(BeforeScroll);
    CheckStamp();
    auto page = FetchPage(false, nullptr, kPageSize);
    std::reverse(page.begin(), page.end());
    window_ = std::move(page);
    current_ = window_.empty() ? 0 : window_.size() - 1;
    eof_ = true;
    bof_ = window_.empty();
    position_.reset();
    Notify(TDataEvent::RecordChange);
    Fire(AfterScroll);
}

bool TTable::MoveTo(bool forward) {
    CheckStamp(false);
    if (window_.empty()) {
        bof_ = eof_ = true;
        return false;
    }
    if (forward && current_ + 1 < window_.size()) {
        ++current_;
    } else if (!forward && current_ > 0) {
        --current_;
    } else {
        CheckStamp(true);
        const TRecord& edge = window_[current_];
        auto page = FetchPage(forward, &edge, kPageSize);
        if (page.empty()) {
            (forward ? eof_ : bof_) = true;
            return false;
        }
        if (!forward) {
            std::reverse(page.begin(), page.end());
        }
        window_ = std::move(page);
        current_ = forward ? 0 : window_.size() - 1;
    }
    if (position_) {
        *position_ += forward ? 1 : -1;
    }
    bof_ = eof_ = false;
    return true;
}

void TTable::Next() {
    CheckBrowseMode();
    Fire(BeforeScroll);
    if (MoveTo(true)) {
        Notify(TDataEvent::RecordChange);
        Fire(AfterScroll);
    }
}

void TTable::Prior() {
    CheckBrowseMode();
    Fire(BeforeScroll);
    if (MoveTo(false)) {
        Notify(TDataEvent::RecordChange);
        Fire(AfterScroll);
    }
}

int TTable::MoveBy(int distance) {
    CheckBrowseMode();
    if (distance == 0 || window_.empty()) {
        return 0;
    }
    // Short moves step by key; long ones jump through the ordered rowids.
    if (std::abs(distance) > kPageSize * 4) {
        std::int64_t from = RecNo();
        std::int64_t to = std::clamp<std::int64_t>(from + distance, 1, RecordCount());
        SetRecNo(to);
        return static_cast<int>(to - from);
    }
    Fire(BeforeScroll);
    int moved = 0;
    bool forward = distance > 0;
    for (int i = 0; i < std::abs(distance); ++i) {
        if (!MoveTo(forward)) {
            break;
        }
        moved += forward ? 1 : -1;
    }
    if (moved != 0) {
        Notify(TDataEvent::RecordChange);
        Fire(AfterScroll);
    }
    return moved;
}

bool TTable::IsEmpty() {
    CheckActive();
    if (state_ == TDataSetState::Insert) {
        return false;
    }
    CheckStamp();
    if (!window_.empty()) {
        return false;
    }
    return FetchPage(true, nullptr, 1).empty();
}

void TTable::EnsureRowIds() {
    CheckStamp();
    if (rowIds_) {
        return;
    }
    std::vector<std::int64_t> ids;
    bool perRecord = filtered_ && HasFilterRecord();
    TStatement& st = Prepared(sql_->RowIds(perRecord));
    int index = 1;
    BindFilter(st, index);
    while (st.Step()) {
        if (perRecord) {
            TRecord r = ReadRecord(st);
            if (Accepts(r)) {
                ids.push_back(r.RowId);
            }
        } else {
            ids.push_back(st.ColumnInt(0));
        }
    }
    st.Reset();
    count_ = static_cast<std::int64_t>(ids.size());
    rowIds_ = std::move(ids);
}

std::int64_t TTable::RecordCount() {
    CheckActive();
    CheckStamp();
    if (count_) {
        return *count_;
    }
    if (filtered_ && HasFilterRecord()) {
        EnsureRowIds();
        return *count_;
    }
    TStatement& st = Prepared(sql_->Count());
    int index = 1;
    BindFilter(st, index);
    st.Step();
    count_ = st.ColumnInt(0);
    st.Reset();
    return *count_;
}

std::int64_t TTable::RecNo() {
    CheckActive();
    if (state_ == TDataSetState::Insert || window_.empty()) {
        return 0;
    }
    CheckStamp();
    if (position_) {
        return *position_;
    }
    const TRecord& cur = window_[current_];
    // Positions a list has read answer from memory; counting by key would read the index up to here.
    if (rowIds_ || (filtered_ && HasFilterRecord())) {
        EnsureRowIds();
        const auto begin = rowIds_->begin(), end = rowIds_->end();
        auto it = end;
        // In number order the positions are sorted, so a million of them take a few steps, not a pass.
        const TIndexDef* index = indexName_.empty() ? nullptr : defs_.FindIndex(indexName_);
        if (!index || schema::IsRowIdIndex(defs_, *index)) {
            it = index && index->Has(ixDescending) ? std::lower_bound(begin, end, cur.RowId, std::greater<>())
                                                   : std::lower_bound(begin, end, cur.RowId);
            if (it != end && *it != cur.RowId)
                it = end;
        } else {
            it = std::find(begin, end, cur.RowId);
        }
        position_ = it == end ? 0 : (it - begin) + 1;
        return *position_;
    }
    TStatement& st = Prepared(sql_->CountBefore());
    int index = 1;
    BindFilter(st, index);
    BindKeyset(st, index, cur);
    st.Step();
    position_ = st.ColumnInt(0) + 1;
    st.Reset();
    return *position_;
}

void TTable::SetRecNo(std::int64_t recNo) {
    CheckBrowseMode();
    EnsureRowIds();
    if (recNo < 1 || recNo > static_cast<std::int64_t>(rowIds_->size())) {
        return;
    }
    auto record = FetchByRowId((*rowIds_)[static_cast<size_t>(recNo - 1)]);
    if (!record) {
        return;
    }
    ScrollTo(std::move(*record), recNo);
}

void TTable::Refresh() {
    CheckBrowseMode();
    Invalidate();
    if (window_.empty()) {
        First();
        return;
    }
    ShowCurrentAgain();
    Notify(TDataEvent::DataSetChange);
}

void TTable::ShowCurrentAgain() {
    TRecord cur = window_[current_];
    auto again = FetchByRowId(cur.RowId);
    if (again && Accepts(*again)) {
        ShowRecord(std::move(*again), std::nullopt);
    } else {
        Reposition(cur);
    }
}

void TTable::AfterRollback() noexcept {
    if (!Active()) {
        return;
    }
    try {
        Invalidate();
        if (!window_.empty()) {
            ShowCurrentAgain();
        }
    } catch (...) {
        // The connection failed as well: show nothing rather than a record that may not exist.
        window_.clear();
        current_ = 0;
        bof_ = eof_ = true;
        position_.reset();
    }
}

// After the current record vanished: show the one that followed it, else the one before, else nothing.
void TTable::Reposition(const TRecord& gone) {
    auto after = FetchPage(true, &gone, kPageSize);
    if (!after.empty()) {
        window_ = std::move(after);
        current_ = 0;
        bof_ = eof_ = false;
        position_.reset();
        Notify(TDataEvent::RecordChange);
        return;
    }
    auto before = FetchPage(false, &gone, 1);
    if (!before.empty()) {
        window_ = std::move(before);
        current_ = 0;
        bof_ = false;
        eof_ = true;
        position_.reset();
        Notify(TDataEvent::RecordChange);
        return;
    }
    ShowNothing();
}

TBookmark TTable::GetBookmark() const {
    return window_.empty() ? 0 : window_[current_].RowId;
}

bool TTable::BookmarkValid(TBookmark bookmark) {
    auto r = FetchByRowId(bookmark);
    return r && Accepts(*r);
}

bool TTable::GotoBookmark(TBookmark bookmark) {
    CheckBrowseMode();
    auto r = FetchByRowId(bookmark);
    if (!r || !Accepts(*r)) {
        return false;
    }
    ScrollTo(std::move(*r), std::nullopt);
    return true;
}

void TTable::SetIndexName(const std::string& name) {
    if (SameName(name, indexName_)) {
        return;
    }
    const TIndexDef* idx = nullptr;
    if (!name.empty()) {
        idx = defs_.FindIndex(name);
        if (!idx && Active()) {
            throw EDatabaseError("The table \"" + tableName_ + "\" has no index \"" + name + "\"");
        }
    }
    const std::string previous = indexName_;
    indexName_ = idx ? idx->Name : name;
    if (!Active()) {
        return;
    }
    CheckBrowseMode();
    std::optional<std::int64_t> keep;
    if (!window_.empty()) {
        keep = window_[current_].RowId;
    }
    // The positions of the order left are kept for a switch back; those of the order taken come back when
    // they were kept and nothing changed since.
    std::optional<TSavedPositions> back = std::move(savedPositions_);
    std::optional<TSavedPositions> leaving;
    CheckStamp();
    if (rowIds_) {
        leaving = TSavedPositions{previous, std::move(*rowIds_), localStamp_, externalStamp_};
    }
    RebuildSql();
    if (back && SameName(back->Index, indexName_) && back->Local == localStamp_ &&
        back->External == externalStamp_) {
        count_ = static_cast<std::int64_t>(back->RowIds.size());
        rowIds_ = std::move(back->RowIds);
    }
    savedPositions_ = std::move(leaving);
    // The current record stays current; only its neighbours change.
    if (keep) {
        if (auto r = FetchByRowId(*keep)) {
            ShowRecord(std::move(*r), std::nullopt);
        }
    }
    Notify(TDataEvent::DataSetChange);
}

std::vector<TTable::KeyKind> TTable::SearchKeyKinds() const {
    std::vector<KeyKind> kinds;
    const TIndexDef* idx = indexName_.empty() ? nullptr : defs_.FindIndex(indexName_);
    if (!idx || schema::IsRowIdIndex(defs_, *idx)) {
        kinds.push_back(KeyKind::RowId);
        return kinds;
    }
    for (const auto& name : idx->Fields) {
        const TFieldDef* f = defs_.FindField(name);
        if (f->DataType == TFieldType::AutoInc) {
            kinds.push_back(KeyKind::RowId);
        } else if (f->DataType == TFieldType::String && idx->Has(ixCaseInsensitive)) {
            kinds.push_back(KeyKind::Collation);
        } else if (IsTextType(f->DataType) || f->DataType == TFieldType::DateTime) {
            kinds.push_back(KeyKind::Text);
        } else {
            kinds.push_back(KeyKind::Numeric);
        }
    }
    return kinds;
}

TValue TTable::KeyValue(KeyKind kind, const TValue& value, const TFieldDef* field) const {
    TValue v = value;
    if (field && !IsNull(v)) {
        v = ConvertToField(*field, v);
    }
    switch (kind) {
    case KeyKind::Collation: {
        const auto* s = std::get_if<std::string>(&v);
        return CollationKey(s ? *s : std::string());
    }
    case KeyKind::Text:
        return IsNull(v) ? TValue{std::string()} : v;
    case KeyKind::Numeric:
        return IsNull(v) ? TValue{-std::numeric_limits<double>::infinity()} : v;
    case KeyKind::RowId:
        return IsNull(v) ? TValue{std::int64_t{0}} : v;
    }
    return v;
}

std::vector<TValue> TTable::KeyParams(const std::vector<TValue>& keyValues, const char* operation) const {
    auto kinds = SearchKeyKinds();
    if (keyValues.empty() || keyValues.size() > kinds.size()) {
        throw EDatabaseError(std::string(operation) + " needs between 1 and " + std::to_string(kinds.size()) +
                             " key values");
    }
    const TIndexDef* idx = indexName_.empty() ? nullptr : defs_.FindIndex(indexName_);
    std::vector<TValue> params;
    for (size_t i = 0; i < keyValues.size(); ++i) {
        const TFieldDef* f = idx ? defs_.FindField(idx->Fields[i]) : &defs_.Fields.front();
        params.push_back(KeyValue(kinds[i], keyValues[i], f));
    }
    return params;
}

bool TTable::FindKey(const std::vector<TValue>& keyValues) {
    CheckBrowseMode();
    auto params = KeyParams(keyValues, "FindKey");
    CheckStamp();
    auto found = FetchOne(sql_->ExactKey(params.size()), params);
    if (!found) {
        return false;
    }
    ScrollTo(std::move(*found), std::nullopt);
    return true;
}

std::optional<TBookmark> TTable::SeekKey(const std::string& indexName, const std::vector<TValue>& keyValues) {
    return SeekOnIndex(indexName, keyValues, false);
}

std::optional<TBookmark> TTable::SeekNearest(const std::string& indexName,
                                             const std::vector<TValue>& keyValues) {
    return SeekOnIndex(indexName, keyValues, true);
}

std::optional<TBookmark> TTable::SeekOnIndex(const std::string& indexName,
                                             const std::vector<TValue>& keyValues, bool nearest) {
    CheckBrowseMode();
    const TIndexDef* idx = defs_.FindIndex(indexName);
    if (!idx) {
        throw EDatabaseError("The table \"" + tableName_ + "\" has no index \"" + indexName + "\"");
    }
    auto seek = [&]() -> std::optional<TBookmark> {
        auto params = KeyParams(keyValues, nearest ? "SeekNearest" : "SeekKey");
        CheckStamp();
        std::optional<std::int64_t> rowId;
        if (!(filtered_ && HasFilterRecord())) {
            // No per-record test: the index answers alone.
            rowId = FetchRowId(sql_->KeyRowId(params.size(), !nearest), params);
        } else if (auto found = nearest ? FetchOne(sql_->NearestKey(params.size()), params)
                                        : FetchOne(sql_->ExactKey(params.size()), params)) {
            rowId = found->RowId;
        }
        if (!rowId && nearest) {
            // Past the last key: the last record of that order, as FindNearest shows it.
            if (auto last = FetchOne(sql_->Last(1), {}))
                rowId = last->RowId;
        }
        return rowId ? std::optional<TBookmark>(*rowId) : std::nullopt;
    };
    if (SameName(idx->Name, indexName_)) {
        return seek();
    }
    // The key parameters and the records read follow the searched index while the search runs. Its
    // statements are kept for the next search on that index (bulk work checks a name per element).
    if (!seekSql_ || !SameName(seekIndex_, idx->Name)) {
        seekSql_ = std::make_unique<TCursorSql>(tableName_, defs_, idx,
                                                compiledFilter_ ? &*compiledFilter_ : nullptr);
        seekIndex_ = idx->Name;
    }
    std::unique_ptr<TCursorSql> own = std::move(sql_);
    const std::string ownIndex = indexName_;
    auto restore = [&] {
        seekSql_ = std::move(sql_);
        sql_ = std::move(own);
        indexName_ = ownIndex;
    };
    std::optional<TBookmark> found;
    try {
        indexName_ = idx->Name;
        sql_ = std::move(seekSql_);
        found = seek();
    } catch (...) {
        restore();
        throw;
    }
    restore();
    return found;
}

void TTable::FindNearest(const std::vector<TValue>& keyValues) {
    CheckBrowseMode();
    auto params = KeyParams(keyValues, "FindNearest");
    CheckStamp();
    auto found = FetchOne(sql_->NearestKey(params.size()), params);
    if (!found) {
        Last();
        return;
    }
    ScrollTo(std::move(*found), std::nullopt);
}

bool TTable::Locate(const std::string& fieldNames, const std::vector<TValue>& values, unsigned options) {
    CheckBrowseMode();
    auto names = SplitFieldNames(fieldNames);
    if (names.empty() || names.size() != values.size()) {
        throw EDatabaseError("Locate needs one value per field");
    }
    bool caseInsensitive = (options & loCaseInsensitive) != 0;
    bool partial = (options & loPartialKey) != 0;
    std::string cond;
    std::vector<TValue> params;
    for (size_t i = 0; i < names.size(); ++i) {
        TField& field = FieldByName(names[i]);
        const TFieldDef& def = field.Def();
        std::string column = QuoteIdent(def.Name);
        std::string term;
        TValue v = field.Convert(values[i]);
        bool textual = IsTextType(def.DataType);
        bool keyed = std::any_of(keyedFields_.begin(), keyedFields_.end(),
                                 [&](const std::string& k) { return SameName(k, def.Name); });
        if (IsNull(v)) {
            term = column + " IS NULL";
        } else if (textual && partial) {
            std::string prefix = std::get<std::string>(v);
            if (caseInsensitive) {
                prefix = FoldCase(prefix);
                column = "korvel_fold(" + column + ")";
            }
            term = "substr(" + column + ", 1, " + std::to_string(CodePointCount(prefix)) + ") = ?";
            params.push_back(prefix);
        } else if (textual && caseInsensitive && keyed) {
            // The stored collation key answers through the index, fast even on a million names.
            term = QuoteIdent(schema::KeyColumn(def.Name)) + " = ?";
            params.push_back(CollationKey(std::get<std::string>(v)));
        } else if (textual && caseInsensitive) {
            term = "korvel_fold(" + column + ") = ?";
            params.push_back(FoldCase(std::get<std::string>(v)));
        } else {
            term = column + " = ?";
            params.push_back(v);
        }
        cond += (cond.empty() ? "" : " AND ") + term;
    }
    CheckStamp();
    auto found = FetchOne(sql_->FirstWhere(cond), params);
    if (!found) {
        return false;
    }
    ScrollTo(std::move(*found), std::nullopt);
    return true;
}

void TTable::SetFilter(const std::string& text) {
    if (text == filterText_) {
        return;
    }
    filterText_ = text;
    ReapplyFilter();
}

void TTable::SetFiltered(bool filtered) {
    if (filtered == filtered_) {
        return;
    }
    filtered_ = filtered;
    if (Active()) {
        CheckBrowseMode();
        try {
            RebuildSql();
        } catch (...) {
            filtered_ = false;
            RebuildSql();
            throw;
        }
        First();
    }
}

void TTable::SetFilterOptions(unsigned options) {
    if (options == filterOptions_) {
        return;
    }
    filterOptions_ = options;
    ReapplyFilter();
}

void TTable::ReapplyFilter() {
    if (Active() && filtered_) {
        CheckBrowseMode();
        RebuildSql();
        First();
    }
}

void TTable::SetOnFilterRecord(TFilterRecord callback) {
    onFilterRecord_ = std::move(callback);
    if (Active() && filtered_) {
        Invalidate();
        First();
    }
}

std::vector<TTable::TRow> TTable::ReadRows(std::int64_t first, std::int64_t count,
                                           const std::vector<int>& fieldIndexes) {
    CheckActive();
    EnsureRowIds();
    std::vector<TRow> rows;
    auto total = static_cast<std::int64_t>(rowIds_->size());
    if (first < 0 || first >= total || count <= 0) {
        return rows;
    }
    count = std::min(count, total - first);
    std::string columns = "rowid";
    for (int i : fieldIndexes) {
        columns += ", " + QuoteIdent(Fields(i).FieldName());
    }
    rows.resize(static_cast<size_t>(count));
    // Rowids are bound in chunks: SQLite builds may allow as few as 32766 parameters in one statement.
    constexpr std::int64_t kChunk = 512;
    for (std::int64_t start = 0; start < count; start += kChunk) {
        const std::int64_t n = std::min(kChunk, count - start);
        std::string sql = "SELECT " + columns + " FROM " + QuoteIdent(tableName_) + " WHERE rowid IN (";
        for (std::int64_t i = 0; i < n; ++i) {
            sql += i ? ", ?" : "?";
        }
        sql += ")";
        TStatement st(database_->Connection().Handle(), sql);
        std::map<std::int64_t, size_t> slot;
        for (std::int64_t i = 0; i < n; ++i) {
            std::int64_t id = (*rowIds_)[static_cast<size_t>(first + start + i)];
            st.Bind(static_cast<int>(i) + 1, id);
            slot[id] = static_cast<size_t>(start + i);
            rows[static_cast<size_t>(start + i)].RowId = id;
        }
        while (st.Step()) {
            auto& row = rows[slot[st.ColumnInt(0)]];
            for (size_t c = 0; c < fieldIndexes.size(); ++c) {
                row.Values.push_back(ColumnValue(st, static_cast<int>(c) + 1));
            }
        }
    }
    // A row deleted meanwhile by another program reads as empty rather than shifting the window.
    for (auto& row : rows) {
        row.Values.resize(fieldIndexes.size());
    }
    return rows;
}

std::vector<TBookmark> TTable::RowIdsAt(std::int64_t first, std::int64_t count) {
    CheckActive();
    EnsureRowIds();
    const auto total = static_cast<std::int64_t>(rowIds_->size());
    if (first < 0 || first >= total || count <= 0) {
        return {};
    }
    const auto begin = rowIds_->begin() + first;
    return std::vector<TBookmark>(begin, begin + std::min(count, total - first));
}

} // namespace korvel::db
