#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace korvel {

// The parsed text of one INI file. Every line is kept as it was read (comments, blank lines, entries of
// unknown sections, damaged lines), so rewriting the file changes only the lines that were edited.
// Section and key names compare case-insensitively (Unicode case folding); values are UTF-8 text.
// A section that appears more than once reads as one: the first occurrence of a key wins.
class TIniDocument {
public:
    TIniDocument() = default;

    static TIniDocument Parse(std::string_view text);
    std::string ToText() const;

    std::optional<std::string> Get(std::string_view section, std::string_view key) const;
    // Sets a value; false when it already held exactly that value. Throws EKorvelError for a section or
    // key name that an INI line cannot carry, or for a value with a line break.
    bool Set(std::string_view section, std::string_view key, std::string_view value);
    bool HasSection(std::string_view section) const;
    bool HasKey(std::string_view section, std::string_view key) const;
    // Key names of a section in file order, each once, spelled as at its first occurrence.
    std::vector<std::string> Keys(std::string_view section) const;
    std::vector<std::string> Sections() const;
    // Both return false when there was nothing to remove.
    bool EraseSection(std::string_view section);
    bool DeleteKey(std::string_view section, std::string_view key);

    // Lines that could not be understood and are ignored when reading (kept when writing).
    int DamagedLineCount() const { return damaged_; }

private:
    enum class TLineKind { Other, Section, BadSection, Entry };
    struct TLine {
        TLineKind Kind = TLineKind::Other;
        std::string Raw;    // the line as written, without its line end
        std::string Name;   // section or key name as spelled
        std::string Folded; // Name, case-folded
        std::string Value;  // decoded value of an entry
    };

    // Calls f(lineIndex) for every entry line of the named section, in order; f returns false to stop.
    template <class F> void ForEachEntry(const std::string& foldedSection, F f) const;
    std::size_t InsertPosition(const std::string& foldedSection) const;

    std::vector<TLine> lines_;
    std::string eol_ = "\n";
    bool bom_ = false;
    int damaged_ = 0;
};

} // namespace korvel
