#include "gui/base/WidgetRegistry.h"

#include <map>

namespace korvel::gui {

namespace {
std::map<std::string, TWidgetFactory, std::less<>>& Factories() {
    static std::map<std::string, TWidgetFactory, std::less<>> factories;
    return factories;
}
} // namespace

void RegisterWidgetFactory(std::string className, TWidgetFactory factory) {
    Factories()[std::move(className)] = std::move(factory);
}

const TWidgetFactory* FindWidgetFactory(std::string_view className) {
    auto it = Factories().find(className);
    return it == Factories().end() ? nullptr : &it->second;
}

} // namespace korvel::gui
