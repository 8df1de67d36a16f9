#include "platform/formats/ParadoxTable.h"

#include "platform/Errors.h"
#include "platform/base/Blob.h"
#include "platform/legacy/CodePages.h"
#include "platform/text/CaseFold.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

// pxlib's header declares C functions without C linkage.
extern "C" {
#include <paradox.h>
}

namespace korvel::formats {

namespace {

// Day 1 of pxlib's date count is 1 January of year 1; the serial day number of that day is 1721425 + 1.
constexpr long kSdnOffset = 1721425;

// pxlib reports through a callback; it must never print or end the program, so the first error is kept and
// turned into an exception by the caller. Warnings are ignored.
struct TPxErrors {
    std::string First;
};

void OnPxError(pxdoc_t* /*doc*/, int type, const char* msg, void* data) {
    auto* errors = static_cast<TPxErrors*>(data);
    if (type == PX_Warning || errors == nullptr) {
        return;
    }
    if (errors->First.empty()) {
        errors->First = msg != nullptr ? msg : "unknown error";
    }
}

struct TPxCloser {
    void operator()(pxdoc_t* doc) const {
        PX_close(doc);
        PX_delete(doc);
    }
};
using TPxDoc = std::unique_ptr<pxdoc_t, TPxCloser>;

// pxlib's strings, allocated with the document's allocator.
struct TPxString {
    pxdoc_t* Doc;
    char* Value = nullptr;
    ~TPxString() {
        if (Value != nullptr) {
            Doc->free(Doc, Value);
        }
    }
};

std::string TypeName(char type) {
    switch (type) {
    case pxfAlpha:
        return "Text";
    case pxfShort:
    case pxfLong:
        return "Integer";
    case pxfNumber:
    case pxfCurrency:
    case pxfBCD:
        return "Float";
    case pxfLogical:
        return "Boolean";
    case pxfDate:
        return "Date";
    case pxfTime:
        return "Time";
    case pxfTimestamp:
        return "Timestamp";
    case pxfMemoBLOb:
    case pxfFmtMemoBLOb:
        return "Memo";
    case pxfBLOb:
    case pxfOLE:
    case pxfGraphic:
    case pxfBytes:
        return "Blob";
    case pxfAutoInc:
        return "AutoInc";
    default:
        return "Other";
    }
}

std::string DateText(long days) {
    int year = 0;
    int month = 0;
    int day = 0;
    PX_SdnToGregorian(days + kSdnOffset, &year, &month, &day);
    if (year <= 0 || month <= 0 || day <= 0) {
        return {};
    }
    char buffer[48]; // room for three full ints, which the compiler cannot rule out
    std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d", year, month, day);
    return buffer;
}

std::string TimeText(long long ms) {
    ms %= 86400000LL;
    if (ms < 0) {
        ms += 86400000LL;
    }
    const long long seconds = ms / 1000;
    char buffer[72];
    std::snprintf(buffer, sizeof buffer, "%02lld:%02lld:%02lld", seconds / 3600, seconds / 60 % 60,
                  seconds % 60);
    return buffer;
}

// Milliseconds since the start of year 1, day 1 counted as 1.
db::TValue TimestampValue(double ms) {
    // About 10000 years; anything beyond is garbage.
    if (!std::isfinite(ms) || ms <= 0 || ms > 4e14) {
        return std::monostate{};
    }
    const auto total = static_cast<long long>(ms);
    const long days = static_cast<long>(total / 86400000LL);
    const std::string date = DateText(days);
    if (date.empty()) {
        return std::monostate{};
    }
    return date + " " + TimeText(total % 86400000LL);
}

// The part of a memo or blob that is kept in the record: the first len - 10 bytes hold its beginning, the
// last ten its place in the blob file and its size. Without that file only what fits is known.
db::TValue InlineBlob(const char* data, int len, bool isText, int codePage) {
    const int leader = len - 10;
    if (leader <= 0) {
        return std::monostate{};
    }
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(data);
    const std::uint32_t size = LoadU32LE(bytes + leader + 4);
    if (size == 0 || size > static_cast<std::uint32_t>(leader)) {
        return std::monostate{};
    }
    if (isText) {
        return CodePageToUtf8(std::string_view(data, size), codePage);
    }
    return db::TBytes(bytes, bytes + size);
}

db::TValue FieldValue(pxdoc_t* doc, const pxfield_t& field, char* data, int codePage) {
    const int len = field.px_flen;
    // An empty cell is stored as zero bytes; pxlib's number getters would read it as the lowest value.
    if (std::all_of(data, data + len, [](char c) { return c == 0; })) {
        return std::monostate{};
    }
    switch (field.px_ftype) {
    case pxfAlpha: {
        TPxString s{doc};
        if (PX_get_data_alpha(doc, data, len, &s.Value) <= 0 || s.Value == nullptr) {
            return std::monostate{};
        }
        return CodePageToUtf8(std::string_view(s.Value, strnlen(s.Value, static_cast<std::size_t>(len))),
                              codePage);
    }
    case pxfShort: {
        short v = 0;
        if (PX_get_data_short(doc, data, len, &v) <= 0) {
            return std::monostate{};
        }
        return static_cast<std::int64_t>(v);
    }
    case pxfLong:
    case pxfAutoInc: {
        long v = 0;
        if (PX_get_data_long(doc, data, len, &v) <= 0) {
            return std::monostate{};
        }
        return static_cast<std::int64_t>(v);
    }
    case pxfNumber:
    case pxfCurrency: {
        double v = 0;
        if (PX_get_data_double(doc, data, len, &v) <= 0) {
            return std::monostate{};
        }
        return v;
    }
    case pxfBCD: {
        // pxlib takes the number of decimals here, and leaks its buffer when the cell disagrees with it.
        if ((static_cast<unsigned char>(data[0]) & 0x3F) != field.px_fdc) {
            return std::monostate{};
        }
        TPxString s{doc};
        if (PX_get_data_bcd(doc, reinterpret_cast<unsigned char*>(data), field.px_fdc, &s.Value) <= 0 ||
            s.Value == nullptr) {
            return std::monostate{};
        }
        char* end = nullptr;
        const double v = std::strtod(s.Value, &end);
        if (end == s.Value) {
            return std::monostate{};
        }
        return v;
    }
    case pxfLogical: {
        char v = 0;
        if (PX_get_data_byte(doc, data, len, &v) <= 0) {
            return std::monostate{};
        }
        return static_cast<std::int64_t>(v != 0 ? 1 : 0);
    }
    case pxfDate: {
        long v = 0;
        if (PX_get_data_long(doc, data, len, &v) <= 0) {
            return std::monostate{};
        }
        std::string text = DateText(v);
        if (text.empty()) {
            return std::monostate{};
        }
        return text;
    }
    case pxfTime: {
        long v = 0;
        if (PX_get_data_long(doc, data, len, &v) <= 0) {
            return std::monostate{};
        }
        return TimeText(v);
    }
    case pxfTimestamp: {
        double v = 0;
        if (PX_get_data_double(doc, data, len, &v) <= 0) {
            return std::monostate{};
        }
        return TimestampValue(v);
    }
    case pxfMemoBLOb:
    case pxfFmtMemoBLOb:
        return InlineBlob(data, len, true, codePage);
    case pxfBLOb:
    case pxfOLE:
    case pxfGraphic:
        return InlineBlob(data, len, false, codePage);
    case pxfBytes: {
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(data);
        return db::TBytes(bytes, bytes + len);
    }
    default:
        return std::monostate{};
    }
}

// Whether a field's length fits its type. pxlib copies a number field into a buffer of the type's size
// whatever length the header gives, so a wrong length must never reach it.
bool LengthFits(char type, int len) {
    switch (type) {
    case pxfLogical:
        return len == 1;
    case pxfShort:
        return len == 2;
    case pxfLong:
    case pxfAutoInc:
    case pxfDate:
    case pxfTime:
        return len == 4;
    case pxfNumber:
    case pxfCurrency:
    case pxfTimestamp:
        return len == 8;
    case pxfBCD:
        return len == 17;
    case pxfMemoBLOb:
    case pxfFmtMemoBLOb:
    case pxfBLOb:
    case pxfOLE:
    case pxfGraphic:
        return len > 10 && len <= 255;
    default:
        return len > 0 && len <= 255;
    }
}

[[noreturn]] void Damaged(const std::string& fileName, const std::string& why) {
    throw EKorvelError("The Paradox table \"" + fileName + "\" is damaged: " + why);
}

// pxlib follows the chain of data blocks while it opens a table and trusts it: a block pointing back into
// the chain makes it loop for ever, and a block beyond the end makes it read what is not there. So the chain
// is walked here first, on the file's own bytes.
void CheckBlockChain(const std::string& fileName, const std::vector<std::uint8_t>& head, std::ifstream& in,
                     long long fileSize) {
    if (head.size() < 0x12) {
        throw EKorvelError("\"" + fileName + "\" is not a Paradox table: it has " +
                           std::to_string(head.size()) + " bytes only");
    }
    const int recordSize = LoadU16LE(head.data());
    const long long headerSize = LoadU16LE(head.data() + 2);
    const int blockKb = head[5];
    int block = LoadU16LE(head.data() + 0x0E);
    // Only tables (keyed or not) are read; index files have other records.
    const int fileType = head[4];
    if (recordSize == 0 || blockKb < 1 || blockKb > 32 || headerSize > fileSize ||
        (fileType != pxfFileTypIndexDB && fileType != pxfFileTypNonIndexDB)) {
        throw EKorvelError("\"" + fileName + "\" is not a Paradox table");
    }
    // pxlib decrypts the blocks of a protected table as it reads them, so their chain cannot be checked here;
    // such tables are refused. 0xFF00FF00 in the first field sends the reader to the second one, which only
    // newer tables have.
    std::uint32_t encryption = head.size() >= 0x29 ? LoadU32LE(head.data() + 0x25) : 0;
    if (encryption == 0xFF00FF00u) {
        // Only versions 5 to 12 have the second field; for others pxlib would read an undefined value.
        const int version = head.size() >= 0x60 ? head[0x39] : 0;
        if (version < 5 || version > 12) {
            Damaged(fileName, "its header names a second protection field that its version does not have");
        }
        encryption = LoadU32LE(head.data() + 0x5C);
    }
    if (encryption != 0) {
        throw EKorvelError("The Paradox table \"" + fileName +
                           "\" is protected by a password; save it without one and import it again");
    }
    const long long blockSize = blockKb * 0x400LL;
    std::vector<bool> seen(0x10000, false);
    while (block > 0) {
        if (seen[static_cast<std::size_t>(block)]) {
            Damaged(fileName, "its data block " + std::to_string(block) + " is chained twice");
        }
        seen[static_cast<std::size_t>(block)] = true;
        const long long position = headerSize + (block - 1) * blockSize;
        if (position + 6 > fileSize) {
            Damaged(fileName, "its data block " + std::to_string(block) + " lies beyond the end of the file");
        }
        std::uint8_t blockHead[6];
        in.seekg(position);
        in.read(reinterpret_cast<char*>(blockHead), sizeof blockHead);
        if (!in) {
            Damaged(fileName, "its data block " + std::to_string(block) + " cannot be read");
        }
        const auto used = static_cast<std::int16_t>(LoadU16LE(blockHead + 4));
        if (used < -recordSize || used + recordSize > blockSize - 6) {
            Damaged(fileName, "its data block " + std::to_string(block) + " claims " + std::to_string(used) +
                                  " bytes of records");
        }
        block = LoadU16LE(blockHead);
    }
}

} // namespace

int TForeignTable::ColumnIndex(const std::string& name) const {
    for (std::size_t i = 0; i < Columns.size(); ++i) {
        if (SameTextIgnoringCase(Columns[i].Name, name)) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

TForeignTable ReadParadoxTable(const std::string& fileName, int codePage) {
    namespace fs = std::filesystem;
    std::error_code ec;
    if (!fs::is_regular_file(fileName, ec)) {
        throw EKorvelError("The Paradox table \"" + fileName + "\" does not exist");
    }
    const auto fileSize = static_cast<long long>(fs::file_size(fileName, ec));
    if (ec) {
        throw EKorvelError("The Paradox table \"" + fileName + "\" cannot be read: " + ec.message());
    }

    {
        std::ifstream in(fileName, std::ios::binary);
        std::vector<std::uint8_t> head(0x78, 0);
        in.read(reinterpret_cast<char*>(head.data()), static_cast<std::streamsize>(head.size()));
        head.resize(static_cast<std::size_t>(in.gcount()));
        in.clear();
        CheckBlockChain(fileName, head, in, fileSize);
    }

    TPxErrors errors;
    TPxDoc doc(PX_new3(OnPxError, nullptr, nullptr, nullptr, &errors));
    if (!doc) {
        throw EKorvelError("The Paradox reader could not be started");
    }
    // Some of pxlib's warnings go straight to stderr unless they are switched off.
    PX_set_parameter(doc.get(), "warning", "false");
    if (PX_open_file(doc.get(), fileName.c_str()) != 0 || doc->px_head == nullptr) {
        throw EKorvelError("\"" + fileName + "\" is not a Paradox table" +
                           (errors.First.empty() ? std::string() : ": " + errors.First));
    }
    const pxhead_t& head = *doc->px_head;
    if (head.px_filetype != pxfFileTypIndexDB && head.px_filetype != pxfFileTypNonIndexDB) {
        throw EKorvelError("\"" + fileName + "\" is a Paradox index, not a table");
    }
    const int fieldCount = PX_get_num_fields(doc.get());
    pxfield_t* fields = PX_get_fields(doc.get());
    if (fieldCount <= 0 || fields == nullptr) {
        Damaged(fileName, "it has no fields");
    }
    const int recordSize = PX_get_recordsize(doc.get());
    long long sum = 0;
    for (int i = 0; i < fieldCount; ++i) {
        if (!LengthFits(fields[i].px_ftype, fields[i].px_flen)) {
            Damaged(fileName, "field " + std::to_string(i + 1) + " of type " + TypeName(fields[i].px_ftype) +
                                  " cannot be " + std::to_string(fields[i].px_flen) + " bytes long");
        }
        sum += fields[i].px_flen;
    }
    if (recordSize <= 0 || sum > recordSize) {
        Damaged(fileName, "its fields need " + std::to_string(sum) + " bytes, a record has " +
                              std::to_string(recordSize));
    }
    const int recordCount = PX_get_num_records(doc.get());
    if (recordCount < 0 || static_cast<long long>(recordCount) * recordSize > fileSize) {
        Damaged(fileName, "it claims " + std::to_string(recordCount) + " records of " +
                              std::to_string(recordSize) + " bytes in a file of " + std::to_string(fileSize) +
                              " bytes");
    }

    int cp = head.px_doscodepage;
    if (cp <= 0 || !IsCodePageAvailable(cp)) {
        cp = codePage;
    }

    TForeignTable table;
    for (int i = 0; i < fieldCount; ++i) {
        const pxfield_t& f = fields[i];
        const char* raw = f.px_fname != nullptr ? f.px_fname : "";
        table.Columns.push_back({CodePageToUtf8(raw, cp), TypeName(f.px_ftype), f.px_flen});
    }

    std::vector<char> record(static_cast<std::size_t>(recordSize));
    for (int r = 0; r < recordCount; ++r) {
        if (PX_get_record(doc.get(), r, record.data()) == nullptr) {
            Damaged(fileName, "record " + std::to_string(r + 1) + " cannot be read" +
                                  (errors.First.empty() ? std::string() : " (" + errors.First + ")"));
        }
        std::vector<db::TValue> row;
        row.reserve(static_cast<std::size_t>(fieldCount));
        std::size_t offset = 0;
        for (int i = 0; i < fieldCount; ++i) {
            row.push_back(FieldValue(doc.get(), fields[i], record.data() + offset, cp));
            offset += static_cast<std::size_t>(fields[i].px_flen);
        }
        table.Rows.push_back(std::move(row));
    }
    return table;
}

} // namespace korvel::formats
