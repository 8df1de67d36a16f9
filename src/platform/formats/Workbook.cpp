#include "platform/formats/Workbook.h"

#include "platform/Errors.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>

namespace korvel::formats {

std::size_t TSheet::ColumnCount() const {
    std::size_t count = 0;
    for (const auto& row : Rows)
        count = std::max(count, row.size());
    return count;
}

const std::string& TSheet::Cell(std::size_t row, std::size_t col) const {
    static const std::string empty;
    if (row >= Rows.size() || col >= Rows[row].size())
        return empty;
    return Rows[row][col];
}

std::string ColumnLetters(std::size_t col) {
    std::string letters;
    std::size_t n = col + 1;
    while (n > 0) {
        --n;
        letters.insert(letters.begin(), static_cast<char>('A' + n % 26));
        n /= 26;
    }
    return letters;
}

std::optional<std::size_t> ColumnFromLetters(std::string_view letters, const TWorkbookLimits& limits) {
    if (letters.empty() || letters.size() > 7)
        return std::nullopt;
    std::size_t n = 0;
    for (char c : letters) {
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
        if (c < 'A' || c > 'Z')
            return std::nullopt;
        n = n * 26 + static_cast<std::size_t>(c - 'A' + 1);
    }
    if (n > limits.MaxColumns)
        return std::nullopt;
    return n - 1;
}

namespace detail {

std::string NumberText(double value) {
    if (value == 0)
        return "0"; // also for -0, which a cell never means
    char buffer[64];
    const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
    return ec == std::errc() ? std::string(buffer, end) : std::string();
}

std::optional<std::string> SerialDateText(double serial, bool date1904, bool timeOnly) {
    if (!std::isfinite(serial) || serial < 0 || serial >= 2958466.0)
        return std::nullopt;
    double whole = std::floor(serial);
    long long seconds = std::llround((serial - whole) * 86400.0);
    if (seconds >= 86400) {
        seconds -= 86400;
        whole += 1;
    }
    const auto day = static_cast<long long>(whole);
    char time[64];
    std::snprintf(time, sizeof time, "%02lld:%02lld:%02lld", seconds / 3600, seconds / 60 % 60, seconds % 60);
    if (timeOnly && day == 0)
        return std::string(time);

    int year = 0;
    unsigned month = 0;
    unsigned dayOfMonth = 0;
    if (!date1904 && day == 60) {
        // The 1900 system counts a 29 February 1900 that never was; show it as the sheet does.
        year = 1900;
        month = 2;
        dayOfMonth = 29;
    } else {
        using namespace std::chrono;
        sys_days base = date1904 ? sys_days(1904y / January / 1) : sys_days(1899y / December / 31);
        long long offset = day;
        if (!date1904 && day > 60)
            --offset;
        if (!date1904 && day == 0)
            return std::nullopt; // "day 0 of January 1900" is no date
        const year_month_day ymd(base + days(offset));
        year = static_cast<int>(ymd.year());
        month = static_cast<unsigned>(ymd.month());
        dayOfMonth = static_cast<unsigned>(ymd.day());
    }
    if (year > 9999)
        return std::nullopt;
    char date[40];
    std::snprintf(date, sizeof date, "%04d-%02u-%02u", year, month, dayOfMonth);
    std::string text(date);
    if (seconds != 0) {
        text += ' ';
        text += time;
    }
    return text;
}

void TSheetBuilder::CheckPosition(std::size_t row, std::size_t col) const {
    if (row >= limits_.MaxRows)
        throw EKorvelError("The sheet \"" + sheet_.Name + "\" has more than " +
                           std::to_string(limits_.MaxRows) + " rows.");
    if (col >= limits_.MaxColumns)
        throw EKorvelError("The sheet \"" + sheet_.Name + "\" has more than " +
                           std::to_string(limits_.MaxColumns) + " columns.");
}

void TSheetBuilder::Set(std::size_t row, std::size_t col, std::string text) {
    if (text.empty())
        return; // empty cells cost nothing, wherever they are
    CheckPosition(row, col);
    if (text.size() > limits_.MaxCellBytes)
        throw EKorvelError("The cell " + ColumnLetters(col) + std::to_string(row + 1) + " of the sheet \"" +
                           sheet_.Name + "\" holds more than " + std::to_string(limits_.MaxCellBytes) +
                           " bytes.");
    if (sheet_.Rows.size() <= row)
        sheet_.Rows.resize(row + 1);
    auto& cells = sheet_.Rows[row];
    // Rows tend to be as wide as the one before: growing a new row cell by cell would move it many times.
    if (cells.empty() && row > 0 && col < sheet_.Rows[row - 1].size())
        cells.reserve(sheet_.Rows[row - 1].size());
    if (cells.size() <= col) {
        const std::size_t added = col + 1 - cells.size();
        if (cellsUsed_ + added > limits_.MaxCells)
            throw EKorvelError("The workbook has more than " + std::to_string(limits_.MaxCells) + " cells.");
        cellsUsed_ += added;
        cells.resize(col + 1);
    }
    cells[col] = std::move(text);
}

void TSheetBuilder::FinishRow(std::size_t row) {
    if (row < sheet_.Rows.size() && sheet_.Rows[row].capacity() > sheet_.Rows[row].size())
        sheet_.Rows[row].shrink_to_fit();
}

} // namespace detail

namespace {

std::string LowerExtension(const std::string& fileName) {
    std::string ext = std::filesystem::path(fileName).extension().string();
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return ext;
}

} // namespace

TWorkbook ReadWorkbook(const std::string& fileName, const TWorkbookLimits& limits) {
    const std::string ext = LowerExtension(fileName);
    if (ext == ".xls")
        return ReadXls(fileName, limits);
    if (ext == ".xlsx")
        return ReadXlsx(fileName, limits);
    std::ifstream in(fileName, std::ios::binary);
    if (!in)
        throw EKorvelError("Cannot open the file \"" + fileName + "\".");
    std::error_code ec;
    const std::uintmax_t size = std::filesystem::file_size(fileName, ec);
    if (ec)
        throw EKorvelError("Cannot read the file \"" + fileName + "\": " + ec.message() + ".");
    if (size > limits.MaxTextTableBytes)
        throw EKorvelError("Cannot read the file \"" + fileName + "\": it has " + std::to_string(size) +
                           " bytes, more than the " + std::to_string(limits.MaxTextTableBytes) +
                           " a text table may have.");
    // Read straight into one string: the table may be big, and a stream would hold it twice.
    std::string bytes(static_cast<std::size_t>(size), '\0');
    in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (in.bad() || static_cast<std::size_t>(in.gcount()) != bytes.size())
        throw EKorvelError("Cannot read the file \"" + fileName + "\".");
    try {
        return ReadTextTable(bytes, std::filesystem::path(fileName).stem().string(), 1252, limits);
    } catch (const EKorvelError& e) {
        throw EKorvelError("Cannot read the file \"" + fileName + "\": " + e.what());
    }
}

} // namespace korvel::formats
