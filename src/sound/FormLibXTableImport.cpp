// Import of the older table generation of the sound library: a library table of the older schema with its
// group table and, for emission, its 2D and 3D directivity tables (sound/LegacySchema.h), and Paradox
// tables of that generation, which are first turned into such a table.

#include "editor/ElementCopy.h"
#include "editor/ParadoxImport.h"
#include "platform/Errors.h"
#include "platform/acoustic/LegacyDirectivity.h"
#include "platform/base/LibKinds.h"
#include "platform/base/LibSchema.h"
#include "platform/db/Collation.h"
#include "platform/db/Table.h"
#include "platform/legacy/Trim.h"
#include "platform/ui/Ui.h"
#include "sound/FormLibX.h"
#include "sound/LegacySchema.h"
#include "sound/SoundSchema.h"

#include <filesystem>
#include <map>
#include <optional>

namespace korvel::sound {

using namespace acoustic;
namespace fs = std::filesystem;

namespace {

constexpr std::size_t kNameChars = 40;
constexpr int kMaxNameSuffix = 99;

// Number of characters of a UTF-8 text.
std::size_t CharCount(const std::string& text) {
    std::size_t n = 0;
    for (unsigned char c : text)
        if ((c & 0xC0) != 0x80)
            ++n;
    return n;
}

// A name not yet used in the directivity table (ignoring case): the name itself, else "name(1)" ..
// "name(99)", the base cut so that the whole stays within 40 characters.
std::string FreeDirectivityName(db::TTable& table, const std::string& wanted) {
    auto used = [&](const std::string& n) {
        return table.Locate("ElementName", {db::TValue(n)}, db::loCaseInsensitive);
    };
    const std::string base = db::TruncateCodePoints(wanted, kNameChars);
    if (!used(base))
        return base;
    for (int n = 1; n <= kMaxNameSuffix; ++n) {
        const std::string suffix = "(" + std::to_string(n) + ")";
        const std::string name = db::TruncateCodePoints(base, kNameChars - CharCount(suffix)) + suffix;
        if (!used(name))
            return name;
    }
    throw EKorvelError("Every name from \"" + base + "(1)\" to \"" + base + "(99)\" is taken.");
}

// The directivity tables of the source folder and what was read from them.
class TOlderDirectivities {
public:
    TOlderDirectivities(const std::string& folder, TLog& log) : log_(log) {
        riwiFile_ = folder + kLegacyRiwiFile;
        riwi3DFile_ = folder + kLegacyRiwi3DFile;
        riwi_ = OpenIfPresent(riwiFile_);
        riwi3D_ = OpenIfPresent(riwi3DFile_);
    }
    const std::string& RiwiFile() const { return riwiFile_; }
    const std::string& Riwi3DFile() const { return riwi3DFile_; }
    bool HasRiwi() const { return riwi_ != nullptr; }
    bool HasRiwi3D() const { return riwi3D_ != nullptr; }

    // The cut or grid of that number; nullptr for 0 or less, and for a number the table lacks (logged).
    const TLegacyCut* Cut(int number, int elementNo) {
        return Find(cuts_, riwi_.get(), riwiFile_, number, elementNo, ReadLegacyCut);
    }
    const TLegacyGrid* Grid(int number, int elementNo) {
        return Find(grids_, riwi3D_.get(), riwi3DFile_, number, elementNo, ReadLegacyGrid);
    }

private:
    // A damaged table only costs the elements that need it: they are logged as lacking the file.
    std::unique_ptr<TMyTable> OpenIfPresent(const std::string& file) {
        if (!fs::is_regular_file(file))
            return nullptr;
        try {
            return OpenOlderTable(file);
        } catch (const EKorvelError& e) {
            log_.AddError("\"" + file + "\" cannot be read: " + e.what());
            return nullptr;
        }
    }

    template <class T, class R>
    const T* Find(std::map<int, std::optional<T>>& cache, TMyTable* lib, const std::string& file, int number,
                  int elementNo, R read) {
        if (number <= 0 || !lib)
            return nullptr;
        auto it = cache.find(number);
        if (it == cache.end()) {
            db::TTable& t = *lib->GetTable();
            std::optional<T> value;
            if (t.Locate("Eintrag", {db::TValue(std::int64_t{number})}))
                value = read(t); // a damaged record throws and is not remembered
            else
                log_.AddError("Directivity #" + std::to_string(number) + " of element No. #" +
                              std::to_string(elementNo) + " is missing in " + file);
            it = cache.emplace(number, std::move(value)).first;
        }
        return it->second ? &*it->second : nullptr;
    }

    TLog& log_;
    std::string riwiFile_, riwi3DFile_;
    std::unique_ptr<TMyTable> riwi_, riwi3D_;
    std::map<int, std::optional<TLegacyCut>> cuts_;
    std::map<int, std::optional<TLegacyGrid>> grids_;
};

// A directivity built for an element, with its name and what the log says about it.
struct TBuiltDirectivity {
    TDirectivity Dir;
    std::string Name;
    std::string Kind;
};

int DirBandCount(TSpecType type, int bmin, int bmax) {
    if (type == TSpecType::SingleValue)
        return 1;
    NormalizeBandRange(type, bmin, bmax);
    return std::min(static_cast<int>(BandsInRange(type, bmin, bmax).size()), kLegacyDirBands);
}

std::optional<TBuiltDirectivity> BuildDirectivity(db::TTable& src, const TCustomLibSpectrum& element,
                                                  const std::string& name, int elementNo,
                                                  TOlderDirectivities& dirs, TLog& log) {
    const int art = db::FieldInteger(src, "RiwiArt");
    const int oneForAll = db::FieldInteger(src, "OneForAll");
    if (art != 1 && art != 2)
        return std::nullopt;
    if ((art == 1 && !dirs.HasRiwi()) || (art == 2 && !dirs.HasRiwi3D())) {
        log.AddError("Unable to read directivity for element No. #" + std::to_string(elementNo) + ". File " +
                     (art == 1 ? dirs.RiwiFile() : dirs.Riwi3DFile()) + " is missing");
        return std::nullopt;
    }
    auto h = [&](int i) {
        return db::FieldInteger(src, "RichtwirkungenH" + std::to_string(i));
    };
    auto v = [&](int i) {
        return db::FieldInteger(src, "RichtwirkungenV" + std::to_string(i));
    };
    const int bands = DirBandCount(element.SpecType(), element.Bmin(), element.Bmax());
    if (art == 1 && oneForAll != 2) {
        const TLegacyCut* hor = dirs.Cut(h(1), elementNo);
        const TLegacyCut* ver = dirs.Cut(v(1), elementNo);
        if (ver)
            return TBuiltDirectivity{DirectivityFromCuts(hor, *ver), name + (hor ? " v" : " vh"),
                                     "Non-spectral 2D"};
        if (hor)
            return TBuiltDirectivity{DirectivityFromHorizontalCut(*hor), name + " h", "Non-spectral 2D"};
        return std::nullopt;
    }
    if (art == 1) {
        std::vector<TLegacyCutPair> pairs;
        bool any = false;
        for (int i = 1; i <= bands; ++i) {
            pairs.push_back({dirs.Cut(h(i), elementNo), dirs.Cut(v(i), elementNo)});
            any = any || pairs.back().Horizontal || pairs.back().Vertical;
        }
        if (!any)
            return std::nullopt;
        return TBuiltDirectivity{
            SpectralDirectivityFromCuts(element.SpecType(), element.Bmin(), element.Bmax(), pairs), name,
            "Spectral 2D"};
    }
    if (oneForAll == 1) {
        const TLegacyGrid* grid = dirs.Grid(h(1), elementNo);
        if (!grid)
            return std::nullopt;
        return TBuiltDirectivity{DirectivityFromGrid(*grid), grid->Name, "Non-spectral 3D"};
    }
    if (oneForAll == 2) {
        std::vector<const TLegacyGrid*> grids;
        bool any = false;
        for (int i = 1; i <= bands; ++i) {
            grids.push_back(dirs.Grid(h(i), elementNo));
            any = any || grids.back();
        }
        if (!any)
            return std::nullopt;
        return TBuiltDirectivity{
            SpectralDirectivityFromGrids(element.SpecType(), element.Bmin(), element.Bmax(), grids), name,
            "Spectral 3D"};
    }
    return std::nullopt;
}

// Ends the transactions of an import that runs as a whole: committed when it went through, rolled back when
// it was left by an error or cancelled.
class TWholeImport {
public:
    void Add(db::TDatabase& database) {
        database.StartTransaction();
        open_.push_back(&database);
    }
    void Commit() {
        for (db::TDatabase* d : open_)
            d->Commit();
        open_.clear();
    }
    void Rollback() noexcept {
        for (db::TDatabase* d : open_) {
            try {
                d->Rollback();
            } catch (...) {
                // Nothing better to do: the error that led here travels on.
            }
        }
        open_.clear();
    }
    ~TWholeImport() { Rollback(); }

private:
    std::vector<db::TDatabase*> open_;
};

// Runs its action when the scope is left, however it is left.
template <class F> class TOnExit {
public:
    explicit TOnExit(F action) : action_(std::move(action)) {}
    ~TOnExit() { action_(); }
    TOnExit(const TOnExit&) = delete;
    TOnExit& operator=(const TOnExit&) = delete;

private:
    F action_;
};

} // namespace

void TFormLibX::ImportV73GroupTable(int tabIndex, db::TTable& groupTable) {
    if (!groupTable.Active())
        return;
    for (groupTable.First(); !groupTable.Eof(); groupTable.Next()) {
        const std::string name = TrimText(db::FieldString(groupTable, "GruppenName"));
        if (!name.empty())
            SetGroupValue(tabIndex, name); // appends only a name the target lacks
    }
}

void TFormLibX::ImportV73(int tabIndex, const std::string& fileName, int& count, int& duplicates,
                          bool keepNumbers, bool fromUpdate) {
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
    const bool emission = LibType() == kEmissionLibType;
    const std::string folder = fs::path(fileName).parent_path().string() + "/";

    // Declared before everything the import opens, so it runs after their rollback: the cursors must not
    // keep records that were rolled back.
    TOnExit refresh([&] {
        try {
            dst->First();
            if (db::TTable* groups = target->GetCount() > 1 ? target->GetItem(1) : nullptr;
                groups && groups->Active())
                groups->First();
            if (emission) {
                if (auto& list = directivities_[static_cast<std::size_t>(tabIndex)])
                    list->Open(target->Folder());
                if (tabIndex == GetCurIndex())
                    FillDirectivityBox();
            }
            if (tabIndex == GetCurIndex())
                AddFilterGroupItems(tabIndex);
        } catch (const std::exception& e) {
            log.AddError(e.what());
        }
    });

    std::unique_ptr<TMyTable> source = OpenOlderTable(fileName);
    db::TTable& src = *source->GetTable();
    std::unique_ptr<TMyTable> sourceGroups;
    if (const std::string groupFile = LegacyGroupFileName(fileName); fs::is_regular_file(groupFile))
        sourceGroups = OpenOlderTable(groupFile);
    std::optional<TOlderDirectivities> olderDirs;
    if (emission)
        olderDirs.emplace(folder, log);
    std::unique_ptr<TMyTable> targetDirs;

    // An update fills an empty library as a whole, so that an interrupted one is simply run again.
    TWholeImport whole;
    if (fromUpdate)
        whole.Add(target->Database());

    std::map<int, std::string> sourceGroupNames;
    if (sourceGroups) {
        db::TTable& g = *sourceGroups->GetTable();
        ImportV73GroupTable(tabIndex, g);
        for (g.First(); !g.Eof(); g.Next())
            sourceGroupNames[db::FieldInteger(g, "Eintrag")] = TrimText(db::FieldString(g, "GruppenName"));
    }

    TBulkTag bulk(*dst);
    db::TDatabase& dstDb = target->Database();
    const std::int64_t total = src.RecordCount();
    std::int64_t done = 0;
    bool cancelled = false;
    int unreadable = 0;
    for (src.First(); !src.Eof(); src.Next()) {
        log.SetProgressOf(++done, total);
        const int srcNo = db::FieldInteger(src, "Eintrag");
        const std::string name = db::FieldString(src, "ElementName");
        std::unique_ptr<TCustomLibSpectrum> element = CreateLibSpectrum(LibType());
        try {
            element->ReadFromLibrary(*source, propDefs_);
            if (auto* e = dynamic_cast<TEmisLibSpectrum*>(element.get()))
                if (db::TField* f = src.FindField("VarList"); f && !f->IsNull())
                    e->VarsIn.FromBlob(f->AsBytes());
        } catch (const EKorvelError& e) {
            log.AddError("Element No. #" + std::to_string(srcNo) + " \"" + name +
                         "\" cannot be read: " + e.what());
            ++unreadable;
            continue;
        }
        Host().ProcessMessages();
        if (log.Cancelled()) {
            cancelled = true;
            break;
        }
        if (dst->Locate("ElementName", {db::TValue(name)}, db::loCaseInsensitive)) {
            ++duplicates;
            continue;
        }
        if (LibType() != kAttenuationLibType)
            element->Color = RandomElementColor();
        for (int& g : element->Groups) {
            auto it = sourceGroupNames.find(g);
            if (g != 0 && it != sourceGroupNames.end())
                if (const int mapped = GetGroupNo(tabIndex, it->second))
                    g = mapped;
        }
        std::string comment = db::FieldString(src, "Kommentar");
        std::array<double, 4> kennValues{};
        std::array<std::string, 4> kennNames;
        for (std::size_t i = 0; i < 4; ++i) {
            db::TField* value = src.FindField("Kennwerte" + std::to_string(i + 1));
            kennValues[i] = value && !value->IsNull() ? value->AsFloat() : 0.0;
            kennNames[i] = db::FieldString(src, ("KennNames" + std::to_string(i + 1)).c_str());
        }
        const std::string rest = element->AddProps.ReadFromKenn(kennValues, kennNames, propDefs_);
        if (!rest.empty())
            comment += (comment.empty() ? "" : "\r\n") + rest;

        int storedDir = 0; // the directivity written for this element, to be taken back with it
        if (auto* e = dynamic_cast<TEmisLibSpectrum*>(element.get())) {
            e->Directivity = 0;
            try {
                if (auto built = BuildDirectivity(src, *element, name, srcNo, *olderDirs, log)) {
                    if (!targetDirs) {
                        targetDirs = OpenDirectivityLibrary(target->Folder());
                        if (fromUpdate)
                            whole.Add(targetDirs->Database());
                    }
                    db::TTable& d = *targetDirs->GetTable();
                    const std::string dirName = FreeDirectivityName(d, built->Name);
                    TPendingRecord pending(d);
                    d.Append();
                    if (db::TField* f = d.FindField("LastChangeDateTime"))
                        f->SetAsDateTime(db::Now());
                    built->Dir.SaveToLibrary(d, dirName);
                    PostOrCancel(d);
                    e->Directivity = d.FieldByName("Eintrag").AsInteger();
                    storedDir = e->Directivity;
                    log.AddInformation(built->Kind + "-directivity \"" + dirName + "\", #" +
                                       std::to_string(e->Directivity) + " created");
                }
            } catch (const EKorvelError& error) {
                log.AddError("The directivity of element No. #" + std::to_string(srcNo) +
                             " is not imported: " + error.what());
            }
        }

        if (keepNumbers && srcNo > 0 && srcNo >= dstDb.NextAutoIncValue(dst->TableName()))
            dstDb.RaiseNextAutoIncValue(dst->TableName(), srcNo);
        try {
            TPendingRecord pending(*dst);
            dst->Append();
            dst->FieldByName("ElementName").SetAsString(name);
            if (db::TField* f = dst->FindField("Kommentar"))
                f->SetAsString(comment);
            if (db::TField* f = dst->FindField("LastChangeDateTime");
                f && src.FindField("LastChangeDateTime"))
                f->SetValue(src.FieldByName("LastChangeDateTime").Value());
            if (db::TField* f = dst->FindField("Graphic"); f && src.FindField("Graphic"))
                f->SetValue(src.FieldByName("Graphic").Value());
            element->SaveToLibrary(*target, name);
            PostOrCancel(*dst);
        } catch (...) {
            // No directivity without the element it was made for.
            if (storedDir > 0) {
                try {
                    db::TTable& d = *targetDirs->GetTable();
                    if (d.Locate("Eintrag", {db::TValue(std::int64_t{storedDir})}))
                        d.Delete();
                } catch (const std::exception& e) {
                    log.AddError("Directivity #" + std::to_string(storedDir) +
                                 " is left without its element: " + e.what());
                }
            }
            throw;
        }
        ++count;
        const int newNo = dst->FieldByName("Eintrag").AsInteger();
        if (keepNumbers && newNo != srcNo)
            log.AddInformation("Element \"" + name + "\" has number #" + std::to_string(newNo) +
                               " instead of #" + std::to_string(srcNo) +
                               ": the library already uses higher numbers");
    }
    // An update that is left incomplete must fail loudly: the caller would otherwise treat the older files
    // as carried over. Rolled back, it runs again on the next opening.
    if (fromUpdate && (cancelled || unreadable > 0)) {
        whole.Rollback();
        count = 0;
        duplicates = 0;
        if (cancelled)
            throw EKorvelError("The import was cancelled.");
        throw EKorvelError(std::to_string(unreadable) + (unreadable == 1 ? " element" : " elements") +
                           " of \"" + fileName + "\" cannot be read; nothing is imported.");
    }
    whole.Commit();
}

int TFormLibX::ImportV64(const std::string& fileName, int& count, int& duplicates) {
    return ImportParadoxAsOlderTable(Ui(), fileName, LegacyLibTableDef(LibType()), count, duplicates);
}

} // namespace korvel::sound
