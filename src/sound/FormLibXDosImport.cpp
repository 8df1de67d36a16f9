// Import of the DOS generation of the sound library: an index file, a data file and a group file of fixed
// records (platform/formats/DosLibFiles.h).

#include "editor/ElementCopy.h"
#include "platform/Errors.h"
#include "platform/base/Bands.h"
#include "platform/db/Table.h"
#include "platform/formats/DosLibFiles.h"
#include "platform/ui/Ui.h"
#include "sound/FormLibX.h"
#include "sound/SoundSchema.h"

#include <cmath>
#include <fstream>
#include <iterator>
#include <optional>

namespace korvel::sound {

using namespace acoustic;

namespace {

// The import's one transaction and the elements stored in it. A program stopped half-way leaves none of
// the file's elements; an error ends the import and keeps what was stored before it. Commits happen only by
// call, so that a failing one is reported; one left open (or failed) is rolled back.
class TBatch {
public:
    explicit TBatch(db::TDatabase& database) : database_(database) { Start(); }
    ~TBatch() {
        if (open_)
            Abandon();
    }
    TBatch(const TBatch&) = delete;
    TBatch& operator=(const TBatch&) = delete;

    void Stored() { ++pending_; }
    // On failure the batch is rolled back and its elements counted as lost before the error travels on.
    void Commit() {
        if (!open_)
            return;
        try {
            database_.Commit();
        } catch (...) {
            lost_ += pending_;
            Abandon();
            throw;
        }
        open_ = false;
        pending_ = 0;
    }
    bool Open() const { return open_; }
    // Elements that were stored but went with a failed commit.
    int Lost() const { return lost_; }

private:
    void Start() {
        database_.StartTransaction();
        open_ = true;
    }
    void Abandon() noexcept {
        open_ = false;
        pending_ = 0;
        try {
            database_.Rollback();
        } catch (...) {
            // The file is gone or damaged; the error that led here is shown already.
        }
    }

    db::TDatabase& database_;
    bool open_ = false;
    int pending_ = 0;
    int lost_ = 0;
};

} // namespace

std::vector<std::string> TFormLibX::ImportDosGroupTable(const std::string& fileName) {
    const int tab = GetCurIndex();
    TMyTable* myTable = GetMyTable(tab);
    db::TTable* groups = myTable && myTable->GetCount() > 1 ? myTable->GetItem(1) : nullptr;
    if (!groups || !groups->Active())
        return {};
    std::ifstream in(formats::DosGroupFileName(fileName, LibType()), std::ios::binary);
    if (!in)
        return {};
    const TBlob bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (groups->Editing())
        groups->Post();
    groups->SetIndexName("EN");
    std::vector<std::string> names = formats::DecodeDosGroupFile(bytes);
    for (const std::string& name : names)
        if (!name.empty())
            SetGroupValue(tab, name); // appends only a name the table lacks
    return names;
}

void TFormLibX::ImportV42(const std::string& fileName, int& count, int& duplicates) {
    count = 0;
    duplicates = 0;
    const int tab = GetCurIndex();
    TMyTable* myTable = GetMyTable(tab);
    db::TTable* table = GetMainTable(tab);
    if (!myTable || !table || !table->Active())
        return;
    const double noValue = formats::DosNoValueLevel(LibType());
    // The data file stays open and the group file is read once: both are read record by record below.
    formats::TDosRecordFile dataFile(formats::DosDataFileName(fileName, LibType()),
                                     formats::kDosDataRecordSize);
    const TBulkWork bulkWork(*this, tab);
    std::optional<TBatch> batch;
    try {
        const std::vector<std::string> groupNames = ImportDosGroupTable(fileName);
        std::ifstream in(fileName, std::ios::binary);
        if (!in)
            throw EKorvelError("The file \"" + fileName + "\" cannot be opened.");
        if (table->Editing())
            table->Post();
        TBulkTag bulk(*table);
        TControlsOff quiet(*table);
        batch.emplace(myTable->Database());
        std::array<char, formats::kDosIndexRecordSize> raw{};
        while (in.read(raw.data(), static_cast<std::streamsize>(raw.size())) &&
               in.gcount() == static_cast<std::streamsize>(raw.size())) {
            const formats::TDosIndexRecord index = formats::DecodeDosIndexRecord(
                TByteSpan(reinterpret_cast<const std::uint8_t*>(raw.data()), raw.size()));
            if (index.Name.empty())
                continue;
            if (table->SeekKey("EN", {db::TValue(index.Name)})) {
                ++duplicates;
                continue;
            }
            formats::TDosDataRecord data;
            if (formats::ReadDosDataRecord(index.Entry, data, dataFile) != 0)
                continue;

            std::unique_ptr<TCustomLibSpectrum> element = CreateLibSpectrum(LibType());
            if (LibType() != kAttenuationLibType)
                element->Color = RandomElementColor();
            for (int i = 0; i < kGroupSlots; ++i) {
                const auto record = static_cast<std::size_t>(index.Groups[static_cast<std::size_t>(i)]);
                if (record > 0 && record <= groupNames.size())
                    element->Groups[static_cast<std::size_t>(i)] = GetGroupNo(tab, groupNames[record - 1]);
            }
            std::string comment;
            for (const std::string& line : data.Comment)
                comment += line + "\r";

            TBandValues bands;
            bands.fill(kEmptyBandLevel);
            for (int k = 0; k < formats::kDosThirdOctaves; ++k) {
                const double v = data.ThirdOctaves[static_cast<std::size_t>(k)];
                bands[static_cast<std::size_t>(formats::kDosFirstBand + k)] =
                    v > noValue ? std::round(v * 1000.0) / 1000.0 : kEmptyBandLevel;
            }
            if (auto* e = dynamic_cast<TEmisLibSpectrum*>(element.get())) {
                e->SetdBX(data.KennChar[0]);
                e->EmisRef = data.KennChar[1] == 'A' ? TEmisRef::PerUnit : TEmisRef::PerLengthOrArea;
            }
            element->SetFromBands(bands);
            if (auto* t = dynamic_cast<TTransLibSpectrum*>(element.get()))
                (void)t->RechneRwCCtr(); // a spectrum too narrow to rate keeps 0

            TPendingRecord pending(*table);
            table->Append();
            table->FieldByName("ElementName").SetAsString(index.Name);
            if (db::TField* f = table->FindField("Kommentar"))
                f->SetAsString(f->AsString() + comment);
            if (db::TField* f = table->FindField("LastChangeDateTime"))
                f->SetAsDateTime(db::Now());
            element->SaveToLibrary(*myTable, index.Name);
            PostOrCancel(*table);
            ++count;
            batch->Stored();
        }
        batch->Commit();
    } catch (const std::exception& e) {
        // The element being written has been dropped by its own guard; what was stored before it is kept.
        std::string message = std::string("Error in import: ") + e.what();
        std::string commitError;
        if (batch && batch->Open()) {
            try {
                batch->Commit();
            } catch (const std::exception& c) {
                commitError = c.what();
            }
        }
        if (batch && batch->Lost() > 0) {
            count -= batch->Lost();
            message += "\n" + std::to_string(batch->Lost()) + " of the imported elements could not be kept" +
                       (commitError.empty() ? std::string(".") : ": " + commitError);
        }
        Ui().MessageDlg(message, mtError, {mbOK});
    }
    table->First();
}

} // namespace korvel::sound
