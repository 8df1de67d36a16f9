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
    std::string text = "\"" + modal->windowTitle().toStdString() + "\"";
    const QString message = ModalText(modal);
    if (!message.isEmpty())
        text += " (" + message.left(200).toStdString() + ")";
    return text;
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
            headWait_.start();
        queue_.push_back({std::move(answer), timeoutMs, CurrentTestName()});
        EnsureTimer();
    }

    int Pending() const { return static_cast<int>(queue_.size()); }

private:
    struct TPending {
        TModalAnswer Answer;
        int TimeoutMs;
        std::string Test;
    };

    void EnsureTimer() {
        if (timer_)
            return;
        // Parented to the application so it goes before the event dispatcher does.
        timer_ = new QTimer(qApp);
        QObject::connect(timer_, &QTimer::timeout, [this] { Poll(); });
        timer_->start(kPollMs);
    }

    void DropStaleAnswers() {
        const std::string test = CurrentTestName();
        while (!queue_.empty() && queue_.front().Test != test) {
            ADD_FAILURE() << "A modal answer queued by " << queue_.front().Test << " was never used";
            queue_.pop_front();
            headWait_.start();
        }
    }

    void Poll() {
        DropStaleAnswers();
        QWidget* modal = QApplication::activeModalWidget();
        if (modal != answered_)
            answered_ = nullptr;
        if (modal == nullptr) {
            unanswered_ = nullptr;
            if (!queue_.empty() && headWait_.elapsed() > queue_.front().TimeoutMs) {
                ADD_FAILURE() << "No modal dialog appeared within " << queue_.front().TimeoutMs
                              << " ms for a queued answer";
                queue_.pop_front();
                headWait_.start();
            }
            return;
        }
        if (modal != answered_ && !queue_.empty()) {
            TPending next = std::move(queue_.front());
            queue_.pop_front();
            headWait_.start();
            answered_ = modal;
            answeredTimeoutMs_ = next.TimeoutMs;
            unanswered_ = modal;
            unansweredWait_.start();
            // Run outside this timer's slot: Qt does not re-enter a timer that is being handled, so a dialog
            // the answer opens in turn (an overwrite question) could not be answered from inside it.
            QTimer::singleShot(0, qApp, [answer = std::move(next.Answer), target = QPointer<QWidget>(modal)] {
                if (target)
                    answer(target);
                else
                    ADD_FAILURE() << "The modal dialog closed before its answer ran";
            });
            return;
        }
        if (modal != unanswered_) {
            unanswered_ = modal;
            unansweredWait_.start();
        } else if (unansweredWait_.elapsed() > (modal == answered_ ? answeredTimeoutMs_ : kUnansweredMs)) {
            ADD_FAILURE() << (modal == answered_
                                  ? "The modal dialog " + Describe(modal) + " is still open after its answer"
                                  : "Unexpected modal dialog " + Describe(modal));
            unanswered_ = nullptr;
            ForceClose(modal);
        }
    }

    std::deque<TPending> queue_;
    QElapsedTimer headWait_;
    QPointer<QWidget> answered_;
    int answeredTimeoutMs_ = kUnansweredMs;
    QPointer<QWidget> unanswered_;
    QElapsedTimer unansweredWait_;
    QPointer<QTimer> timer_;
};

// "&Yes" -> "Yes"; "&&" stays a literal '&'.
QString WithoutAccelerators(const QString& text) {
    QString plain;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] == u'&') {
            if (i + 1 < text.size() && text[i + 1] == u'&')
                plain += u'&';
            else
                continue;
            ++i;
        } else {
            plain += text[i];
        }
    }
    return plain;
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
