#pragma once

// The directivities an emission element can refer to: the directivity library of the same folder, read
// into a list of numbers and names with "Not defined" (number 0) first.

#include <memory>
#include <string>
#include <vector>

namespace korvel {
class TMyTable;
}

namespace korvel::sound {

// The directivity library of a folder, opened for writing and made with its tables when the folder has
// none yet (imports that bring directivities along).
std::unique_ptr<TMyTable> OpenDirectivityLibrary(const std::string& folder);

struct TDirectivityEntry {
    int Number = 0;
    std::string Name;
};

class TDirectivityList {
public:
    // Reads the folder's directivity library; a folder without one gives just "Not defined". A library
    // that cannot be read throws EKorvelError.
    void Open(const std::string& folder);
    const std::string& Folder() const { return folder_; }
    const std::vector<TDirectivityEntry>& Entries() const { return entries_; }
    // Index of the entry with that number, or -1.
    int IndexOfNumber(int number) const;

private:
    std::string folder_;
    std::vector<TDirectivityEntry> entries_;
};

inline constexpr const char* kNotDefined = "Not defined";

} // namespace korvel::sound
