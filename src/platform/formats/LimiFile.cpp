#include "platform/formats/LimiFile.h"

#include "platform/Errors.h"
#include "platform/legacy/ShortString.h"

#include <cmath>
#include <fstream>

namespace korvel::formats {

namespace {

constexpr std::size_t kLengthSize = 2;
constexpr std::size_t kLimitsOffset = 46;
constexpr std::size_t kRangeHoursOffset = 2 * (kLimiRangeTextCapacity + 1);

std::string TagText(std::uint8_t tag) {
    if (tag > 0x20 && tag < 0x7F)
        return "\"" + std::string(1, static_cast<char>(tag)) + "\"";
    return "of tag " + std::to_string(tag);
}

// At most count UTF-8 characters; a single-byte code page gives one per byte, so this only guards against
// a conversion that does not.
std::string CutCharacters(std::string text, std::size_t count) {
    std::size_t chars = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80 && chars++ == count) {
            text.resize(i);
            break;
        }
    }
    return text;
}

class TParser {
public:
    TParser(TByteSpan bytes, const std::string& sourceName, int codePage)
        : bytes_(bytes), source_(sourceName), codePage_(codePage) {}

    TLimiFile Run() {
        std::size_t pos = 0;
        while (pos < bytes_.size()) {
            const std::size_t left = bytes_.size() - pos;
            if (left < kLengthSize)
                Fail(pos, "the file ends inside a record length (the file is cut short)");
            const std::size_t length = LoadU16LE(bytes_.data() + pos);
            if (length == 0)
                Fail(pos, "a record has the length 0");
            if (length > left - kLengthSize) {
                const std::string what =
                    left > kLengthSize ? "the record " + TagText(bytes_[pos + 2]) : "a record";
                Fail(pos, what + " needs " + std::to_string(length) + " bytes after its length, only " +
                              std::to_string(left - kLengthSize) + " remain (the file is cut short)");
            }
            Record(pos, bytes_[pos + kLengthSize], bytes_.subspan(pos + kLengthSize + 1, length - 1));
            pos += kLengthSize + length;
        }
        if (!hasName_)
            Fail(bytes_.size(), "the file has no element name (no \"H\" record)");
        if (file_.Name.empty())
            Fail(nameOffset_, "the element name is empty");
        return std::move(file_);
    }

private:
    [[noreturn]] void Fail(std::size_t offset, const std::string& what) const {
        throw EKorvelError("The assessment file \"" + source_ + "\" is damaged: " + what + ", at offset " +
                           std::to_string(offset) + ".");
    }
    void Warn(std::size_t offset, const std::string& what) {
        file_.Warnings.push_back("\"" + source_ + "\", offset " + std::to_string(offset) + ": " + what);
    }

    // Refuses a body shorter than its layout; warns about one longer.
    void CheckSize(std::size_t offset, std::uint8_t tag, TByteSpan body, std::size_t expected) {
        if (body.size() < expected)
            Fail(offset, "the record " + TagText(tag) + " has " + std::to_string(body.size()) +
                             " bytes after its tag, " + std::to_string(expected) + " expected");
        if (body.size() > expected)
            Warn(offset, "the record " + TagText(tag) + " has " + std::to_string(body.size() - expected) +
                             " bytes more than expected; they were skipped");
    }

    std::string Text(std::size_t offset, TByteSpan field, const char* what) {
        const std::size_t capacity = field.size() - 1;
        if (field[0] > capacity)
            Warn(offset, std::string("the length of the ") + what + " is " + std::to_string(field[0]) +
                             ", more than its " + std::to_string(capacity) + " characters; read as " +
                             std::to_string(capacity));
        return CutCharacters(DecodeShortString(field, codePage_), capacity);
    }

    float Number(std::size_t offset, TByteSpan body, std::size_t at, const std::string& what) {
        const float v = LoadF32LE(body.data() + at);
        if (!std::isfinite(v))
            Fail(offset, what + " is no number");
        return v;
    }

    void Record(std::size_t offset, std::uint8_t tag, TByteSpan body) {
        switch (tag) {
        case 'A':
            file_.HasHeader = true;
            if (body.size() != kLimiHeaderBody)
                Warn(offset, "the record \"A\" has " + std::to_string(body.size()) +
                                 " bytes after its tag, " + std::to_string(kLimiHeaderBody) + " expected");
            break;
        case 'H':
            CheckSize(offset, tag, body, kLimiNameBody);
            if (hasName_)
                Warn(offset, "a further element name; it replaces \"" + file_.Name + "\"");
            hasName_ = true;
            nameOffset_ = offset;
            file_.Name = Text(offset, body.first(kLimiNameBody), "element name");
            break;
        case 'D':
            Usage(offset, body);
            break;
        case 'B':
            Range(offset, body);
            break;
        default: // records of other versions carry nothing the import uses
            break;
        }
    }

    void Usage(std::size_t offset, TByteSpan body) {
        // L = 63 is the record without additions; a longer one must hold them whole.
        const bool additions = body.size() > kLimiUsageBody;
        CheckSize(offset, 'D', body, kLimiUsageBody + (additions ? kLimiAdditionsBody : 0));
        TLimiUsage u;
        u.Usage = body[0];
        if (u.Usage < 1 || u.Usage > kLimiUsageAreas)
            Fail(offset, "the record \"D\" is for usage area " + std::to_string(u.Usage) +
                             ", not one of 1.." + std::to_string(kLimiUsageAreas));
        const std::string area = " of usage area " + std::to_string(u.Usage);
        for (std::size_t k = 0; k < u.Limits.size(); ++k)
            u.Limits[k] =
                Number(offset, body, kLimitsOffset + 4 * k, "limit set " + std::to_string(k + 1) + area);
        if (additions) {
            u.Additions.emplace();
            for (std::size_t h = 0; h < u.Additions->size(); ++h)
                (*u.Additions)[h] =
                    Number(offset, body, kLimiUsageBody + 4 * h,
                           "the addition for hour " + std::to_string(h) + "-" + std::to_string(h + 1) + area);
        }
        file_.Order.push_back({TLimiRecordKind::Usage, file_.Usages.size()});
        file_.Usages.push_back(std::move(u));
    }

    void Range(std::size_t offset, TByteSpan body) {
        CheckSize(offset, 'B', body, kLimiRangeBody);
        constexpr std::size_t field = kLimiRangeTextCapacity + 1;
        TLimiRange r;
        r.Name = Text(offset, body.first(field), "range name");
        r.Short = Text(offset, body.subspan(field, field), "range short");
        r.Begin = static_cast<int>(body[kRangeHoursOffset]);
        r.End = static_cast<int>(body[kRangeHoursOffset + 1]);
        r.LoudestN = static_cast<int>(body[kRangeHoursOffset + 2]);
        const std::string range = "the time range \"" + r.Name + "\"";
        if (r.Begin > kLimiHours || r.End > kLimiHours)
            Fail(offset, range + " runs from hour " + std::to_string(r.Begin) + " to " +
                             std::to_string(r.End) + "; hours are 0..24");
        if (r.LoudestN > kLimiHours)
            Fail(offset, range + " takes the " + std::to_string(r.LoudestN) + " loudest hours; at most 24");
        file_.Order.push_back({TLimiRecordKind::Range, file_.Ranges.size()});
        file_.Ranges.push_back(std::move(r));
    }

    TByteSpan bytes_;
    const std::string& source_;
    int codePage_;
    TLimiFile file_;
    bool hasName_ = false;
    std::size_t nameOffset_ = 0;
};

} // namespace

std::array<float, kLimiUsageAreas + 1> TLimiFile::LimitSet(int set) const {
    if (set < 1 || set > kLimiLimitSets)
        throw EKorvelError("An assessment file holds limit sets 1.." + std::to_string(kLimiLimitSets) +
                           ", not " + std::to_string(set));
    std::array<float, kLimiUsageAreas + 1> limits{};
    for (const TLimiUsage& u : Usages)
        limits[static_cast<std::size_t>(u.Usage)] = u.Limits[static_cast<std::size_t>(set - 1)];
    return limits;
}

TLimiFile DecodeLimiFile(TByteSpan bytes, const std::string& sourceName, int codePage) {
    return TParser(bytes, sourceName, codePage).Run();
}

TLimiFile ReadLimiFile(const std::string& fileName, int codePage) {
    std::ifstream in(fileName, std::ios::binary);
    if (!in)
        throw EKorvelError("The assessment file \"" + fileName + "\" cannot be opened.");
    TBlob bytes;
    char buffer[1 << 14];
    while (in.read(buffer, sizeof buffer) || in.gcount() > 0) {
        bytes.insert(bytes.end(), buffer, buffer + in.gcount());
        if (bytes.size() > kLimiMaxFileSize)
            throw EKorvelError("The file \"" + fileName + "\" is no assessment file: it holds more than " +
                               std::to_string(kLimiMaxFileSize >> 20) + " MB.");
    }
    if (in.bad())
        throw EKorvelError("The assessment file \"" + fileName + "\" cannot be read.");
    return DecodeLimiFile(bytes, fileName, codePage);
}

} // namespace korvel::formats
