// The sound library editors in the desktop program: each kind opens with its value grid and graph drawn by
// real widgets, and an edit typed into the grid widget reaches the spectrum and the graph.

#include "DesktopFixture.h"
#include "platform/acoustic/LibSpectrum.h"
#include "sound/FormLibX.h"

#include <QAbstractItemModel>
#include <QChartView>
#include <QTableView>
#include <nlohmann/json.hpp>

namespace korvel::gui::test {
namespace {

using namespace korvel::acoustic;

class SoundEditorTest : public DesktopTest {
protected:
    sound::TFormLibX& Open(int libType, const nlohmann::json& element) {
        auto& editor = dynamic_cast<sound::TFormLibX&>(OpenEditor(libType));
        editor.GetMainTable(editor.GetCurIndex())->Append();
        editor.ApplyElementView(element);
        editor.StoreCurrent();
        editor.RefreshElement();
        Settle();
        return editor;
    }
    QString Cell(QTableView* view, int row, int col) {
        return view->model()->data(view->model()->index(row, col), Qt::DisplayRole).toString();
    }
};

TEST_F(SoundEditorTest, EveryKindShowsItsGridAndGraph) {
    struct TCase {
        int Type;
        nlohmann::json Element;
        int Col;
        QString Title, Value;
    };
    const TCase cases[] = {
        {kEmissionLibType,
         {{"name", "Fan"}, {"bmin", 30}, {"bmax", 31}, {"values", {{"30", 80.0}, {"31", 81.0}}}},
         2,
         "1kHz",
         "80.00"},
        {kAbsorptionLibType,
         {{"name", "Panel"}, {"bmin", 30}, {"bmax", 30}, {"values", {{"30", 0.0}}}},
         1,
         "1kHz",
         "-"},
        {kTransmissionLibType,
         {{"name", "Glass"}, {"bmin", 30}, {"bmax", 30}, {"values", {{"30", 33.0}}}},
         3,
         "1kHz",
         "33.0"},
        {kAttenuationLibType,
         {{"name", "Duct"}, {"bmin", 30}, {"bmax", 30}, {"values", {{"30", 12.5}}}},
         1,
         "1kHz",
         "12.50"},
    };
    for (const TCase& c : cases) {
        SCOPED_TRACE(c.Type);
        sound::TFormLibX& editor = Open(c.Type, c.Element);
        auto* grid = WidgetOf<QTableView>(editor, "VG");
        ASSERT_NE(grid, nullptr);
        EXPECT_EQ(Cell(grid, 0, c.Col), c.Title);
        EXPECT_EQ(Cell(grid, 1, c.Col), c.Value);
        auto* chart = WidgetOf<QChartView>(editor, "Graph");
        ASSERT_NE(chart, nullptr);
        EXPECT_TRUE(chart->isVisible());
        EXPECT_GE(editor.Graph().SeriesCount(), 1);
        ASSERT_TRUE(host_.CloseWindow(editor));
        Settle();
    }
}

TEST_F(SoundEditorTest, AValueTypedIntoTheGridWidgetReachesTheSpectrum) {
    sound::TFormLibX& editor =
        Open(kEmissionLibType,
             {{"name", "Fan"}, {"bmin", 30}, {"bmax", 31}, {"values", {{"30", 80.0}, {"31", 81.0}}}});
    auto* grid = WidgetOf<QTableView>(editor, "VG");
    ASSERT_NE(grid, nullptr);
    ASSERT_TRUE(grid->model()->setData(grid->model()->index(1, 3), "75", Qt::EditRole));
    Settle();
    EXPECT_EQ(editor.Emission()->GetValue(31), 75.0);
    EXPECT_EQ(Cell(grid, 1, 3), "75.00");
    EXPECT_EQ(editor.GetMainTable(editor.GetCurIndex())->State(), db::TDataSetState::Edit);
    editor.StoreCurrent();
}

} // namespace
} // namespace korvel::gui::test
