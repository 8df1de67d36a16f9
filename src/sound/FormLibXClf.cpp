// Loudspeaker files: one file becomes one emission element with its on-axis spectrum, a spectral full 3D
// directivity in the folder's directivity library, and a description assembled from the file's header.

#include "editor/ElementCopy.h"
#include "platform/Errors.h"
#include "platform/acoustic/Directivity.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/base/MyTable.h"
#include "platform/formats/ClfFile.h"
#include "platform/ui/Ui.h"
#include "sound/FormLibX.h"
#include "sound/SoundSchema.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace korvel::sound {

using namespace acoustic;
namespace fs = std::filesystem;

namespace {

std::string ReadWholeFile(const std::string& fileName) {
    std::ifstream in(fs::path(fileName), std::ios::binary);
    if (!in)
        throw EKorvelError("\"" + fileName + "\" cannot be opened");
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad())
        throw EKorvelError("\"" + fileName + "\" cannot be read");
    return bytes;
}

// The main table's tag is cleared however the import ends.
struct TClearTag {
    db::TTable& Table;
    explicit TClearTag(db::TTable& table) : Table(table) { Table.Tag = kTagBulkWork; }
    ~TClearTag() { Table.Tag = 0; }
    TClearTag(const TClearTag&) = delete;
    TClearTag& operator=(const TClearTag&) = delete;
};

} // namespace

bool TFormLibX::Import_CLF(const std::string& fileName) {
    if (!Emission())
        return false;
    const int tab = GetCurIndex();
    TMyTable* myTable = tab >= 0 ? GetMyTable(tab) : nullptr;
    db::TTable* table = CurrentTable();
    // Nothing open to import into: nothing is read or made.
    if (!myTable || !table)
        return false;

    // The whole file is decoded before anything is written: a refused file leaves the library as it was.
    formats::TClfFile clf;
    try {
        const std::string bytes = ReadWholeFile(fileName);
        clf = formats::DecodeClf(AsBytes(bytes));
    } catch (const EKorvelError& e) {
        Ui().MessageDlg(e.what(), mtError, {mbOK});
        return false;
    }
    const std::string warning = formats::ClfLicenseWarning(clf.Header.LicenseType);
    if (!warning.empty())
        Ui().MessageDlg(warning, mtWarning, {mbOK});

    const int first = clf.LibraryBand(static_cast<int>(clf.MinBand));
    const int last = clf.LibraryBand(static_cast<int>(clf.MaxBand));
    const TSpecType type = clf.Version == 1 ? TSpecType::Octave : TSpecType::ThirdOctave;
    const std::string& name = clf.Header.ModelName;

    TEmisLibSpectrum element;
    element.ClearValues();
    element.EmisRef = TEmisRef::SoundPressure;
    element.SetSpecType(type);
    element.SetBMinBMax(first, last);
    const bool axialGiven = (clf.Header.GivenFlags & formats::kClfAxialGiven) != 0;
    for (auto b = clf.MinBand; b <= clf.MaxBand; ++b)
        element.SetValue(clf.LibraryBand(static_cast<int>(b)),
                         axialGiven ? static_cast<double>(clf.Header.AxialSpectrum[b]) : 0.0);

    TDirectivity directivity;
    directivity.SetDirType(TDirType::Full3D);
    directivity.SetSpecType(type);
    directivity.SetStep(clf.Step(), clf.Step());
    directivity.SetBMinBMax(first, last);
    if (directivity.ThetaCount() != clf.Parallels() || directivity.PhiCount() != clf.Meridians() ||
        directivity.BandCount() != static_cast<int>(clf.MaxBand - clf.MinBand + 1))
        throw EKorvelError("The directivity of \"" + fileName + "\" does not fit its angle grid");
    for (auto b = clf.MinBand; b <= clf.MaxBand; ++b)
        for (int m = 0; m < clf.Meridians(); ++m)
            for (int p = 0; p < clf.Parallels(); ++p)
                directivity.SetValue(static_cast<int>(b - clf.MinBand), p, m,
                                     clf.BalloonValue(static_cast<int>(b), m, p));

    std::unique_ptr<TMyTable> dirLib = OpenDirectivityLibrary(myTable->Folder());
    db::TTable& dirTable = *dirLib->GetTable();
    TClearTag tag(*table);

    dirTable.Append();
    {
        TPendingRecord pendingDir(dirTable);
        directivity.SaveToLibrary(dirTable, name);
        PostOrCancel(dirTable);
    }
    // The element refers to the directivity by the number the library gave it.
    TDirectivity stored;
    stored.ReadFromLibrary(dirTable, -999);
    element.Directivity = dirTable.FieldByName("Eintrag").AsInteger();
    if (auto& list = directivities_[static_cast<std::size_t>(tab)])
        list->Open(myTable->Folder());
    FillDirectivityBox();

    try {
        table->Append();
        TPendingRecord pending(*table);
        table->FieldByName("ElementName").SetAsString(name);
        if (db::TField* f = table->FindField("Kommentar"))
            f->SetAsString(formats::ClfDescription(clf.Header, fileName));
        element.SaveToLibrary(*myTable, name);
        PostOrCancel(*table);
    } catch (...) {
        // No directivity without the element it was made for.
        if (dirTable.Locate("Eintrag", {db::TValue(std::int64_t{element.Directivity})}))
            dirTable.Delete();
        if (auto& list = directivities_[static_cast<std::size_t>(tab)])
            list->Open(myTable->Folder());
        FillDirectivityBox();
        throw;
    }
    return true;
}

} // namespace korvel::sound
