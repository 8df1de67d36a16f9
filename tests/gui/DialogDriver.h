#pragma once

// Answers Qt modal dialogs in tests. A modal dialog blocks in its own event loop, so the answer has to be
// queued before the call that opens it:
//
//     AnswerNextModal([](QWidget* box) { ClickButton(box, "Yes"); });
//     EXPECT_EQ(ui.MessageDlg("Delete?", mtConfirmation, {mbYes, mbNo}), mrYes);
//
// A dialog that does not appear in time, a modal left open by its answer and a modal nobody queued an answer
// for fail the running test and are closed, so a test never hangs.

#include <QString>
#include <functional>

class QWidget;

namespace korvel::test {

using TModalAnswer = std::function<void(QWidget* modal)>;

// Queues an answer for the next modal dialog that opens; answers run in the order queued. The timeout bounds
// both the wait for the dialog and how long it may stay open after the answer ran.
void AnswerNextModal(TModalAnswer answer, int timeoutMs = 5000);
// Answers not used yet (a dialog that was expected but never shown leaves one behind until its timeout).
int PendingModalAnswers();

// Clicks the button with this text ("&Yes" matches "Yes"); fails the test when it is missing or disabled.
void ClickButton(QWidget* dialog, const QString& text);
// Types into the dialog's line edit (the focused one, else the first visible one); fails when there is none.
void SetLineEditText(QWidget* dialog, const QString& text);
// The dialog's message: a message box's text, an input dialog's label, else its visible labels' texts.
QString ModalText(QWidget* dialog);

} // namespace korvel::test
