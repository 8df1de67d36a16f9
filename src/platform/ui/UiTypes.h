#pragma once

// Plain value types shared by the dialog service and the control models. Nothing here needs a GUI toolkit.

#include "platform/base/LibTypes.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace korvel {

// Result of a modal dialog or form. An int, as forms may define results of their own above mrYesToAll.
using TModalResult = int;
inline constexpr TModalResult mrNone = 0;
inline constexpr TModalResult mrOk = 1;
inline constexpr TModalResult mrCancel = 2;
inline constexpr TModalResult mrAbort = 3;
inline constexpr TModalResult mrRetry = 4;
inline constexpr TModalResult mrIgnore = 5;
inline constexpr TModalResult mrYes = 6;
inline constexpr TModalResult mrNo = 7;
inline constexpr TModalResult mrAll = 8;
inline constexpr TModalResult mrNoToAll = 9;
inline constexpr TModalResult mrYesToAll = 10;

// Name of a modal result ("Yes", "Cancel", ...; a number for results outside the classic set).
std::string ModalResultName(TModalResult result);

enum TMsgDlgType : std::uint8_t { mtWarning, mtError, mtInformation, mtConfirmation, mtCustom };

enum TMsgDlgBtn : std::uint8_t {
    mbYes,
    mbNo,
    mbOK,
    mbCancel,
    mbAbort,
    mbRetry,
    mbIgnore,
    mbAll,
    mbNoToAll,
    mbYesToAll
};

// The set of buttons a message box offers.
class TMsgDlgButtons {
public:
    constexpr TMsgDlgButtons() = default;
    constexpr TMsgDlgButtons(std::initializer_list<TMsgDlgBtn> buttons) {
        for (TMsgDlgBtn b : buttons)
            bits_ |= Bit(b);
    }
    constexpr bool Contains(TMsgDlgBtn b) const { return (bits_ & Bit(b)) != 0; }
    constexpr bool Empty() const { return bits_ == 0; }
    constexpr TMsgDlgButtons& Add(TMsgDlgBtn b) {
        bits_ |= Bit(b);
        return *this;
    }
    // Buttons in their display order.
    std::vector<TMsgDlgBtn> List() const;
    constexpr bool operator==(const TMsgDlgButtons&) const = default;

private:
    static constexpr std::uint16_t Bit(TMsgDlgBtn b) { return static_cast<std::uint16_t>(1u << b); }
    std::uint16_t bits_ = 0;
};

TModalResult ButtonResult(TMsgDlgBtn button);
std::string ButtonCaption(TMsgDlgBtn button);
std::string MsgDlgTypeName(TMsgDlgType type);
// True when a box with these buttons can close with this result.
bool OffersResult(TMsgDlgButtons buttons, TModalResult result);
// The answer that does no harm: Cancel, else No, else Abort, else Ignore, else OK.
TModalResult SafeDefaultResult(TMsgDlgButtons buttons);

// A colour as 0x00BBGGRR, the classic layout: red in the lowest byte. clDefault means "the renderer's own".
using TColor = std::uint32_t;
inline constexpr TColor clBlack = 0x000000;
inline constexpr TColor clWhite = 0xFFFFFF;
inline constexpr TColor clRed = 0x0000FF;
inline constexpr TColor clGreen = 0x008000;
inline constexpr TColor clBlue = 0xFF0000;
inline constexpr TColor clYellow = 0x00FFFF;
inline constexpr TColor clGray = 0x808080;
inline constexpr TColor clDefault = 0x20000000;

constexpr TColor RGBToColor(std::uint8_t r, std::uint8_t g, std::uint8_t b) {
    return TColor{r} | (TColor{g} << 8) | (TColor{b} << 16);
}
constexpr std::uint8_t RedOf(TColor c) {
    return static_cast<std::uint8_t>(c & 0xFF);
}
constexpr std::uint8_t GreenOf(TColor c) {
    return static_cast<std::uint8_t>((c >> 8) & 0xFF);
}
constexpr std::uint8_t BlueOf(TColor c) {
    return static_cast<std::uint8_t>((c >> 16) & 0xFF);
}

// One entry of a file filter: "Text (*.txt)" with its patterns {"*.txt"}.
struct TFileFilter {
    std::string Description;
    std::vector<std::string> Patterns;
};

// Parses the classic "Text (*.txt)|*.txt|All (*.*)|*.*" form; patterns within an entry are separated by ';'.
// Throws EKorvelError on a description without a pattern or an empty pattern list.
std::vector<TFileFilter> ParseFileFilter(std::string_view filter);
// Matches a file name (not a path) against "*.txt"-style wildcards ('*' and '?'), ignoring ASCII case.
bool MatchesPattern(std::string_view fileName, std::string_view pattern);
// Appends ".ext" when the file name has no extension; ext may be given with or without the dot.
std::filesystem::path ApplyDefaultExt(const std::filesystem::path& file, std::string_view ext);

struct TOpenDialogOptions {
    std::string Title;
    std::string Filter;
    int FilterIndex = 1; // 1-based, as in the classic dialogs
    std::filesystem::path InitialDir;
    std::string FileName;
    bool MultiSelect = false;
    bool SelectFolder = false; // choose a folder instead of files
};

struct TSaveDialogOptions {
    std::string Title;
    std::string Filter;
    int FilterIndex = 1;
    std::string DefaultExt;
    std::filesystem::path InitialDir;
    std::string FileName;
    bool OverwritePrompt = true;
};

// The question asked when an element name already exists in the target library.
struct TNameConflictQuery {
    std::string Name;      // the conflicting element name
    bool AllowAll = true;  // offer "Overwrite all" and "Skip all"
    int MaxNameLength = 0; // in characters; 0 = no limit
    // Optional: tells whether a proposed new name is taken too, so the answer can be checked or proposed.
    std::function<bool(const std::string&)> NameExists;
    // The choice preselected in a dialog: 0 Overwrite, 1 Overwrite all, 2 Skip, 3 Skip all, 4 Enter new name.
    int DefaultChoice = 4;
};

struct TNameConflictAnswer {
    TneAction Action = TneAction::Cancel;
    std::string NewName; // set when Action is NewName
};

// Empty when newName is acceptable for the query; otherwise the reason, ready to show.
std::string CheckNewName(const TNameConflictQuery& query, const std::string& newName);
// A free name "Name (2)", "Name (3)", ... that fits the length limit; empty when none is found.
std::string ProposeNewName(const TNameConflictQuery& query);

// UTF-8 helpers counting characters (code points), not bytes.
namespace uitext {
std::size_t Length(std::string_view utf8);
// The first maxChars characters; never cuts a multi-byte sequence.
std::string Left(std::string_view utf8, std::size_t maxChars);
std::vector<std::string> SplitLines(std::string_view text);
std::string JoinLines(const std::vector<std::string>& lines);
bool EqualsNoCase(std::string_view a, std::string_view b); // ASCII case only
} // namespace uitext

} // namespace korvel
