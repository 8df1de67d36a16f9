#include "gui/ui/QtUi.h"

#include "gui/DialogDriver.h"
#include "gui/base/QtText.h"
#include "platform/Errors.h"
#include "platform/ui/Form.h"
#include "platform/ui/ListCtrls.h"
#include "platform/ui/StdCtrls.h"

#include <QAbstractButton>
#include <QApplication>
#include <QBuffer>
#include <QClipboard>
#include <QColorDialog>
#include <QImage>
#include <QInputDialog>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QTest>
#include <gtest/gtest.h>

namespace korvel::gui {
namespace {

using test::AnswerNextModal;
using test::ClickButton;

// What a message box showed, and the result MessageDlg returned after `act` ran on it.
struct TShownBox {
    QString Title;
    QString Text;
    QStringList Buttons;
    QString Default;
    QMessageBox::Icon Icon = QMessageBox::NoIcon;
    TModalResult Result = mrNone;
};

TShownBox Ask(TMsgDlgType type, TMsgDlgButtons buttons, std::function<void(QMessageBox*)> act,
              const std::string& text = "Store the changes?") {
    TShownBox shown;
    AnswerNextModal([&shown, act](QWidget* modal) {
        auto* box = qobject_cast<QMessageBox*>(modal);
        ASSERT_NE(box, nullptr);
        shown.Title = box->windowTitle();
        shown.Text = test::ModalText(box);
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
    EXPECT_EQ(test::PendingModalAnswers(), 0);
    return shown;
}

auto Click(const char* caption) {
    return [caption](QMessageBox* box) {
        ClickButton(box, caption);
    };
}
void PressEscape(QMessageBox* box) {
    QTest::keyClick(box, Qt::Key_Escape);
}
void CloseWindow(QMessageBox* box) {
    box->close();
}

TEST(QtUiMessage, ShowsTextTitleIconAndExactlyTheAskedButtons) {
    TShownBox shown = Ask(mtConfirmation, {mbYes, mbNo, mbCancel}, Click("Yes"));
    EXPECT_EQ(shown.Text, "Store the changes?");
    EXPECT_EQ(shown.Title, "Confirm");
    EXPECT_EQ(shown.Icon, QMessageBox::Question);
    EXPECT_EQ(shown.Buttons, QStringList({"Cancel", "No", "Yes"}));
    EXPECT_EQ(shown.Default, "Yes");
    EXPECT_EQ(shown.Result, mrYes);

    shown = Ask(mtError, {mbOK}, Click("OK"), "Cannot open <b>x</b> & y");
    EXPECT_EQ(shown.Text, "Cannot open <b>x</b> & y");
    EXPECT_EQ(shown.Title, "Error");
    EXPECT_EQ(shown.Icon, QMessageBox::Critical);
    EXPECT_EQ(shown.Buttons, QStringList({"OK"}));
    EXPECT_EQ(shown.Result, mrOk);

    EXPECT_EQ(Ask(mtWarning, {}, Click("OK")).Buttons, QStringList({"OK"})); // an empty set still shows OK
    EXPECT_EQ(Ask(mtCustom, {mbOK}, Click("OK")).Title, QCoreApplication::applicationName());
    shown = Ask(mtWarning, {mbAbort, mbRetry, mbIgnore, mbAll, mbNoToAll, mbYesToAll}, Click("No to All"));
    EXPECT_EQ(shown.Buttons, QStringList({"Abort", "All", "Ignore", "No to All", "Retry", "Yes to All"}));
    EXPECT_EQ(shown.Result, mrNoToAll);
}

TEST(QtUiMessage, EachButtonReturnsItsResult) {
    const TMsgDlgButtons ync{mbYes, mbNo, mbCancel};
    EXPECT_EQ(Ask(mtConfirmation, ync, Click("No")).Result, mrNo);
    EXPECT_EQ(Ask(mtConfirmation, ync, Click("Cancel")).Result, mrCancel);
    EXPECT_EQ(Ask(mtWarning, {mbAbort, mbRetry, mbIgnore}, Click("Retry")).Result, mrRetry);
    EXPECT_EQ(Ask(mtWarning, {mbAbort, mbRetry, mbIgnore}, Click("Ignore")).Result, mrIgnore);
    EXPECT_EQ(Ask(mtConfirmation, {mbYes, mbYesToAll, mbNo}, Click("Yes to All")).Result, mrYesToAll);
    EXPECT_EQ(Ask(mtConfirmation, {mbOK, mbCancel, mbAll}, Click("All")).Result, mrAll);
}

TEST(QtUiMessage, EscapeAndCloseGiveTheHarmlessAnswer) {
    EXPECT_EQ(Ask(mtConfirmation, {mbYes, mbNo, mbCancel}, PressEscape).Result, mrCancel);
    EXPECT_EQ(Ask(mtConfirmation, {mbYes, mbNo}, PressEscape).Result, mrNo);
    EXPECT_EQ(Ask(mtInformation, {mbOK}, PressEscape).Result, mrOk);
    EXPECT_EQ(Ask(mtWarning, {mbAbort, mbRetry, mbIgnore}, PressEscape).Result, mrCancel);
    EXPECT_EQ(Ask(mtWarning, {mbOK, mbAbort}, PressEscape).Result, mrCancel);
    EXPECT_EQ(Ask(mtConfirmation, {mbYes, mbNo}, CloseWindow).Result, mrNo);
    EXPECT_EQ(Ask(mtWarning, {mbAbort, mbRetry}, CloseWindow).Result, mrCancel);
}

TEST(QtUiMessage, LongTextWrapsInsideTheScreen) {
    const QString text = QString("Element 'Fan 12' cannot be stored: ").repeated(40);
    QSize box, label;
    int needed = 0;
    Ask(
        mtError, {mbOK},
        [&](QMessageBox* shown) {
            box = shown->size();
            for (QLabel* l : shown->findChildren<QLabel*>())
                if (l->text() == text) {
                    label = l->size();
                    needed = l->fontMetrics()
                                 .boundingRect(QRect(0, 0, l->width(), 100000), Qt::TextWordWrap, text)
                                 .height();
                }
            ClickButton(shown, "OK");
        },
        FromQ(text));
    EXPECT_LE(box.width(), QApplication::primaryScreen()->availableGeometry().width());
    EXPECT_GT(needed, 0);
    EXPECT_GE(label.height(), needed); // every line of the text fits
}

TEST(QtUiInput, ReturnsTheTypedValueAndFalseOnCancel) {
    TQtUi ui;
    std::string value = "Old name";
    QString label, shownValue, title;
    AnswerNextModal([&](QWidget* dialog) {
        title = dialog->windowTitle();
        label = test::ModalText(dialog);
        shownValue = qobject_cast<QInputDialog*>(dialog)->textValue();
        test::SetLineEditText(dialog, "Straße 7");
        ClickButton(dialog, "OK");
    });
    EXPECT_TRUE(ui.InputQuery("Rename", "New name:", value));
    EXPECT_EQ(title, "Rename");
    EXPECT_EQ(label, "New name:");
    EXPECT_EQ(shownValue, "Old name");
    EXPECT_EQ(value, "Straße 7");

    AnswerNextModal([](QWidget* dialog) {
        test::SetLineEditText(dialog, "typed, then cancelled");
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
    EXPECT_EQ(decoded.size(), QSize(3, 2));
    EXPECT_EQ(decoded.pixelColor(2, 1), QColor(255, 0, 0));
    EXPECT_EQ(decoded.pixelColor(0, 0), QColor(Qt::white));

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
    try {
        ui.ShowModal(form);
        ADD_FAILURE() << "no exception";
    } catch (const EKorvelError& e) {
        EXPECT_NE(std::string(e.what()).find("\"Options\""), std::string::npos) << e.what();
    }
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

} // namespace
} // namespace korvel::gui
