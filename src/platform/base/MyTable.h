#pragma once

#include "platform/db/Database.h"
#include "platform/db/Table.h"

#include <memory>
#include <string>
#include <vector>

namespace korvel {

// One opened library file with its list of tables; item 0 is the main table. The database object carries
// the full file name and the read-only switch and can delete the file.
class TMyTable {
public:
    explicit TMyTable(std::vector<std::string> tableNames);
    ~TMyTable();
    TMyTable(const TMyTable&) = delete;
    TMyTable& operator=(const TMyTable&) = delete;

    // Binds to the library file folder + fileName. With bindTables, a cursor is made for every table
    // (unopened); tables are opened by Open or by the caller.
    void InitLibX(const std::string& folder, const std::string& fileName,
                  const std::vector<std::string>& tableNames, bool readOnly, bool bindTables);

    db::TTable* GetTable() const { return GetItem(0); }
    db::TTable* GetItem(int i) const;
    int GetCount() const { return static_cast<int>(tables_.size()); }
    // Read-only as bound (System libraries) or as the database is switched.
    bool GetReadOnly() const;

    // Opens every table the file holds; a table the file lacks stays closed.
    void Open();
    void Close();
    // Creates the file with all tables from the declarations filled in by SetFieldIndexDefs. All or
    // nothing: a failure leaves no half-made library behind.
    void CreateDBTable();
    // The file exists and holds the main table.
    bool Exists();

    db::TDatabase& Database() { return *database_; }
    const std::shared_ptr<db::TDatabase>& DatabasePtr() const { return database_; }
    const std::string& Folder() const { return folder_; }
    const std::string& FileName() const { return database_->FileName(); }
    const std::vector<std::string>& TableNamesList() const { return tableNames_; }

private:
    std::vector<std::string> tableNames_;
    std::string folder_;
    bool boundReadOnly_ = false;
    std::shared_ptr<db::TDatabase> database_;
    std::vector<std::unique_ptr<db::TTable>> tables_;
};

// Whether folder holds the kind's library with its main table; the file is only looked at (opened read-only
// when asked), never made.
bool LibraryExists(int libType, const std::string& folder, bool readOnly = true);

// Why a file under the kind's library name in folder is no usable library (damaged, not a library, no
// table of the kind), naming the file; empty when there is no such file or it is a usable library. The file
// is opened for writing only when asked and only after it was read as a library of the kind.
std::string LibraryFileProblem(int libType, const std::string& folder, bool readOnly = true);

} // namespace korvel
