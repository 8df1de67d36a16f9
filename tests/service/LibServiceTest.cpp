// The entry points of the library service.

#include "service/LibService.h"

#include "meteo/PollutantsSchema.h"
#include "platform/base/LibLocations.h"
#include "platform/settings/WindowPlacement.h"
#include "support/LibFolders.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace korvel {
namespace {

namespace fs = std::filesystem;
using test::LibFolders;
constexpr int kType = meteo::kPollutantsLibType;

class ServiceTest : public ::testing::Test {
protected:
    void SetUp() override {
        LibFolders::MakeLibrary(kType, f.System(), {{{"Short", "NO2"}}});
        LibFolders::MakeLibrary(kType, f.Global(), {{{"Short", "G1"}}});
    }
    LibFolders f;
};

TEST_F(ServiceTest, ShowLibOpensAllLocationsAndBringsTheSameEditorForward) {
    f.Ui().SetAnswerInformation(true);
    TCustomLibForm* first = ShowLib(f.Host(), kType, f.Project(), false, fsChild);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->TabLibs().Tabs(), (std::vector<std::string>{"System", "Global", "Project"}));
    EXPECT_TRUE(fs::exists(f.Project() + "Stoffe.abs")); // a missing Project library is made
    EXPECT_EQ(GetLastUsed(kType, TLibPathType::Project, ""), f.Project());
    EXPECT_EQ(ShowLib(f.Host(), kType, f.Project(), false, fsChild), first);
    EXPECT_EQ(f.Host().MDIChildCount(), 1);
    EXPECT_EQ(f.Host().ActiveWindow(), first);
}

TEST_F(ServiceTest, TheGlobalFolderAsProjectOpensSystemAndGlobalOnly) {
    TCustomLibForm* editor = ShowLib(f.Host(), kType, f.Global(), false, fsNormal);
    ASSERT_NE(editor, nullptr);
    EXPECT_EQ(editor->TabLibs().Tabs(), (std::vector<std::string>{"System", "Global"}));
}

TEST_F(ServiceTest, WindowsOfTheirOwnKeepTheirPlacement) {
    SaveWindowSettings("Lib9", {40, 30, 700, 500, false});
    TCustomLibForm* editor = ShowLib(f.Host(), kType, f.Project(), false, fsNormal);
    ASSERT_NE(editor, nullptr);
    EXPECT_EQ(editor->BoundsRect(), (TRect{40, 30, 700, 500}));
    editor->SetBounds(60, 70, 800, 600);
    ASSERT_TRUE(f.Host().CloseWindow(*editor));
    EXPECT_EQ(LoadWindowSettings("Lib9"), (TWindowPlacement{60, 70, 800, 600, false}));
}

TEST_F(ServiceTest, UnknownTypesAndKindsWithoutEditorYieldNothing) {
    EXPECT_EQ(ShowLib(f.Host(), 4711, f.Project(), false, fsChild), nullptr);
    EXPECT_EQ(CreateLib(f.Host(), 4711), nullptr);
    EXPECT_EQ(CreateLib(f.Host(), 12), nullptr);
    EXPECT_TRUE(f.Host().Windows().empty());
}

TEST_F(ServiceTest, PickReturnsTheChosenElementAndSelection) {
    LibFolders::MakeLibrary(kType, f.Project(), {{{"Short", "P1"}}, {{"Short", "P2"}}, {{"Short", "P3"}}});
    f.Ui().ExpectModal("Pollutants", [](TForm& form) {
        auto& editor = static_cast<TCustomLibForm&>(form);
        EXPECT_EQ(editor.GetElementNo(editor.GetCurIndex()), 2); // the element asked for is shown
        editor.GotoElementNo(editor.GetCurIndex(), 3);
        editor.Find<TButton>("BtnAccept").Click();
        return mrNone;
    });
    int number = 2;
    std::vector<int> selected{99};
    EXPECT_EQ(PickLibElement(f.Host(), kType, f.Project(), number, &selected), mrOk);
    EXPECT_EQ(number, 3);
    EXPECT_EQ(selected, std::vector<int>{3});
    EXPECT_TRUE(f.Host().Windows().empty()); // the pick editor is gone
}

} // namespace
} // namespace korvel
