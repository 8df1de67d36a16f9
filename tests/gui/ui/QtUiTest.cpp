// The Qt dialog service and what it shows: message boxes, input, colour and file dialogs, the clipboard and
// the wait cursor; the log view; and the driver that answers the modal dialogs in these tests.

#include "gui/ui/QtUi.h"

#include "gui/DialogDriver.h"
#include "gui/ui/FileFilters.h"
#include "gui/ui/LogView.h"
#include "platform/Errors.h"
#include "platform/ui/Form.h"
#include "platform/ui/ListCtrls.h"
#include "platform/ui/StdCtrls.h"
#include "support/TempDir.h"

#include <QAbstractButton>
#include <QApplication>
#include <QBuffer>
#include <QColorDialog>
#include <QFileDialog>
#include <QImage>
#include <QInputDialog>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>
#include <algorithm>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace korvel::gui {
namespace {

namespace fs = std::filesystem;
using test::AnswerNextModal;
using test::ClickButton;
using test::ModalText;
using test::PendingModalAnswers;
using test::SetLineEditText;

// What a message box showed, and the result MessageDlg returned after `act` ran on it.
struct TShownBox {
    QString Title;
    QString Text;
    QMessageBox::Icon Icon = QMessageBox::NoIcon;
    QStringList Buttons;
    QString Default;
    TModalResult Result = mrNone;
    bool operator==(const TShownBox&) const = default;
};

void PrintTo(const TShownBox& b, std::ostream* out) {
    *out << (QStringList{b.Title, b.Text, QString::number(b.Icon), b.Buttons.join('/'), b.Default}.join(
                 " | ") +
             " -> " + QString::number(b.Result))
                .toStdString();
}

TShownBox Ask(TMsgDlgType type, TMsgDlgButtons buttons, std::function<void(QMessageBox*)> act,
              const std::string& text = "Store the changes?") {
    TShownBox shown;
    AnswerNextModal([&shown, act](QWidget* modal) {
        auto* box = qobject_cast<QMessageBox*>(modal);
        ASSERT_NE(box, nullptr);
        shown.Title = box->windowTitle();
        shown.Text = ModalText(box);
        shown.Icon = box->icon();
        for (QAbstractButton* b : box->buttons())
            shown.Buttons << b->text().remove(u'&');
        shown.Buttons.sort();
        if (box->defaultButton())
            shown.Default = box->defaultButton()->text().remove(u'&');
        act(box);
    });
    TQtUi ui;
    shown.Result = ui.MessageDlg(text, type, buttons);
    EXPECT_EQ(PendingModalAnswers(), 0);
    return shown;
}

auto Click(const char* caption) {
    return [caption](QMessageBox* box) {
        ClickButton(box, caption);
    };
}
const auto PressEscape = [](QMessageBox* box) {
    QTest::keyClick(box, Qt::Key_Escape);
};
const auto CloseWindow = [](QMessageBox* box) {
    box->close();
};

TEST(QtUiMessage, ShowsTextTitleIconAndExactlyTheAskedButtons) {
    EXPECT_EQ(
        Ask(mtConfirmation, {mbYes, mbNo, mbCancel}, Click("Yes")),
        (TShownBox{
            "Confirm", "Store the changes?", QMessageBox::Question, {"Cancel", "No", "Yes"}, "Yes", mrYes}));
    // The text is plain, never markup.
    EXPECT_EQ(Ask(mtError, {mbOK}, Click("OK"), "Cannot open <b>x</b> & y"),
              (TShownBox{"Error", "Cannot open <b>x</b> & y", QMessageBox::Critical, {"OK"}, "OK", mrOk}));
    EXPECT_EQ(Ask(mtWarning, {}, Click("OK")).Buttons, QStringList({"OK"})); // an empty set still shows OK
    EXPECT_EQ(Ask(mtCustom, {mbOK}, Click("OK")).Title, QCoreApplication::applicationName());
    const TShownBox shown =
        Ask(mtWarning, {mbAbort, mbRetry, mbIgnore, mbAll, mbNoToAll, mbYesToAll}, Click("No to All"));
    EXPECT_EQ(shown.Buttons, QStringList({"Abort", "All", "Ignore", "No to All", "Retry", "Yes to All"}));
    EXPECT_EQ(shown.Result, mrNoToAll);
}

TEST(QtUiMessage, EachButtonReturnsItsResultAndEscapeOrCloseTheHarmlessOne) {
    const TMsgDlgButtons ync{mbYes, mbNo, mbCancel};
    EXPECT_EQ(Ask(mtConfirmation, ync, Click("No")).Result, mrNo);
    EXPECT_EQ(Ask(mtConfirmation, ync, Click("Cancel")).Result, mrCancel);
    EXPECT_EQ(Ask(mtWarning, {mbAbort, mbRetry, mbIgnore}, Click("Retry")).Result, mrRetry);
    EXPECT_EQ(Ask(mtWarning, {mbAbort, mbRetry, mbIgnore}, Click("Ignore")).Result, mrIgnore);
    EXPECT_EQ(Ask(mtConfirmation, {mbYes, mbYesToAll, mbNo}, Click("Yes to All")).Result, mrYesToAll);
    EXPECT_EQ(Ask(mtConfirmation, {mbOK, mbCancel, mbAll}, Click("All")).Result, mrAll);

    EXPECT_EQ(Ask(mtConfirmation, ync, PressEscape).Result, mrCancel);
    EXPECT_EQ(Ask(mtConfirmation, {mbYes, mbNo}, PressEscape).Result, mrNo);
    EXPECT_EQ(Ask(mtInformation, {mbOK}, PressEscape).Result, mrOk);
    EXPECT_EQ(Ask(mtWarning, {mbAbort, mbRetry, mbIgnore}, PressEscape).Result, mrCancel);
    EXPECT_EQ(Ask(mtWarning, {mbOK, mbAbort}, PressEscape).Result, mrCancel);
    EXPECT_EQ(Ask(mtConfirmation, {mbYes, mbNo}, CloseWindow).Result, mrNo);
    EXPECT_EQ(Ask(mtWarning, {mbAbort, mbRetry}, CloseWindow).Result, mrCancel);
}

TEST(QtUiInput, ReturnsTheTypedValueAndFalseOnCancel) {
    TQtUi ui;
    std::string value = "Old name";
    QStringList shown; // title, label, proposed value
    AnswerNextModal([&](QWidget* dialog) {
        shown << dialog->windowTitle() << ModalText(dialog)
              << qobject_cast<QInputDialog*>(dialog)->textValue();
        SetLineEditText(dialog, "Straße 7");
        ClickButton(dialog, "OK");
    });
    EXPECT_TRUE(ui.InputQuery("Rename", "New name:", value));
    EXPECT_EQ(shown, QStringList({"Rename", "New name:", "Old name"}));
    EXPECT_EQ(value, "Straße 7");

    AnswerNextModal([](QWidget* dialog) {
        SetLineEditText(dialog, "typed, then cancelled");
        ClickButton(dialog, "Cancel");
    });
    EXPECT_FALSE(ui.InputQuery("Rename", "New name:", value));
    EXPECT_EQ(value, "Straße 7");
}

TEST(QtUiColor, ShowsTheProposalAndReturnsTheChoice) {
    TQtUi ui;
    TColor color = RGBToColor(200, 100, 50);
    QColor shown;
    AnswerNextModal([&shown](QWidget* dialog) {
        auto* colors = qobject_cast<QColorDialog*>(dialog);
        ASSERT_NE(colors, nullptr);
        shown = colors->currentColor();
        colors->setCurrentColor(QColor(10, 20, 30));
        ClickButton(dialog, "OK");
    });
    EXPECT_TRUE(ui.ChooseColor(color));
    EXPECT_EQ(shown, QColor(200, 100, 50));
    EXPECT_EQ(color, RGBToColor(10, 20, 30));

    AnswerNextModal([](QWidget* dialog) { ClickButton(dialog, "Cancel"); });
    EXPECT_FALSE(ui.ChooseColor(color));
    EXPECT_EQ(color, RGBToColor(10, 20, 30));
}

TEST(QtUiClipboard, TextAndPictureRoundTripAndReplaceEachOther) {
    TQtUi ui;
    ui.SetClipboardText("Lärm\n63 Hz\t82.5");
    EXPECT_EQ(ui.ClipboardText(), "Lärm\n63 Hz\t82.5");
    EXPECT_TRUE(ui.ClipboardPicture().empty());

    QImage image(3, 2, QImage::Format_RGB32);
    image.fill(Qt::white);
    image.setPixelColor(2, 1, QColor(255, 0, 0));
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    ASSERT_TRUE(image.save(&buffer, "PNG"));
    ui.SetClipboardPicture({png.begin(), png.end()});
    EXPECT_EQ(ui.ClipboardText(), "");

    const std::vector<std::uint8_t> back = ui.ClipboardPicture();
    QImage decoded;
    ASSERT_TRUE(decoded.loadFromData(back.data(), static_cast<int>(back.size()), "PNG"));
    EXPECT_EQ(decoded.convertToFormat(image.format()), image);

    // Bytes that are no picture are refused and leave the clipboard as it was.
    ui.SetClipboardText("kept");
    EXPECT_THROW(ui.SetClipboardPicture({1, 2, 3, 4}), EKorvelError);
    EXPECT_EQ(ui.ClipboardText(), "kept");
}

TEST(QtUiCursor, WaitCursorNestsAndDialogsShowTheNormalCursor) {
    TQtUi ui;
    ASSERT_EQ(QApplication::overrideCursor(), nullptr);
    {
        TWaitCursor outer(ui);
        ASSERT_NE(QApplication::overrideCursor(), nullptr);
        EXPECT_EQ(QApplication::overrideCursor()->shape(), Qt::WaitCursor);
        {
            TWaitCursor inner(ui);
            Qt::CursorShape during = Qt::BlankCursor;
            AnswerNextModal([&during](QWidget* box) {
                during = QApplication::overrideCursor()->shape();
                ClickButton(box, "OK");
            });
            ui.ShowMessage("Half way");
            EXPECT_EQ(during, Qt::ArrowCursor);
        }
        ASSERT_NE(QApplication::overrideCursor(), nullptr);
        EXPECT_EQ(QApplication::overrideCursor()->shape(), Qt::WaitCursor);
    }
    EXPECT_EQ(QApplication::overrideCursor(), nullptr);
}

class TFakePresenter : public IFormPresenter {
public:
    std::function<TModalResult(TForm&)> Modal;
    TForm* Shown = nullptr;
    TModalResult ShowModal(TForm& form) override { return Modal(form); }
    void ShowForm(TForm& form) override { Shown = &form; }
};

TEST(QtUiForms, GoThroughThePresenterAndFailClearlyWithoutOne) {
    TQtUi ui;
    TForm form(ui, "FormOptions");
    form.SetCaption("Options");
    EXPECT_THAT([&] { (void)ui.ShowModal(form); },
                testing::ThrowsMessage<EKorvelError>(testing::HasSubstr("\"Options\"")));
    EXPECT_THROW(ui.ShowForm(form), EKorvelError);
    TNameConflictQuery query;
    query.Name = "Fan";
    EXPECT_THROW(ui.NameConflict(query), EKorvelError);

    TFakePresenter presenter;
    ui.SetPresenter(&presenter);
    ui.ShowForm(form);
    EXPECT_EQ(presenter.Shown, &form);

    // The name conflict is the core's own form, answered as a person would through its controls.
    presenter.Modal = [](TForm& shown) {
        shown.Find<TRadioGroup>("RGChoice").SetItemIndex(4);
        shown.Find<TEdit>("EditName").SetText("Fan 2");
        shown.Find<TButton>("ButtonOK").Click();
        return shown.ModalResult();
    };
    TNameConflictAnswer answer = ui.NameConflict(query);
    EXPECT_EQ(answer.Action, TneAction::NewName);
    EXPECT_EQ(answer.NewName, "Fan 2");
}

// The driver must turn a missing or stuck dialog into a failure instead of a hanging test.
TEST(FileFilters, ConvertToQtNameFiltersAndRefuseMalformedOnesBeforeAnyDialog) {
    EXPECT_EQ(ToQtNameFilters("Text (*.txt)|*.txt|All (*.*)|*.*"), QStringList({"Text (*.txt)", "All (*)"}));
    // The classic patterns rule, whatever the description says; ordinary parentheses stay text.
    EXPECT_EQ(ToQtNameFilters("Libraries (*.lib)|*.lib; *.LIB;*.dat|Spectra (octave)|*.spc"),
              QStringList({"Libraries (*.lib *.LIB *.dat)", "Spectra (octave) (*.spc)"}));
    EXPECT_EQ(ToQtFilter("Data|*.dat|Text|*.txt"), "Data (*.dat);;Text (*.txt)");
    EXPECT_TRUE(ToQtNameFilters("").isEmpty());
    EXPECT_THROW(ToQtNameFilters("Text (*.txt)|*.txt|All files"), EKorvelError);
    EXPECT_THROW(ToQtNameFilters("Text| ; "), EKorvelError);

    TQtUi ui;
    EXPECT_THROW(ui.OpenDialog({"Import", "Text", 1, {}, {}, false}), EKorvelError);
    EXPECT_THROW(ui.SaveDialog({"Export", "Text|", 1, "lib", {}, {}, true}), EKorvelError);
}

// Types the name into the file dialog, then clicks the button.
test::TModalAnswer Choose(const QString& name, const QString& button) {
    return [name, button](QWidget* dialog) {
        SetLineEditText(dialog, name);
        ClickButton(dialog, button);
    };
}

class FileDialogTest : public ::testing::Test {
protected:
    fs::path Touch(const std::string& name) {
        std::ofstream(dir.Path() / name) << "x";
        return dir.Path() / name;
    }
    test::TempDir dir;
    TQtUi ui;
};

TEST_F(FileDialogTest, SaveAppliesTheDefaultExtensionAndAsksBeforeOverwritingUnlessTold) {
    TSaveDialogOptions options;
    options.Title = "Export library";
    options.Filter = "Libraries (*.lib)|*.lib|Text (*.txt)|*.txt";
    options.FilterIndex = 2;
    options.DefaultExt = ".lib";
    options.InitialDir = dir.Path();
    QStringList shown; // title, folder, filter
    AnswerNextModal([&](QWidget* modal) {
        auto* dialog = qobject_cast<QFileDialog*>(modal);
        ASSERT_NE(dialog, nullptr);
        shown << dialog->windowTitle() << dialog->directory().absolutePath() << dialog->selectedNameFilter();
        Choose("noise", "Save")(dialog);
    });
    EXPECT_EQ(ui.SaveDialog(options), dir.Path() / "noise.lib");
    EXPECT_EQ(shown, QStringList({"Export library", PathToQ(dir.Path()), "Text (*.txt)"}));
    AnswerNextModal(Choose("noise.txt", "Save"));
    EXPECT_EQ(ui.SaveDialog(options), dir.Path() / "noise.txt");
    AnswerNextModal([](QWidget* dialog) { ClickButton(dialog, "Cancel"); });
    EXPECT_EQ(ui.SaveDialog(options), std::nullopt);

    const fs::path old = Touch("old.lib");
    options.DefaultExt = "lib";
    QString question;
    AnswerNextModal(Choose("old", "Save"));
    AnswerNextModal([&question](QWidget* box) {
        question = ModalText(box);
        ClickButton(box, "Yes");
    });
    EXPECT_EQ(ui.SaveDialog(options), old);
    EXPECT_TRUE(question.contains("old.lib")) << question.toStdString();
    options.OverwritePrompt = false;
    AnswerNextModal(Choose("old", "Save"));
    EXPECT_EQ(ui.SaveDialog(options), old);
    EXPECT_EQ(PendingModalAnswers(), 0);
}

TEST_F(FileDialogTest, OpenReturnsEverySelectedFileOrAFolder) {
    TOpenDialogOptions options;
    options.Title = "Import";
    options.Filter = "Text (*.txt)|*.txt";
    options.InitialDir = dir.Path();
    options.MultiSelect = true;
    const std::vector<fs::path> both{Touch("a.txt"), Touch("b.txt")};
    AnswerNextModal(Choose("\"a.txt\" \"b.txt\"", "Open"));
    std::vector<fs::path> files = ui.OpenDialog(options);
    std::sort(files.begin(), files.end());
    EXPECT_EQ(files, both);
    AnswerNextModal([](QWidget* dialog) { ClickButton(dialog, "Cancel"); });
    EXPECT_TRUE(ui.OpenDialog(options).empty());

    fs::create_directory(dir.Path() / "spectra");
    options.MultiSelect = false;
    options.SelectFolder = true;
    bool foldersOnly = false;
    AnswerNextModal([&foldersOnly](QWidget* modal) {
        auto* dialog = qobject_cast<QFileDialog*>(modal);
        ASSERT_NE(dialog, nullptr);
        foldersOnly = dialog->fileMode() == QFileDialog::Directory;
        Choose("spectra", "Choose")(dialog);
    });
    EXPECT_EQ(ui.OpenDialog(options), std::vector<fs::path>{dir.Path() / "spectra"});
    EXPECT_TRUE(foldersOnly);
}

TEST(LogView, ShowsEntriesCountersAndProgressAndCancels) {
    TLog log;
    log.AddInformation("Import of pumps.lib started");
    TLogView view;
    EXPECT_FALSE(view.CancelButton()->isEnabled());
    view.SetLog(&log); // entries from before attaching are shown too
    log.AddError("Record 7: no name");
    QTreeWidget* list = view.EntryList();
    ASSERT_EQ(list->topLevelItemCount(), 2);
    QTreeWidgetItem* info = list->topLevelItem(0);
    QTreeWidgetItem* error = list->topLevelItem(1);
    EXPECT_EQ(QStringList({info->text(1), error->text(1)}),
              QStringList({"Import of pumps.lib started", "Record 7: no name"}));
    EXPECT_EQ(error->text(0).size(), 8); // HH:mm:ss
    EXPECT_EQ(error->foreground(1).color(), QColor(Qt::red));
    EXPECT_NE(info->foreground(1).color(), QColor(Qt::red));
    EXPECT_EQ(view.CountersLabel()->text(), "Information: 1   Errors: 1");
    log.ResetCounters();
    EXPECT_EQ(view.CountersLabel()->text(), "Information: 0   Errors: 0");

    log.SetProgressOf(3, 4);
    EXPECT_EQ(view.ProgressBar()->value(), 75);
    ASSERT_TRUE(view.CancelButton()->isEnabled());
    QTest::mouseClick(view.CancelButton(), Qt::LeftButton);
    EXPECT_TRUE(log.Cancelled());
    EXPECT_FALSE(view.CancelButton()->isEnabled());
    log.ResetCancel();
    EXPECT_TRUE(view.CancelButton()->isEnabled());

    view.ClearButton()->click();
    EXPECT_TRUE(log.Entries().empty());
    EXPECT_EQ(list->topLevelItemCount(), 0);
    EXPECT_EQ(view.ProgressBar()->value(), 0);
}

} // namespace
} // namespace korvel::gui
