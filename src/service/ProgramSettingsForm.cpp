#include "service/ProgramSettingsForm.h"

#include "platform/settings/PathText.h"
#include "platform/settings/ProgramSettings.h"
#include "platform/ui/DialogButtons.h"
#include "platform/ui/Ui.h"

#include <filesystem>

namespace korvel {

namespace {

constexpr int kLabelWidth = 170;
constexpr int kBrowseWidth = 32;

bool FolderMissing(const std::string& folder) {
    std::error_code ec;
    return !folder.empty() && !std::filesystem::is_directory(folder, ec);
}

} // namespace

TFormProgramSettings::TFormProgramSettings(IUi& ui) : TForm(ui, "FormProgramSettings") {
    SetCaption("Settings");
    SetBounds(0, 0, 620, 262);

    EditGlobal = &AddFolderRow("Global", "Global library folder", 16);
    EditSystem1 = &AddFolderRow("System1", "System library folder", 50);
    EditSystem2 = &AddFolderRow("System2", "Second System library folder", 84);

    RGWindowStyle = &Add<TRadioGroup>("RGWindowStyle");
    RGWindowStyle->SetCaption("Library editors open");
    RGWindowStyle->SetItems({"As windows of their own", "Inside the main window"});
    RGWindowStyle->SetColumns(2);
    RGWindowStyle->SetBounds(16, 124, 588, 56);

    const TDialogButtons dialogButtons = AddOkCancelButtons(*this, 418, 514, 208, 90, 28);
    ButtonOK = dialogButtons.Ok;
    ButtonCancel = dialogButtons.Cancel;
    ButtonOK->OnClick = Bind(&TFormProgramSettings::ButtonOKClick);
}

TEdit& TFormProgramSettings::AddFolderRow(const std::string& name, const std::string& caption, int top) {
    auto& label = Add<TLabel>("Label" + name);
    label.SetCaption(caption);
    label.SetBounds(16, top + 4, kLabelWidth, 20);
    auto& edit = Add<TEdit>("Edit" + name);
    edit.SetBounds(16 + kLabelWidth, top, 588 - kLabelWidth - kBrowseWidth - 4, 26);
    auto& browse = Add<TButton>("Browse" + name);
    browse.SetCaption("...");
    browse.SetHint("Choose the folder");
    browse.SetBounds(604 - kBrowseWidth, top, kBrowseWidth, 26);
    browse.OnClick = [this, &edit, caption](TComponent&) {
        BrowseClick(edit, caption);
    };
    return edit;
}

void TFormProgramSettings::Load() {
    TSuspendEvents guard = SuspendTreeEvents(*this);
    // The folders as stored, not as overridden for this run: the dialog edits the settings file.
    EditGlobal->SetText(GetGlobalLibPath());
    EditSystem1->SetText(GetSystemLibPath1());
    EditSystem2->SetText(GetSystemLibPath2());
    RGWindowStyle->SetItemIndex(GetLibWindowStyle());
}

void TFormProgramSettings::BrowseClick(TEdit& edit, const std::string& title) {
    TOpenDialogOptions options;
    options.Title = title;
    options.SelectFolder = true;
    options.InitialDir = edit.Text();
    std::vector<std::filesystem::path> chosen = Ui().OpenDialog(options);
    if (!chosen.empty())
        edit.SetText(IncludeTrailingSeparator(chosen.front().string()));
}

bool TFormProgramSettings::Store() {
    const std::pair<TEdit*, const char*> folders[] = {{EditGlobal, "The Global library folder"},
                                                      {EditSystem1, "The System library folder"},
                                                      {EditSystem2, "The second System library folder"}};
    for (const auto& [edit, what] : folders) {
        if (FolderMissing(edit->Text())) {
            Ui().ShowError(std::string(what) + " \"" + edit->Text() + "\" does not exist.");
            SetActiveControl(edit);
            return false;
        }
    }
    auto folderText = [](const TEdit& edit) {
        return edit.Text().empty() ? std::string() : IncludeTrailingSeparator(edit.Text());
    };
    SetGlobalLibPath(folderText(*EditGlobal));
    SetSystemLibPath1(folderText(*EditSystem1));
    SetSystemLibPath2(folderText(*EditSystem2));
    SetLibWindowStyle(RGWindowStyle->ItemIndex() == 0 ? 0 : 1);
    return true;
}

void TFormProgramSettings::ButtonOKClick(TComponent&) {
    if (!Store())
        SetModalResult(mrNone);
}

bool EditProgramSettings(IUi& ui) {
    TFormProgramSettings form(ui);
    form.Load();
    return ui.ShowModal(form) == mrOk;
}

} // namespace korvel
