#include "platform/settings/IniDocument.h"

#include "platform/Errors.h"
#include "platform/text/CaseFold.h"

namespace korvel {

namespace {

constexpr std::string_view kBom = "\xEF\xBB\xBF";

std::string_view Trim(std::string_view s) {
    const auto isSpace = [](char c) {
        return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v';
    };
    while (!s.empty() && isSpace(s.front())) {
        s.remove_prefix(1);
    }
    while (!s.empty() && isSpace(s.back())) {
        s.remove_suffix(1);
    }
    return s;
}

bool IsQuoted(std::string_view s) {
    return s.size() >= 2 && s.front() == '"' && s.back() == '"';
}

// Surrounding blanks would be lost to trimming, so such values (and values that look quoted) are written
// in quotes; reading removes exactly one pair again.
std::string EncodeValue(std::string_view value) {
    if (!value.empty() && (Trim(value).size() != value.size() || IsQuoted(value))) {
        return "\"" + std::string(value) + "\"";
    }
    return std::string(value);
}

std::string DecodeValue(std::string_view raw) {
    raw = Trim(raw);
    if (IsQuoted(raw)) {
        raw = raw.substr(1, raw.size() - 2);
    }
    return std::string(raw);
}

bool HasLineBreak(std::string_view s) {
    return s.find_first_of("\r\n") != std::string_view::npos;
}

void CheckSectionName(std::string_view section) {
    if (section.empty() || Trim(section).size() != section.size() || HasLineBreak(section) ||
        section.find(']') != std::string_view::npos) {
        throw EKorvelError("\"" + std::string(section) +
                           "\" cannot be used as the name of a settings section");
    }
}

void CheckKeyName(std::string_view key) {
    if (key.empty() || Trim(key).size() != key.size() || HasLineBreak(key) ||
        key.find('=') != std::string_view::npos || key.front() == ';' || key.front() == '#' ||
        key.front() == '[') {
        throw EKorvelError("\"" + std::string(key) + "\" cannot be used as the name of a setting");
    }
}

} // namespace

TIniDocument TIniDocument::Parse(std::string_view text) {
    TIniDocument doc;
    if (text.substr(0, kBom.size()) == kBom) {
        doc.bom_ = true;
        text.remove_prefix(kBom.size());
    }
    const auto firstBreak = text.find('\n');
    if (firstBreak != std::string_view::npos && firstBreak > 0 && text[firstBreak - 1] == '\r') {
        doc.eol_ = "\r\n";
    }

    bool inSection = false;
    while (!text.empty()) {
        const auto end = text.find('\n');
        std::string_view raw = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (!raw.empty() && raw.back() == '\r') {
            raw.remove_suffix(1);
        }

        TLine line;
        line.Raw = std::string(raw);
        const std::string_view trimmed = Trim(raw);
        if (trimmed.empty() || trimmed.front() == ';' || trimmed.front() == '#') {
            line.Kind = TLineKind::Other;
        } else if (trimmed.front() == '[') {
            const auto close = trimmed.find(']');
            if (close == std::string_view::npos) {
                // The entries below a broken header belong to no section we can name; keep them unread
                // rather than attribute them to the section above.
                line.Kind = TLineKind::BadSection;
                inSection = false;
                ++doc.damaged_;
            } else {
                line.Kind = TLineKind::Section;
                line.Name = std::string(Trim(trimmed.substr(1, close - 1)));
                line.Folded = FoldCase(line.Name);
                inSection = true;
            }
        } else {
            const auto eq = trimmed.find('=');
            const std::string_view key = eq == std::string_view::npos ? "" : Trim(trimmed.substr(0, eq));
            if (key.empty() || !inSection) {
                line.Kind = TLineKind::Other;
                ++doc.damaged_;
            } else {
                line.Kind = TLineKind::Entry;
                line.Name = std::string(key);
                line.Folded = FoldCase(key);
                line.Value = DecodeValue(trimmed.substr(eq + 1));
            }
        }
        doc.lines_.push_back(std::move(line));
    }
    return doc;
}

std::string TIniDocument::ToText() const {
    std::string out;
    if (bom_) {
        out += kBom;
    }
    for (const TLine& line : lines_) {
        out += line.Raw;
        out += eol_;
    }
    return out;
}

template <class F> void TIniDocument::ForEachEntry(const std::string& foldedSection, F f) const {
    bool inside = false;
    for (std::size_t i = 0; i < lines_.size(); ++i) {
        const TLine& line = lines_[i];
        if (line.Kind == TLineKind::Section) {
            inside = line.Folded == foldedSection;
        } else if (line.Kind == TLineKind::BadSection) {
            inside = false;
        } else if (inside && line.Kind == TLineKind::Entry) {
            if (!f(i)) {
                return;
            }
        }
    }
}

std::optional<std::string> TIniDocument::Get(std::string_view section, std::string_view key) const {
    const std::string foldedKey = FoldCase(key);
    std::optional<std::string> result;
    ForEachEntry(FoldCase(section), [&](std::size_t i) {
        if (lines_[i].Folded == foldedKey) {
            result = lines_[i].Value;
            return false;
        }
        return true;
    });
    return result;
}

bool TIniDocument::HasSection(std::string_view section) const {
    const std::string folded = FoldCase(section);
    for (const TLine& line : lines_) {
        if (line.Kind == TLineKind::Section && line.Folded == folded) {
            return true;
        }
    }
    return false;
}

bool TIniDocument::HasKey(std::string_view section, std::string_view key) const {
    return Get(section, key).has_value();
}

std::vector<std::string> TIniDocument::Keys(std::string_view section) const {
    std::vector<std::string> keys;
    std::vector<std::string> seen;
    ForEachEntry(FoldCase(section), [&](std::size_t i) {
        const TLine& line = lines_[i];
        bool known = false;
        for (const std::string& s : seen) {
            known = known || s == line.Folded;
        }
        if (!known) {
            seen.push_back(line.Folded);
            keys.push_back(line.Name);
        }
        return true;
    });
    return keys;
}

std::vector<std::string> TIniDocument::Sections() const {
    std::vector<std::string> names;
    std::vector<std::string> seen;
    for (const TLine& line : lines_) {
        if (line.Kind != TLineKind::Section) {
            continue;
        }
        bool known = false;
        for (const std::string& s : seen) {
            known = known || s == line.Folded;
        }
        if (!known) {
            seen.push_back(line.Folded);
            names.push_back(line.Name);
        }
    }
    return names;
}

std::size_t TIniDocument::InsertPosition(const std::string& foldedSection) const {
    // After the last entry of the section's first block, so that comments heading the next section stay
    // with it; directly after the header when the block has no entries yet.
    for (std::size_t i = 0; i < lines_.size(); ++i) {
        if (lines_[i].Kind != TLineKind::Section || lines_[i].Folded != foldedSection) {
            continue;
        }
        std::size_t pos = i + 1;
        for (std::size_t j = i + 1; j < lines_.size(); ++j) {
            const TLineKind kind = lines_[j].Kind;
            if (kind == TLineKind::Section || kind == TLineKind::BadSection) {
                break;
            }
            if (kind == TLineKind::Entry) {
                pos = j + 1;
            }
        }
        return pos;
    }
    return lines_.size();
}

bool TIniDocument::Set(std::string_view section, std::string_view key, std::string_view value) {
    CheckSectionName(section);
    CheckKeyName(key);
    if (HasLineBreak(value)) {
        throw EKorvelError("The setting \"" + std::string(key) + "\" cannot hold a line break");
    }

    const std::string foldedSection = FoldCase(section);
    const std::string foldedKey = FoldCase(key);
    std::optional<std::size_t> existing;
    ForEachEntry(foldedSection, [&](std::size_t i) {
        if (lines_[i].Folded == foldedKey) {
            existing = i;
            return false;
        }
        return true;
    });

    if (existing) {
        TLine& line = lines_[*existing];
        if (line.Value == value) {
            return false;
        }
        line.Value = std::string(value);
        line.Raw = line.Name + "=" + EncodeValue(value);
        return true;
    }

    TLine entry;
    entry.Kind = TLineKind::Entry;
    entry.Name = std::string(key);
    entry.Folded = foldedKey;
    entry.Value = std::string(value);
    entry.Raw = entry.Name + "=" + EncodeValue(value);

    if (HasSection(section)) {
        lines_.insert(lines_.begin() + static_cast<std::ptrdiff_t>(InsertPosition(foldedSection)),
                      std::move(entry));
        return true;
    }
    if (!lines_.empty() && !Trim(lines_.back().Raw).empty()) {
        lines_.push_back(TLine{});
    }
    TLine header;
    header.Kind = TLineKind::Section;
    header.Name = std::string(section);
    header.Folded = foldedSection;
    header.Raw = "[" + header.Name + "]";
    lines_.push_back(std::move(header));
    lines_.push_back(std::move(entry));
    return true;
}

bool TIniDocument::EraseSection(std::string_view section) {
    const std::string folded = FoldCase(section);
    std::vector<TLine> kept;
    bool erasing = false;
    bool erased = false;
    for (TLine& line : lines_) {
        if (line.Kind == TLineKind::Section || line.Kind == TLineKind::BadSection) {
            erasing = line.Kind == TLineKind::Section && line.Folded == folded;
            erased = erased || erasing;
        }
        if (!erasing) {
            kept.push_back(std::move(line));
        }
    }
    lines_ = std::move(kept);
    return erased;
}

bool TIniDocument::DeleteKey(std::string_view section, std::string_view key) {
    const std::string foldedKey = FoldCase(key);
    std::vector<std::size_t> doomed;
    ForEachEntry(FoldCase(section), [&](std::size_t i) {
        if (lines_[i].Folded == foldedKey) {
            doomed.push_back(i);
        }
        return true;
    });
    for (auto it = doomed.rbegin(); it != doomed.rend(); ++it) {
        lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(*it));
    }
    return !doomed.empty();
}

} // namespace korvel
