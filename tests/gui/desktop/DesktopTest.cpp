// The desktop program driven as a person drives it: typing into the editor, clicking tabs and buttons and
// answering the questions in real dialogs.

#include "DesktopFixture.h"
#include "DialogDriver.h"
#include "meteo/PollutantsSchema.h"
#include "platform/base/LibEditorRegistry.h"
#include "platform/db/Table.h"
#include "platform/settings/ProgramSettings.h"
#include "platform/ui/StdCtrls.h"
#include "support/TestUi.h"

#include <QAbstractItemView>
#include <QAction>
#include <QLineEdit>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenuBar>
#include <QPushButton>
#include <QTabBar>
#include <QTest>
#include <filesystem>
#include <set>

namespace korvel::gui::test {
namespace {

using korvel::test::AnswerNextModal;
using korvel::test::ClickButton;
using korvel::test::LibFolders;
using korvel::test::ModalText;
using korvel::test::PendingModalAnswers;

constexpr int kType = meteo::kPollutantsLibType;

std::vector<std::string> NamesInFile(const std::string& folder) {
    auto database = std::make_shared<db::TDatabase>(folder + LibName(kType));
    database->SetReadOnly(true);
    database->Open();
    db::TTable table(database, TableNames(kType)[0]);
    table.Open();
    table.SetIndexName("p");
    std::vector<std::string> names;
    for (table.First(); !table.Eof(); table.Next())
        names.push_back(table.FieldByName("Short").AsString());
    return names;
}

QTabBar* TabBarOf(QWidget* tabControl) {
    auto* bar = tabControl->findChild<QTabBar*>();
    EXPECT_NE(bar, nullptr);
    return bar;
}

void ClickTab(QTabBar* bar, int index) {
    QTest::mouseClick(bar, Qt::LeftButton, {}, bar->tabRect(index).center());
}

void Retype(QLineEdit* edit, const QString& text) {
    edit->setFocus();
    edit->selectAll();
    QTest::keyClicks(edit, text);
}

class DesktopEditorTest : public DesktopTest {
protected:
    DesktopEditorTest() {
        LibFolders::MakeLibrary(kType, folders_.System(), {{{"Short", "S1"}}, {{"Short", "S2"}}});
        LibFolders::MakeLibrary(kType, folders_.Project(), {{{"Short", "P1"}}, {{"Short", "P2"}}});
    }
};

TEST_F(DesktopEditorTest, TheEditorOpensInsideTheMainWindowWithItsLibraryTabs) {
    TCustomLibForm& editor = OpenEditor(kType);
    ASSERT_EQ(window_.WorkArea()->subWindowList().size(), 1);
    EXPECT_EQ(window_.WorkArea()->subWindowList().front(), presenter_.WindowOf(editor));
    QTabBar* tabs = TabBarOf(WidgetOf<QWidget>(editor, "TabLibs"));
    ASSERT_EQ(tabs->count(), 2);
    EXPECT_EQ(tabs->tabText(0), "System");
    EXPECT_EQ(tabs->tabText(1), "Project");
    EXPECT_EQ(tabs->currentIndex(), editor.GetCurIndex());
    // The frame's menus are the window's own menu bar.
    QStringList menus;
    for (QAction* a : ViewOf(editor).MenuBar()->actions())
        menus << a->text();
    EXPECT_EQ(menus, (QStringList{"File", "Edit", "View"}));
    // A second request brings the same editor forward instead of opening another.
    window_.OpenLibrary(kType);
    EXPECT_EQ(host_.Windows().size(), 1u);
}

TEST_F(DesktopEditorTest, AnEditIsStoredOrKeptAsTheAnswerToTheSaveQuestionSays) {
    TCustomLibForm& editor = OpenEditor(kType);
    QTabBar* tabs = TabBarOf(WidgetOf<QWidget>(editor, "TabLibs"));
    ASSERT_EQ(editor.GetCurIndex(), 1);
    editor.GotoElementNo(1, 1);
    auto* name = WidgetOf<QLineEdit>(editor, "EditShort");
    ASSERT_EQ(name->text(), "P1");
    Retype(name, "P1 renamed");
    ASSERT_EQ(editor.GetMainTable(1)->State(), db::TDataSetState::Edit);

    // Cancel keeps the tab and the typed text.
    QString asked;
    AnswerNextModal([&](QWidget* box) {
        asked = ModalText(box);
        ClickButton(box, "Cancel");
    });
    ClickTab(tabs, 0);
    EXPECT_FALSE(asked.isEmpty());
    EXPECT_EQ(tabs->currentIndex(), 1);
    EXPECT_EQ(editor.GetCurIndex(), 1);
    EXPECT_EQ(name->text(), "P1 renamed");

    // Yes stores, then the tab changes.
    AnswerNextModal([](QWidget* box) { ClickButton(box, "Yes"); });
    ClickTab(tabs, 0);
    EXPECT_EQ(editor.GetCurIndex(), 0);
    EXPECT_EQ(tabs->currentIndex(), 0);
    EXPECT_EQ(name->text(), "S1");
    EXPECT_EQ(NamesInFile(folders_.Project()), (std::vector<std::string>{"P1 renamed", "P2"}));

    // No drops the edit.
    ClickTab(tabs, 1);
    editor.GotoElementNo(1, 2);
    Retype(name, "dropped");
    AnswerNextModal([](QWidget* box) { ClickButton(box, "No"); });
    ClickTab(tabs, 0);
    EXPECT_EQ(editor.GetCurIndex(), 0);
    EXPECT_EQ(NamesInFile(folders_.Project()), (std::vector<std::string>{"P1 renamed", "P2"}));
    EXPECT_EQ(PendingModalAnswers(), 0);
}

TEST_F(DesktopEditorTest, TheSystemTabCannotBeEdited) {
    TCustomLibForm& editor = OpenEditor(kType);
    ClickTab(TabBarOf(WidgetOf<QWidget>(editor, "TabLibs")), 0);
    ASSERT_EQ(editor.GetCurIndex(), 0);
    auto* name = WidgetOf<QLineEdit>(editor, "EditShort");
    EXPECT_TRUE(name->isReadOnly() || !name->isEnabled());
    EXPECT_EQ(NamesInFile(folders_.System()), (std::vector<std::string>{"S1", "S2"}));
}

TEST_F(DesktopEditorTest, TheCopyButtonCopiesIntoANewGlobalLibrary) {
    TCustomLibForm& editor = OpenEditor(kType);
    ASSERT_FALSE(std::filesystem::exists(folders_.Global() + LibName(kType)));
    editor.GotoElementNo(1, 2);
    QPushButton* button = nullptr;
    for (auto* b : ViewOf(editor).Client()->findChildren<QPushButton*>())
        if (b->text().contains("Global"))
            button = b;
    ASSERT_NE(button, nullptr);
    QTest::mouseClick(button, Qt::LeftButton);
    Settle();
    EXPECT_EQ(NamesInFile(folders_.Global()), (std::vector<std::string>{"P2"}));
    // The Global library now has its own tab.
    QTabBar* tabs = TabBarOf(WidgetOf<QWidget>(editor, "TabLibs"));
    QStringList captions;
    for (int i = 0; i < tabs->count(); ++i)
        captions << tabs->tabText(i);
    EXPECT_TRUE(captions.contains("Global")) << captions.join(",").toStdString();
    EXPECT_EQ(PendingModalAnswers(), 0);
}

// Deleting through the list asks nothing, as the navigator's delete does.
TEST_F(DesktopEditorTest, SelectAllAndDeleteEmptiesTheProjectLibrary) {
    TCustomLibForm& editor = OpenEditor(kType);
    ASSERT_EQ(editor.GetCurIndex(), 1);
    // Ctrl+A is the frame's shortcut; it works while the focus is in the editor.
    WidgetOf<QWidget>(editor, "DBList")->setFocus();
    QTest::keyClick(WidgetOf<QWidget>(editor, "DBList"), Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(editor.DBList().SelectedCount(), 2);
    QTest::keyClick(WidgetOf<QWidget>(editor, "DBList"), Qt::Key_Delete);
    Settle();
    EXPECT_TRUE(NamesInFile(folders_.Project()).empty());
    EXPECT_EQ(editor.DBList().RowCount(), 0);
    EXPECT_EQ(PendingModalAnswers(), 0);
}

TEST_F(DesktopEditorTest, PickModeReturnsTheChosenElement) {
    int number = 1;
    std::vector<int> selected;
    AnswerNextModal([&](QWidget* dialog) {
        auto* editor = dynamic_cast<TCustomLibForm*>(host_.Windows().back());
        ASSERT_NE(editor, nullptr);
        EXPECT_TRUE(editor->AcceptBarVisible());
        // The person clicks the second row of the list, then Accept.
        editor->DBList().SetCurrentRow(1);
        ClickButton(dialog, "Accept");
    });
    EXPECT_EQ(PickLibElement(host_, kType, folders_.Project(), number, &selected), mrOk);
    EXPECT_EQ(number, 2);
    EXPECT_EQ(selected, std::vector<int>{2});
    EXPECT_TRUE(host_.Windows().empty());

    AnswerNextModal([](QWidget* dialog) { ClickButton(dialog, "Cancel"); });
    number = 1;
    EXPECT_EQ(PickLibElement(host_, kType, folders_.Project(), number, nullptr), mrCancel);
    EXPECT_EQ(number, 1);
}

TEST_F(DesktopEditorTest, ClosingTheWindowAsksAboutAnUnstoredEdit) {
    TCustomLibForm& editor = OpenEditor(kType);
    Retype(WidgetOf<QLineEdit>(editor, "EditShort"), "unsaved");
    QWidget* window = presenter_.WindowOf(editor);
    AnswerNextModal([](QWidget* box) { ClickButton(box, "Cancel"); });
    window->close();
    Settle();
    ASSERT_EQ(host_.Windows().size(), 1u);
    EXPECT_TRUE(window->isVisible());
    AnswerNextModal([](QWidget* box) { ClickButton(box, "Yes"); });
    window->close();
    Settle();
    EXPECT_TRUE(host_.Windows().empty());
    EXPECT_EQ(NamesInFile(folders_.Project()), (std::vector<std::string>{"unsaved", "P2"}));
}

TEST_F(DesktopTest, AKindWithoutAnEditorSaysSo) {
    const TLibKindInfo* missing = nullptr;
    for (const TLibKindInfo& kind : AllLibKinds())
        if (!HasLibEditor(kind.Type))
            missing = &kind;
    ASSERT_NE(missing, nullptr);
    QString text;
    AnswerNextModal([&](QWidget* box) {
        text = ModalText(box);
        ClickButton(box, "OK");
    });
    window_.OpenLibrary(missing->Type);
    EXPECT_EQ(text, "Not yet implemented for this library type!");
    EXPECT_TRUE(host_.Windows().empty());
}

TEST_F(DesktopTest, TheLibrariesMenuListsEveryKindBySubsystem) {
    QMenu* libraries = window_.findChild<QMenu*>("LibrariesMenu");
    ASSERT_NE(libraries, nullptr);
    std::set<int> listed;
    for (QAction* subsystem : libraries->actions()) {
        ASSERT_NE(subsystem->menu(), nullptr);
        for (QAction* kind : subsystem->menu()->actions())
            listed.insert(kind->data().toInt());
    }
    std::set<int> all;
    for (const TLibKindInfo& kind : AllLibKinds())
        all.insert(kind.Type);
    EXPECT_EQ(listed, all);
}

TEST_F(DesktopTest, TheSettingsDialogWritesTheFolders) {
    const std::string global = folders_.Root() + "other-global/";
    std::filesystem::create_directories(global);
    AnswerNextModal([&](QWidget* dialog) {
        auto* edit = dialog->findChild<QLineEdit*>("EditGlobal");
        ASSERT_NE(edit, nullptr);
        edit->selectAll();
        QTest::keyClicks(edit, QString::fromStdString(global));
        ClickButton(dialog, "OK");
    });
    window_.EditSettings();
    EXPECT_EQ(GetGlobalLibPath(), global);

    // A folder that does not exist is refused and nothing is written.
    AnswerNextModal([&](QWidget* dialog) {
        auto* edit = dialog->findChild<QLineEdit*>("EditGlobal");
        ASSERT_NE(edit, nullptr);
        edit->selectAll();
        QTest::keyClicks(edit, "/no/such/folder");
        AnswerNextModal([](QWidget* box) {
            EXPECT_TRUE(ModalText(box).contains("does not exist"));
            ClickButton(box, "OK");
        });
        ClickButton(dialog, "OK");
        ClickButton(dialog, "Cancel");
    });
    window_.EditSettings();
    EXPECT_EQ(GetGlobalLibPath(), global);
}

} // namespace
} // namespace korvel::gui::test
