#include "gui/base/QtText.h"

namespace korvel::gui {

QString ToQ(std::string_view utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

std::string FromQ(const QString& text) {
    return text.toUtf8().toStdString();
}

QColor ToQColor(TColor color) {
    if (color == clDefault)
        return {};
    return QColor(RedOf(color), GreenOf(color), BlueOf(color));
}

TColor FromQColor(const QColor& color) {
    if (!color.isValid())
        return clDefault;
    return RGBToColor(static_cast<std::uint8_t>(color.red()), static_cast<std::uint8_t>(color.green()),
                      static_cast<std::uint8_t>(color.blue()));
}

} // namespace korvel::gui
