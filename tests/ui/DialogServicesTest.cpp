// The dialog services without a desktop: the batch service of the command line, the scripted one of the
// tests, and the rules they share (file patterns, harmless answers, new names).

#include "platform/Errors.h"
#include "platform/ui/BatchUi.h"
#include "platform/ui/Form.h"
#include "platform/ui/ScriptedUi.h"
#include "platform/ui/UiTypes.h"

#include <gmock/gmock.h>
#include <sstream>

namespace korvel {
namespace {

TEST(FileFilter, MatchesWildcardsIgnoringCase) {
    EXPECT_EQ(std::tuple(MatchesPattern("Data.TXT", "*.txt"), MatchesPattern("data.txt.bak", "*.txt"),
                         MatchesPattern("a1.csv", "a?.csv"), MatchesPattern("a12.csv", "a?.csv"),
                         MatchesPattern("README", "*.*"), MatchesPattern("x.tar.gz", "*.gz")),
              std::tuple(true, false, true, false, true, true));
}

TEST(UiTypes, ColoursAndMessageButtons) {
    EXPECT_EQ(RGBToColor(0x12, 0x34, 0x56), 0x563412u); // the classic byte order
    EXPECT_EQ(RGBToColor(255, 0, 0), clRed);

    // The safe default prefers the harmless answer.
    EXPECT_EQ(std::tuple(SafeDefaultResult({mbYes, mbNo, mbCancel}), SafeDefaultResult({mbYes, mbNo}),
                         SafeDefaultResult({mbAbort, mbRetry, mbIgnore}), SafeDefaultResult({})),
              std::tuple(mrCancel, mrNo, mrAbort, mrOk));
    EXPECT_EQ(std::pair(OffersResult({mbYes, mbYesToAll}, mrYesToAll), OffersResult({mbYes, mbNo}, mrOk)),
              std::pair(true, false));
    EXPECT_EQ((TMsgDlgButtons{mbCancel, mbNo, mbYes}.List()),
              (std::vector<TMsgDlgBtn>{mbYes, mbNo, mbCancel}));
    EXPECT_EQ(ModalResultName(mrNoToAll) + " " + ModalResultName(42), "NoToAll 42");
}

TEST(NewName, CheckedAgainstLimitsAndExistingNamesAndProposedToFit) {
    TNameConflictQuery q{"Flügel", true, 10, [](const std::string& n) {
                             return n == "Flügel (2)";
                         }};
    EXPECT_EQ(CheckNewName(q, "Other"), "");
    for (const char* bad : {"", " Lead", "Flügel", "Flügel (2)", "Flügel 1234"})
        EXPECT_NE(CheckNewName(q, bad), "") << bad;
    EXPECT_EQ(CheckNewName(q, "Flügel 123"), ""); // ten characters, twelve bytes: the limit counts characters

    q.MaxNameLength = 0;
    EXPECT_EQ(ProposeNewName(q), "Flügel (3)");
    q.MaxNameLength = 8;
    q.NameExists = nullptr;
    EXPECT_EQ(ProposeNewName(q), "Flüg (2)");
    q.MaxNameLength = 3;
    EXPECT_EQ(ProposeNewName(q), "");
}

TEST(BatchUi, ConfirmationsFollowThePolicyAndMessagesGoToTheirStreams) {
    std::ostringstream out, err;
    TBatchUi yes(out, {true, TConflictPolicy::Cancel, false});
    EXPECT_EQ(yes.MessageDlg("Delete 3 elements?", mtConfirmation, {mbYes, mbNo}), mrYes);
    EXPECT_EQ(yes.MessageDlg("Continue?", mtConfirmation, {mbOK, mbCancel}), mrOk);
    EXPECT_EQ(yes.MessageDlg("Import failed", mtError, {mbAbort, mbRetry, mbIgnore}), mrIgnore);
    EXPECT_TRUE(yes.Confirm("Really?"));
    TBatchUi no(out, {}, &err);
    EXPECT_EQ(no.MessageDlg("Delete 3 elements?", mtConfirmation, {mbYes, mbNo, mbCancel}), mrNo);
    EXPECT_EQ(no.MessageDlg("Continue?", mtConfirmation, {mbOK, mbCancel}), mrCancel);
    EXPECT_EQ(no.MessageDlg("Import failed", mtError, {mbAbort, mbRetry, mbIgnore}), mrAbort);
    EXPECT_NE(out.str().find("Confirm: Delete 3 elements? -> No\n"), std::string::npos);

    out.str("");
    err.str("");
    no.ShowMessage("12 elements copied");
    no.MessageDlg("Field Lw missing", mtWarning, {mbOK});
    no.ShowError("File not found");
    EXPECT_EQ(out.str(), "12 elements copied\n");
    EXPECT_EQ(err.str(), "Warning: Field Lw missing\nError: File not found\n");
    std::ostringstream quietOut;
    TBatchUi(quietOut, {false, TConflictPolicy::Cancel, true}).ShowMessage("12 elements copied");
    EXPECT_EQ(quietOut.str(), "");
}

TEST(BatchUi, NameConflictsByPolicy) {
    std::ostringstream out;
    TNameConflictQuery query{"Fan", false, 0, [](const std::string& n) {
                                 return n == "Fan (2)";
                             }};
    const auto answer = [&](TConflictPolicy policy) {
        return TBatchUi(out, {false, policy, false}).NameConflict(query);
    };
    EXPECT_EQ(answer(TConflictPolicy::Skip).Action, TneAction::Skip);
    query.AllowAll = true;
    EXPECT_EQ(answer(TConflictPolicy::Skip).Action, TneAction::SkipAll);
    EXPECT_EQ(answer(TConflictPolicy::Overwrite).Action, TneAction::OverwriteAll);
    EXPECT_EQ(answer(TConflictPolicy::Cancel).Action, TneAction::Cancel);
    const TNameConflictAnswer renamed = answer(TConflictPolicy::Rename);
    EXPECT_EQ(std::tuple(renamed.Action, renamed.NewName), std::tuple(TneAction::NewName, "Fan (3)"));
    query.MaxNameLength = 3;
    EXPECT_EQ(answer(TConflictPolicy::Rename).Action, TneAction::Cancel);
    EXPECT_NE(out.str().find("Element \"Fan\" exists: stored as \"Fan (3)\""), std::string::npos);
}

TEST(BatchUi, NeverWaitsForAPerson) {
    std::ostringstream out;
    TBatchUi ui(out, {true, TConflictPolicy::Overwrite, false});
    std::string value = "old";
    EXPECT_FALSE(ui.InputQuery("Rename", "New name:", value));
    EXPECT_EQ(value, "old");
    EXPECT_TRUE(ui.OpenDialog({"Import", "", 1, {}, {}, false}).empty());
    EXPECT_FALSE(ui.SaveDialog({"Export", "", 1, "xlsx", {}, {}, true}).has_value());
    TColor color = clRed;
    EXPECT_FALSE(ui.ChooseColor(color));
    TForm form(ui, "Options");
    form.SetCaption("Program options");
    EXPECT_EQ(ui.ShowModal(form), mrCancel);
    EXPECT_FALSE(form.Visible());
    EXPECT_NE(out.str().find("The dialog \"Program options\" needs the desktop program"), std::string::npos);
    ui.SetClipboardText("x");
    EXPECT_EQ(ui.ClipboardText(), "x");
}

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
    ui.ExpectColor(clRed)
        .ExpectSave("Export", std::filesystem::path("/tmp/out"))
        .ExpectSave("Export", std::nullopt);
    TColor color = clBlack;
    EXPECT_TRUE(ui.ChooseColor(color));
    EXPECT_EQ(color, clRed);
    const TSaveDialogOptions save{"Export", "Excel (*.xlsx)|*.xlsx", 1, "xlsx", {}, {}, true};
    EXPECT_EQ(ui.SaveDialog(save), std::filesystem::path("/tmp/out.xlsx"));
    EXPECT_FALSE(ui.SaveDialog(save).has_value());
    EXPECT_EQ(ui.Pending(), 0u);
    EXPECT_EQ(reported.size(), 2u);
}

TEST_F(ScriptedUiTest, AnswersADialogCannotGiveAndUnusedExpectationsAreReported) {
    ui.ExpectMessage("Save changes?", mrOk);
    EXPECT_EQ(ui.MessageDlg("Save changes?", mtConfirmation, {mbYes, mbNo}), mrNo);
    ui.ExpectNameConflict("Fan", TneAction::SkipAll);
    EXPECT_EQ(ui.NameConflict({"Fan", false, 0, nullptr}).Action, TneAction::Cancel);
    ui.ExpectNameConflict("Fan", TneAction::NewName, "A name far too long");
    EXPECT_EQ(ui.NameConflict({"Fan", true, 8, nullptr}).Action, TneAction::Cancel);
    ui.ExpectOpen("Import", {"a.csv", "b.csv"});
    EXPECT_TRUE(ui.OpenDialog({"Import", "CSV|*.csv", 1, {}, {}, false}).empty());
    // A filter without a pattern is reported, yet the expected answer is given.
    ui.ExpectOpen("Import", {"a.txt"});
    EXPECT_EQ(ui.OpenDialog({"Import", "Text|", 1, {}, {}, false}).size(), 1u);
    TForm form(ui, "Options");
    ui.ExpectModal("Options", [](TForm&) { return mrNone; }); // leaves the form open
    EXPECT_EQ(std::pair(ui.ShowModal(form), form.Modal()), std::pair(mrCancel, false));
    ui.ExpectMessage("never asked", mrYes);
    EXPECT_FALSE(ui.VerifyAllAnswered());
    ASSERT_EQ(reported.size(), 7u);
    EXPECT_NE(reported[1].find("\"all\" answers are not offered"), std::string::npos);
    EXPECT_NE(reported[2].find("longer than 8"), std::string::npos);
    EXPECT_NE(reported[4].find("has no pattern"), std::string::npos);
    EXPECT_NE(reported[5].find("still open"), std::string::npos);
    EXPECT_NE(reported[6].find("never asked"), std::string::npos);
}

} // namespace
} // namespace korvel
