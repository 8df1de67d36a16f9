// The import command of the directivity editor: the file types offered, the importer each file goes to, and
// the importers of the DOS file RIWIS.DAT, of Paradox tables and of the older tables Riwi.abs and Riwi3D.abs.

#include "directivity/FormRiwiX.h"
#include "editor/ElementCopy.h"
#include "editor/ParadoxImport.h"
#include "platform/Errors.h"
#include "platform/acoustic/LegacyDirectivity.h"
#include "platform/db/Database.h"
#include "platform/db/Table.h"
#include "platform/formats/RiwisFile.h"
#include "platform/log/Log.h"
#include "platform/text/CaseFold.h"
#include "platform/ui/Ui.h"
#include "sound/LegacySchema.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace korvel::directivity {

using namespace acoustic;
namespace fs = std::filesystem;

namespace {

constexpr int kAllBands = 27; // the band of a frequency-independent directivity
constexpr int kDosStep = 10;

std::string FileNameUpper(const std::string& fileName) {
    return AsciiUpper(fs::path(fileName).filename().string());
}

} // namespace

std::string TFormRiwiX::GetImportFilter() {
    const std::string caption = GetCaptionString();
    return "All import files (V4; V6.4; V7.3; *.xls?; *.txt)|"
           "Riwis.dat; Riwi.dB; Riwi.abs; Riwi3d.abs; *.xls?; *.txt|" +
           caption + " V4|Riwis.dat|" + caption + " V6.4|Riwi.dB|" + caption + " V7.3|Riwi.abs|" + caption +
           " V7.3|Riwi3d.abs"
           "|Excel files (*.xls; *.xlsx)|*.xls*|ASCII files (*.txt)|*.txt|All files (*.*)|*.*";
}

void TFormRiwiX::ImportFile(const std::string& fileName) {
    TWaitCursor wait(Ui());
    Host().Log();
    // The log goes with the command, also when an importer fails; the failure reaches the caller.
    struct TLogGuard {
        TFormRiwiX& form;
        ~TLogGuard() {
            form.Host().FreeLog();
            try {
                form.DBList().Invalidate();
                form.RefreshElement();
            } catch (...) {
                // A list that fails to repaint shows stale rows; the import itself is done.
            }
        }
    } guard{*this};
    int count = -1;
    int duplicates = 0;
    int result = 1;
    const std::string name = FileNameUpper(fileName);
    if (name == "RIWIS.DAT") {
        ImportV42(fileName, count, duplicates);
    } else if (name == "RIWI.DB") {
        result = ImportV64(fileName, count, duplicates);
        // The Paradox rows land in an older table beside the file first; from there they come in as such.
        if (result == 1)
            ImportV73(GetCurIndex(), fs::path(fileName).replace_extension(".abs").string(), count, duplicates,
                      false);
    } else if (name == "RIWI.ABS" || name == "RIWI3D.ABS") {
        ImportV73(GetCurIndex(), fileName, count, duplicates, false);
    } else {
        result = ImportAsciiExcel(fileName, count, duplicates);
    }
    if (Host().Log().HasMessages())
        Host().ShowLog(false);
    const std::string summary = ImportSummary(count, duplicates);
    if (!summary.empty() && result == 1)
        Ui().MessageDlg(summary, mtInformation, {mbOK});
}

void TFormRiwiX::ImportV42(const std::string& fileName, int& count, int& duplicates) {
    count = 0;
    duplicates = 0;
    const int tab = GetCurIndex();
    TMyTable* myTable = GetMyTable(tab);
    db::TTable* table = GetMainTable(tab);
    if (!myTable || !table || !table->Active())
        return;
    TDirectivity dir;
    dir.SetDirType(TDirType::Horizontal);
    dir.SetSpecType(TSpecType::SingleValue);
    dir.SetBMinBMax(kAllBands, kAllBands);
    dir.SetStep(kDosStep, kDosStep);

    const TBulkWork bulkWork(*this, tab);
    std::optional<db::TTransaction> transaction;
    std::ifstream in;
    try {
        in.open(fileName, std::ios::binary);
        if (!in)
            throw EKorvelError("The file \"" + fileName + "\" cannot be opened.");
        if (table->Editing())
            table->Post();
        TBulkTag bulk(*table);
        TControlsOff quiet(*table);
        transaction.emplace(myTable->Database());
        std::array<char, formats::kRiwisRecordSize> raw{};
        int recordNo = 0;
        while (true) {
            in.read(raw.data(), static_cast<std::streamsize>(raw.size()));
            const std::streamsize got = in.gcount();
            if (got < static_cast<std::streamsize>(raw.size())) {
                if (got > 0)
                    Host().Log().AddError("\"" + fileName + "\" ends with " + std::to_string(got) +
                                          " bytes that are no whole record; they are left out.");
                break;
            }
            ++recordNo;
            formats::TRiwisRecord rec;
            try {
                rec = formats::DecodeRiwisRecord(
                    TByteSpan(reinterpret_cast<const std::uint8_t*>(raw.data()), raw.size()));
            } catch (const EKorvelError& e) {
                throw EKorvelError("Record " + std::to_string(recordNo) + " of \"" + fileName +
                                   "\": " + e.what());
            }
            // An element without a name cannot be stored; a name taken already stays with its element.
            if (rec.Name.empty())
                continue;
            if (table->SeekKey("EN", {db::TValue(rec.Name)})) {
                ++duplicates;
                continue;
            }
            // The file starts at 10 degrees; its last value (360) is the grid's first column.
            dir.SetValue(0, 0, 0, rec.Werte[formats::kRiwisValues - 1]);
            for (int k = 1; k < formats::kRiwisValues; ++k)
                dir.SetValue(0, 0, k, rec.Werte[static_cast<std::size_t>(k - 1)]);
            dir.CalcLtot();
            TPendingRecord pending(*table);
            table->Append();
            if (db::TField* f = table->FindField("LastChangeDateTime"))
                f->SetAsDateTime(db::Now());
            dir.SaveToLibrary(*table, rec.Name);
            PostOrCancel(*table);
            ++count;
        }
        transaction->Keep();
    } catch (const std::exception& e) {
        // What was stored before the error stays.
        std::string message = std::string("Error in import: ") + e.what();
        if (transaction) {
            try {
                transaction->Keep();
            } catch (const std::exception& c) {
                count = 0;
                message += "\nThe imported elements could not be kept: " + std::string(c.what());
            }
        }
        Ui().MessageDlg(message, mtError, {mbOK});
    }
    table->First();
}

int TFormRiwiX::ImportV64(const std::string& fileName, int& count, int& duplicates) {
    return ImportParadoxAsOlderTable(Ui(), fileName, sound::LegacyRiwiTableDef(), count, duplicates);
}

void TFormRiwiX::ImportV73(int tabIndex, const std::string& fileName, int& count, int& duplicates,
                           bool keepNumbers) {
    TLog& log = Host().Log();
    log.AddInformation("Import of \"" + fileName + "\"");
    count = 0;
    duplicates = 0;
    TMyTable* target = GetMyTable(tabIndex);
    db::TTable* dst = GetMainTable(tabIndex);
    if (!target || !dst || !dst->Active())
        throw EKorvelError("The library to import into is not open.");
    if (dst->Editing())
        dst->Post();
    const bool grids = FileNameUpper(fileName) == "RIWI3D.ABS";

    std::unique_ptr<TMyTable> source = sound::OpenOlderTable(fileName);
    db::TTable& src = *source->GetTable();
    const TBulkWork bulkWork(*this, tabIndex);
    TBulkTag bulk(*dst);
    TControlsOff quiet(*dst);
    db::TDatabase& dstDb = target->Database();
    db::TTransaction transaction(dstDb);
    const std::int64_t total = src.RecordCount();
    std::int64_t done = 0;
    try {
        for (src.First(); !src.Eof(); src.Next()) {
            log.SetProgressOf(++done, total);
            const int srcNo = db::FieldInteger(src, "Eintrag");
            const std::string name = db::FieldString(src, "ElementName");
            if (dst->Locate("ElementName", {db::TValue(name)}, db::loCaseInsensitive)) {
                ++duplicates;
                continue;
            }
            TDirectivity dir;
            try {
                dir = grids ? DirectivityFromGrid(ReadLegacyGrid(src))
                            : DirectivityFromHorizontalCut(ReadLegacyCut(src));
            } catch (const EKorvelError& e) {
                // A damaged record cannot be read by any later try either: it is reported and left out.
                log.AddError(std::string(e.what()) + " It is not imported.");
                continue;
            }
            // The next number is raised to the source's once; a target that used higher numbers already
            // cannot give it back, so the element then keeps the number the target gives (no retry loop).
            if (keepNumbers && srcNo > 0 && srcNo >= dstDb.NextAutoIncValue(dst->TableName()))
                dstDb.RaiseNextAutoIncValue(dst->TableName(), srcNo);
            {
                TPendingRecord pending(*dst);
                dst->Append();
                if (db::TField* f = dst->FindField("Kommentar"))
                    f->SetAsString(db::FieldString(src, "Kommentar"));
                if (db::TField* f = dst->FindField("LastChangeDateTime");
                    f && src.FindField("LastChangeDateTime") &&
                    !src.FieldByName("LastChangeDateTime").IsNull())
                    f->SetValue(src.FieldByName("LastChangeDateTime").Value());
                dir.SaveToLibrary(*dst, name);
                PostOrCancel(*dst);
            }
            ++count;
            const int newNo = dst->FieldByName("Eintrag").AsInteger();
            if (keepNumbers && newNo != srcNo)
                log.AddInformation("Element \"" + name + "\" has number #" + std::to_string(newNo) +
                                   " instead of #" + std::to_string(srcNo) +
                                   ": the library already uses higher numbers");
            else
                log.AddInformation("Element \"" + name + "\", #" + std::to_string(srcNo) + " imported");
        }
    } catch (...) {
        transaction.Keep();
        dst->First();
        throw;
    }
    transaction.Keep();
    dst->First();
}

} // namespace korvel::directivity
