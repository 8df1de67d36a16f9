#include "platform/formats/DosLibFiles.h"

#include "platform/Errors.h"
#include "platform/legacy/PackedReader.h"
#include "platform/legacy/ShortString.h"
#include "platform/text/CaseFold.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace korvel::formats {

namespace {

constexpr std::size_t kIndexNameCapacity = 40;
constexpr std::size_t kCommentCapacity = 58;
constexpr std::size_t kGroupNameCapacity = 30;
constexpr std::size_t kThirdOctaveOffset = 590;
constexpr std::size_t kKennCharOffset = 702;

void CheckRecordSize(TByteSpan record, std::size_t expected, const char* what) {
    if (record.size() != expected) {
        throw EKorvelError(std::string("A DOS ") + what + " record has " + std::to_string(expected) +
                           " bytes, not " + std::to_string(record.size()));
    }
}

// Reads the record at |recordNumber - 1| * size; empty when the file cannot give a whole record.
std::optional<TBlob> ReadRecordAt(int recordNumber, std::size_t size, const std::string& fileName) {
    TDosRecordFile file(fileName, size);
    return file.Read(recordNumber);
}

// The file named name in folder, or a file whose name differs only in case (DOS names often come in
// upper case); the exact path when there is none.
std::string SiblingFile(const std::string& indexFile, const std::string& name) {
    namespace fs = std::filesystem;
    const fs::path folder = fs::path(indexFile).parent_path();
    const fs::path exact = folder / name;
    std::error_code ec;
    if (fs::exists(exact, ec)) {
        return exact.string();
    }
    const fs::path searchIn = folder.empty() ? fs::path(".") : folder;
    const std::string wanted = AsciiUpper(name);
    for (fs::directory_iterator it(searchIn, ec), end; !ec && it != end; it.increment(ec)) {
        if (AsciiUpper(it->path().filename().string()) == wanted) {
            return (folder / it->path().filename()).string();
        }
    }
    return exact.string();
}

} // namespace

TDosIndexRecord DecodeDosIndexRecord(TByteSpan record, int codePage) {
    CheckRecordSize(record, kDosIndexRecordSize, "index");
    TPackedReader r(record, codePage, "index record");
    TDosIndexRecord rec;
    rec.Name = r.ShortString(kIndexNameCapacity);
    rec.Entry = r.I16();
    const TByteSpan groups = r.Bytes(rec.Groups.size());
    std::copy(groups.begin(), groups.end(), rec.Groups.begin());
    return rec;
}

TDosDataRecord DecodeDosDataRecord(TByteSpan record, int codePage) {
    CheckRecordSize(record, kDosDataRecordSize, "data");
    TPackedReader r(record, codePage, "data record");
    TDosDataRecord rec;
    for (auto& line : rec.Comment) {
        line = r.ShortString(kCommentCapacity);
    }
    r.Seek(kThirdOctaveOffset);
    for (auto& v : rec.ThirdOctaves) {
        v = r.F32();
    }
    r.Seek(kKennCharOffset);
    for (auto& c : rec.KennChar) {
        c = static_cast<char>(r.U8());
    }
    return rec;
}

std::string DecodeDosGroupRecord(TByteSpan record, int codePage) {
    CheckRecordSize(record, kDosGroupRecordSize, "group");
    return DecodeShortString(record, codePage);
}

TBlob EncodeDosIndexRecord(const TDosIndexRecord& rec, int codePage) {
    TBlobWriter w;
    w.Bytes(EncodeShortString(rec.Name, kIndexNameCapacity, codePage));
    w.I16(rec.Entry);
    w.Bytes(rec.Groups);
    w.Zeros(kDosIndexRecordSize - w.Size());
    return w.Blob();
}

TBlob EncodeDosDataRecord(const TDosDataRecord& rec, int codePage) {
    TBlobWriter w;
    for (const auto& line : rec.Comment) {
        w.Bytes(EncodeShortString(line, kCommentCapacity, codePage));
    }
    for (float v : rec.ThirdOctaves) {
        w.F32(v);
    }
    w.Zeros(kKennCharOffset - w.Size());
    for (char c : rec.KennChar) {
        w.U8(static_cast<std::uint8_t>(c));
    }
    w.Zeros(kDosDataRecordSize - w.Size());
    return w.Blob();
}

TBlob EncodeDosGroupRecord(const std::string& name, int codePage) {
    return EncodeShortString(name, kGroupNameCapacity, codePage);
}

std::vector<TDosIndexRecord> DecodeDosIndexFile(TByteSpan bytes, int codePage) {
    std::vector<TDosIndexRecord> records;
    for (std::size_t pos = 0; pos + kDosIndexRecordSize <= bytes.size(); pos += kDosIndexRecordSize) {
        records.push_back(DecodeDosIndexRecord(bytes.subspan(pos, kDosIndexRecordSize), codePage));
    }
    return records;
}

std::vector<std::string> DecodeDosGroupFile(TByteSpan bytes, int codePage) {
    std::vector<std::string> names;
    for (std::size_t pos = 0; pos + kDosGroupRecordSize <= bytes.size(); pos += kDosGroupRecordSize) {
        names.push_back(DecodeDosGroupRecord(bytes.subspan(pos, kDosGroupRecordSize), codePage));
    }
    return names;
}

TDosRecordFile::TDosRecordFile(const std::string& fileName, std::size_t recordSize)
    : in_(fileName, std::ios::binary), size_(recordSize) {}

std::optional<TBlob> TDosRecordFile::Read(int recordNumber) {
    if (!in_.is_open()) {
        return std::nullopt;
    }
    // Negative numbers come from damaged index records; the absolute distance keeps the seek in the file.
    const long long index = std::llabs(static_cast<long long>(recordNumber) - 1);
    const auto offset = static_cast<std::streamoff>(index * static_cast<long long>(size_));
    // Records mostly come in file order; a seek would throw the read-ahead away.
    if (offset != next_) {
        in_.clear(); // a short read before must not end the reading of other records
        in_.seekg(offset);
        next_ = -1;
        if (!in_) {
            return std::nullopt;
        }
    }
    TBlob buffer(size_);
    in_.read(reinterpret_cast<char*>(buffer.data()), static_cast<std::streamsize>(size_));
    if (static_cast<std::size_t>(in_.gcount()) != size_) {
        next_ = -1;
        return std::nullopt;
    }
    next_ = offset + static_cast<std::streamoff>(size_);
    return buffer;
}

int ReadDosDataRecord(int recordNumber, TDosDataRecord& record, TDosRecordFile& file) {
    record = TDosDataRecord{};
    const auto bytes = file.Read(recordNumber);
    if (!bytes) {
        return -1;
    }
    record = DecodeDosDataRecord(*bytes);
    return 0;
}

int ReadDosDataRecord(int recordNumber, TDosDataRecord& record, const std::string& fileName) {
    TDosRecordFile file(fileName, kDosDataRecordSize);
    return ReadDosDataRecord(recordNumber, record, file);
}

int ReadDosGroupRecord(int recordNumber, std::string& name, const std::string& fileName) {
    name.clear();
    const auto bytes = ReadRecordAt(recordNumber, kDosGroupRecordSize, fileName);
    if (!bytes) {
        return -1;
    }
    name = DecodeDosGroupRecord(*bytes);
    return 0;
}

std::string DosKindDigit(int libType) {
    switch (libType) {
    case 120:
        return "2";
    case 121:
        return "1";
    case 122:
        return "3";
    case 123:
        return "4";
    default:
        return {};
    }
}

double DosNoValueLevel(int libType) {
    switch (libType) {
    case 120:
    case 122:
    case 123:
        return -99.0;
    default:
        return 0.0;
    }
}

std::string DosDataFileName(const std::string& indexFile, int libType) {
    return SiblingFile(indexFile, "LibData.00" + DosKindDigit(libType));
}

std::string DosGroupFileName(const std::string& indexFile, int libType) {
    return SiblingFile(indexFile, "Gruppe.00" + DosKindDigit(libType));
}

bool IsDosIndexFileName(const std::string& fileName) {
    const std::string name = AsciiUpper(std::filesystem::path(fileName).filename().string());
    return name.size() >= 7 && name.compare(name.size() - 7, 6, "LIB.00") == 0;
}

} // namespace korvel::formats
