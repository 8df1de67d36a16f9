// Export of the current tab's elements to a workbook, one element per row, in the columns the spreadsheet
// import maps back automatically.

#include "platform/Errors.h"
#include "platform/image/Picture.h"
#include "platform/log/Log.h"
#include "platform/ui/Ui.h"
#include "sound/FormLibX.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stb_image.h>
#include <stb_image_write.h>
#include <xlsxwriter.h>

namespace korvel::sound {

using namespace acoustic;
namespace fs = std::filesystem;

namespace {

constexpr int kCommentCol = 45;

// The first group column of each kind; the bitmap column follows the four groups.
int GroupColumn(int libType) {
    if (libType == kEmissionLibType)
        return 53;
    if (libType == kTransmissionLibType)
        return 49;
    return 46;
}

class TSheetWriter {
public:
    explicit TSheetWriter(lxw_worksheet* sheet) : sheet_(sheet) {}
    void Text(int row, int col, const std::string& text) {
        Check(worksheet_write_string(sheet_, static_cast<lxw_row_t>(row), static_cast<lxw_col_t>(col),
                                     text.c_str(), nullptr));
    }
    // The library keeps its numbers as 32-bit floats; seven significant digits are all they hold, so the
    // sheet shows 70 rather than 69.99999694824218.
    void Number(int row, int col, double value) {
        char text[32];
        std::snprintf(text, sizeof text, "%.7g", value);
        Check(worksheet_write_number(sheet_, static_cast<lxw_row_t>(row), static_cast<lxw_col_t>(col),
                                     std::strtod(text, nullptr), nullptr));
    }

private:
    static void Check(lxw_error error) {
        if (error != LXW_NO_ERROR)
            throw EKorvelError(std::string("The cell cannot be written: ") + lxw_strerror(error));
    }
    lxw_worksheet* sheet_;
};

void AppendBytes(void* context, void* data, int size) {
    auto* out = static_cast<std::vector<unsigned char>*>(context);
    const auto* bytes = static_cast<const unsigned char*>(data);
    out->insert(out->end(), bytes, bytes + size);
}

// The stored picture (PNG, or whatever an older library kept) as a Windows bitmap file.
void WriteBitmap(const std::vector<std::uint8_t>& encoded, const fs::path& file) {
    // The stored header is checked before anything is decoded: a damaged one may claim any size.
    const std::optional<TImageSize> size = ImageSizeOf(encoded);
    if (!size)
        throw EKorvelError("The picture cannot be read (" + std::to_string(encoded.size()) +
                           " bytes stored)");
    if (size->Width > kMaxPictureSide || size->Height > kMaxPictureSide ||
        static_cast<long long>(size->Width) * size->Height > kMaxPicturePixels)
        throw EKorvelError("The picture claims " + std::to_string(size->Width) + " x " +
                           std::to_string(size->Height) + " pixels, more than a picture may have");
    int w = 0, h = 0, channels = 0;
    stbi_uc* pixels =
        stbi_load_from_memory(encoded.data(), static_cast<int>(encoded.size()), &w, &h, &channels, 0);
    if (!pixels)
        throw EKorvelError("The picture cannot be read: " + std::string(stbi_failure_reason()));
    std::vector<unsigned char> bmp;
    const int ok = stbi_write_bmp_to_func(&AppendBytes, &bmp, w, h, channels, pixels);
    stbi_image_free(pixels);
    if (ok == 0)
        throw EKorvelError("The picture cannot be converted to a bitmap");
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bmp.data()), static_cast<std::streamsize>(bmp.size()));
    if (!out)
        throw EKorvelError("\"" + file.string() + "\" cannot be written");
}

// The workbook being written; a failure before the end removes what was begun.
struct TPendingWorkbook {
    lxw_workbook* Book = nullptr;
    fs::path File;
    ~TPendingWorkbook() {
        if (Book)
            workbook_close(Book);
        std::error_code ec;
        if (!File.empty())
            fs::remove(File, ec);
    }
};

} // namespace

void TFormLibX::ExcelExport1Click(TComponent& /*sender*/) {
    const int tab = GetCurIndex();
    db::TTable* table = CurrentTable();
    if (tab < 0 || !table)
        return;
    if (table->Editing())
        StoreCurrent();
    TSaveDialogOptions options;
    options.Title = "Export";
    options.Filter = "Excel files (*.xlsx)|*.xlsx";
    options.DefaultExt = "xlsx";
    options.InitialDir = GetMyTable(tab)->Folder();
    std::optional<fs::path> file = Ui().SaveDialog(options);
    if (!file)
        return;
    ExportToExcel(file->string());
}

int TFormLibX::ExportToExcel(const std::string& fileName) {
    const int tab = GetCurIndex();
    db::TTable* table = CurrentTable();
    TMyTable* myTable = tab >= 0 ? GetMyTable(tab) : nullptr;
    if (!table || !myTable || !table->Active())
        throw EKorvelError("No library is open to export.");
    if (table->Editing())
        StoreCurrent();
    const fs::path target(fileName);
    const fs::path folder = target.parent_path();
    std::error_code ec;
    if (!folder.empty() && !fs::is_directory(folder, ec))
        throw EKorvelError("\"" + fileName + "\" cannot be written: the folder does not exist");
    TPendingWorkbook pending;
    pending.File = target;
    pending.File += ".tmp";
    pending.Book = workbook_new(pending.File.string().c_str());
    if (!pending.Book)
        throw EKorvelError("\"" + fileName + "\" cannot be written");
    lxw_worksheet* worksheet = workbook_add_worksheet(pending.Book, nullptr);
    if (!worksheet)
        throw EKorvelError("\"" + fileName + "\" cannot be written");
    TSheetWriter sheet(worksheet);

    const bool emission = LibType() == kEmissionLibType;
    const bool transmission = LibType() == kTransmissionLibType;
    const int groupCol = GroupColumn(LibType());
    const int bitmapCol = groupCol + kGroupSlots;
    sheet.Text(0, 0, "Element name");
    for (int b = 0; b < kBandCount; ++b)
        sheet.Text(0, b + 1, std::string(ThirdOctavesStrShort[static_cast<std::size_t>(b)]) + "Hz");
    sheet.Text(0, kCommentCol, "Comment");
    if (emission) {
        const char* heads[] = {"Weighting", "Reference", "HeightAboveGround", "Sigma",
                               "Sum",       "DI",        "Entry Type"};
        for (int i = 0; i < 7; ++i)
            sheet.Text(0, 46 + i, heads[i]);
    }
    if (transmission) {
        sheet.Text(0, 46, "C");
        sheet.Text(0, 47, "Ctr");
        sheet.Text(0, 48, "Rw");
    }
    for (int i = 0; i < kGroupSlots; ++i)
        sheet.Text(0, groupCol + i, "Group(" + std::to_string(i + 1) + ")");
    sheet.Text(0, bitmapCol, "Bitmap file name");

    const std::string current = GetElementName(tab);
    TWaitCursor wait(Ui());
    table->DisableControls();
    struct TRestore {
        TFormLibX& form;
        db::TTable& table;
        int tab;
        const std::string& name;
        ~TRestore() {
            table.EnableControls();
            if (!name.empty())
                form.GotoElementName(tab, name);
        }
    } restore{*this, *table, tab, current};

    int row = 0;
    int exported = 0;
    for (table->First(); !table->Eof(); table->Next()) {
        ++row;
        try {
            std::unique_ptr<TCustomLibSpectrum> element = CreateLibSpectrum(LibType());
            element->ReadFromLibrary(*myTable, propDefs_);
            auto* e = dynamic_cast<TEmisLibSpectrum*>(element.get());
            // A formula entry has no spectrum of its own to export; its row stays empty.
            if (e && (e->EntryType == TEmisEntrytype::FormulaLevel ||
                      e->EntryType == TEmisEntrytype::FormulaSpectrum))
                continue;
            // The picture is written first: an element whose picture cannot be read leaves no half row.
            std::string picture;
            db::TField* graphic = table->FindField("Graphic");
            if (graphic && !graphic->IsNull()) {
                const db::TBytes bytes = graphic->AsBytes();
                if (!bytes.empty()) {
                    picture = std::to_string(table->FieldByName("Eintrag").AsInteger()) + ".bmp";
                    WriteBitmap(std::vector<std::uint8_t>(bytes.begin(), bytes.end()), folder / picture);
                }
            }
            sheet.Text(row, 0, db::FieldString(*table, "ElementName"));
            auto value = [&](int band) {
                return e ? e->GetdBXValue(band) : element->GetValue(band);
            };
            if (element->SpecType() == TSpecType::SingleValue) {
                // One band cell: the import reads a row with a single band as a single value.
                if (!IsEmptyBandLevel(element->SingleValue()))
                    sheet.Number(row, element->Bmin() + 1, element->SingleValue());
            } else {
                for (int b : element->Bands())
                    if (!IsEmptyBandLevel(element->GetValue(b)))
                        sheet.Number(row, b + 1, value(b));
            }
            const std::string comment = db::FieldString(*table, "Kommentar");
            if (!comment.empty())
                sheet.Text(row, kCommentCol, comment);
            if (e) {
                // Z reads back as "no weighting"; an empty cell would take the default A.
                sheet.Text(row, 46, e->dBX() == kUnweighted ? "Z" : std::string(1, e->dBX()));
                sheet.Text(row, 47, std::string(EmisRefStr[static_cast<std::size_t>(e->EmisRef)]));
                if (e->HeightAboveGround != 0)
                    sheet.Number(row, 48, e->HeightAboveGround);
                if (e->Sigma != 0)
                    sheet.Number(row, 49, e->Sigma);
                const double sum = e->GetdBXValueSum();
                if (!IsEmptyBandLevel(sum))
                    sheet.Number(row, 50, sum);
                if (e->Directivity > 0)
                    sheet.Number(row, 51, e->Directivity);
                sheet.Text(row, 52, std::string(EmisEntryStr[static_cast<std::size_t>(e->EntryType)]));
            }
            if (auto* t = dynamic_cast<TTransLibSpectrum*>(element.get())) {
                sheet.Number(row, 46, t->C);
                sheet.Number(row, 47, t->Ctr);
                sheet.Number(row, 48, t->Rw);
            }
            for (int i = 0; i < kGroupSlots; ++i) {
                const int g = element->Groups[static_cast<std::size_t>(i)];
                const std::string group = g != 0 ? GroupName(tab, g) : std::string();
                if (!group.empty())
                    sheet.Text(row, groupCol + i, group);
            }
            if (!picture.empty())
                sheet.Text(row, bitmapCol, picture);
            ++exported;
        } catch (const std::exception& ex) {
            Ui().MessageDlg(std::string("Element \"") + db::FieldString(*table, "ElementName") +
                                "\" cannot be exported: " + ex.what(),
                            mtError, {mbOK});
        }
    }

    lxw_workbook* book = pending.Book;
    pending.Book = nullptr;
    const lxw_error closed = workbook_close(book);
    if (closed != LXW_NO_ERROR)
        throw EKorvelError("\"" + fileName + "\" cannot be written: " + lxw_strerror(closed));
    fs::rename(pending.File, target, ec);
    if (ec)
        throw EKorvelError("\"" + fileName + "\" cannot be written: " + ec.message());
    pending.File.clear();
    return exported;
}

} // namespace korvel::sound
