#include "gui/render/NavigatorWidget.h"

#include "gui/base/QtText.h"
#include "gui/base/Watch.h"
#include "gui/base/WidgetRegistry.h"
#include "platform/ui/Navigator.h"

#include <QHBoxLayout>
#include <QPointer>
#include <QToolButton>
#include <array>

namespace korvel::gui {

namespace {

struct TButtonLook {
    const char* Glyph;
    const char* Hint;
};

// Glyphs every installed font has (the fonts package the program depends on covers them).
constexpr std::array<TButtonLook, kNavigateBtnCount> kLooks{{
    {"|\u25C0", "First element"},
    {"\u25C0", "Previous element"},
    {"\u25B6", "Next element"},
    {"\u25B6|", "Last element"},
    {"+", "Insert element"},
    {"\u2212", "Delete element"},
    {"\u270E", "Edit element"},
    {"\u2713", "Store element"},
    {"\u2715", "Cancel edit"},
    {"\u21BB", "Refresh"},
}};

QWidget* MakeNavigator(TControl& control, QWidget* parent) {
    auto& model = dynamic_cast<TNavigator&>(control);
    auto* widget = new QWidget(parent);
    auto* layout = new QHBoxLayout(widget);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    auto buttons = std::make_shared<std::array<QToolButton*, kNavigateBtnCount>>();
    TWatch* watch = nullptr;
    for (int i = 0; i < kNavigateBtnCount; ++i) {
        auto* button = new QToolButton(widget);
        button->setText(QString::fromUtf8(kLooks[static_cast<std::size_t>(i)].Glyph));
        button->setToolTip(ToQ(kLooks[static_cast<std::size_t>(i)].Hint));
        button->setObjectName(QStringLiteral("NavButton%1").arg(i));
        button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
        button->setAutoRaise(false);
        layout->addWidget(button);
        (*buttons)[static_cast<std::size_t>(i)] = button;
    }
    auto apply = [&model, buttons] {
        for (int i = 0; i < kNavigateBtnCount; ++i) {
            const auto b = static_cast<TNavigateBtn>(i);
            QToolButton* button = (*buttons)[static_cast<std::size_t>(i)];
            button->setVisible(model.ButtonVisible(b));
            button->setEnabled(model.ButtonEnabled(b));
        }
    };
    apply();
    watch = new TWatch(widget, model, [apply](const TChange&) { apply(); });
    for (int i = 0; i < kNavigateBtnCount; ++i) {
        QObject::connect((*buttons)[static_cast<std::size_t>(i)], &QToolButton::clicked, widget,
                         [watch, &model, i] {
                             if (watch->Alive())
                                 model.BtnClick(static_cast<TNavigateBtn>(i));
                         });
    }
    return widget;
}

} // namespace

void RegisterNavigatorWidget() {
    RegisterWidgetFactory("TNavigator", MakeNavigator);
}

} // namespace korvel::gui
