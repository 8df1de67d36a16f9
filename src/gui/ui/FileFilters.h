#pragma once

// File filters and paths in the forms QFileDialog takes.

#include <QString>
#include <QStringList>
#include <filesystem>
#include <string_view>

namespace korvel::gui {

// "Text (*.txt)|*.txt|Data|*.lib;*.dat" -> {"Text (*.txt)", "Data (*.lib *.dat)"}: the description keeps its
// text, the patterns Qt matches are the classic ones. "*.*" becomes "*", as the classic form matches names
// without a dot too. Throws EKorvelError for a malformed filter; an empty filter gives an empty list.
QStringList ToQtNameFilters(std::string_view filter);
// The same joined with ";;", the single-string form of QFileDialog::setNameFilter.
QString ToQtFilter(std::string_view filter);

QString PathToQ(const std::filesystem::path& path);
std::filesystem::path PathFromQ(const QString& path);

} // namespace korvel::gui
