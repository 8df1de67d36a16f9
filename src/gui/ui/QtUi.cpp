#include "gui/ui/QtUi.h"

#include "editor/NameExistsForm.h"
#include "gui/base/QtText.h"
#include "gui/ui/FileFilters.h"
#include "platform/Errors.h"
#include "platform/ui/Form.h"

#include <QApplication>
#include <QBuffer>
#include <QClipboard>
#include <QCloseEvent>
#include <QColorDialog>
#include <QFileDialog>
#include <QImage>
#include <QInputDialog>
#include <QKeyEvent>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <map>

namespace korvel::gui {

namespace {

// A question asked in the middle of a long operation gets the ordinary cursor back while it is open.
class TDialogCursor {
public:
    explicit TDialogCursor(bool waiting) : active_(waiting) {
        if (active_)
            QApplication::setOverrideCursor(Qt::ArrowCursor);
    }
    ~TDialogCursor() {
        if (active_)
            QApplication::restoreOverrideCursor();
    }
    TDialogCursor(const TDialogCursor&) = delete;
    TDialogCursor& operator=(const TDialogCursor&) = delete;

private:
    bool active_;
};

// Qt keeps a box without an Escape button open on Escape and on the window's close button (or picks a
// button by its role); the core's boxes can always be closed, with no button chosen.
class TMessageBox : public QMessageBox {
public:
    using QMessageBox::QMessageBox;

protected:
    void closeEvent(QCloseEvent* event) override {
        if (escapeButton() == nullptr)
            QDialog::closeEvent(event);
        else
            QMessageBox::closeEvent(event);
    }
    void keyPressEvent(QKeyEvent* event) override {
        if (escapeButton() == nullptr && event->matches(QKeySequence::Cancel))
            reject();
        else
            QMessageBox::keyPressEvent(event);
    }
};

QMessageBox::ButtonRole Role(TMsgDlgBtn button) {
    switch (button) {
    case mbYes:
    case mbYesToAll:
    case mbAll:
        return QMessageBox::YesRole;
    case mbNo:
    case mbNoToAll:
        return QMessageBox::NoRole;
    case mbCancel:
    case mbAbort:
        return QMessageBox::RejectRole;
    case mbOK:
    case mbRetry:
    case mbIgnore:
        return QMessageBox::AcceptRole;
    }
    return QMessageBox::AcceptRole;
}

QMessageBox::Icon Icon(TMsgDlgType type) {
    switch (type) {
    case mtWarning:
        return QMessageBox::Warning;
    case mtError:
        return QMessageBox::Critical;
    case mtInformation:
        return QMessageBox::Information;
    case mtConfirmation:
        return QMessageBox::Question;
    case mtCustom:
        return QMessageBox::NoIcon;
    }
    return QMessageBox::NoIcon;
}

QString Title(TMsgDlgType type) {
    switch (type) {
    case mtWarning:
        return QStringLiteral("Warning");
    case mtError:
        return QStringLiteral("Error");
    case mtInformation:
        return QStringLiteral("Information");
    case mtConfirmation:
        return QStringLiteral("Confirm");
    case mtCustom:
        break;
    }
    return QCoreApplication::applicationName();
}

std::string FormTitle(const TForm& form) {
    return "\"" + (form.Caption().empty() ? form.Name() : form.Caption()) + "\"";
}

// Title, filters (checked before anything is shown), folder and proposed name shared by open and save.
void Prepare(QFileDialog& dialog, const std::string& filter, int filterIndex,
             const std::filesystem::path& initialDir, const std::string& fileName) {
    const QStringList filters = ToQtNameFilters(filter);
    dialog.setOption(QFileDialog::DontUseNativeDialog);
    if (!filters.isEmpty()) {
        dialog.setNameFilters(filters);
        if (filterIndex >= 1 && filterIndex <= filters.size())
            dialog.selectNameFilter(filters[filterIndex - 1]);
    }
    if (!initialDir.empty())
        dialog.setDirectory(PathToQ(initialDir));
    if (!fileName.empty())
        dialog.selectFile(ToQ(fileName));
}

} // namespace

TQtUi::TQtUi(QWidget* dialogParent, IFormPresenter* presenter)
    : parent_(dialogParent), presenter_(presenter) {}

TModalResult TQtUi::MessageDlg(const std::string& text, TMsgDlgType type, TMsgDlgButtons buttons) {
    TMessageBox box(parent_);
    box.setIcon(Icon(type));
    box.setWindowTitle(Title(type));
    // The core's text is plain: a '<' in an element name must not turn into markup.
    box.setTextFormat(Qt::PlainText);
    // Lines may be separated by carriage returns alone, which a label does not break at.
    box.setText(ToQ(uitext::JoinLines(uitext::SplitLines(text))));

    if (buttons.Empty())
        buttons = {mbOK};
    std::map<QAbstractButton*, TModalResult> results;
    std::map<TMsgDlgBtn, QPushButton*> byKind;
    for (TMsgDlgBtn b : buttons.List()) {
        QPushButton* button = box.addButton(ToQ(ButtonCaption(b)), Role(b));
        results[button] = ButtonResult(b);
        byKind[b] = button;
    }
    const auto find = [&byKind](TMsgDlgBtn b) -> QPushButton* {
        const auto it = byKind.find(b);
        return it == byKind.end() ? nullptr : it->second;
    };
    if (QPushButton* yes = find(mbYes))
        box.setDefaultButton(yes);
    else if (QPushButton* ok = find(mbOK))
        box.setDefaultButton(ok);
    if (QPushButton* cancel = find(mbCancel))
        box.setEscapeButton(cancel);
    else if (QPushButton* no = find(mbNo))
        box.setEscapeButton(no);
    else if (byKind.size() == 1 && find(mbOK))
        box.setEscapeButton(find(mbOK));

    TDialogCursor cursor(waitDepth_ > 0);
    box.exec();
    const auto it = results.find(box.clickedButton());
    return it == results.end() ? mrCancel : it->second;
}

bool TQtUi::InputQuery(const std::string& caption, const std::string& prompt, std::string& value) {
    QInputDialog dialog(parent_);
    dialog.setInputMode(QInputDialog::TextInput);
    dialog.setWindowTitle(ToQ(caption));
    dialog.setLabelText(ToQ(prompt));
    dialog.setTextValue(ToQ(value));
    TDialogCursor cursor(waitDepth_ > 0);
    if (dialog.exec() != QDialog::Accepted)
        return false;
    value = FromQ(dialog.textValue());
    return true;
}

std::vector<std::filesystem::path> TQtUi::OpenDialog(const TOpenDialogOptions& options) {
    QFileDialog dialog(parent_, ToQ(options.Title));
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    if (options.SelectFolder) {
        dialog.setFileMode(QFileDialog::Directory);
        dialog.setOption(QFileDialog::ShowDirsOnly);
        Prepare(dialog, {}, 1, options.InitialDir, options.FileName);
    } else {
        dialog.setFileMode(options.MultiSelect ? QFileDialog::ExistingFiles : QFileDialog::ExistingFile);
        Prepare(dialog, options.Filter, options.FilterIndex, options.InitialDir, options.FileName);
    }
    TDialogCursor cursor(waitDepth_ > 0);
    std::vector<std::filesystem::path> files;
    if (dialog.exec() != QDialog::Accepted)
        return files;
    for (const QString& file : dialog.selectedFiles())
        files.push_back(PathFromQ(file));
    return files;
}

std::optional<std::filesystem::path> TQtUi::SaveDialog(const TSaveDialogOptions& options) {
    QFileDialog dialog(parent_, ToQ(options.Title));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    Prepare(dialog, options.Filter, options.FilterIndex, options.InitialDir, options.FileName);
    // Qt adds the suffix before it asks about overwriting, so the question names the file really written.
    QString suffix = ToQ(options.DefaultExt);
    if (suffix.startsWith(u'.'))
        suffix.remove(0, 1);
    dialog.setDefaultSuffix(suffix);
    dialog.setOption(QFileDialog::DontConfirmOverwrite, !options.OverwritePrompt);
    TDialogCursor cursor(waitDepth_ > 0);
    if (dialog.exec() != QDialog::Accepted)
        return std::nullopt;
    const QStringList files = dialog.selectedFiles();
    if (files.isEmpty() || files.front().isEmpty())
        return std::nullopt;
    return ApplyDefaultExt(PathFromQ(files.front()), options.DefaultExt);
}

bool TQtUi::ChooseColor(TColor& color) {
    const QColor initial = color == clDefault ? QColor(Qt::white) : ToQColor(color);
    QColorDialog dialog(initial, parent_);
    dialog.setOption(QColorDialog::DontUseNativeDialog);
    TDialogCursor cursor(waitDepth_ > 0);
    if (dialog.exec() != QDialog::Accepted)
        return false;
    color = FromQColor(dialog.selectedColor());
    return true;
}

TNameConflictAnswer TQtUi::NameConflict(const TNameConflictQuery& query) {
    return RunNameExistsForm(*this, query);
}

std::string TQtUi::ClipboardText() {
    return FromQ(QGuiApplication::clipboard()->text());
}

void TQtUi::SetClipboardText(const std::string& text) {
    QGuiApplication::clipboard()->setText(ToQ(text));
}

std::vector<std::uint8_t> TQtUi::ClipboardPicture() {
    const QMimeData* mime = QGuiApplication::clipboard()->mimeData();
    if (mime == nullptr || !mime->hasImage())
        return {};
    const QImage image = qvariant_cast<QImage>(mime->imageData());
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    if (image.isNull() || !image.save(&buffer, "PNG"))
        return {};
    return {bytes.begin(), bytes.end()};
}

void TQtUi::SetClipboardPicture(const std::vector<std::uint8_t>& png) {
    if (png.empty()) {
        QGuiApplication::clipboard()->clear();
        return;
    }
    QImage image;
    // Checked before the clipboard is touched, so a bad picture does not cost the user what was there.
    if (!image.loadFromData(QByteArray::fromRawData(reinterpret_cast<const char*>(png.data()),
                                                    static_cast<qsizetype>(png.size())),
                            "PNG"))
        throw EKorvelError("The picture cannot be put on the clipboard: it is not a readable PNG image.");
    QGuiApplication::clipboard()->setImage(image);
}

TModalResult TQtUi::ShowModal(TForm& form) {
    if (presenter_ == nullptr)
        throw EKorvelError("The dialog " + FormTitle(form) + " cannot be shown: no form presenter is set.");
    TDialogCursor cursor(waitDepth_ > 0);
    return presenter_->ShowModal(form);
}

void TQtUi::ShowForm(TForm& form) {
    if (presenter_ == nullptr)
        throw EKorvelError("The window " + FormTitle(form) + " cannot be shown: no form presenter is set.");
    presenter_->ShowForm(form);
}

void TQtUi::ProcessEvents() {
    QCoreApplication::processEvents();
}

void TQtUi::BeginWaitCursor() {
    if (waitDepth_++ == 0)
        QApplication::setOverrideCursor(Qt::WaitCursor);
}

void TQtUi::EndWaitCursor() {
    if (waitDepth_ > 0 && --waitDepth_ == 0)
        QApplication::restoreOverrideCursor();
}

} // namespace korvel::gui
