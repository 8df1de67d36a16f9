// Copying sound library elements with their groups, linked files and directivity, and the element as JSON.

#include "editor/ElementCopy.h"
#include "platform/Errors.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/db/DbErrors.h"
#include "platform/settings/PathText.h"
#include "platform/ui/Ui.h"
#include "sound/FormLibX.h"
#include "sound/SoundSchema.h"
#include "sound/SpectrumJson.h"

#include <filesystem>

namespace korvel::sound {

using namespace acoustic;
namespace fs = std::filesystem;

namespace {

// Opens (or, with create, makes) the directivity library of a folder.
std::unique_ptr<TMyTable> OpenDirectivities(const std::string& folder, bool create) {
    auto lib = std::make_unique<TMyTable>(TableNames(kDirectivityLibType));
    const bool exists = LibraryExists(kDirectivityLibType, folder, !create);
    if (!exists && !create)
        return nullptr;
    lib->InitLibX(folder, LibName(kDirectivityLibType), TableNames(kDirectivityLibType), !create, true);
    if (!exists) {
        SetFieldIndexDefs(*lib, kDirectivityLibType, true);
        lib->CreateDBTable();
    }
    lib->Open();
    return lib;
}

std::string FieldText(db::TTable& t, const char* name) {
    db::TField* f = t.FindField(name);
    return f ? f->AsString() : std::string();
}

} // namespace

// The number the directivity of the source element has in the target folder: found there by name, or
// copied there. 0 when the source has none or it cannot be found.
int TFormLibX::MapDirectivity(TFormLibX& target, int dstTab, int srcTab, int number) {
    if (number <= 0)
        return 0;
    const std::string srcFolder = GetMyTable(srcTab)->Folder();
    const std::string dstFolder = target.GetMyTable(dstTab)->Folder();
    if (fs::path(srcFolder) == fs::path(dstFolder))
        return number;
    std::unique_ptr<TMyTable> src = OpenDirectivities(srcFolder, false);
    if (!src)
        return 0;
    db::TTable& s = *src->GetTable();
    if (!s.Locate("Eintrag", {db::TValue(std::int64_t{number})}))
        return 0;
    const std::string name = FieldText(s, "ElementName");
    std::unique_ptr<TMyTable> dst = OpenDirectivities(dstFolder, true);
    db::TTable& d = *dst->GetTable();
    if (d.Locate("ElementName", {db::TValue(name)}, db::loCaseInsensitive))
        return d.Fields(0).AsInteger();
    d.Append();
    // Every field both layouts share travels; the number is the target's own.
    for (int i = 0; i < s.FieldCount(); ++i) {
        const db::TField& f = s.Fields(i);
        if (f.DataType() == db::TFieldType::AutoInc)
            continue;
        if (db::TField* to = d.FindField(f.FieldName()))
            to->SetValue(f.Value());
    }
    PostOrCancel(d);
    const int copied = d.Fields(0).AsInteger();
    if (auto& list = target.directivities_[static_cast<std::size_t>(dstTab)])
        list->Open(dstFolder);
    if (dstTab == target.GetCurIndex())
        target.FillDirectivityBox();
    return copied;
}

void TFormLibX::CopySingleElement(int srcTab, int dstTab, TCustomLibForm& targetForm, bool keepNumbers,
                                  TneAction& action) {
    std::optional<TCopyEnds> ends = CopyEnds(srcTab, dstTab, targetForm, action);
    if (!ends)
        return;
    auto& target = dynamic_cast<TFormLibX&>(targetForm);
    db::TTable& src = ends->Src;
    db::TTable& dst = ends->Dst;

    std::string name = FieldText(src, "ElementName");
    std::unique_ptr<TCustomLibSpectrum> element = CreateLibSpectrum(LibType());
    try {
        element->ReadFromLibrary(*GetMyTable(srcTab), propDefs_);
    } catch (const db::EDatabaseError&) {
        throw;
    } catch (const EKorvelError& e) {
        throw EKorvelError("Element \"" + name + "\" (number " + std::to_string(src.Fields(0).AsLargeInt()) +
                           ") cannot be copied: " + e.what());
    }
    const std::string comment = FieldText(src, "Kommentar");
    db::TField* stamp = src.FindField("LastChangeDateTime");
    const db::TValue changed = stamp ? stamp->Value() : db::TValue{};
    db::TField* picture = src.FindField("Graphic");
    const db::TValue graphic = picture ? picture->Value() : db::TValue{};

    for (int& g : element->Groups)
        if (g != 0) {
            const std::string groupName = GroupName(srcTab, g);
            g = groupName.empty() ? 0 : target.SetGroupValue(dstTab, groupName);
        }
    if (auto* e = dynamic_cast<TEmisLibSpectrum*>(element.get()); e && !keepNumbers)
        e->Directivity = MapDirectivity(target, dstTab, srcTab, e->Directivity);

    TBulkTag bulk(dst);
    if (!CheckNameTwice(Ui(), dst, "EN", name, action))
        return;
    TPendingRecord pending(dst);
    dst.FieldByName("ElementName").SetAsString(name);
    if (db::TField* f = dst.FindField("Kommentar"))
        f->SetAsString(comment);
    if (db::TField* f = dst.FindField("LastChangeDateTime"))
        f->SetValue(changed);
    if (db::TField* f = dst.FindField("Graphic"))
        f->SetValue(graphic);
    element->SaveToLibrary(*target.GetMyTable(dstTab), name);
    PostOrCancel(dst);
    CopyLinkedFiles(*element, GetMyTable(srcTab)->Folder(), target.GetMyTable(dstTab)->Folder(), name);
    if (TGroupMemo* memo = target.GroupMemo(dstTab))
        memo->Stored = true; // the filter is applied once, when the bulk work ends
    else
        target.FilterString(dstTab, target.filter_);
}

// Linked documents lie beside their library and travel with a stored copy. Their names come from the
// library, so a name that could lead out of either folder is refused and nothing is read or written for it.
void TFormLibX::CopyLinkedFiles(const TCustomLibSpectrum& element, const std::string& srcFolder,
                                const std::string& dstFolder, const std::string& name) {
    if (fs::path(srcFolder) == fs::path(dstFolder))
        return;
    for (const std::string& file : element.LinkedFiles) {
        if (file.empty())
            continue;
        const std::optional<std::string> from = FileInFolder(srcFolder, file);
        const std::optional<std::string> to = FileInFolder(dstFolder, file);
        if (!from || !to) {
            Ui().MessageDlg("The linked document \"" + file + "\" of element \"" + name +
                                "\" is not a plain file name beside the library; it is not copied.",
                            mtWarning, {mbOK});
            continue;
        }
        std::error_code ec;
        if (!fs::is_regular_file(fs::symlink_status(*from, ec)))
            continue;
        fs::copy_file(*from, *to, fs::copy_options::overwrite_existing, ec);
    }
}

nlohmann::json TFormLibX::ElementView() {
    db::TTable* table = CurrentTable();
    const int tab = GetCurIndex();
    if (!table || !table->Active() || table->IsEmpty())
        return nlohmann::json::object();
    std::unique_ptr<TCustomLibSpectrum> element = CreateLibSpectrum(LibType());
    element->ReadFromLibrary(*GetMyTable(tab), propDefs_);
    TSpectrumJsonGroups groups;
    groups.NameOf = [this, tab](int n) {
        return GroupName(tab, n);
    };
    const nlohmann::ordered_json view =
        SpectrumToJson(*element, FieldText(*table, "ElementName"), FieldText(*table, "Kommentar"), groups);
    return nlohmann::json(view);
}

void TFormLibX::ApplyElementView(const nlohmann::json& view) {
    db::TTable* table = CurrentTable();
    const int tab = GetCurIndex();
    if (!table || !table->Editing())
        throw EKorvelError("No element is being edited");
    std::unique_ptr<TCustomLibSpectrum> element = CreateLibSpectrum(LibType());
    element->ReadFromLibrary(*GetMyTable(tab), propDefs_);
    std::string name = FieldText(*table, "ElementName");
    std::string comment = FieldText(*table, "Kommentar");
    TSpectrumJsonGroups groups;
    groups.NameOf = [this, tab](int n) {
        return GroupName(tab, n);
    };
    groups.NumberOf = [this, tab](const std::string& g) {
        return SetGroupValue(tab, g);
    };
    SpectrumFromJson(view, *element, name, comment, groups);
    // A spectrum too narrow to rate keeps the numbers it had.
    if (auto* t = dynamic_cast<TTransLibSpectrum*>(element.get()))
        (void)t->RechneRwCCtr();
    table->FieldByName("ElementName").SetAsString(name);
    if (db::TField* f = table->FindField("Kommentar"))
        f->SetAsString(comment);
    spectrum_ = std::move(element);
    // The record carries the element at once, so whatever stores it stores this.
    spectrum_->SaveToLibrary(*GetMyTable(tab), name);
}

} // namespace korvel::sound
