#include "platform/Errors.h"
#include "platform/formats/Workbook.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <freexl.h>
#include <poll.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace korvel::formats {

namespace {

constexpr std::chrono::seconds kXlsReadTimeout{120};

// Closes the handle however the reading ends; freexl wants a close even after a failed open.
class TFreeXlHandle {
public:
    TFreeXlHandle() = default;
    ~TFreeXlHandle() {
        if (handle_ != nullptr)
            freexl_close(handle_);
    }
    TFreeXlHandle(const TFreeXlHandle&) = delete;
    TFreeXlHandle& operator=(const TFreeXlHandle&) = delete;
    const void** Out() { return &handle_; }
    const void* Get() const { return handle_; }

private:
    const void* handle_ = nullptr;
};

std::string Problem(int code) {
    switch (code) {
    case FREEXL_FILE_NOT_FOUND:
        return "The file cannot be opened.";
    case FREEXL_INVALID_CFBF_HEADER:
    case FREEXL_CFBF_INVALID_SIGNATURE:
        return "The file is no .xls workbook.";
    case FREEXL_BIFF_WORKBOOK_NOT_FOUND:
        return "The file holds no workbook.";
    case FREEXL_INSUFFICIENT_MEMORY:
        return "There is not enough memory to read the workbook.";
    case FREEXL_UNSUPPORTED_CHARSET:
    case FREEXL_INVALID_CHARACTER:
        return "The workbook's texts use a character set that cannot be read.";
    default:
        return "The workbook is damaged or of an unknown version (code " + std::to_string(code) + ").";
    }
}

void Check(int code) {
    if (code != FREEXL_OK)
        throw EKorvelError(Problem(code));
}

std::string DateTimeText(const char* text) {
    std::string value = text != nullptr ? text : "";
    // A date-and-time format on a whole day shows no time of day.
    if (value.size() == 19 && value.ends_with(" 00:00:00"))
        value.resize(10);
    return value;
}

std::string CellText(const FreeXL_CellValue& cell) {
    switch (cell.type) {
    case FREEXL_CELL_INT:
        return std::to_string(cell.value.int_value);
    case FREEXL_CELL_DOUBLE:
        return detail::NumberText(cell.value.double_value);
    case FREEXL_CELL_TEXT:
    case FREEXL_CELL_SST_TEXT:
    case FREEXL_CELL_DATE:
    case FREEXL_CELL_TIME:
        return cell.value.text_value != nullptr ? cell.value.text_value : "";
    case FREEXL_CELL_DATETIME:
        return DateTimeText(cell.value.text_value);
    default:
        return {};
    }
}

TWorkbook ReadOpened(const void* handle, const TWorkbookLimits& limits) {
    unsigned int info = 0;
    Check(freexl_get_info(handle, FREEXL_BIFF_PASSWORD, &info));
    if (info == FREEXL_BIFF_OBFUSCATED)
        throw EKorvelError("The workbook is protected by a password.");
    unsigned int sheetCount = 0;
    Check(freexl_get_info(handle, FREEXL_BIFF_SHEET_COUNT, &sheetCount));
    if (sheetCount == 0)
        throw EKorvelError("The workbook has no worksheet.");

    TWorkbook workbook;
    std::size_t cellsUsed = 0;
    std::size_t cellsVisited = 0;
    for (unsigned int index = 0; index < sheetCount && index <= 0xFFFFu; ++index) {
        const auto sheetIndex = static_cast<unsigned short>(index);
        TSheet& sheet = workbook.Sheets.emplace_back();
        const char* name = nullptr;
        Check(freexl_get_worksheet_name(handle, sheetIndex, &name));
        sheet.Name = name != nullptr ? name : "Sheet" + std::to_string(index + 1);
        Check(freexl_select_active_worksheet(handle, sheetIndex));
        unsigned int rows = 0;
        unsigned short columns = 0;
        Check(freexl_worksheet_dimensions(handle, &rows, &columns));
        if (rows == 0 || columns == 0)
            continue;
        detail::TSheetBuilder builder(sheet, limits, cellsUsed);
        builder.CheckPosition(rows - 1u, columns - 1u);
        // Dimensions, not contents, bound the work of walking the sheet.
        cellsVisited += static_cast<std::size_t>(rows) * columns;
        if (cellsVisited > limits.MaxCells)
            throw EKorvelError("The workbook has more than " + std::to_string(limits.MaxCells) + " cells.");
        for (unsigned int row = 0; row < rows; ++row)
            for (unsigned short col = 0; col < columns; ++col) {
                FreeXL_CellValue cell{};
                Check(freexl_get_cell_value(handle, row, col, &cell));
                builder.Set(row, col, CellText(cell));
            }
    }
    return workbook;
}

TWorkbook ReadInProcess(const std::string& fileName, const TWorkbookLimits& limits) {
    TFreeXlHandle handle;
    Check(freexl_open(fileName.c_str(), handle.Out()));
    // The library gives up on some damaged record streams without an error code.
    if (handle.Get() == nullptr)
        throw EKorvelError("The workbook is damaged.");
    return ReadOpened(handle.Get(), limits);
}

// The child's answer on the pipe: 'W' and the workbook, or 'E' and a message. Sizes are u32 little-endian.
void PutU32(std::string& out, std::size_t value) {
    const auto v = static_cast<std::uint32_t>(value);
    for (int shift = 0; shift < 32; shift += 8)
        out.push_back(static_cast<char>((v >> shift) & 0xFFu));
}

void PutText(std::string& out, const std::string& text) {
    PutU32(out, text.size());
    out += text;
}

std::string Serialize(const TWorkbook& workbook) {
    std::string out = "W";
    PutU32(out, workbook.Sheets.size());
    for (const TSheet& sheet : workbook.Sheets) {
        PutText(out, sheet.Name);
        PutU32(out, sheet.Rows.size());
        for (const auto& row : sheet.Rows) {
            PutU32(out, row.size());
            for (const std::string& cell : row)
                PutText(out, cell);
        }
    }
    return out;
}

class TAnswerReader {
public:
    explicit TAnswerReader(const std::string& bytes) : bytes_(bytes) {}
    std::size_t U32() {
        Need(4);
        std::uint32_t v = 0;
        for (int i = 0; i < 4; ++i)
            v |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes_[pos_++])) << (8 * i);
        return v;
    }
    std::string Text() {
        const std::size_t size = U32();
        Need(size);
        std::string text = bytes_.substr(pos_, size);
        pos_ += size;
        return text;
    }
    // A count can never exceed the bytes left, each item taking at least four.
    std::size_t Count() {
        const std::size_t count = U32();
        if (count > (bytes_.size() - pos_) / 4 + 1)
            throw EKorvelError("The workbook reader gave an answer that cannot be read.");
        return count;
    }

private:
    void Need(std::size_t size) const {
        if (bytes_.size() - pos_ < size)
            throw EKorvelError("The workbook reader gave an answer that cannot be read.");
    }
    const std::string& bytes_;
    std::size_t pos_ = 1;
};

TWorkbook Deserialize(const std::string& bytes) {
    TAnswerReader in(bytes);
    TWorkbook workbook;
    workbook.Sheets.resize(in.Count());
    for (TSheet& sheet : workbook.Sheets) {
        sheet.Name = in.Text();
        sheet.Rows.resize(in.Count());
        for (auto& row : sheet.Rows) {
            row.resize(in.Count());
            for (std::string& cell : row)
                cell = in.Text();
        }
    }
    return workbook;
}

void WriteAll(int fd, const std::string& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return;
        done += static_cast<std::size_t>(n);
    }
}

// Reads until the child closes its end; false when the deadline passed first.
bool ReadAll(int fd, std::string& bytes, std::chrono::seconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    char buffer[65536];
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            return false;
        pollfd p{fd, POLLIN, 0};
        const int ready = ::poll(&p, 1, static_cast<int>(left.count()));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            return ready == 0 ? false : true;
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return true;
        bytes.append(buffer, static_cast<std::size_t>(n));
    }
}

} // namespace

// The .xls library trusts the lengths inside a workbook, and some damaged files make it read past its own
// buffers. It therefore runs in a child process: a file that trips it ends that process, never the program,
// and is reported as damaged.
TWorkbook ReadXls(const std::string& fileName, const TWorkbookLimits& limits) {
    const std::string prefix = "Cannot read the workbook \"" + fileName + "\": ";
    int fds[2];
    if (::pipe(fds) != 0)
        throw EKorvelError(prefix + std::strerror(errno));
    const pid_t pid = ::fork();
    if (pid < 0) {
        const int error = errno;
        ::close(fds[0]);
        ::close(fds[1]);
        throw EKorvelError(prefix + std::strerror(error));
    }
    if (pid == 0) {
        ::close(fds[0]);
        std::string answer;
        try {
            answer = Serialize(ReadInProcess(fileName, limits));
        } catch (const std::exception& e) {
            answer = std::string("E") + e.what();
        } catch (...) {
            answer = "EThe workbook is damaged.";
        }
        WriteAll(fds[1], answer);
        ::close(fds[1]);
        ::_exit(0);
    }
    ::close(fds[1]);
    std::string answer;
    const bool finished = ReadAll(fds[0], answer, kXlsReadTimeout);
    ::close(fds[0]);
    if (!finished)
        ::kill(pid, SIGKILL);
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (!finished)
        throw EKorvelError(prefix + "reading took too long; the file is probably damaged.");
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 || answer.empty())
        throw EKorvelError(prefix + "the workbook is damaged.");
    if (answer[0] == 'E')
        throw EKorvelError(prefix + answer.substr(1));
    return Deserialize(answer);
}

} // namespace korvel::formats
