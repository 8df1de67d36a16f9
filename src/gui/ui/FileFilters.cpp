#include "gui/ui/FileFilters.h"

#include "gui/base/QtText.h"
#include "platform/ui/UiTypes.h"

#include <QFile>

namespace korvel::gui {

namespace {

// "Text (*.txt)" -> "Text": Qt reads the patterns from the last parentheses, so the classic description's
// own pattern list would otherwise be doubled. Parentheses without wildcards are ordinary text and stay.
QString WithoutPatternList(const QString& description) {
    const QString trimmed = description.trimmed();
    if (!trimmed.endsWith(u')'))
        return trimmed;
    const qsizetype open = trimmed.lastIndexOf(u'(');
    if (open < 0)
        return trimmed;
    const QString inner = trimmed.mid(open + 1, trimmed.size() - open - 2);
    if (!inner.contains(u'*') && !inner.contains(u'?'))
        return trimmed;
    return trimmed.left(open).trimmed();
}

} // namespace

QStringList ToQtNameFilters(std::string_view filter) {
    QStringList result;
    for (const TFileFilter& entry : ParseFileFilter(filter)) {
        QStringList patterns;
        for (const std::string& pattern : entry.Patterns)
            patterns << (pattern == "*.*" ? QStringLiteral("*") : ToQ(pattern));
        const QString description = WithoutPatternList(ToQ(entry.Description));
        const QString list = patterns.join(u' ');
        result << (description.isEmpty() ? list : description + " (" + list + ")");
    }
    return result;
}

QString ToQtFilter(std::string_view filter) {
    return ToQtNameFilters(filter).join(QStringLiteral(";;"));
}

QString PathToQ(const std::filesystem::path& path) {
#ifdef _WIN32
    return QString::fromStdWString(path.native());
#else
    return QFile::decodeName(QByteArray::fromStdString(path.native()));
#endif
}

std::filesystem::path PathFromQ(const QString& path) {
#ifdef _WIN32
    return std::filesystem::path(path.toStdWString());
#else
    return std::filesystem::path(QFile::encodeName(path).toStdString());
#endif
}

} // namespace korvel::gui
