#include "gui/base/WidgetRegistry.h"
#include "gui/grid/GridWidgets.h"
#include "gui/grid/ValueGridView.h"
#include "platform/Errors.h"
#include "platform/ui/Chart.h"
#include "platform/ui/Form.h"
#include "support/TempDir.h"
#include "support/TestUi.h"

#include <QChartView>
#include <QImage>
#include <QPixmap>
#include <QTest>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <memory>

namespace korvel::gui {
namespace {

// Pixels that differ from the most common colour (the background).
int InkPixels(const QImage& image) {
    std::map<QRgb, int> counts;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            ++counts[image.pixel(x, y)];
    int most = 0;
    for (const auto& [colour, n] : counts)
        most = std::max(most, n);
    return image.width() * image.height() - most;
}

// Saves the widget as a PNG, reads it back and checks something was drawn. KORVEL_TEST_SHOTS names a folder
// that keeps a copy for a person to look at.
void ExpectDrawn(QWidget& widget, const test::TempDir& dir, const std::string& name) {
    widget.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&widget));
    QCoreApplication::processEvents();
    const QString file = QString::fromStdString(dir.File(name));
    ASSERT_TRUE(widget.grab().save(file, "PNG"));
    QImage image(file);
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.size(), widget.size());
    EXPECT_GT(InkPixels(image), image.width() * image.height() / 50) << name << " looks blank";
    if (const char* keep = std::getenv("KORVEL_TEST_SHOTS"))
        std::filesystem::copy_file(dir.File(name), std::filesystem::path(keep) / name,
                                   std::filesystem::copy_options::overwrite_existing);
}

TEST(Render, GridAndChartThroughTheirFactories) {
    RegisterGridAndChartWidgets();
    test::TTestUi ui;
    TForm form(ui, "Form1");
    auto& grid = form.Add<TValueGrid>("GridLevels");
    const std::vector<std::string> bands{"", "63", "125", "250", "500", "1000", "2000", "4000", "8000"};
    grid.SetColCount(static_cast<int>(bands.size()));
    grid.SetRowCount(4);
    grid.SetColWidth(0, 110);
    grid.OnGetText = [&](int col, int row) -> std::string {
        if (row == 0)
            return col == 0 ? "Band [Hz]" : bands[static_cast<std::size_t>(col)];
        if (col == 0)
            return std::vector<std::string>{"", "Lw [dB]", "Weighted",
                                            "Measured"}[static_cast<std::size_t>(row)];
        if (row == 3)
            return col % 2 == 0 ? "1" : "0";
        return std::to_string(60 + col * (row == 1 ? 3 : -2)) + ".5";
    };
    grid.OnGetCellStyle = [](int col, int row, TCellStyle& style) {
        style.CheckBox = row == 3;
        style.Bold = row == 2;
        style.FontColor = row == 2 && col == 4 ? clRed : clDefault;
        style.Color = row == 1 && col == 5 ? clYellow : clDefault;
    };

    auto& chart = form.Add<TChart>("ChartLevels");
    chart.SetTitle("Sound power level");
    chart.SetBottomAxis({akLogarithmic, "Frequency [Hz]", true, 0, 1, "%.0f"});
    chart.SetLeftAxis({akLinear, "Lw [dB]", true, 0, 1, "%.0f dB"});
    std::vector<TChartPoint> spectrum;
    std::vector<TChartPoint> limit;
    std::vector<TChartPoint> background;
    for (int i = 1; i < static_cast<int>(bands.size()); ++i) {
        const double f = std::stod(bands[static_cast<std::size_t>(i)]);
        spectrum.push_back({f, i == 5 ? std::nan("") : 60.5 + i * 3});
        limit.push_back({f, 80.0 - i});
        background.push_back({f, 52.0 + i % 3});
    }
    chart.AddSeries({"Lw", skStep, clDefault, true, spectrum});
    chart.AddSeries({"Limit", skLine, clRed, true, limit});
    chart.AddSeries({"Background", skBar, clDefault, true, background});

    const TWidgetFactory* gridFactory = FindWidgetFactory("TValueGrid");
    const TWidgetFactory* chartFactory = FindWidgetFactory("TChart");
    ASSERT_NE(gridFactory, nullptr);
    ASSERT_NE(chartFactory, nullptr);
    EXPECT_THROW((*gridFactory)(chart, nullptr), EKorvelError);
    std::unique_ptr<QWidget> gridWidget((*gridFactory)(grid, nullptr));
    std::unique_ptr<QWidget> chartWidget((*chartFactory)(chart, nullptr));
    ASSERT_NE(dynamic_cast<TValueGridView*>(gridWidget.get()), nullptr);
    ASSERT_NE(dynamic_cast<QChartView*>(chartWidget.get()), nullptr);
    gridWidget->resize(680, 110);
    chartWidget->resize(640, 420);

    auto& polar = form.Add<TChart>("ChartDirectivity");
    polar.SetLeftAxis({akLinear, "", false, -30, 0, "%.0f dB"});
    std::vector<TChartPoint> lobe;
    for (int angle = 0; angle <= 360; angle += 15)
        lobe.push_back({double(angle), -15 + 15 * std::cos(angle * M_PI / 180)});
    polar.AddSeries({"1 kHz", skPolar, clDefault, true, lobe});
    std::unique_ptr<QWidget> polarWidget((*chartFactory)(polar, nullptr));
    polarWidget->resize(420, 420);

    test::TempDir dir;
    ExpectDrawn(*gridWidget, dir, "grid.png");
    ExpectDrawn(*chartWidget, dir, "chart.png");
    ExpectDrawn(*polarWidget, dir, "polar.png");
}

} // namespace
} // namespace korvel::gui
