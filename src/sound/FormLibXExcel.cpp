// Spreadsheet and text-table import of the sound library: the target fields offered to the column-mapping
// dialog, the cell converters, and one element per data row.

#include "editor/ElementCopy.h"
#include "platform/Errors.h"
#include "platform/base/MyTable.h"
#include "platform/db/Collation.h"
#include "platform/db/Database.h"
#include "platform/legacy/Trim.h"
#include "platform/log/Log.h"
#include "platform/settings/PathText.h"
#include "platform/text/CaseFold.h"
#include "platform/ui/Ui.h"
#include "sound/FormLibX.h"

#include <cstdio>
#include <filesystem>
#include <optional>

namespace korvel::sound {

using namespace acoustic;
namespace fs = std::filesystem;

namespace {

// The dialog whose rows are being converted: the converters name its line in their messages.
const TExcelImportForm* g_running = nullptr;

struct TRunningImport {
    const TExcelImportForm* previous;
    explicit TRunningImport(const TExcelImportForm& form) : previous(g_running) { g_running = &form; }
    ~TRunningImport() { g_running = previous; }
    TRunningImport(const TRunningImport&) = delete;
    TRunningImport& operator=(const TRunningImport&) = delete;
};

int CurrentLine() {
    return g_running ? g_running->LineNo() : 0;
}

std::string InvalidValueText(int line, const std::string& caption, const std::string& cell,
                             const std::string& fallback) {
    return "Line " + std::to_string(line) + ", Field \"" + caption + "\": Value \"" + cell +
           "\" not valid using default " + fallback;
}

db::TTable* OpenGroupTable(TMyTable* myTable) {
    if (!myTable || myTable->GetCount() < 2)
        return nullptr;
    db::TTable* t = myTable->GetItem(1);
    return t && t->Active() ? t : nullptr;
}

// The text as a text field keeps it (its size counts characters), so a lookup finds what the store will hold.
std::string FitToField(const std::string& text, const db::TField* field) {
    if (!field || field->DataType() != db::TFieldType::String || field->Size() <= 0)
        return text;
    return TrimText(db::TruncateCodePoints(text, static_cast<std::size_t>(field->Size())));
}

} // namespace

TFieldNameList TFormLibX::ImportFieldList(const std::string& fileName) {
    TFieldNameList list;
    list.Add("ElementName", "Element name");
    for (int n = 0; n < kBandCount; ++n)
        list.Add("Band" + std::to_string(n),
                 std::string(ThirdOctavesStrShort[static_cast<std::size_t>(n)]) + "Hz", n);
    list.Add("Kommentar", "Comment").MultiLine = true;
    if (LibType() == kEmissionLibType) {
        list.Add("dBX", "Weighting", 0,
                 [this](TFieldNameItem& item, const std::string& text) { SetWeightingValue(item, text); });
        list.Add("EmisRef", "Reference", 0,
                 [this](TFieldNameItem& item, const std::string& text) { SetReferenceValue(item, text); });
        list.Add("HeightAboveGround", "HeightAboveGround");
        list.Add("Sigma", "Sigma");
        list.Add("EmisEntrytype", "Entry Type", 0,
                 [this](TFieldNameItem& item, const std::string& text) { SetEntryTypeValue(item, text); });
    }
    if (LibType() == kTransmissionLibType) {
        list.Add("C", "C");
        list.Add("Ctr", "Ctr");
    }
    for (int i = 1; i <= kGroupSlots; ++i)
        list.Add("Gruppen" + std::to_string(i), "Group(" + std::to_string(i) + ")", 0,
                 [this](TFieldNameItem& item, const std::string& text) { SetGroupValue(item, text); });
    TFieldNameItem& graphic =
        list.Add("Graphic", "Bitmap file name", 0,
                 [this](TFieldNameItem& item, const std::string& text) { SetBitMapFileName(item, text); });
    // Picture names in the sheet are relative to the sheet's own folder.
    fs::path folder = fs::path(fileName).parent_path();
    graphic.Preset = folder.empty() ? std::string() : (folder / "").string();
    return list;
}

int TFormLibX::ImportAsciiExcel(const std::string& fileName, int& count, int& duplicates) {
    TExcelImportForm form(Ui(), fileName, ImportFieldList(fileName));
    form.OnImportLine = [this](TExcelImportForm& sender, TImportLineAction& action) {
        ImportExcelLine(sender, action);
    };
    TRunningImport running(form);
    return RunExcelImport(form, count, duplicates);
}

void TFormLibX::ImportExcelLine(TExcelImportForm& sender, TImportLineAction& action) {
    const int line = sender.LineNo();
    if (Host().HasLog())
        Host().Log().SetProgressOf(line, sender.LineCount());
    const int tab = GetCurIndex();
    TMyTable* myTable = GetMyTable(tab);
    db::TTable* table = CurrentTable();
    if (!myTable || !table)
        throw EKorvelError("No library is open to import into.");
    TFieldNameList& fields = sender.Fields();
    TFieldNameItem* nameItem = fields.Find("ElementName");
    // A longer name would pass the conflict check in full and then be cut by the store into a duplicate.
    std::string name =
        nameItem ? FitToField(TrimText(nameItem->Value), table->FindField("ElementName")) : std::string();
    if (name.empty())
        return;

    TBulkTag bulk(*table);
    if (!CheckImportRowName(sender, *table, name, action))
        return;
    // Whatever stops this row before its store drops the record it began.
    TPendingRecord pending(*table);
    table->FieldByName("ElementName").SetAsString(name);

    TBandValues bands;
    bands.fill(-1000.0);
    for (TFieldNameItem& item : fields.Items) {
        if (item.Value.empty() || &item == nameItem)
            continue;
        if (item.FieldName.starts_with("Band")) {
            if (item.Tag >= 0 && item.Tag < kBandCount)
                bands[static_cast<std::size_t>(item.Tag)] = ParseGridNumber(item.Value);
            continue;
        }
        db::TField* field = table->FindField(item.FieldName);
        if (!field)
            continue;
        if (field->DataType() == db::TFieldType::Graphic) {
            // The preset folder alone names no picture.
            std::error_code ec;
            if (item.Value != item.Preset && fs::is_regular_file(item.Value, ec))
                LoadGraphicField(item.Value, *field, 200);
        } else
            field->SetAsString(item.Value);
    }

    std::unique_ptr<TCustomLibSpectrum> element = CreateLibSpectrum(LibType());
    element->ReadFromLibrary(*myTable, propDefs_);
    if (GetSpectrumPara(bands).Empty())
        return; // nothing to store: the row is dropped and not counted
    element->SetFromBands(bands);
    if (auto* e = dynamic_cast<TEmisLibSpectrum*>(element.get())) {
        // The cells hold the levels as weighted; the library keeps them unweighted.
        const char w = e->dBX();
        e->SetdBX(kUnweighted);
        e->ReWeight(w);
        e->SetdBX(w);
    }
    element->SaveToLibrary(*myTable, name);
    PostOrCancel(*table);
    ++sender.Imported;
}

void TFormLibX::SetWeightingValue(TFieldNameItem& item, const std::string& cellText) {
    const std::string text = AsciiUpper(TrimText(cellText));
    auto letter = [](char c) {
        return c == ' ' || c == 'A' || c == 'B' || c == 'C' || c == 'D' || c == 'Z';
    };
    bool valid = true;
    char w = ' ';
    switch (text.size()) {
    case 0:
        break;
    case 1:
        valid = letter(text[0]) && text[0] != ' ';
        w = text[0];
        break;
    case 2:
        valid = text == "DB";
        break;
    case 3:
        valid = text.starts_with("DB") && letter(text[2]);
        w = text[2];
        break;
    case 5: // dB(A)
        valid = text.starts_with("DB") && letter(text[3]);
        w = text[3];
        break;
    default:
        valid = false;
    }
    if (!valid) {
        Host().Log().AddError(InvalidValueText(CurrentLine(), item.Caption, cellText, "dB(A)"));
        w = 'A';
    }
    // Z-weighting is no weighting at all; the record keeps a blank letter for it.
    item.Value = std::string(1, w == 'Z' ? ' ' : w);
}

void TFormLibX::SetReferenceValue(TFieldNameItem& item, const std::string& cellText) {
    const std::string text = AsciiUpper(TrimText(cellText));
    for (std::size_t i = 0; i < EmisRefStr.size(); ++i)
        if (AsciiUpper(EmisRefStr[i]).starts_with(text)) {
            item.Value = std::to_string(i);
            return;
        }
    Host().Log().AddError(
        InvalidValueText(CurrentLine(), item.Caption, cellText, std::string(EmisRefStr[0])));
    item.Value = "0";
}

void TFormLibX::SetEntryTypeValue(TFieldNameItem& item, const std::string& cellText) {
    const std::string text = AsciiUpper(TrimText(cellText));
    item.Value = "0";
    for (std::size_t i = 0; i < EmisEntryStr.size(); ++i)
        if (AsciiUpper(EmisEntryStr[i]) == text)
            item.Value = std::to_string(i);
}

void TFormLibX::SetGroupValue(TFieldNameItem& item, const std::string& cellText) {
    std::string name = TrimText(cellText);
    item.Value.clear();
    if (name.empty())
        return;
    const int tab = GetCurIndex();
    db::TTable* groups = OpenGroupTable(GetMyTable(tab));
    if (!groups)
        throw EKorvelError("The library has no group table.");
    // A group the person is typing is stored before the import appends its own.
    if (groups->Editing())
        groups->Post();
    // Looked up as stored: a longer name would miss its own group and append another one on every row.
    name = FitToField(name, groups->FindField("GruppenName"));
    int number = GetGroupNo(tab, name);
    if (number == 0) {
        // Appended here, not by SetGroupValue(tab, name): that one cuts bytes and may split a character.
        TBulkTag bulk(*groups);
        groups->Append();
        groups->FieldByName("GruppenName").SetAsString(name);
        groups->Post();
        number = groups->FieldByName("Eintrag").AsInteger();
        RememberGroup(tab, name, number);
        AddFilterGroupItems(tab);
    }
    if (number > 0)
        item.Value = std::to_string(number);
}

void TFormLibX::SetBitMapFileName(TFieldNameItem& item, const std::string& cellText) {
    const std::string name = TrimText(cellText);
    item.Value.clear();
    if (name.empty())
        return;
    // The picture must lie in the sheet's own folder: a name that could lead elsewhere is not read.
    const std::optional<std::string> file = FileInFolder(item.Preset, name);
    if (!file) {
        Host().Log().AddError("Line " + std::to_string(CurrentLine()) + ", Field \"" + item.Caption +
                              "\": \"" + name +
                              "\" is no file of the imported file's folder; no picture is taken");
        return;
    }
    std::error_code ec;
    if (fs::is_regular_file(fs::symlink_status(*file, ec)))
        item.Value = *file;
}

} // namespace korvel::sound
