// Bringing older assessments in: the binary files of the old version ("Limi.*", one element each), and the
// previous version's three tables, converted when a Global or Project folder has them and no library yet.

#include "assessment/AssessmentLegacy.h"
#include "assessment/BewertungForm.h"
#include "editor/ElementCopy.h"
#include "platform/Errors.h"
#include "platform/db/Collation.h"
#include "platform/db/Database.h"
#include "platform/db/Sqlite.h"
#include "platform/db/Table.h"
#include "platform/formats/LimiFile.h"
#include "platform/log/Log.h"
#include "platform/ui/Ui.h"
#include "sound/LegacySchema.h"

#include <filesystem>

namespace fs = std::filesystem;

namespace korvel::assessment {

namespace {

// What the database engine finds wrong with an older file; empty when it is sound.
std::string OlderFileDamage(TMyTable& older) {
    try {
        db::TStatement check(older.Database().Connection().Handle(), "PRAGMA integrity_check");
        std::string found;
        while (check.Step()) {
            const std::string line = check.ColumnText(0);
            if (line != "ok")
                found += (found.empty() ? "" : "; ") + line;
        }
        return found;
    } catch (const std::exception& e) {
        return e.what();
    }
}

// A name that no element of main has: "*" appended while one has it, within the field's 40 characters.
std::string FreeName(db::TTable& main, std::string name) {
    while (main.Locate("ElementName", {db::TValue(name)}, db::loCaseInsensitive)) {
        if (db::CodePointCount(name) < 40) {
            name += '*';
            continue;
        }
        const std::size_t last = name.find_last_not_of('*');
        if (last == std::string::npos)
            throw EKorvelError("No free name is left for \"" + name + "\"");
        // The last character goes (all its UTF-8 bytes) to make room for the star.
        std::size_t start = last;
        while (start > 0 && (static_cast<unsigned char>(name[start]) & 0xC0) == 0x80)
            --start;
        name.replace(start, last - start + 1, "*");
    }
    return name;
}

// A range of the older file: the hours from begin to end o'clock, over midnight when end is not after begin.
acoustic::TZeitBereich OlderRange(const std::string& name, const std::string& shortName, int begin, int end) {
    acoustic::TZeitBereich r;
    r.SetAssessType(0);
    r.Name = name;
    r.Short = shortName;
    r.Hours.fill(false);
    if (end > begin) {
        for (int k = begin + 1; k <= end; ++k)
            r.Hours[static_cast<std::size_t>(k)] = true;
        r.TBewert = static_cast<float>(end - begin);
    } else {
        for (int k = begin + 1; k <= acoustic::kHoursPerDay; ++k)
            r.Hours[static_cast<std::size_t>(k)] = true;
        for (int k = 1; k <= end; ++k)
            r.Hours[static_cast<std::size_t>(k)] = true;
        r.TBewert = static_cast<float>(end + 24 - begin);
    }
    r.withPenalties = true;
    return r;
}

void SetLimits(acoustic::TZeitBereich& r, const std::array<float, formats::kLimiUsageAreas + 1>& limits) {
    for (int i = 1; i <= kUsageCount; ++i)
        r.Limits[static_cast<std::size_t>(i)] = limits[static_cast<std::size_t>(i)];
}

void AppendRange(db::TTable& ranges, const acoustic::TZeitBereich& r, int elementNumber) {
    ranges.Append();
    r.WriteToTable(ranges, elementNumber);
    ranges.Post();
}

} // namespace

std::string TBewertungForm::GetImportFilter() {
    return GetCaptionString() + " V4|Limi.*";
}

void TBewertungForm::ImportFile(const std::string& fileName) {
    readBewDB(fileName);
    if (db::TTable* table = CurrentTable(); table && table->Active())
        table->Refresh();
}

void TBewertungForm::readBewDB(const std::string& fileName) {
    const int tab = GetCurIndex();
    TMyTable* myTable = GetMyTable(tab);
    if (!myTable || !myTable->GetTable() || !myTable->GetTable()->Active() || TabReadOnly(tab))
        throw EKorvelError("The library to import into is not open for writing.");
    // The whole file is read before anything is written: a damaged file changes nothing.
    const formats::TLimiFile file = formats::ReadLimiFile(fileName);
    for (const std::string& warning : file.Warnings)
        Host().Log().AddInformation(warning);

    db::TTable& main = *myTable->GetItem(kMainItem);
    db::TTable& ranges = *myTable->GetItem(kRangesItem);
    db::TTable& additions = *myTable->GetItem(kAdditionsItem);
    if (main.Editing())
        StoreCurrent();
    const TBulkWork bulkWork(*this, tab);
    TBulkTag bulk(main);
    db::TTransaction transaction(myTable->Database());
    const std::string name = FreeName(main, file.Name);
    {
        TPendingRecord pending(main);
        main.Append();
        main.FieldByName("ElementName").SetAsString(name);
        PostOrCancel(main);
    }
    const int number = main.FieldByName("Eintrag").AsInteger();
    GebieteNeu(additions, number);
    FilterToElement(ranges, number);
    if (!file.HasHeader) {
        // Without its own ranges the file holds the limits of the day, the night and a special period.
        const struct {
            const char* Name;
            int Begin, End, Set;
        } periods[] = {{"Day", 6, 22, 1}, {"Night", 22, 6, 2}, {"Special", 0, 24, 3}};
        for (const auto& p : periods) {
            acoustic::TZeitBereich r = OlderRange(p.Name, p.Name, p.Begin, p.End);
            SetLimits(r, file.LimitSet(p.Set));
            AppendRange(ranges, r, number);
        }
    } else {
        int rangeCount = 0;
        for (const formats::TLimiRecordRef& ref : file.Order) {
            if (ref.Kind == formats::TLimiRecordKind::Range) {
                const formats::TLimiRange& b = file.Ranges[ref.Index];
                // A range without a short of its own is shown by its name, so its tab is not blank.
                acoustic::TZeitBereich r =
                    OlderRange(b.Name, b.Short.empty() ? b.Name : b.Short, b.Begin, b.End);
                r.loudestN = static_cast<std::uint8_t>(b.LoudestN);
                // The file has limits for three ranges; later ones have none.
                if (++rangeCount <= formats::kLimiLimitSets)
                    SetLimits(r, file.LimitSet(rangeCount));
                AppendRange(ranges, r, number);
            } else if (const formats::TLimiUsage& d = file.Usages[ref.Index]; d.Additions) {
                WriteToGebTable(additions, number, d.Usage, *d.Additions);
            }
        }
    }
    transaction.Keep();
    Host().Log().AddInformation("\"" + fileName + "\" imported as \"" + name + "\"");
}

void TBewertungForm::CheckUpdate(int tabIndex) {
    TMyTable* myTable = GetMyTable(tabIndex);
    if (!myTable || GetPathType(tabIndex) == TLibPathType::System || TabReadOnly(tabIndex))
        return;
    db::TTable* main = myTable->GetTable();
    if (!main || !main->Active() || !main->IsEmpty() || !HasOlderLibrary(myTable->Folder()))
        return;
    // All or nothing: a conversion that fails or is aborted leaves the library empty and the older files in
    // place, so the next opening converts again.
    RunLibraryUpdate(tabIndex, [&] {
        ImportV74(tabIndex);
        if (Host().Log().Cancelled())
            throw EKorvelError("the conversion was aborted");
    });
}

void TBewertungForm::ImportV74(int tabIndex) {
    TMyTable* myTable = GetMyTable(tabIndex);
    if (!myTable)
        return;
    const std::string folder = myTable->Folder();
    TLog& log = Host().Log();
    log.AddInformation("Converting the assessment library of \"" + folder + "\"");

    const TUsages usages =
        ReadOlderProjectUsages(folder, ReadUsagesFromLib(folder)).value_or(Usages(tabIndex));
    SetUsages(tabIndex, usages);

    std::unique_ptr<TMyTable> older[3];
    const char* files[3] = {kOlderMainFile, kOlderRangesFile, kOlderAdditionsFile};
    for (int i = 0; i < 3; ++i) {
        older[i] = sound::OpenOlderTable((fs::path(folder) / files[i]).string());
        // The older files are only read, never changed: damage is reported and the readable rows are taken.
        if (const std::string damage = OlderFileDamage(*older[i]); !damage.empty())
            log.AddError("\"" + older[i]->FileName() + "\" is damaged (" + damage +
                         "); the elements that can still be read are converted.");
    }
    db::TTable& oldMain = *older[0]->GetTable();
    db::TTable& oldRanges = *older[1]->GetTable();
    db::TTable& oldAdditions = *older[2]->GetTable();

    db::TTable& main = *myTable->GetItem(kMainItem);
    db::TTable& ranges = *myTable->GetItem(kRangesItem);
    db::TTable& additions = *myTable->GetItem(kAdditionsItem);
    const TBulkWork bulkWork(*this, tabIndex);
    TBulkTag bulk(main);
    TControlsOff quiet(main);
    const std::int64_t total = oldMain.RecordCount();
    std::int64_t done = 0;
    int count = 0;
    for (oldMain.First(); !oldMain.Eof(); oldMain.Next()) {
        log.SetProgressOf(++done, total);
        Host().ProcessMessages();
        if (log.Cancelled())
            break;
        TBewertungDataSet data;
        try {
            data.Read(oldMain, oldRanges, oldAdditions);
        } catch (const std::exception& e) {
            log.AddError("Element #" + std::to_string(done) + " cannot be read: " + e.what());
            continue;
        }
        log.AddInformation("Element \"" + data.ElementName + "\"");
        if (main.Locate("ElementName", {db::TValue(data.ElementName)}, db::loCaseInsensitive)) {
            log.AddInformation("\"" + data.ElementName + "\" exists already; it is left out.");
            continue;
        }
        data.EnsureRange();
        {
            TPendingRecord pending(main);
            main.Append();
            main.FieldByName("ElementName").SetAsString(data.ElementName);
            if (db::TField* f = main.FindField("Kommentar"); f && oldMain.FindField("Kommentar"))
                f->SetAsString(db::FieldString(oldMain, "Kommentar"));
            PostOrCancel(main);
        }
        data.WriteFor(main.FieldByName("Eintrag").AsInteger(), ranges, additions);
        ++count;
    }
    log.AddInformation(std::to_string(count) + (count == 1 ? " assessment" : " assessments") + " converted");
}

} // namespace korvel::assessment
