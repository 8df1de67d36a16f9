// The desktop program driven as a person drives it: typing into the editors, clicking tabs and buttons and
// answering the questions in real dialogs. System, Global and Project folders are in a temporary directory;
// the Qt dialog service, the presenter, the host and the main window run on the offscreen platform.

#include "DialogDriver.h"
#include "editor/CustomLibForm.h"
#include "gui/host/MainWindow.h"
#include "gui/host/QtLibHost.h"
#include "gui/render/FormPresenter.h"
#include "gui/render/FormView.h"
#include "gui/render/Renderer.h"
#include "gui/ui/QtUi.h"
#include "meteo/PollutantsSchema.h"
#include "platform/acoustic/LibSpectrum.h"
#include "platform/base/LibEditorRegistry.h"
#include "platform/db/Table.h"
#include "platform/settings/ProgramSettings.h"
#include "service/LibService.h"
#include "sound/FormLibX.h"
#include "support/LibFolders.h"

#include <QAction>
#include <QBuffer>
#include <QChartView>
#include <QElapsedTimer>
#include <QImage>
#include <QLineEdit>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenuBar>
#include <QPushButton>
#include <QTabBar>
#include <QTableView>
#include <QTest>
#include <QThread>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>

namespace korvel::gui::test {
namespace {

using namespace korvel::acoustic;
using korvel::test::AnswerNextModal;
using korvel::test::ClickButton;
using korvel::test::LibFolders;
using korvel::test::ModalText;
using korvel::test::PendingModalAnswers;

constexpr int kType = meteo::kPollutantsLibType;

class DesktopTest : public ::testing::Test {
protected:
    DesktopTest() {
        RegisterAllWidgets();
        ui_.SetDialogParent(&window_);
        host_.SetMainWindow(&window_);
        window_.SetProjectFolder(folders_.Project());
        window_.show();
    }
    ~DesktopTest() override {
        // Editors go without their close questions: a failed test may leave one half-edited.
        for (TForm* form : host_.Windows())
            host_.Destroy(*form);
        Settle(0);
    }

    // Opens a kind's editor through the Libraries menu command; fails the test when none opens.
    TCustomLibForm& OpenEditor(int libType) {
        const std::size_t before = host_.Windows().size();
        window_.OpenLibrary(libType);
        if (host_.Windows().size() != before + 1)
            throw std::runtime_error("no editor opened for library type " + std::to_string(libType));
        auto& editor = dynamic_cast<TCustomLibForm&>(*host_.Windows().back());
        Settle();
        return editor;
    }
    TFormView& ViewOf(const TForm& form) {
        TFormView* view = presenter_.ViewOf(form);
        if (view == nullptr)
            throw std::runtime_error("form " + form.Name() + " is not shown");
        return *view;
    }
    // The widget of the named control of a form, cast to the widget class asked for.
    template <class W> W* WidgetOf(TForm& form, std::string_view controlName) {
        QWidget* w = FindControlWidget(ViewOf(form).Client(), *form.FindControl(controlName));
        auto* typed = qobject_cast<W*>(w);
        EXPECT_NE(typed, nullptr) << controlName << " is a "
                                  << (w ? w->metaObject()->className() : "nothing");
        return typed;
    }
    // Lets posted events and background loads run.
    static void Settle(int milliseconds = 50) {
        QElapsedTimer timer;
        timer.start();
        do {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
            if (milliseconds > 0)
                QThread::msleep(2);
        } while (timer.elapsed() < milliseconds);
    }

    LibFolders folders_;
    TFormPresenter presenter_;
    TQtUi ui_{nullptr, &presenter_};
    TQtLibHost host_{ui_, presenter_};
    TLibService service_{host_};
    TMainWindow window_{host_};
};

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

void ClickTab(QTabBar* bar, int index) {
    QTest::mouseClick(bar, Qt::LeftButton, {}, bar->tabRect(index).center());
}

void Retype(QLineEdit* edit, const QString& text) {
    edit->setFocus();
    edit->selectAll();
    QTest::keyClicks(edit, text);
}

korvel::test::TModalAnswer Click(const char* button) {
    return [button](QWidget* dialog) {
        ClickButton(dialog, button);
    };
}

// Two elements in the System library and two in the Project one, which the editor opens on.
class DesktopEditorTest : public DesktopTest {
protected:
    DesktopEditorTest() {
        LibFolders::MakeLibrary(kType, folders_.System(), {{{"Short", "S1"}}, {{"Short", "S2"}}});
        LibFolders::MakeLibrary(kType, folders_.Project(), {{{"Short", "P1"}}, {{"Short", "P2"}}});
        editor = &OpenEditor(kType);
    }
    QTabBar* Tabs() { return WidgetOf<QWidget>(*editor, "TabLibs")->findChild<QTabBar*>(); }
    QStringList TabTexts() {
        QStringList texts;
        for (int i = 0; i < Tabs()->count(); ++i)
            texts << Tabs()->tabText(i);
        return texts;
    }

    TCustomLibForm* editor = nullptr;
};

TEST_F(DesktopEditorTest, TheEditorOpensInsideTheMainWindowWithItsLibraryTabs) {
    ASSERT_EQ(window_.WorkArea()->subWindowList().size(), 1);
    EXPECT_EQ(window_.WorkArea()->subWindowList().front(), presenter_.WindowOf(*editor));
    EXPECT_EQ(TabTexts(), (QStringList{"System", "Project"}));
    EXPECT_EQ(Tabs()->currentIndex(), editor->GetCurIndex());
    // The frame's menus are the window's own menu bar.
    QStringList menus;
    for (QAction* a : ViewOf(*editor).MenuBar()->actions())
        menus << a->text();
    EXPECT_EQ(menus, (QStringList{"File", "Edit", "View"}));
    // A second request brings the same editor forward instead of opening another.
    window_.OpenLibrary(kType);
    EXPECT_EQ(host_.Windows().size(), 1u);
}

TEST_F(DesktopEditorTest, AnEditIsStoredOrKeptAsTheAnswerToTheSaveQuestionSays) {
    ASSERT_EQ(editor->GetCurIndex(), 1);
    editor->GotoElementNo(1, 1);
    auto* name = WidgetOf<QLineEdit>(*editor, "EditShort");
    ASSERT_EQ(name->text(), "P1");
    Retype(name, "P1 renamed");
    ASSERT_EQ(editor->GetMainTable(1)->State(), db::TDataSetState::Edit);

    // Cancel keeps the tab and the typed text.
    QString asked;
    AnswerNextModal([&](QWidget* box) {
        asked = ModalText(box);
        ClickButton(box, "Cancel");
    });
    ClickTab(Tabs(), 0);
    EXPECT_FALSE(asked.isEmpty());
    EXPECT_EQ(std::pair(Tabs()->currentIndex(), editor->GetCurIndex()), std::pair(1, 1));
    EXPECT_EQ(name->text(), "P1 renamed");

    // Yes stores, then the tab changes.
    AnswerNextModal(Click("Yes"));
    ClickTab(Tabs(), 0);
    EXPECT_EQ(std::pair(Tabs()->currentIndex(), editor->GetCurIndex()), std::pair(0, 0));
    EXPECT_EQ(name->text(), "S1");
    EXPECT_EQ(NamesInFile(folders_.Project()), (std::vector<std::string>{"P1 renamed", "P2"}));
    // The System tab cannot be edited.
    EXPECT_TRUE(name->isReadOnly() || !name->isEnabled());

    // No drops the edit.
    ClickTab(Tabs(), 1);
    editor->GotoElementNo(1, 2);
    Retype(name, "dropped");
    AnswerNextModal(Click("No"));
    ClickTab(Tabs(), 0);
    EXPECT_EQ(editor->GetCurIndex(), 0);
    EXPECT_EQ(NamesInFile(folders_.Project()), (std::vector<std::string>{"P1 renamed", "P2"}));
    EXPECT_EQ(NamesInFile(folders_.System()), (std::vector<std::string>{"S1", "S2"}));
    EXPECT_EQ(PendingModalAnswers(), 0);
}

TEST_F(DesktopEditorTest, TheCopyButtonCopiesIntoANewGlobalLibrary) {
    ASSERT_FALSE(std::filesystem::exists(folders_.Global() + LibName(kType)));
    editor->GotoElementNo(1, 2);
    QPushButton* button = nullptr;
    for (auto* b : ViewOf(*editor).Client()->findChildren<QPushButton*>())
        if (b->text().contains("Global"))
            button = b;
    ASSERT_NE(button, nullptr);
    QTest::mouseClick(button, Qt::LeftButton);
    Settle();
    EXPECT_EQ(NamesInFile(folders_.Global()), (std::vector<std::string>{"P2"}));
    EXPECT_TRUE(TabTexts().contains("Global")); // the Global library now has its own tab
    EXPECT_EQ(PendingModalAnswers(), 0);
}

// Deleting through the list asks nothing, as the navigator's delete does.
TEST_F(DesktopEditorTest, SelectAllAndDeleteEmptiesTheProjectLibrary) {
    ASSERT_EQ(editor->GetCurIndex(), 1);
    // Ctrl+A is the frame's shortcut; it works while the focus is in the editor.
    QWidget* list = WidgetOf<QWidget>(*editor, "DBList");
    list->setFocus();
    QTest::keyClick(list, Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(editor->DBList().SelectedCount(), 2);
    QTest::keyClick(list, Qt::Key_Delete);
    Settle();
    EXPECT_TRUE(NamesInFile(folders_.Project()).empty());
    EXPECT_EQ(editor->DBList().RowCount(), 0);
    EXPECT_EQ(PendingModalAnswers(), 0);
}

TEST_F(DesktopEditorTest, ClosingTheWindowAsksAboutAnUnstoredEdit) {
    Retype(WidgetOf<QLineEdit>(*editor, "EditShort"), "unsaved");
    QWidget* window = presenter_.WindowOf(*editor);
    AnswerNextModal(Click("Cancel"));
    window->close();
    Settle();
    ASSERT_EQ(host_.Windows().size(), 1u);
    EXPECT_TRUE(window->isVisible());
    AnswerNextModal(Click("Yes"));
    window->close();
    Settle();
    EXPECT_TRUE(host_.Windows().empty());
    EXPECT_EQ(NamesInFile(folders_.Project()), (std::vector<std::string>{"unsaved", "P2"}));
}

TEST_F(DesktopTest, PickModeReturnsTheChosenElement) {
    LibFolders::MakeLibrary(kType, folders_.Project(), {{{"Short", "P1"}}, {{"Short", "P2"}}});
    int number = 1;
    std::vector<int> selected;
    AnswerNextModal([&](QWidget* dialog) {
        auto* editor = dynamic_cast<TCustomLibForm*>(host_.Windows().back());
        ASSERT_NE(editor, nullptr);
        // The person clicks the second row of the list, then Accept (a hidden button cannot be clicked).
        editor->DBList().SetCurrentRow(1);
        ClickButton(dialog, "Accept");
    });
    EXPECT_EQ(PickLibElement(host_, kType, folders_.Project(), number, &selected), mrOk);
    EXPECT_EQ(std::pair(number, selected), std::pair(2, std::vector<int>{2}));
    EXPECT_TRUE(host_.Windows().empty());
}

TEST_F(DesktopTest, TheLibrariesMenuListsEveryKindBySubsystemAndAKindWithoutAnEditorSaysSo) {
    QMenu* libraries = window_.findChild<QMenu*>("LibrariesMenu");
    ASSERT_NE(libraries, nullptr);
    std::set<int> listed, all;
    for (QAction* subsystem : libraries->actions()) {
        ASSERT_NE(subsystem->menu(), nullptr);
        for (QAction* kind : subsystem->menu()->actions())
            listed.insert(kind->data().toInt());
    }
    const TLibKindInfo* missing = nullptr;
    for (const TLibKindInfo& kind : AllLibKinds()) {
        all.insert(kind.Type);
        if (!HasLibEditor(kind.Type))
            missing = &kind;
    }
    EXPECT_EQ(listed, all);

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

TEST_F(DesktopTest, TheSettingsDialogRefusesAMissingFolderAndWritesAnExistingOne) {
    const std::string global = folders_.Root() + "other-global/";
    std::filesystem::create_directories(global);
    AnswerNextModal([&](QWidget* dialog) {
        auto* edit = dialog->findChild<QLineEdit*>("EditGlobal");
        ASSERT_NE(edit, nullptr);
        Retype(edit, "/no/such/folder");
        AnswerNextModal([](QWidget* box) {
            EXPECT_TRUE(ModalText(box).contains("does not exist"));
            ClickButton(box, "OK");
        });
        ClickButton(dialog, "OK");
        EXPECT_NE(GetGlobalLibPath(), "/no/such/folder/");
        Retype(edit, QString::fromStdString(global));
        ClickButton(dialog, "OK");
    });
    window_.EditSettings();
    EXPECT_EQ(GetGlobalLibPath(), global);
    EXPECT_EQ(PendingModalAnswers(), 0);
}

// An element of a sound kind with levels from band 30 (1 kHz) on.
nlohmann::json Element(const char* name, const std::vector<double>& levels) {
    nlohmann::json values;
    for (std::size_t i = 0; i < levels.size(); ++i)
        values[std::to_string(30 + i)] = levels[i];
    return {{"name", name}, {"bmin", 30}, {"bmax", 29 + levels.size()}, {"values", values}};
}

class SoundEditorTest : public DesktopTest {
protected:
    // Opens the kind's editor on a new element; its value grid and graph are real widgets.
    sound::TFormLibX& Open(int libType, const nlohmann::json& element) {
        auto& editor = dynamic_cast<sound::TFormLibX&>(OpenEditor(libType));
        editor.GetMainTable(editor.GetCurIndex())->Append();
        editor.ApplyElementView(element);
        editor.StoreCurrent();
        editor.RefreshElement();
        Settle();
        return editor;
    }
    static QString Cell(QTableView* view, int row, int col) {
        return view->model()->data(view->model()->index(row, col), Qt::DisplayRole).toString();
    }
};

TEST_F(SoundEditorTest, EveryKindShowsItsGridAndGraph) {
    struct TCase {
        int Type;
        nlohmann::json Element;
        int Col;
        QString Value;
    };
    const TCase cases[] = {{kEmissionLibType, Element("Fan", {80, 81}), 2, "80.00"},
                           {kAbsorptionLibType, Element("Panel", {0}), 1, "-"},
                           {kTransmissionLibType, Element("Glass", {33}), 3, "33.0"},
                           {kAttenuationLibType, Element("Duct", {12.5}), 1, "12.50"}};
    for (const TCase& c : cases) {
        SCOPED_TRACE(c.Type);
        sound::TFormLibX& editor = Open(c.Type, c.Element);
        auto* grid = WidgetOf<QTableView>(editor, "VG");
        ASSERT_NE(grid, nullptr);
        EXPECT_EQ((QStringList{Cell(grid, 0, c.Col), Cell(grid, 1, c.Col)}), (QStringList{"1kHz", c.Value}));
        auto* chart = WidgetOf<QChartView>(editor, "Graph");
        ASSERT_NE(chart, nullptr);
        EXPECT_TRUE(chart->isVisible());
        // Without a picture the graph has its whole panel.
        EXPECT_EQ(chart->geometry(), chart->parentWidget()->rect());
        EXPECT_GE(editor.Graph().SeriesCount(), 1);
        ASSERT_TRUE(host_.CloseWindow(editor));
        Settle();
    }
}

TEST_F(SoundEditorTest, TheGraphFollowsTheWindowAndMakesRoomForAPictureOnlyWhenThereIsOne) {
    window_.resize(1200, 800);
    sound::TFormLibX& editor = Open(kEmissionLibType, Element("Fan", {80, 81}));
    // The first editor fills the work area, so it follows the main window.
    EXPECT_TRUE(presenter_.WindowOf(editor)->isMaximized());
    auto* chart = WidgetOf<QChartView>(editor, "Graph");
    ASSERT_NE(chart, nullptr);
    QWidget* panel = chart->parentWidget();
    const QSize small = chart->size();
    EXPECT_EQ(small, panel->size());
    EXPECT_GT(small.width(), 800);

    window_.resize(1600, 1000);
    Settle();
    EXPECT_EQ(chart->size(), panel->size());
    EXPECT_EQ(chart->width(), small.width() + 400); // the element list keeps its width
    EXPECT_GT(chart->height(), small.height() + 100);

    // A picture takes its room at the graph's right and gives it back when cleared.
    db::TTable& table = *editor.GetMainTable(editor.GetCurIndex());
    QImage image(300, 200, QImage::Format_RGB32);
    image.fill(Qt::darkGreen);
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    table.Edit();
    table.FieldByName("Graphic").SetAsBytes(std::vector<std::uint8_t>(png.begin(), png.end()));
    table.Post();
    Settle();
    auto* picture = WidgetOf<QWidget>(editor, "DBImagePanel");
    ASSERT_NE(picture, nullptr);
    EXPECT_TRUE(picture->isVisible());
    EXPECT_EQ(picture->width(), 200);
    EXPECT_EQ(chart->width() + picture->width(), panel->width());
    EXPECT_EQ(picture->geometry().left(), chart->geometry().right() + 1);

    table.Edit();
    table.FieldByName("Graphic").Clear();
    table.Post();
    Settle();
    EXPECT_FALSE(picture->isVisible());
    EXPECT_EQ(chart->size(), panel->size());
}

TEST_F(SoundEditorTest, AValueTypedIntoTheGridWidgetReachesTheSpectrum) {
    sound::TFormLibX& editor = Open(kEmissionLibType, Element("Fan", {80, 81}));
    auto* grid = WidgetOf<QTableView>(editor, "VG");
    ASSERT_NE(grid, nullptr);
    ASSERT_TRUE(grid->model()->setData(grid->model()->index(1, 3), "75", Qt::EditRole));
    Settle();
    EXPECT_EQ(std::pair(editor.Emission()->GetValue(31), Cell(grid, 1, 3)),
              std::pair(75.0, QString("75.00")));
    EXPECT_EQ(editor.GetMainTable(editor.GetCurIndex())->State(), db::TDataSetState::Edit);
    editor.StoreCurrent();
}

} // namespace
} // namespace korvel::gui::test
