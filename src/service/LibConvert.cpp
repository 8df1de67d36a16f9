// Conversion of a folder's older library files to the current library files.

#include "editor/CustomLibForm.h"
#include "platform/base/LibKinds.h"
#include "platform/base/MyTable.h"
#include "platform/settings/PathText.h"
#include "service/LibService.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace korvel {

namespace {

// The older files of each kind: those that must exist for a conversion, and all that go afterwards.
struct TOldFiles {
    int LibType;
    std::vector<const char*> AnyOf; // one of these starts the conversion
    std::vector<const char*> AllOf; // all of these must exist
    std::vector<const char*> Remove;
};

const std::vector<TOldFiles>& OldFiles() {
    static const std::vector<TOldFiles> files = {
        {120, {"Emis.abs", "Riwi.abs"}, {}, {"Riwi.abs", "Emis.abs", "Emis.fil", "EmisGrp.abs"}},
        {122, {"Trans.abs"}, {}, {"Trans.abs", "Trans.fil", "TransGrp.abs"}},
        {123, {"Atten.abs"}, {}, {"Atten.abs", "Atten.fil", "AttenGrp.abs"}},
        {121, {"Absor.abs"}, {}, {"Absor.abs", "Absor.fil", "AbsorGrp.abs"}},
        {135, {}, {"Assess.abs", "ZBDef.abs", "Gebiete.abs"}, {"Assess.abs", "ZBDef.abs", "Gebiete.abs"}},
    };
    return files;
}

constexpr const char* kBackedUp[] = {"Riwi.abs",     "Emis.abs",     "Emis.fil",     "EmisGrp.abs",
                                     "Trans.abs",    "Trans.fil",    "TransGrp.abs", "Atten.abs",
                                     "Atten.fil",    "AttenGrp.abs", "Absor.abs",    "Absor.fil",
                                     "AbsorGrp.abs", "Assess.abs",   "ZBDef.abs",    "Gebiete.abs"};

bool Wanted(const fs::path& folder, const TOldFiles& kind) {
    bool any = kind.AnyOf.empty();
    for (const char* f : kind.AnyOf)
        any = any || fs::exists(folder / f);
    bool all = true;
    for (const char* f : kind.AllOf)
        all = all && fs::exists(folder / f);
    return any && all;
}

} // namespace

void ConvertLibrary(TLibHost& host, const std::string& folder) {
    const fs::path dir(folder);
    const std::string location = IncludeTrailingSeparator(folder);
    TLog& log = host.Log();
    std::error_code ec;
    fs::create_directories(dir / "backup", ec);
    // A file that could not be kept in the backup folder is never removed.
    std::vector<std::string> unsaved;
    for (const char* f : kBackedUp) {
        if (!fs::exists(dir / f))
            continue;
        std::error_code copyError;
        if (!fs::copy_file(dir / f, dir / "backup" / f, fs::copy_options::overwrite_existing, copyError) ||
            copyError) {
            unsaved.emplace_back(f);
            log.AddError("\"" + std::string(f) +
                         "\" could not be copied into the backup folder; it is kept.");
        }
    }

    std::vector<const TOldFiles*> done;
    for (const TOldFiles& kind : OldFiles()) {
        if (!Wanted(dir, kind))
            continue;
        if (fs::exists(location + LibName(kind.LibType))) {
            done.push_back(&kind);
            continue;
        }
        std::unique_ptr<TCustomLibForm> editor = CreateLib(host, kind.LibType);
        if (!editor) {
            // Without a converter the old files are the only copy of the data in this folder: they stay.
            log.AddError("The " + std::string(FindLibKind(kind.LibType)->Caption) + " of \"" + folder +
                         "\" cannot be converted by this version; its older files are kept.");
            continue;
        }
        const std::size_t entriesBefore = log.Entries().size();
        try {
            editor->SetVisible(false);
            editor->OpenForConversion(location);
            editor.reset();
            // Probed writable: a read-only connection that closes last leaves the journal files of the new
            // library behind.
            if (!LibraryExists(kind.LibType, location, false)) {
                log.AddError("The " + std::string(FindLibKind(kind.LibType)->Caption) + " of \"" + folder +
                             "\" was not created; its older files are kept.");
                continue;
            }
            // An update that broke off left the new library empty: the older files stay so that the next
            // opening fills it again.
            const auto& entries = log.Entries();
            const bool failed =
                std::any_of(entries.begin() + static_cast<std::ptrdiff_t>(entriesBefore), entries.end(),
                            [](const TLogEntry& e) {
                                return e.Kind == TLogKind::Error && e.Text.starts_with(kUpdateFailedPrefix);
                            });
            if (!failed)
                done.push_back(&kind);
        } catch (const std::exception& e) {
            // A failed conversion keeps the older files as they are, to be converted again.
            log.AddError(e.what());
        }
    }

    if (log.HasMessages()) {
        log.SetProgress(100);
        host.ShowLog(true);
    }
    for (const TOldFiles* kind : done)
        for (const char* f : kind->Remove)
            if (std::find(unsaved.begin(), unsaved.end(), f) == unsaved.end()) {
                fs::remove(dir / f, ec);
                // Reading an older file leaves its journal files beside it; they go with it.
                for (const char* suffix : {"-wal", "-shm"})
                    fs::remove(dir / (std::string(f) + suffix), ec);
            }
    host.FreeLog();
}

} // namespace korvel
