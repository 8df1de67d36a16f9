#include "platform/ui/UiTypes.h"

#include "platform/Errors.h"

#include <array>

namespace korvel {

namespace {

constexpr std::array<TMsgDlgBtn, 10> kButtonOrder{mbYes,    mbYesToAll, mbNo,    mbNoToAll, mbOK,
                                                  mbCancel, mbAbort,    mbRetry, mbIgnore,  mbAll};

std::string Trim(std::string_view s) {
    std::size_t b = 0;
    std::size_t e = s.size();
    while (b < e && (s[b] == ' ' || s[b] == '\t'))
        ++b;
    while (e > b && (s[e - 1] == ' ' || s[e - 1] == '\t'))
        --e;
    return std::string(s.substr(b, e - b));
}

std::vector<std::string_view> Split(std::string_view s, char sep) {
    std::vector<std::string_view> parts;
    std::size_t start = 0;
    for (;;) {
        std::size_t pos = s.find(sep, start);
        if (pos == std::string_view::npos) {
            parts.push_back(s.substr(start));
            return parts;
        }
        parts.push_back(s.substr(start, pos - start));
        start = pos + 1;
    }
}

char Lower(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

bool Wildcard(std::string_view name, std::string_view pattern) {
    // Iterative match with one backtrack point for the last '*'.
    std::size_t n = 0, p = 0, starP = std::string_view::npos, starN = 0;
    while (n < name.size()) {
        if (p < pattern.size() && (pattern[p] == '?' || Lower(pattern[p]) == Lower(name[n]))) {
            ++n;
            ++p;
        } else if (p < pattern.size() && pattern[p] == '*') {
            starP = p++;
            starN = n;
        } else if (starP != std::string_view::npos) {
            p = starP + 1;
            n = ++starN;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == '*')
        ++p;
    return p == pattern.size();
}

} // namespace

std::string ModalResultName(TModalResult result) {
    static constexpr std::array<const char*, 11> names{"None", "OK", "Cancel", "Abort",   "Retry",   "Ignore",
                                                       "Yes",  "No", "All",    "NoToAll", "YesToAll"};
    if (result >= 0 && result < static_cast<int>(names.size()))
        return names[static_cast<std::size_t>(result)];
    return std::to_string(result);
}

std::vector<TMsgDlgBtn> TMsgDlgButtons::List() const {
    std::vector<TMsgDlgBtn> list;
    for (TMsgDlgBtn b : kButtonOrder)
        if (Contains(b))
            list.push_back(b);
    return list;
}

TModalResult ButtonResult(TMsgDlgBtn button) {
    switch (button) {
    case mbYes:
        return mrYes;
    case mbNo:
        return mrNo;
    case mbOK:
        return mrOk;
    case mbCancel:
        return mrCancel;
    case mbAbort:
        return mrAbort;
    case mbRetry:
        return mrRetry;
    case mbIgnore:
        return mrIgnore;
    case mbAll:
        return mrAll;
    case mbNoToAll:
        return mrNoToAll;
    case mbYesToAll:
        return mrYesToAll;
    }
    return mrNone;
}

std::string ButtonCaption(TMsgDlgBtn button) {
    switch (button) {
    case mbYes:
        return "&Yes";
    case mbNo:
        return "&No";
    case mbOK:
        return "OK";
    case mbCancel:
        return "Cancel";
    case mbAbort:
        return "&Abort";
    case mbRetry:
        return "&Retry";
    case mbIgnore:
        return "&Ignore";
    case mbAll:
        return "&All";
    case mbNoToAll:
        return "N&o to All";
    case mbYesToAll:
        return "Yes to &All";
    }
    return {};
}

std::string MsgDlgTypeName(TMsgDlgType type) {
    switch (type) {
    case mtWarning:
        return "Warning";
    case mtError:
        return "Error";
    case mtInformation:
        return "Information";
    case mtConfirmation:
        return "Confirm";
    case mtCustom:
        return "Message";
    }
    return "Message";
}

bool OffersResult(TMsgDlgButtons buttons, TModalResult result) {
    for (TMsgDlgBtn b : kButtonOrder)
        if (buttons.Contains(b) && ButtonResult(b) == result)
            return true;
    // A box without buttons still shows OK.
    return buttons.Empty() && result == mrOk;
}

TModalResult SafeDefaultResult(TMsgDlgButtons buttons) {
    for (TMsgDlgBtn b : {mbCancel, mbNo, mbAbort, mbIgnore, mbNoToAll, mbOK})
        if (buttons.Contains(b))
            return ButtonResult(b);
    return buttons.Empty() ? mrOk : mrCancel;
}

std::vector<TFileFilter> ParseFileFilter(std::string_view filter) {
    std::vector<TFileFilter> result;
    if (Trim(filter).empty())
        return result;
    auto parts = Split(filter, '|');
    if (parts.size() % 2 != 0)
        throw EKorvelError("File filter \"" + std::string(filter) + "\" has a description without a pattern");
    for (std::size_t i = 0; i < parts.size(); i += 2) {
        TFileFilter f;
        f.Description = Trim(parts[i]);
        for (std::string_view p : Split(parts[i + 1], ';')) {
            std::string pattern = Trim(p);
            if (!pattern.empty())
                f.Patterns.push_back(std::move(pattern));
        }
        if (f.Patterns.empty())
            throw EKorvelError("File filter entry \"" + f.Description + "\" has no pattern");
        result.push_back(std::move(f));
    }
    return result;
}

bool MatchesPattern(std::string_view fileName, std::string_view pattern) {
    // "*.*" means every file, including names without a dot.
    if (pattern == "*.*" || pattern == "*")
        return true;
    return Wildcard(fileName, pattern);
}

std::filesystem::path ApplyDefaultExt(const std::filesystem::path& file, std::string_view ext) {
    if (ext.empty() || file.empty() || file.has_extension())
        return file;
    std::filesystem::path result = file;
    std::string dotted = ext.front() == '.' ? std::string(ext) : "." + std::string(ext);
    result += dotted;
    return result;
}

std::string CheckNewName(const TNameConflictQuery& query, const std::string& newName) {
    if (Trim(newName).empty())
        return "The new name must not be empty.";
    if (Trim(newName) != newName)
        return "The new name must not begin or end with a space.";
    if (newName == query.Name)
        return "The new name must differ from \"" + query.Name + "\".";
    if (query.MaxNameLength > 0 && uitext::Length(newName) > static_cast<std::size_t>(query.MaxNameLength))
        return "The new name is longer than " + std::to_string(query.MaxNameLength) + " characters.";
    if (query.NameExists && query.NameExists(newName))
        return "An element named \"" + newName + "\" exists already.";
    return {};
}

std::string ProposeNewName(const TNameConflictQuery& query) {
    std::string base = Trim(query.Name);
    if (base.empty())
        base = "Element";
    for (int n = 2; n < 10000; ++n) {
        std::string suffix = " (" + std::to_string(n) + ")";
        std::string stem = base;
        if (query.MaxNameLength > 0) {
            std::size_t room = static_cast<std::size_t>(query.MaxNameLength);
            if (suffix.size() >= room)
                return {};
            stem = Trim(uitext::Left(base, room - suffix.size()));
        }
        std::string candidate = stem + suffix;
        if (CheckNewName(query, candidate).empty())
            return candidate;
    }
    return {};
}

namespace uitext {

std::size_t Length(std::string_view utf8) {
    std::size_t n = 0;
    for (char c : utf8)
        if ((static_cast<unsigned char>(c) & 0xC0) != 0x80)
            ++n;
    return n;
}

std::string Left(std::string_view utf8, std::size_t maxChars) {
    std::size_t chars = 0;
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        if ((static_cast<unsigned char>(utf8[i]) & 0xC0) != 0x80) {
            if (chars == maxChars)
                return std::string(utf8.substr(0, i));
            ++chars;
        }
    }
    return std::string(utf8);
}

std::vector<std::string> SplitLines(std::string_view text) {
    std::vector<std::string> lines;
    std::string current;
    bool pending = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c == '\r' || c == '\n') {
            if (c == '\r' && i + 1 < text.size() && text[i + 1] == '\n')
                ++i;
            lines.push_back(std::move(current));
            current.clear();
            pending = false;
        } else {
            current += c;
            pending = true;
        }
    }
    if (pending)
        lines.push_back(std::move(current));
    return lines;
}

std::string JoinLines(const std::vector<std::string>& lines) {
    std::string text;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (i > 0)
            text += '\n';
        text += lines[i];
    }
    return text;
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (Lower(a[i]) != Lower(b[i]))
            return false;
    return true;
}

} // namespace uitext

} // namespace korvel
