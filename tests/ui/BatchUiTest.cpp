#include "platform/ui/BatchUi.h"

#include "platform/ui/Form.h"

#include <gtest/gtest.h>
#include <sstream>

namespace korvel {
namespace {

TEST(BatchUi, ConfirmationsFollowThePolicy) {
    std::ostringstream out;
    TBatchUi yes(out, {true, TConflictPolicy::Cancel, false});
    EXPECT_EQ(yes.MessageDlg("Delete 3 elements?", mtConfirmation, {mbYes, mbNo}), mrYes);
    EXPECT_EQ(yes.MessageDlg("Continue?", mtConfirmation, {mbOK, mbCancel}), mrOk);
    EXPECT_EQ(yes.MessageDlg("Import failed", mtError, {mbAbort, mbRetry, mbIgnore}), mrIgnore);
    EXPECT_TRUE(yes.Confirm("Really?"));

    TBatchUi no(out);
    EXPECT_EQ(no.MessageDlg("Delete 3 elements?", mtConfirmation, {mbYes, mbNo, mbCancel}), mrNo);
    EXPECT_EQ(no.MessageDlg("Continue?", mtConfirmation, {mbOK, mbCancel}), mrCancel);
    EXPECT_EQ(no.MessageDlg("Import failed", mtError, {mbAbort, mbRetry, mbIgnore}), mrAbort);
    EXPECT_NE(out.str().find("Confirm: Delete 3 elements? -> No\n"), std::string::npos);
}

TEST(BatchUi, MessagesGoToTheirStreams) {
    std::ostringstream out, err;
    TBatchUi ui(out, {}, &err);
    ui.ShowMessage("12 elements copied");
    ui.MessageDlg("Field Lw missing", mtWarning, {mbOK});
    ui.ShowError("File not found");
    EXPECT_EQ(out.str(), "12 elements copied\n");
    EXPECT_EQ(err.str(), "Warning: Field Lw missing\nError: File not found\n");

    std::ostringstream quietOut;
    TBatchUi quiet(quietOut, {false, TConflictPolicy::Cancel, true});
    quiet.ShowMessage("12 elements copied");
    EXPECT_EQ(quietOut.str(), "");
}

TEST(BatchUi, NameConflictsByPolicy) {
    std::ostringstream out;
    TNameConflictQuery query{"Fan", false, 0, [](const std::string& n) {
                                 return n == "Fan (2)";
                             }};

    EXPECT_EQ(TBatchUi(out, {false, TConflictPolicy::Skip, false}).NameConflict(query).Action,
              TneAction::Skip);
    query.AllowAll = true;
    EXPECT_EQ(TBatchUi(out, {false, TConflictPolicy::Skip, false}).NameConflict(query).Action,
              TneAction::SkipAll);
    EXPECT_EQ(TBatchUi(out, {false, TConflictPolicy::Overwrite, false}).NameConflict(query).Action,
              TneAction::OverwriteAll);
    EXPECT_EQ(TBatchUi(out, {false, TConflictPolicy::Cancel, false}).NameConflict(query).Action,
              TneAction::Cancel);

    auto renamed = TBatchUi(out, {false, TConflictPolicy::Rename, false}).NameConflict(query);
    EXPECT_EQ(renamed.Action, TneAction::NewName);
    EXPECT_EQ(renamed.NewName, "Fan (3)");
    query.MaxNameLength = 3;
    EXPECT_EQ(TBatchUi(out, {false, TConflictPolicy::Rename, false}).NameConflict(query).Action,
              TneAction::Cancel);
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
    {
        TWaitCursor wait(ui);
        ui.ProcessEvents();
    }
    ui.SetClipboardText("x");
    EXPECT_EQ(ui.ClipboardText(), "x");
}

} // namespace
} // namespace korvel
