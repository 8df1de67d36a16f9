#pragma once

// The dialog service of the desktop program: IUi answered with real Qt dialogs. Core forms (TForm) are drawn
// by the renderer, which this class reaches through IFormPresenter.

#include "platform/ui/Ui.h"

#include <QPointer>
#include <QWidget>

namespace korvel::gui {

// Draws a core form as a window; implemented by the renderer.
class IFormPresenter {
public:
    virtual ~IFormPresenter() = default;
    virtual TModalResult ShowModal(TForm& form) = 0;
    virtual void ShowForm(TForm& form) = 0;
};

class TQtUi : public IUi {
public:
    explicit TQtUi(QWidget* dialogParent = nullptr, IFormPresenter* presenter = nullptr);

    // Dialogs are centred on and owned by this window (usually the main window); it may be deleted.
    void SetDialogParent(QWidget* parent) { parent_ = parent; }
    QWidget* DialogParent() const { return parent_; }
    // Not owned; must outlive its use or be reset to nullptr.
    void SetPresenter(IFormPresenter* presenter) { presenter_ = presenter; }
    IFormPresenter* Presenter() const { return presenter_; }

    TModalResult MessageDlg(const std::string& text, TMsgDlgType type, TMsgDlgButtons buttons) override;
    bool InputQuery(const std::string& caption, const std::string& prompt, std::string& value) override;
    std::vector<std::filesystem::path> OpenDialog(const TOpenDialogOptions& options) override;
    std::optional<std::filesystem::path> SaveDialog(const TSaveDialogOptions& options) override;
    bool ChooseColor(TColor& color) override;
    TNameConflictAnswer NameConflict(const TNameConflictQuery& query) override;

    std::string ClipboardText() override;
    void SetClipboardText(const std::string& text) override;
    std::vector<std::uint8_t> ClipboardPicture() override;
    void SetClipboardPicture(const std::vector<std::uint8_t>& png) override;

    TModalResult ShowModal(TForm& form) override;
    void ShowForm(TForm& form) override;

    void ProcessEvents() override;

protected:
    void BeginWaitCursor() override;
    void EndWaitCursor() override;

private:
    QPointer<QWidget> parent_;
    IFormPresenter* presenter_ = nullptr;
    int waitDepth_ = 0;
};

} // namespace korvel::gui
