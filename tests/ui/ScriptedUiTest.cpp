#include "platform/ui/ScriptedUi.h"

#include "platform/ui/Form.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

// These tests check the failures themselves, so they collect them instead of failing.
class ScriptedUiTest : public ::testing::Test {
protected:
    ScriptedUiTest() {
        ui.SetUnexpectedHandler([this](const std::string& m) { reported.push_back(m); });
    }
    TScriptedUi ui;
    std::vector<std::string> reported;
};

TEST_F(ScriptedUiTest, UnexpectedDialogIsFlaggedAndGetsTheHarmlessAnswer) {
    EXPECT_EQ(ui.MessageDlg("Delete 12 elements?", mtConfirmation, {mbYes, mbNo, mbCancel}), mrCancel);
    EXPECT_EQ(ui.MessageDlg("Overwrite?", mtConfirmation, {mbYes, mbNo}), mrNo);
    std::string value = "kept";
    EXPECT_FALSE(ui.InputQuery("Rename", "New name:", value));
    EXPECT_EQ(value, "kept");
    EXPECT_TRUE(ui.OpenDialog({"Import", "", 1, {}, {}, false}).empty());
    EXPECT_EQ(ui.NameConflict({"Fan", true, 0, nullptr}).Action, TneAction::Cancel);
    TForm form(ui, "Dialog");
    EXPECT_EQ(ui.ShowModal(form), mrCancel);
    EXPECT_FALSE(form.Visible());

    ASSERT_EQ(reported.size(), 6u);
    EXPECT_NE(reported[0].find("Delete 12 elements?"), std::string::npos);
    EXPECT_EQ(ui.Failures(), reported);
    EXPECT_EQ(ui.Messages(), (std::vector<std::string>{"Delete 12 elements?", "Overwrite?"}));
    EXPECT_EQ(ui.Shown()[0].Answer, "Cancel");
}

TEST_F(ScriptedUiTest, ExpectationsMatchInOrderByKindTypeAndText) {
    ui.ExpectMessage(mtWarning, "locked", mrOk).ExpectInput("Rename", std::string("Pump 2"));

    // Out of order: the input box is not next, and it does not consume the expectation.
    std::string value;
    EXPECT_FALSE(ui.InputQuery("Rename", "New name:", value));
    // Wrong type: a confirmation is not the warning expected.
    EXPECT_EQ(ui.MessageDlg("The library is locked", mtConfirmation, {mbOK, mbCancel}), mrCancel);
    EXPECT_EQ(reported.size(), 2u);
    EXPECT_NE(reported[0].find("the next expected is a message box"), std::string::npos);

    EXPECT_EQ(ui.MessageDlg("The library is locked", mtWarning, {mbOK}), mrOk);
    EXPECT_TRUE(ui.InputQuery("Rename", "New name:", value));
    EXPECT_EQ(value, "Pump 2");
    EXPECT_EQ(ui.Pending(), 0u);
    EXPECT_EQ(reported.size(), 2u);
}

TEST_F(ScriptedUiTest, AnswersADialogCannotGiveAreFlagged) {
    ui.ExpectMessage("Save changes?", mrOk);
    EXPECT_EQ(ui.MessageDlg("Save changes?", mtConfirmation, {mbYes, mbNo}), mrNo);
    ui.ExpectNameConflict("Fan", TneAction::SkipAll);
    EXPECT_EQ(ui.NameConflict({"Fan", false, 0, nullptr}).Action, TneAction::Cancel);
    ui.ExpectNameConflict("Fan", TneAction::NewName, "A name far too long");
    EXPECT_EQ(ui.NameConflict({"Fan", true, 8, nullptr}).Action, TneAction::Cancel);
    ui.ExpectOpen("Import", {"a.csv", "b.csv"});
    EXPECT_TRUE(ui.OpenDialog({"Import", "CSV|*.csv", 1, {}, {}, false}).empty());
    ASSERT_EQ(reported.size(), 4u);
    EXPECT_NE(reported[1].find("\"all\" answers are not offered"), std::string::npos);
    EXPECT_NE(reported[2].find("longer than 8"), std::string::npos);
}

TEST_F(ScriptedUiTest, FileColourAndConflictAnswers) {
    ui.ExpectOpen("Import", {"a.csv", "b.csv"})
        .ExpectSave("Export", std::filesystem::path("/tmp/out"))
        .ExpectSave("Export", std::nullopt)
        .ExpectColor(clRed)
        .ExpectNameConflict("Fan", TneAction::NewName, "Fan 2");
    EXPECT_EQ(ui.OpenDialog({"Import", "CSV (*.csv)|*.csv", 1, {}, {}, true}).size(), 2u);
    TSaveDialogOptions save{"Export", "Excel (*.xlsx)|*.xlsx", 1, "xlsx", {}, {}, true};
    EXPECT_EQ(ui.SaveDialog(save), std::filesystem::path("/tmp/out.xlsx"));
    EXPECT_FALSE(ui.SaveDialog(save).has_value());
    TColor color = clBlack;
    EXPECT_TRUE(ui.ChooseColor(color));
    EXPECT_EQ(color, clRed);
    auto answer = ui.NameConflict({"Fan", true, 20, [](const std::string&) {
                                       return false;
                                   }});
    EXPECT_EQ(answer.Action, TneAction::NewName);
    EXPECT_EQ(answer.NewName, "Fan 2");
    EXPECT_TRUE(reported.empty());
    EXPECT_TRUE(ui.VerifyAllAnswered());
}

TEST_F(ScriptedUiTest, BadFilterAndUnusedExpectationsAreReported) {
    ui.ExpectOpen("Import", {"a.txt"});
    EXPECT_EQ(ui.OpenDialog({"Import", "Text|", 1, {}, {}, false}).size(), 1u);
    ui.ExpectMessage("never asked", mrYes);
    EXPECT_FALSE(ui.VerifyAllAnswered());
    ASSERT_EQ(reported.size(), 2u);
    EXPECT_NE(reported[0].find("has no pattern"), std::string::npos);
    EXPECT_NE(reported[1].find("never asked"), std::string::npos);
}

TEST_F(ScriptedUiTest, ModalScriptThatLeavesTheFormOpenIsAFailure) {
    TForm form(ui, "Options");
    ui.ExpectModal("Options", [](TForm&) { return mrNone; });
    EXPECT_EQ(ui.ShowModal(form), mrCancel);
    EXPECT_FALSE(form.Modal());
    ASSERT_EQ(reported.size(), 1u);
    EXPECT_NE(reported[0].find("still open"), std::string::npos);
}

TEST_F(ScriptedUiTest, HousekeepingCallsAreCounted) {
    ui.SetAnswerInformation(true);
    ui.ShowMessage("12 elements copied");
    ui.SetClipboardText("Fan\t90");
    EXPECT_EQ(ui.ClipboardText(), "Fan\t90");
    {
        TWaitCursor outer(ui);
        TWaitCursor inner(ui);
        EXPECT_EQ(ui.WaitCursorDepth(), 2);
    }
    EXPECT_EQ(ui.WaitCursorDepth(), 0);
    EXPECT_EQ(ui.WaitCursorUses(), 2);

    // A long loop that the person cancels after the third record.
    bool cancelled = false;
    ui.SetProcessEventsHook([&] { cancelled = ui.ProcessEventsCount() >= 3; });
    int done = 0;
    for (int record = 0; record < 100 && !cancelled; ++record, ++done)
        ui.ProcessEvents();
    EXPECT_EQ(done, 3);
    EXPECT_TRUE(ui.WasShown("12 elements"));
    EXPECT_TRUE(reported.empty());
}

} // namespace
} // namespace korvel
