#include "gui/DialogDriver.h"
#include "gui/ui/FileFilters.h"
#include "gui/ui/QtUi.h"
#include "platform/Errors.h"
#include "support/TempDir.h"

#include <QFileDialog>
#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>

namespace korvel::gui {
namespace {

namespace fs = std::filesystem;
using test::AnswerNextModal;
using test::ClickButton;
using test::SetLineEditText;

TEST(FileFilters, ConvertToQtNameFilters) {
    EXPECT_EQ(ToQtNameFilters("Text (*.txt)|*.txt|All (*.*)|*.*"), QStringList({"Text (*.txt)", "All (*)"}));
    // The classic patterns rule, whatever the description says; ordinary parentheses stay text.
    EXPECT_EQ(ToQtNameFilters("Libraries (*.lib)|*.lib; *.LIB;*.dat|Spectra (octave)|*.spc"),
              QStringList({"Libraries (*.lib *.LIB *.dat)", "Spectra (octave) (*.spc)"}));
    EXPECT_EQ(ToQtFilter("Data|*.dat|Text|*.txt"), "Data (*.dat);;Text (*.txt)");
    EXPECT_TRUE(ToQtNameFilters("").isEmpty());
}

TEST(FileFilters, MalformedFiltersAreRefusedBeforeAnyDialog) {
    try {
        ToQtNameFilters("Text (*.txt)|*.txt|All files");
        ADD_FAILURE() << "no exception";
    } catch (const EKorvelError& e) {
        EXPECT_NE(std::string(e.what()).find("All files"), std::string::npos) << e.what();
    }
    EXPECT_THROW(ToQtNameFilters("Text| ; "), EKorvelError);

    TQtUi ui;
    TOpenDialogOptions open;
    open.Filter = "Text";
    EXPECT_THROW(ui.OpenDialog(open), EKorvelError);
    TSaveDialogOptions save;
    save.Filter = "Text|";
    EXPECT_THROW(ui.SaveDialog(save), EKorvelError);
}

void Touch(const fs::path& file) {
    std::ofstream(file) << "x";
}

class FileDialogTest : public ::testing::Test {
protected:
    test::TempDir dir;
    TQtUi ui;
};

TEST_F(FileDialogTest, SaveAppliesTheDefaultExtension) {
    TSaveDialogOptions options;
    options.Title = "Export library";
    options.Filter = "Libraries (*.lib)|*.lib|Text (*.txt)|*.txt";
    options.FilterIndex = 2;
    options.DefaultExt = ".lib";
    options.InitialDir = dir.Path();
    QString title, folder, filter;
    AnswerNextModal([&](QWidget* modal) {
        auto* dialog = qobject_cast<QFileDialog*>(modal);
        ASSERT_NE(dialog, nullptr);
        title = dialog->windowTitle();
        folder = dialog->directory().absolutePath();
        filter = dialog->selectedNameFilter();
        SetLineEditText(dialog, "noise");
        ClickButton(dialog, "Save");
    });
    EXPECT_EQ(ui.SaveDialog(options), dir.Path() / "noise.lib");
    EXPECT_EQ(title, "Export library");
    EXPECT_EQ(folder, PathToQ(dir.Path()));
    EXPECT_EQ(filter, "Text (*.txt)");

    AnswerNextModal([](QWidget* dialog) {
        SetLineEditText(dialog, "noise.txt");
        ClickButton(dialog, "Save");
    });
    EXPECT_EQ(ui.SaveDialog(options), dir.Path() / "noise.txt");

    AnswerNextModal([](QWidget* dialog) { ClickButton(dialog, "Cancel"); });
    EXPECT_EQ(ui.SaveDialog(options), std::nullopt);
}

TEST_F(FileDialogTest, SaveAsksBeforeOverwritingUnlessTold) {
    Touch(dir.Path() / "old.lib");
    TSaveDialogOptions options;
    options.DefaultExt = "lib";
    options.InitialDir = dir.Path();
    QString question;
    AnswerNextModal([](QWidget* dialog) {
        SetLineEditText(dialog, "old");
        ClickButton(dialog, "Save");
    });
    AnswerNextModal([&question](QWidget* box) {
        question = test::ModalText(box);
        ClickButton(box, "Yes");
    });
    EXPECT_EQ(ui.SaveDialog(options), dir.Path() / "old.lib");
    EXPECT_TRUE(question.contains("old.lib")) << question.toStdString();

    options.OverwritePrompt = false;
    AnswerNextModal([](QWidget* dialog) {
        SetLineEditText(dialog, "old");
        ClickButton(dialog, "Save");
    });
    EXPECT_EQ(ui.SaveDialog(options), dir.Path() / "old.lib");
    EXPECT_EQ(test::PendingModalAnswers(), 0);
}

TEST_F(FileDialogTest, OpenReturnsEverySelectedFile) {
    Touch(dir.Path() / "a.txt");
    Touch(dir.Path() / "b.txt");
    TOpenDialogOptions options;
    options.Title = "Import";
    options.Filter = "Text (*.txt)|*.txt";
    options.InitialDir = dir.Path();
    options.MultiSelect = true;
    AnswerNextModal([](QWidget* dialog) {
        SetLineEditText(dialog, "\"a.txt\" \"b.txt\"");
        ClickButton(dialog, "Open");
    });
    std::vector<fs::path> files = ui.OpenDialog(options);
    std::sort(files.begin(), files.end());
    EXPECT_EQ(files, (std::vector<fs::path>{dir.Path() / "a.txt", dir.Path() / "b.txt"}));

    AnswerNextModal([](QWidget* dialog) { ClickButton(dialog, "Cancel"); });
    EXPECT_TRUE(ui.OpenDialog(options).empty());
}

TEST_F(FileDialogTest, OpenCanChooseAFolder) {
    fs::create_directory(dir.Path() / "spectra");
    TOpenDialogOptions options;
    options.InitialDir = dir.Path();
    options.Filter = "Text (*.txt)|*.txt";
    options.SelectFolder = true;
    bool foldersOnly = false;
    AnswerNextModal([&foldersOnly](QWidget* modal) {
        auto* dialog = qobject_cast<QFileDialog*>(modal);
        ASSERT_NE(dialog, nullptr);
        foldersOnly = dialog->fileMode() == QFileDialog::Directory;
        SetLineEditText(dialog, "spectra");
        ClickButton(dialog, "Choose");
    });
    EXPECT_EQ(ui.OpenDialog(options), std::vector<fs::path>{dir.Path() / "spectra"});
    EXPECT_TRUE(foldersOnly);
}

} // namespace
} // namespace korvel::gui
