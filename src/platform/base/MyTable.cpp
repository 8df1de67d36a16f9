#include "platform/base/MyTable.h"

#include "platform/Errors.h"
#include "platform/base/LibKinds.h"
#include "platform/settings/PathText.h"

#include <filesystem>

namespace korvel {

TMyTable::TMyTable(std::vector<std::string> tableNames)
    : tableNames_(std::move(tableNames)), database_(std::make_shared<db::TDatabase>()) {}

TMyTable::~TMyTable() {
    try {
        Close();
    } catch (...) {
        // Closing never stores anything; nothing to report from a destructor.
    }
}

void TMyTable::InitLibX(const std::string& folder, const std::string& fileName,
                        const std::vector<std::string>& tableNames, bool readOnly, bool bindTables) {
    Close();
    folder_ = IncludeTrailingSeparator(folder);
    tableNames_ = tableNames;
    boundReadOnly_ = readOnly;
    database_ = std::make_shared<db::TDatabase>(folder_ + fileName);
    database_->SetReadOnly(readOnly);
    tables_.clear();
    if (bindTables) {
        for (const auto& name : tableNames_) {
            tables_.push_back(std::make_unique<db::TTable>(database_, name));
        }
    }
}

db::TTable* TMyTable::GetItem(int i) const {
    if (i < 0 || i >= static_cast<int>(tables_.size())) {
        return nullptr;
    }
    return tables_[static_cast<size_t>(i)].get();
}

bool TMyTable::GetReadOnly() const {
    return boundReadOnly_ || database_->ReadOnly();
}

void TMyTable::Open() {
    database_->Open(false);
    for (auto& t : tables_) {
        if (!t->Active() && database_->TableExists(t->TableName())) {
            t->Open();
        }
    }
}

void TMyTable::Close() {
    for (auto& t : tables_) {
        t->Close();
    }
    if (database_) {
        database_->Close();
    }
}

void TMyTable::CreateDBTable() {
    if (tables_.empty()) {
        throw EKorvelError("No tables are declared for \"" + database_->FileName() + "\"");
    }
    if (GetReadOnly()) {
        throw EKorvelError("The library \"" + database_->FileName() + "\" is read-only");
    }
    bool existed = database_->FileExists();
    try {
        std::filesystem::create_directories(folder_);
        database_->Open(true);
        database_->StartTransaction();
        for (auto& t : tables_) {
            if (!database_->TableExists(t->TableName())) {
                t->CreateTable();
            }
        }
        database_->Commit();
    } catch (...) {
        database_->Rollback();
        if (!existed) {
            try {
                database_->DeleteDatabase();
            } catch (...) {
                // The original failure is the one worth reporting.
            }
        }
        throw;
    }
}

bool TMyTable::Exists() {
    if (!database_->FileExists() || tableNames_.empty()) {
        return false;
    }
    try {
        bool wasActive = database_->Active();
        bool exists = database_->TableExists(tableNames_.front());
        if (!wasActive) {
            database_->Close();
        }
        return exists;
    } catch (const EKorvelError&) {
        return false; // a damaged file holds no usable library
    }
}

bool LibraryExists(int libType, const std::string& folder, bool readOnly) {
    // Opening for writing adds the engine's own tables: a file that is no library of the kind is only read.
    if (!readOnly && !LibraryExists(libType, folder, true))
        return false;
    TMyTable probe(TableNames(libType));
    probe.InitLibX(folder, LibName(libType), TableNames(libType), readOnly, false);
    return probe.Exists();
}

std::string LibraryFileProblem(int libType, const std::string& folder, bool readOnly) {
    const std::string file = IncludeTrailingSeparator(folder) + LibName(libType);
    std::error_code ec;
    if (!std::filesystem::exists(file, ec))
        return {};
    if (!std::filesystem::is_regular_file(file, ec))
        return "\"" + file + "\" is not a library file";
    db::TDatabase probe(file);
    probe.SetReadOnly(true);
    try {
        probe.Open(false);
        const bool hasTable = probe.TableExists(TableNames(libType).front());
        probe.Close();
        if (!hasTable)
            return "\"" + file + "\" holds no table \"" + TableNames(libType).front() +
                   "\": it is not a library of this kind";
        // Opening for writing reads more of the file (its key tables), which a damaged file may fail.
        if (!readOnly) {
            probe.SetReadOnly(false);
            probe.Open(false);
            probe.Close();
        }
    } catch (const EKorvelError& e) {
        return e.what();
    }
    return {};
}

} // namespace korvel
