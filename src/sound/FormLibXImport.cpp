// The import command of the sound library editor: the file types offered and the importer each one goes to.

#include "platform/base/LibKinds.h"
#include "platform/log/Log.h"
#include "platform/text/CaseFold.h"
#include "platform/ui/Ui.h"
#include "sound/FormLibX.h"

#include <filesystem>

namespace korvel::sound {

using namespace acoustic;

namespace {

// The same file name with another extension (the table generation keeps its data in the ".abs" beside the
// ".db" of the generation before).
std::string WithExtension(const std::string& fileName, const std::string& extension) {
    return std::filesystem::path(fileName).replace_extension(extension).string();
}

// Library file stems of the four kinds, as the older generations named them.
const char* const kStems[] = {"Emis", "Abso", "Trans", "Atten"};
// The DOS generation's index file of each kind.
const char* const kDosIndex[] = {"*lib.002", "*lib.001", "*lib.003", "*lib.004"};

} // namespace

std::string TFormLibX::GetImportFilter() {
    const int kind = LibType() - kEmissionLibType;
    const std::string stem = kStems[kind];
    // Absorption libraries were also saved as "Absor.abs" by an older release.
    const std::string tableFiles = LibType() == kAbsorptionLibType ? "Absor.abs; Abso.abs" : stem + ".abs";
    const std::string caption = GetCaptionString();
    const bool emission = LibType() == kEmissionLibType;
    std::string filter;
    if (emission)
        filter = "All import files (V7.3; *.CF?; *.xls?; *.txt)|Emis.abs; *.CF?; *.xls?; *.txt";
    else
        filter = "All import files (V7.3; *.xls?; *.txt)|" + tableFiles + "; *.xls?; *.txt";
    filter += "|" + caption + " V7.3|" + tableFiles;
    if (emission)
        filter += "|Common Loudspeaker Format (*.CF?)|*.CF?"
                  "|Common Loudspeaker Format (*.CF1)|*.CF1"
                  "|Common Loudspeaker Format (*.CF2)|*.CF2";
    filter += "|" + caption + " V6.4|" + stem + ".dB";
    filter += "|" + caption + " V4|" + kDosIndex[kind];
    filter += "|Excel files (*.xls; *.xlsx)|*.xls*|ASCII files (*.txt)|*.txt|All files (*.*)|*.*";
    return filter;
}

void TFormLibX::ImportFile(const std::string& fileName) {
    TWaitCursor wait(Ui());
    Host().Log();
    // The log goes with the command, also when an importer fails; the failure reaches the caller.
    struct TLogGuard {
        TFormLibX& form;
        // Runs while an importer's error may be on its way out: nothing may escape from here.
        ~TLogGuard() {
            form.Host().FreeLog();
            try {
                form.DBList().Invalidate();
                form.RefreshElement();
            } catch (const std::exception& e) {
                try {
                    form.Ui().MessageDlg(e.what(), mtError, {mbOK});
                } catch (...) {
                }
            } catch (...) {
            }
        }
    } guard{*this};
    int count = -1;
    int duplicates = 0;
    int result = 1;
    const std::string upper = AsciiUpper(fileName);
    const std::string extension = AsciiUpper(std::filesystem::path(fileName).extension().string());
    if (!upper.empty() && upper.substr(0, upper.size() - 1).ends_with("LIB.00")) {
        ImportV42(fileName, count, duplicates);
    } else if (extension == ".DB") {
        result = ImportV64(fileName, count, duplicates);
        // A table that could not be read leaves no fresh ".abs": an older one beside it is not imported.
        if (result == 1)
            ImportV73(GetCurIndex(), WithExtension(fileName, ".abs"), count, duplicates, false, false);
    } else if (extension == ".ABS") {
        ImportV73(GetCurIndex(), fileName, count, duplicates, false, false);
    } else if (extension == ".CF1" || extension == ".CF2") {
        Import_CLF(fileName);
    } else {
        result = ImportAsciiExcel(fileName, count, duplicates);
    }
    const std::string summary = ImportSummary(count, duplicates);
    if (!summary.empty() && result == 1) {
        TLog& log = Host().Log();
        log.AddInformation(summary);
        log.SetProgress(100);
        Host().ShowLog(false);
    }
}

} // namespace korvel::sound
