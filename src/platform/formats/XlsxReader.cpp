#include "platform/Errors.h"
#include "platform/formats/Workbook.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <vector>
#include <zip.h>

namespace korvel::formats {

namespace {

// The archive, opened on bytes the caller keeps alive.
class TZip {
public:
    // On bytes the caller keeps alive, or on a file that is read as needed rather than held.
    explicit TZip(const std::string& bytes) {
        Open([&](zip_error_t* error) {
            return zip_source_buffer_create(bytes.data(), bytes.size(), 0, error);
        });
    }
    struct TFromFile {};
    TZip(const std::string& fileName, TFromFile) {
        Open([&](zip_error_t* error) { return zip_source_file_create(fileName.c_str(), 0, -1, error); });
    }
    ~TZip() { zip_discard(archive_); }
    TZip(const TZip&) = delete;
    TZip& operator=(const TZip&) = delete;

    // Hands the unpacked part to sink in chunks; false when the archive has no such part. Parts above the
    // limit are refused before and while unpacking, whatever size the archive claims.
    template <class TSink> bool Unpack(const std::string& name, std::size_t maxBytes, TSink&& sink) const {
        const zip_int64_t index = zip_name_locate(archive_, name.c_str(), ZIP_FL_NOCASE);
        if (index < 0)
            return false;
        const auto tooLarge = [&] {
            return EKorvelError("The part \"" + name + "\" is larger than " + std::to_string(maxBytes) +
                                " bytes when unpacked.");
        };
        zip_stat_t stat;
        zip_stat_init(&stat);
        if (zip_stat_index(archive_, static_cast<zip_uint64_t>(index), 0, &stat) != 0)
            throw EKorvelError("The part \"" + name + "\" cannot be read.");
        if ((stat.valid & ZIP_STAT_SIZE) != 0 && stat.size > maxBytes)
            throw tooLarge();
        zip_file_t* file = zip_fopen_index(archive_, static_cast<zip_uint64_t>(index), 0);
        if (file == nullptr)
            throw EKorvelError("The part \"" + name + "\" cannot be unpacked (" + zip_strerror(archive_) +
                               ").");
        std::unique_ptr<zip_file_t, decltype(&zip_fclose)> guard(file, &zip_fclose);
        std::vector<char> buffer(256 * 1024);
        std::size_t total = 0;
        for (;;) {
            const zip_int64_t n = zip_fread(file, buffer.data(), buffer.size());
            if (n < 0)
                throw EKorvelError("The part \"" + name + "\" is damaged (" + zip_file_strerror(file) + ").");
            if (n == 0)
                break;
            total += static_cast<std::size_t>(n);
            if (total > maxBytes)
                throw tooLarge();
            sink(std::string_view(buffer.data(), static_cast<std::size_t>(n)));
        }
        return true;
    }

    // The whole unpacked part, or nothing when the archive has no such part.
    std::optional<std::string> Read(const std::string& name, std::size_t maxBytes) const {
        std::string data;
        if (!Unpack(name, maxBytes, [&](std::string_view chunk) { data.append(chunk); }))
            return std::nullopt;
        return data;
    }

private:
    template <class TMake> void Open(TMake&& make) {
        zip_error_t error;
        zip_error_init(&error);
        zip_source_t* source = make(&error);
        if (source != nullptr) {
            archive_ = zip_open_from_source(source, ZIP_RDONLY, &error);
            if (archive_ == nullptr)
                zip_source_free(source);
        }
        zip_error_fini(&error);
        if (archive_ == nullptr)
            throw EKorvelError("The file is no .xlsx workbook (it is not a zip archive).");
    }

    zip_t* archive_ = nullptr;
};

std::string_view LocalName(std::string_view s) {
    const auto colon = s.find(':');
    return colon == std::string_view::npos ? s : s.substr(colon + 1);
}

bool Is(const pugi::xml_node& node, std::string_view localName) {
    return node.type() == pugi::node_element && LocalName(node.name()) == localName;
}

pugi::xml_node Child(const pugi::xml_node& node, std::string_view localName) {
    for (pugi::xml_node child : node.children())
        if (Is(child, localName))
            return child;
    return {};
}

// The relationship id of an element (r:id in whatever prefix).
std::string RelationshipId(const pugi::xml_node& node) {
    for (pugi::xml_attribute attribute : node.attributes()) {
        const std::string_view name(attribute.name());
        if (name != "id" && LocalName(attribute.name()) == "id")
            return attribute.value();
    }
    return {};
}

pugi::xml_document Parse(const std::string& name, const std::string& data) {
    pugi::xml_document document;
    const pugi::xml_parse_result result =
        document.load_buffer(data.data(), data.size(), pugi::parse_default | pugi::parse_ws_pcdata_single);
    if (!result)
        throw EKorvelError("The part \"" + name + "\" is no well-formed XML (" + result.description() + ").");
    return document;
}

EKorvelError Malformed(const std::string& name, const std::string& description) {
    return EKorvelError("The part \"" + name + "\" is no well-formed XML (" + description + ").");
}

// Cuts a streamed part into its items (the rows of a sheet, the texts of the shared strings), so that only
// one batch of complete items is parsed at a time and memory stays near what the items yield, whatever the
// part's size. Items are the elements of one local name directly inside the container path; everything
// around them is kept without blank text and parsed as a whole at the end, so damaged XML anywhere is
// still refused.
class TItemSplitter {
public:
    using TBatch = std::function<void(const pugi::xml_document&)>;

    TItemSplitter(std::string part, std::vector<std::string_view> path, std::string_view item,
                  std::size_t maxItemBytes, TBatch onBatch)
        : part_(std::move(part)), path_(std::move(path)), item_(item), maxItemBytes_(maxItemBytes),
          onBatch_(std::move(onBatch)) {}

    void Feed(std::string_view chunk) {
        buffer_.append(chunk);
        Scan(false);
    }

    void Finish() {
        Scan(true);
        if (inItem_ || pos_ < buffer_.size() || !stack_.empty())
            throw Malformed(part_, "Unexpected end of data");
        Flush();
        pugi::xml_document document;
        const pugi::xml_parse_result result = document.load_buffer_inplace(outer_.data(), outer_.size());
        if (!result)
            throw Malformed(part_, result.description());
    }

private:
    static constexpr std::size_t kBatchBytes = 1u << 20;

    void Scan(bool final) {
        while (pos_ < buffer_.size()) {
            if (buffer_[pos_] != '<') {
                const std::size_t end = std::min(buffer_.find('<', pos_), buffer_.size());
                if (!inItem_ && !Blank(pos_, end))
                    AppendOuter(pos_, end);
                pos_ = end;
                scanned_ = pos_;
                continue;
            }
            const std::size_t end = TagEnd(final);
            if (end == std::string::npos)
                break;
            Tag(pos_, end);
            pos_ = end;
            scanned_ = pos_;
            quote_ = 0;
        }
        CheckItemSize(buffer_.size() - (inItem_ ? itemStart_ : pos_));
        // Drop what is done once it is most of the buffer, so that moving the rest stays cheap.
        const std::size_t keep = inItem_ ? itemStart_ : pos_;
        if (keep > buffer_.size() / 2) {
            buffer_.erase(0, keep);
            pos_ -= keep;
            scanned_ -= std::min(scanned_, keep);
            itemStart_ -= std::min(itemStart_, keep);
        }
    }

    void CheckItemSize(std::size_t bytes) const {
        if (bytes > maxItemBytes_)
            throw EKorvelError("An element of the part \"" + part_ + "\" is larger than " +
                               std::to_string(maxItemBytes_) + " bytes.");
    }

    bool Blank(std::size_t begin, std::size_t end) const {
        for (std::size_t i = begin; i < end; ++i)
            if (buffer_[i] != ' ' && buffer_[i] != '\t' && buffer_[i] != '\r' && buffer_[i] != '\n')
                return false;
        return true;
    }

    void AppendOuter(std::size_t begin, std::size_t end) {
        outer_.append(buffer_, begin, end - begin);
        if (outer_.size() > maxItemBytes_)
            throw EKorvelError("The part \"" + part_ + "\" holds more than " + std::to_string(maxItemBytes_) +
                               " bytes besides its " + std::string(item_) + " elements.");
    }

    // The end of the markup starting at pos_ (just after its '>'), or npos while it is not all there.
    // scanned_ and quote_ carry where the search got to, so that a long tag arriving in many chunks is not
    // searched again from its start.
    std::size_t TagEnd(bool final) {
        const std::string_view rest(buffer_.data() + pos_, buffer_.size() - pos_);
        const auto until = [&](std::string_view terminator, std::size_t from) {
            const std::size_t start =
                std::max(pos_ + from, scanned_ >= terminator.size() ? scanned_ - terminator.size() + 1 : 0);
            const std::size_t at = buffer_.find(terminator, start);
            if (at == std::string::npos) {
                scanned_ = buffer_.size();
                return std::string::npos;
            }
            return at + terminator.size();
        };
        if (rest.size() < 9 && !final && rest.size() > 1 && rest[1] == '!')
            return std::string::npos; // cannot tell a comment or CDATA yet
        if (rest.starts_with("<!--"))
            return until("-->", 4);
        if (rest.starts_with("<![CDATA["))
            return until("]]>", 9);
        if (rest.starts_with("<?"))
            return until("?>", 2);
        // A tag or a declaration: the first '>' outside quotes.
        for (std::size_t i = std::max(scanned_, pos_ + 1); i < buffer_.size(); ++i) {
            const char c = buffer_[i];
            if (quote_ != 0) {
                if (c == quote_)
                    quote_ = 0;
            } else if (c == '"' || c == '\'') {
                quote_ = c;
            } else if (c == '>') {
                return i + 1;
            }
        }
        scanned_ = buffer_.size();
        return std::string::npos;
    }

    void Tag(std::size_t begin, std::size_t end) {
        const char kind = buffer_[begin + 1];
        if (kind == '!' || kind == '?') {
            // Comments, declarations and processing instructions say nothing about cells; CDATA is text.
            if (!inItem_ && buffer_.compare(begin, 9, "<![CDATA[") == 0)
                AppendOuter(begin, end);
            return;
        }
        const bool closing = kind == '/';
        const bool selfClosed = !closing && buffer_[end - 2] == '/';
        std::size_t nameEnd = begin + (closing ? 2 : 1);
        while (nameEnd < end && buffer_[nameEnd] != '>' && buffer_[nameEnd] != '/' &&
               std::string_view(" \t\r\n").find(buffer_[nameEnd]) == std::string_view::npos)
            ++nameEnd;
        const std::string_view name(buffer_.data() + begin + (closing ? 2 : 1),
                                    nameEnd - begin - (closing ? 2 : 1));
        if (inItem_) {
            if (closing && --depth_ == 0) {
                CheckItemSize(end - itemStart_);
                inItem_ = false;
                batch_.append(buffer_, itemStart_, end - itemStart_);
                if (batch_.size() >= kBatchBytes)
                    Flush();
            } else if (!closing && !selfClosed) {
                ++depth_;
            }
            return;
        }
        if (closing) {
            if (stack_.empty() || stack_.back() != name)
                throw Malformed(part_, "Start-end tags mismatch");
            stack_.pop_back();
            AppendOuter(begin, end);
            return;
        }
        if (InContainer() && LocalName(name) == item_) {
            if (selfClosed) {
                batch_.append(buffer_, begin, end - begin);
            } else {
                inItem_ = true;
                itemStart_ = begin;
                depth_ = 1;
            }
            return;
        }
        AppendOuter(begin, end);
        if (!selfClosed)
            stack_.emplace_back(name);
    }

    bool InContainer() const {
        if (stack_.size() != path_.size())
            return false;
        for (std::size_t i = 0; i < path_.size(); ++i)
            if (LocalName(stack_[i]) != path_[i])
                return false;
        return true;
    }

    void Flush() {
        if (batch_.empty())
            return;
        pugi::xml_document document;
        const pugi::xml_parse_result result = document.load_buffer_inplace(
            batch_.data(), batch_.size(),
            pugi::parse_default | pugi::parse_ws_pcdata_single | pugi::parse_fragment);
        if (!result)
            throw Malformed(part_, result.description());
        onBatch_(document);
        batch_.clear();
    }

    std::string part_;
    std::vector<std::string_view> path_;
    std::string_view item_;
    std::size_t maxItemBytes_;
    TBatch onBatch_;
    std::string buffer_;  // unpacked text not yet done with
    std::size_t pos_ = 0; // where scanning goes on in buffer_
    std::size_t scanned_ = 0;
    char quote_ = 0;
    bool inItem_ = false;
    std::size_t itemStart_ = 0;
    int depth_ = 0;
    std::vector<std::string> stack_; // open elements around the items
    std::string outer_;
    std::string batch_; // complete items waiting to be parsed
};

std::string Folder(const std::string& part) {
    const auto slash = part.rfind('/');
    return slash == std::string::npos ? std::string() : part.substr(0, slash + 1);
}

// A relationship target as a part name: absolute ("/xl/...") or relative to the source part's folder.
std::string ResolveTarget(const std::string& sourceFolder, const std::string& target) {
    std::string path = !target.empty() && target[0] == '/' ? target.substr(1) : sourceFolder + target;
    std::vector<std::string> segments;
    std::size_t start = 0;
    while (start <= path.size()) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        const std::string segment = path.substr(start, end - start);
        if (segment == "..") {
            if (!segments.empty())
                segments.pop_back();
        } else if (!segment.empty() && segment != ".") {
            segments.push_back(segment);
        }
        start = end + 1;
    }
    std::string joined;
    for (const auto& segment : segments)
        joined += (joined.empty() ? "" : "/") + segment;
    return joined;
}

struct TRelationship {
    std::string Type;
    std::string Target; // resolved part name
};

std::map<std::string, TRelationship> ReadRelationships(const TZip& zip, const std::string& part,
                                                       const TWorkbookLimits& limits) {
    std::map<std::string, TRelationship> relationships;
    const std::string relsName = Folder(part) + "_rels/" + part.substr(Folder(part).size()) + ".rels";
    const auto data = zip.Read(relsName, limits.MaxPartBytes);
    if (!data)
        return relationships;
    const pugi::xml_document document = Parse(relsName, *data);
    for (pugi::xml_node node : Child(document, "Relationships").children()) {
        if (!Is(node, "Relationship") || std::string_view(node.attribute("TargetMode").value()) == "External")
            continue;
        relationships[node.attribute("Id").value()] = {
            node.attribute("Type").value(), ResolveTarget(Folder(part), node.attribute("Target").value())};
    }
    return relationships;
}

std::string TargetOfType(const std::map<std::string, TRelationship>& relationships, std::string_view typeEnd,
                         std::string fallback) {
    for (const auto& [id, relationship] : relationships)
        if (relationship.Type.ends_with(typeEnd))
            return relationship.Target;
    return fallback;
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

void AppendUtf8(std::string& out, unsigned cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

// Texts keep characters XML cannot carry as "_xHHHH_" (a line feed "_x000A_", a literal "_x" as "_x005F_x").
std::string DecodeEscapes(std::string_view text) {
    if (text.find("_x") == std::string_view::npos)
        return std::string(text);
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '_' && i + 6 < text.size() && text[i + 1] == 'x' && text[i + 6] == '_') {
            unsigned cp = 0;
            bool hex = true;
            for (std::size_t k = 2; k < 6 && hex; ++k) {
                const int d = HexDigit(text[i + k]);
                hex = d >= 0;
                cp = cp * 16 + static_cast<unsigned>(d);
            }
            if (hex && (cp < 0xD800 || cp > 0xDFFF)) {
                AppendUtf8(out, cp);
                i += 6;
                continue;
            }
        }
        out += text[i];
    }
    return out;
}

// The text of a shared or inline string: plain <t>, or the runs <r><t> of rich text; phonetic hints are
// not part of it.
std::string StringItemText(const pugi::xml_node& item) {
    std::string text;
    for (pugi::xml_node child : item.children()) {
        if (Is(child, "t"))
            text += child.text().get();
        else if (Is(child, "r"))
            text += Child(child, "t").text().get();
    }
    return DecodeEscapes(text);
}

// Whether a number format shows a date, a time of day only, or neither.
enum class TDateKind { None, Date, TimeOnly };

TDateKind BuiltinDateKind(unsigned id) {
    if ((id >= 14 && id <= 17) || id == 22)
        return TDateKind::Date;
    if ((id >= 18 && id <= 21) || (id >= 45 && id <= 47))
        return TDateKind::TimeOnly;
    return TDateKind::None;
}

TDateKind CustomDateKind(std::string_view code) {
    bool day = false;
    bool month = false;
    bool year = false;
    bool time = false;
    for (std::size_t i = 0; i < code.size(); ++i) {
        const char c = code[i];
        if (c == '"') {
            const auto close = code.find('"', i + 1);
            i = close == std::string_view::npos ? code.size() : close;
        } else if (c == '[') {
            const auto close = code.find(']', i + 1);
            i = close == std::string_view::npos ? code.size() : close;
        } else if (c == '\\' || c == '_' || c == '*') {
            ++i; // an escaped, padding or fill character
        } else if (c == ';') {
            break; // the first section decides
        } else {
            switch (c) {
            case 'd':
            case 'D':
                day = true;
                break;
            case 'm':
            case 'M':
                month = true;
                break;
            case 'y':
            case 'Y':
                year = true;
                break;
            case 'h':
            case 'H':
            case 's':
            case 'S':
                time = true;
                break;
            default:
                break;
            }
        }
    }
    if (day || year || (month && !time))
        return TDateKind::Date;
    return time ? TDateKind::TimeOnly : TDateKind::None;
}

// The date kind of each cell style index.
std::vector<TDateKind> ReadStyles(const TZip& zip, const std::string& part, const TWorkbookLimits& limits) {
    std::vector<TDateKind> styles;
    const auto data = zip.Read(part, limits.MaxPartBytes);
    if (!data)
        return styles;
    const pugi::xml_document document = Parse(part, *data);
    const pugi::xml_node root = Child(document, "styleSheet");
    std::map<unsigned, TDateKind> custom;
    for (pugi::xml_node format : Child(root, "numFmts").children())
        if (Is(format, "numFmt"))
            custom[format.attribute("numFmtId").as_uint()] =
                CustomDateKind(format.attribute("formatCode").value());
    for (pugi::xml_node xf : Child(root, "cellXfs").children()) {
        if (!Is(xf, "xf"))
            continue;
        const unsigned id = xf.attribute("numFmtId").as_uint();
        const auto it = custom.find(id);
        styles.push_back(it != custom.end() ? it->second : BuiltinDateKind(id));
    }
    return styles;
}

// Shared texts in one block, since a sheet may have millions of them.
class TSharedStrings {
public:
    std::size_t Size() const { return ends_.size(); }
    std::string_view At(std::size_t index) const {
        const std::size_t begin = index == 0 ? 0 : ends_[index - 1];
        return std::string_view(text_).substr(begin, ends_[index] - begin);
    }
    void Add(std::string_view text) {
        text_ += text;
        ends_.push_back(text_.size());
    }

private:
    std::string text_;
    std::vector<std::size_t> ends_;
};

// Streamed like a sheet: the texts are referenced by index from anywhere, so they stay in memory, and
// each counts as a cell against the limit.
TSharedStrings ReadSharedStrings(const TZip& zip, const std::string& part, const TWorkbookLimits& limits) {
    TSharedStrings strings;
    TItemSplitter splitter(part, {"sst"}, "si", limits.MaxPartBytes, [&](const pugi::xml_document& batch) {
        for (pugi::xml_node item : batch.children()) {
            if (strings.Size() >= limits.MaxCells)
                throw EKorvelError("The workbook has more than " + std::to_string(limits.MaxCells) +
                                   " shared texts.");
            strings.Add(StringItemText(item));
        }
    });
    if (zip.Unpack(part, limits.MaxSharedStringsBytes, [&](std::string_view chunk) { splitter.Feed(chunk); }))
        splitter.Finish();
    return strings;
}

// "B3" as 0-based row and column.
// Columns beyond the limits still parse, so that the limit check names them.
bool ParseReference(std::string_view ref, std::size_t& row, std::size_t& col) {
    TWorkbookLimits wide;
    wide.MaxColumns = static_cast<std::size_t>(-1);
    std::size_t letters = 0;
    while (letters < ref.size() &&
           ((ref[letters] >= 'A' && ref[letters] <= 'Z') || (ref[letters] >= 'a' && ref[letters] <= 'z')))
        ++letters;
    const auto column = ColumnFromLetters(ref.substr(0, letters), wide);
    std::size_t number = 0;
    const auto digits = ref.substr(letters);
    const auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (!column || ec != std::errc() || end != digits.data() + digits.size() || number == 0)
        return false;
    row = number - 1;
    col = *column;
    return true;
}

struct TCellContext {
    const TSharedStrings& Strings;
    const std::vector<TDateKind>& Styles;
    bool Date1904;
};

std::string NumberCellText(const std::string& raw, TDateKind kind, bool date1904) {
    double value = 0;
    const auto [end, ec] = std::from_chars(raw.data(), raw.data() + raw.size(), value);
    if (ec != std::errc() || end != raw.data() + raw.size())
        return raw;
    if (kind != TDateKind::None)
        if (auto date = detail::SerialDateText(value, date1904, kind == TDateKind::TimeOnly))
            return *date;
    return detail::NumberText(value);
}

std::string CellText(const pugi::xml_node& cell, const TCellContext& context) {
    const std::string_view type = cell.attribute("t").value();
    const std::string raw = Child(cell, "v").text().get();
    if (type == "s") {
        std::size_t index = 0;
        const auto [end, ec] = std::from_chars(raw.data(), raw.data() + raw.size(), index);
        if (ec != std::errc() || end != raw.data() + raw.size() || index >= context.Strings.Size())
            throw EKorvelError("The cell " + std::string(cell.attribute("r").value()) +
                               " refers to a shared text that does not exist.");
        return std::string(context.Strings.At(index));
    }
    if (type == "inlineStr")
        return StringItemText(Child(cell, "is"));
    if (type == "str" || type == "e")
        return DecodeEscapes(raw);
    if (type == "b")
        return raw == "1" || raw == "true" ? "TRUE" : raw.empty() ? "" : "FALSE";
    if (type == "d") {
        // An ISO date cell: "2024-03-15T10:30:00" becomes "2024-03-15 10:30:00".
        std::string text = raw;
        if (text.size() >= 19 && text[10] == 'T') {
            text[10] = ' ';
            text.resize(19);
            if (text.ends_with(" 00:00:00"))
                text.resize(10);
        }
        return text;
    }
    const unsigned style = cell.attribute("s").as_uint();
    const TDateKind kind = style < context.Styles.size() ? context.Styles[style] : TDateKind::None;
    return NumberCellText(raw, kind, context.Date1904);
}

// The rows of a sheet, batch by batch; rows without a number follow the one before, across batches.
class TSheetRows {
public:
    TSheetRows(const TCellContext& context, detail::TSheetBuilder& builder)
        : context_(context), builder_(builder) {}

    void Read(const pugi::xml_document& batch) {
        for (pugi::xml_node rowNode : batch.children()) {
            std::size_t row = nextRow_;
            if (const pugi::xml_attribute r = rowNode.attribute("r")) {
                const unsigned long long number = r.as_ullong();
                if (number == 0)
                    throw EKorvelError("The row number \"" + std::string(r.value()) + "\" is invalid.");
                row = static_cast<std::size_t>(number - 1);
            }
            std::size_t nextCol = 0;
            for (pugi::xml_node cell : rowNode.children()) {
                if (!Is(cell, "c"))
                    continue;
                std::size_t cellRow = row;
                std::size_t col = nextCol;
                if (const pugi::xml_attribute r = cell.attribute("r"))
                    if (!ParseReference(r.value(), cellRow, col))
                        throw EKorvelError("The cell reference \"" + std::string(r.value()) +
                                           "\" is invalid.");
                builder_.Set(cellRow, col, CellText(cell, context_));
                nextCol = col + 1;
            }
            builder_.FinishRow(row);
            nextRow_ = row + 1;
        }
    }

private:
    const TCellContext& context_;
    detail::TSheetBuilder& builder_;
    std::size_t nextRow_ = 0;
};

TWorkbook ReadArchive(const TZip& zip, const TWorkbookLimits& limits) {
    const auto packageRelationships = ReadRelationships(zip, "", limits);
    const std::string workbookPart = TargetOfType(packageRelationships, "/officeDocument", "xl/workbook.xml");
    const auto workbookData = zip.Read(workbookPart, limits.MaxPartBytes);
    if (!workbookData)
        throw EKorvelError("The file is no .xlsx workbook (it has no part \"" + workbookPart + "\").");
    const pugi::xml_document workbookXml = Parse(workbookPart, *workbookData);
    const pugi::xml_node root = Child(workbookXml, "workbook");
    const std::string_view date1904 = Child(root, "workbookPr").attribute("date1904").value();

    const auto relationships = ReadRelationships(zip, workbookPart, limits);
    const std::string folder = Folder(workbookPart);
    const auto strings = ReadSharedStrings(
        zip, TargetOfType(relationships, "/sharedStrings", folder + "sharedStrings.xml"), limits);
    const auto styles =
        ReadStyles(zip, TargetOfType(relationships, "/styles", folder + "styles.xml"), limits);
    const TCellContext context{strings, styles, date1904 == "1" || date1904 == "true"};

    TWorkbook workbook;
    std::size_t cellsUsed = 0;
    for (pugi::xml_node sheetNode : Child(root, "sheets").children()) {
        if (!Is(sheetNode, "sheet"))
            continue;
        TSheet& sheet = workbook.Sheets.emplace_back();
        sheet.Name = sheetNode.attribute("name").value();
        const auto relationship = relationships.find(RelationshipId(sheetNode));
        if (relationship == relationships.end())
            throw EKorvelError("The sheet \"" + sheet.Name + "\" has no part in the workbook.");
        const std::string& part = relationship->second.Target;
        detail::TSheetBuilder builder(sheet, limits, cellsUsed);
        TSheetRows rows(context, builder);
        TItemSplitter splitter(part, {"worksheet", "sheetData"}, "row", limits.MaxPartBytes,
                               [&](const pugi::xml_document& batch) { rows.Read(batch); });
        if (!zip.Unpack(part, limits.MaxSheetPartBytes,
                        [&](std::string_view chunk) { splitter.Feed(chunk); }))
            throw EKorvelError("The part \"" + part + "\" of the sheet \"" + sheet.Name + "\" is missing.");
        splitter.Finish();
    }
    if (workbook.Sheets.empty())
        throw EKorvelError("The workbook has no worksheet.");
    return workbook;
}

} // namespace

TWorkbook ReadXlsxBytes(const std::string& bytes, const TWorkbookLimits& limits) {
    return ReadArchive(TZip(bytes), limits);
}

TWorkbook ReadXlsx(const std::string& fileName, const TWorkbookLimits& limits) {
    try {
        if (!std::ifstream(fileName, std::ios::binary))
            throw EKorvelError("The file cannot be opened.");
        return ReadArchive(TZip(fileName, TZip::TFromFile{}), limits);
    } catch (const EKorvelError& e) {
        throw EKorvelError("Cannot read the workbook \"" + fileName + "\": " + e.what());
    }
}

} // namespace korvel::formats
