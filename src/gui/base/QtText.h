#pragma once

// Conversions between the core's UTF-8 strings and colours and their Qt forms.

#include "platform/ui/UiTypes.h"

#include <QColor>
#include <QString>
#include <string>
#include <string_view>

namespace korvel::gui {

QString ToQ(std::string_view utf8);
std::string FromQ(const QString& text);

// An invalid QColor for clDefault, so callers can leave the style's own colour in place.
QColor ToQColor(TColor color);
TColor FromQColor(const QColor& color);

} // namespace korvel::gui
