#include "DialogDriver.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QElapsedTimer>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPointer>
#include <QTimer>
#include <deque>
#include <gtest/gtest.h>
#include <string>

namespace korvel::test {

namespace {

constexpr int kPollMs = 20;
// How long a modal nobody queued an answer for may stay open.
constexpr int kUnansweredMs = 5000;

std::string Describe(QWidget* modal) {
    const QString message = ModalText(modal);
    return "\"" + modal->windowTitle().toStdString() + "\"" +
           (message.isEmpty() ? "" : " (" + message.left(200).toStdString() + ")");
}

std::string CurrentTestName() {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    return info ? std::string(info->test_suite_name()) + "." + info->name() : std::string();
}

// Closes a modal the way Escape would, even where Escape is not allowed, so the blocked call returns.
void ForceClose(QWidget* modal) {
    if (auto* dialog = qobject_cast<QDialog*>(modal))
        dialog->reject();
    else
        modal->hide();
}

class TDriver {
public:
    static TDriver& Instance() {
        static TDriver driver;
        return driver;
    }

    void Queue(TModalAnswer answer, int timeoutMs) {
        if (queue_.empty())
            queued_.start();
        queue_.push_back({std::move(answer), timeoutMs, CurrentTestName()});
        if (timer_)
            return;
        // Parented to the application so it goes before the event dispatcher does.
        timer_ = new QTimer(qApp);
        QObject::connect(timer_, &QTimer::timeout, [this] { Poll(); });
        timer_->start(kPollMs);
    }

    int Pending() const { return static_cast<int>(queue_.size()); }

private:
    struct TPending {
        TModalAnswer Answer;
        int TimeoutMs;
        std::string Test;
    };

    TPending Pop() {
        TPending head = std::move(queue_.front());
        queue_.pop_front();
        queued_.start();
        return head;
    }

    void Poll() {
        while (!queue_.empty() && queue_.front().Test != CurrentTestName())
            ADD_FAILURE() << "A modal answer queued by " << Pop().Test << " was never used";
        QWidget* modal = QApplication::activeModalWidget();
        if (modal == nullptr) {
            top_ = nullptr;
            if (!queue_.empty() && queued_.elapsed() > queue_.front().TimeoutMs)
                ADD_FAILURE() << "No modal dialog appeared within " << Pop().TimeoutMs
                              << " ms for a queued answer";
        } else if (modal != top_) {
            // A dialog newly on top takes the next answer, if any, and has until its timeout to close.
            top_ = modal;
            open_.start();
            answered_ = !queue_.empty();
            limitMs_ = answered_ ? queue_.front().TimeoutMs : kUnansweredMs;
            if (!answered_)
                return;
            // Run outside this timer's slot: Qt does not re-enter a timer that is being handled, so a dialog
            // the answer opens in turn (an overwrite question) could not be answered from inside it.
            QTimer::singleShot(0, qApp, [answer = Pop().Answer, target = QPointer<QWidget>(modal)] {
                if (target)
                    answer(target);
                else
                    ADD_FAILURE() << "The modal dialog closed before its answer ran";
            });
        } else if (open_.elapsed() > limitMs_) {
            ADD_FAILURE() << (answered_
                                  ? "The modal dialog " + Describe(modal) + " is still open after its answer"
                                  : "Unexpected modal dialog " + Describe(modal));
            top_ = nullptr;
            ForceClose(modal);
        }
    }

    std::deque<TPending> queue_;
    QElapsedTimer queued_; // since the head of the queue became the head
    QElapsedTimer open_;   // since top_ came on top
    QPointer<QWidget> top_;
    bool answered_ = false;
    int limitMs_ = kUnansweredMs;
    QPointer<QTimer> timer_;
};

// "&Yes" -> "Yes"; "&&" stays a literal '&'.
QString WithoutAccelerators(QString text) {
    return text.replace("&&", QString(QChar(1))).remove(u'&').replace(QChar(1), u'&');
}

} // namespace

void AnswerNextModal(TModalAnswer answer, int timeoutMs) {
    TDriver::Instance().Queue(std::move(answer), timeoutMs);
}

int PendingModalAnswers() {
    return TDriver::Instance().Pending();
}

void ClickButton(QWidget* dialog, const QString& text) {
    ASSERT_NE(dialog, nullptr) << "No dialog to click \"" << text.toStdString() << "\" in";
    const QString wanted = WithoutAccelerators(text);
    QAbstractButton* found = nullptr;
    QStringList seen;
    for (QAbstractButton* button : dialog->findChildren<QAbstractButton*>()) {
        if (!button->isVisible())
            continue;
        const QString caption = WithoutAccelerators(button->text());
        if (!caption.isEmpty())
            seen << caption;
        if (caption == wanted && found == nullptr)
            found = button;
    }
    ASSERT_NE(found, nullptr) << "No button \"" << wanted.toStdString() << "\" in the dialog "
                              << Describe(dialog) << "; its buttons: " << seen.join(", ").toStdString();
    ASSERT_TRUE(found->isEnabled()) << "The button \"" << wanted.toStdString() << "\" is disabled";
    found->click();
}

void SetLineEditText(QWidget* dialog, const QString& text) {
    ASSERT_NE(dialog, nullptr) << "No dialog to type into";
    QLineEdit* target = nullptr;
    for (QLineEdit* edit : dialog->findChildren<QLineEdit*>()) {
        if (!edit->isVisible())
            continue;
        if (edit->hasFocus()) {
            target = edit;
            break;
        }
        if (target == nullptr)
            target = edit;
    }
    ASSERT_NE(target, nullptr) << "The dialog " << Describe(dialog) << " has no line edit";
    target->setText(text);
}

QString ModalText(QWidget* dialog) {
    if (dialog == nullptr)
        return {};
    if (auto* box = qobject_cast<QMessageBox*>(dialog))
        return box->text();
    if (auto* input = qobject_cast<QInputDialog*>(dialog))
        return input->labelText();
    QStringList texts;
    for (QLabel* label : dialog->findChildren<QLabel*>())
        if (label->isVisible() && !label->text().isEmpty())
            texts << label->text();
    return texts.join(u'\n');
}

} // namespace korvel::test
