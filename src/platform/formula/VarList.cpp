#include "platform/formula/VarList.h"

#include "platform/Errors.h"

#include <limits>
#include <unicode/ustring.h>

namespace korvel::formula {

namespace {

constexpr std::uint16_t kBlobVersion = 1;
// Smallest variable record: three empty strings, value, flag, type, no bands.
constexpr std::size_t kMinVarBytes = 3 * 2 + 8 + 1 + 1 + 2;

char LowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool EqualsNoCaseAscii(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (LowerAscii(a[i]) != LowerAscii(b[i])) {
            return false;
        }
    }
    return true;
}

bool IsValidUtf8(std::string_view text) {
    if (text.empty()) {
        return true;
    }
    UErrorCode err = U_ZERO_ERROR;
    int32_t length = 0;
    // Preflighting reports overflow for valid text and U_INVALID_CHAR_FOUND for broken sequences.
    u_strFromUTF8(nullptr, 0, &length, text.data(), static_cast<int32_t>(text.size()), &err);
    return err == U_BUFFER_OVERFLOW_ERROR || U_SUCCESS(err);
}

bool IsKnownFlag(std::uint8_t v) {
    return v == 0 || v == 1 || v == 3 || v == 5;
}

bool IsKnownResType(std::uint8_t v) {
    return !ResTypeStr(static_cast<TResType>(v)).empty() || v == 0;
}

void WriteText(TBlobWriter& w, const std::string& text, std::string_view what) {
    if (text.size() > std::numeric_limits<std::uint16_t>::max()) {
        throw EKorvelError("The " + std::string(what) + " of a variable is too long to store (" +
                           std::to_string(text.size()) + " bytes, at most 65535)");
    }
    w.U16(static_cast<std::uint16_t>(text.size()));
    w.Bytes(AsBytes(text));
}

// Bounds-checked reading; every failure names the variable list and the offset.
class TReader {
public:
    explicit TReader(TByteSpan data) : data_(data) {}

    std::size_t Remaining() const { return data_.size() - pos_; }
    std::size_t Offset() const { return pos_; }

    std::uint8_t U8(std::string_view what) {
        Need(1, what);
        return data_[pos_++];
    }
    std::uint16_t U16(std::string_view what) {
        Need(2, what);
        auto v = LoadU16LE(data_.data() + pos_);
        pos_ += 2;
        return v;
    }
    std::uint32_t U32(std::string_view what) {
        Need(4, what);
        auto v = LoadU32LE(data_.data() + pos_);
        pos_ += 4;
        return v;
    }
    double F64(std::string_view what) {
        Need(8, what);
        auto v = LoadF64LE(data_.data() + pos_);
        pos_ += 8;
        return v;
    }
    std::string Text(std::string_view what) {
        std::size_t len = U16(what);
        Need(len, what);
        std::string s(reinterpret_cast<const char*>(data_.data() + pos_), len);
        if (!IsValidUtf8(s)) {
            Fail("the " + std::string(what) + " at offset " + std::to_string(pos_) + " is not valid UTF-8");
        }
        pos_ += len;
        return s;
    }

    [[noreturn]] static void Fail(const std::string& why) {
        throw EKorvelError("The stored variable list is damaged: " + why);
    }

private:
    void Need(std::size_t n, std::string_view what) const {
        if (Remaining() < n) {
            Fail("the " + std::string(what) + " at offset " + std::to_string(pos_) + " needs " +
                 std::to_string(n) + " bytes, " + std::to_string(Remaining()) + " remain");
        }
    }

    TByteSpan data_;
    std::size_t pos_ = 0;
};

TVariable MakeVar(std::string name, std::string unit, std::string description, TVarFlag flag,
                  TResType type = TResType::Real, double value = 0) {
    TVariable v;
    v.Name = std::move(name);
    v.Unit = std::move(unit);
    v.Description = std::move(description);
    v.Value = value;
    v.Flag = flag;
    v.ResType = type;
    return v;
}

} // namespace

std::string_view ResTypeStr(TResType type) {
    switch (type) {
    case TResType::Integer:
        return "Integer";
    case TResType::Real:
        return "Real";
    case TResType::Boolean:
        return "Boolean";
    case TResType::Level:
        return "Level [dB]";
    case TResType::Frequency:
        return "Frequency [Hz]";
    case TResType::Percentage:
        return "Percentage [%]";
    case TResType::None:
        break;
    }
    return {};
}

int TVarList::IndexOf(std::string_view name) const {
    for (std::size_t i = 0; i < Items.size(); ++i) {
        if (EqualsNoCaseAscii(Items[i].Name, name)) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

TVariable* TVarList::Find(std::string_view name) {
    int i = IndexOf(name);
    return i < 0 ? nullptr : &Items[static_cast<std::size_t>(i)];
}

const TVariable* TVarList::Find(std::string_view name) const {
    int i = IndexOf(name);
    return i < 0 ? nullptr : &Items[static_cast<std::size_t>(i)];
}

void TVarList::Delete(int index) {
    if (index < 0 || index >= Count()) {
        throw EKorvelError("Variable index " + std::to_string(index) + " is out of range (the list has " +
                           std::to_string(Count()) + " variables)");
    }
    Items.erase(Items.begin() + index);
}

TBlob TVarList::ToBlob() const {
    if (Items.size() > std::numeric_limits<std::uint32_t>::max()) {
        throw EKorvelError("Too many variables to store");
    }
    TBlobWriter w;
    w.U16(kBlobVersion).U32(static_cast<std::uint32_t>(Items.size()));
    for (const auto& v : Items) {
        WriteText(w, v.Name, "name");
        WriteText(w, v.Unit, "unit");
        WriteText(w, v.Description, "description");
        w.F64(v.Value);
        w.U8(static_cast<std::uint8_t>(v.Flag));
        w.U8(static_cast<std::uint8_t>(v.ResType));
        if (v.BandValues.size() > std::numeric_limits<std::uint16_t>::max()) {
            throw EKorvelError("Variable \"" + v.Name + "\" has too many band values to store");
        }
        w.U16(static_cast<std::uint16_t>(v.BandValues.size()));
        for (double b : v.BandValues) {
            w.F64(b);
        }
    }
    return w.Blob();
}

void TVarList::FromBlob(TByteSpan blob) {
    if (blob.empty()) {
        Items.clear();
        return;
    }
    TReader r(blob);
    auto version = r.U16("version");
    if (version != kBlobVersion) {
        TReader::Fail("unknown version " + std::to_string(version) + " (this program reads version " +
                      std::to_string(kBlobVersion) + ")");
    }
    auto count = r.U32("variable count");
    // A count the remaining bytes cannot hold is garbage; checking it first avoids a huge allocation.
    if (count > r.Remaining() / kMinVarBytes) {
        TReader::Fail(std::to_string(count) + " variables announced but only " +
                      std::to_string(r.Remaining()) + " bytes follow");
    }
    std::vector<TVariable> items;
    items.reserve(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        TVariable v;
        v.Name = r.Text("name");
        v.Unit = r.Text("unit");
        v.Description = r.Text("description");
        v.Value = r.F64("value");
        auto flag = r.U8("flag");
        if (!IsKnownFlag(flag)) {
            TReader::Fail("variable \"" + v.Name + "\" has the unknown flag " + std::to_string(flag));
        }
        v.Flag = static_cast<TVarFlag>(flag);
        auto type = r.U8("result type");
        if (!IsKnownResType(type)) {
            TReader::Fail("variable \"" + v.Name + "\" has the unknown result type " + std::to_string(type));
        }
        v.ResType = static_cast<TResType>(type);
        std::size_t bands = r.U16("band count");
        v.BandValues.reserve(bands);
        for (std::size_t b = 0; b < bands; ++b) {
            v.BandValues.push_back(r.F64("band value"));
        }
        items.push_back(std::move(v));
    }
    if (r.Remaining() != 0) {
        TReader::Fail(std::to_string(r.Remaining()) + " unexpected bytes after the last variable at offset " +
                      std::to_string(r.Offset()));
    }
    Items = std::move(items);
}

TVarList GetPreDefinedVars(TVarFlag flag, bool isEntryType2, std::string_view context) {
    TVarList list;
    switch (flag) {
    case TVarFlag::Input:
        // Names differ in more than letter case: lists look names up ignoring it.
        list.Add(MakeVar("P", "kW", "Power", flag));
        list.Add(MakeVar("n", "1/min", "Rotational speed", flag, TResType::Integer));
        list.Add(MakeVar("v", "km/h", "Speed", flag));
        list.Add(MakeVar("Q", "m³/h", "Volume flow", flag));
        list.Add(MakeVar("m", "kg/h", "Mass flow", flag));
        list.Add(MakeVar("d", "m", "Diameter", flag));
        list.Add(MakeVar("z", "-", "Number of units (blades, machines, ...)", flag, TResType::Integer, 1));
        list.Add(MakeVar("S", "m²", "Area", flag));
        list.Add(MakeVar("l", "m", "Length", flag));
        break;
    case TVarFlag::Local:
        list.Add(MakeVar("K", "dB", "Correction (one value per band)", flag, TResType::Level));
        list.Add(MakeVar("dL", "dB", "Level difference (one value per band)", flag, TResType::Level));
        break;
    case TVarFlag::Output:
        list.Add(MakeVar(isEntryType2 ? "Lwf" : "Lw", context.empty() ? "dB" : std::string(context),
                         isEntryType2 ? "Sound power level of each band, weighted as the element"
                                      : "Sound power level, weighted as the element",
                         flag, TResType::Level));
        break;
    case TVarFlag::User:
        break;
    }
    return list;
}

} // namespace korvel::formula
