#include "gui/grid/GridWidgets.h"

#include "gui/base/WidgetRegistry.h"
#include "gui/grid/ChartView.h"
#include "gui/grid/ValueGridView.h"
#include "platform/Errors.h"

#include <string>

namespace korvel::gui {

namespace {

template <class T> T& Expect(TControl& control, const char* what) {
    auto* typed = dynamic_cast<T*>(&control);
    if (typed == nullptr)
        throw EKorvelError("Control \"" + control.Name() + "\" of class " + std::string(control.ClassName()) +
                           " cannot be drawn as " + what);
    return *typed;
}

} // namespace

void RegisterGridAndChartWidgets() {
    RegisterWidgetFactory("TValueGrid", [](TControl& control, QWidget* parent) -> QWidget* {
        return new TValueGridView(Expect<TValueGrid>(control, "a value grid"), parent);
    });
    RegisterWidgetFactory("TChart", [](TControl& control, QWidget* parent) -> QWidget* {
        return new TChartView(Expect<TChart>(control, "a chart"), parent);
    });
}

} // namespace korvel::gui
