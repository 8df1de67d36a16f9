#include "gui/elementlist/ElementListWidgets.h"

#include "gui/base/QtText.h"
#include "gui/base/WidgetRegistry.h"
#include "gui/elementlist/ElementListModel.h"
#include "gui/elementlist/ElementListView.h"
#include "platform/Errors.h"

namespace korvel::gui {

void RegisterElementListWidget() {
    RegisterWidgetFactory("TDBElementList", [](TControl& control, QWidget* parent) -> QWidget* {
        auto* list = dynamic_cast<TDBElementList*>(&control);
        if (list == nullptr)
            throw EKorvelError("Control \"" + control.Name() + "\" is not an element list");
        auto* view = new TElementListView(parent);
        view->setObjectName(ToQ(control.Name()));
        // The model is the view's child and watches the control; it stops reading when the control goes.
        view->setModel(new TElementListModel(*list, view));
        return view;
    });
}

} // namespace korvel::gui
