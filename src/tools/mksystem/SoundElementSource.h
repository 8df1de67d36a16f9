#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace korvel {
class TMyTable;
}

namespace korvel::tools {

// The name member of a sound element object ("name"); the other kinds name their element by a field.
inline constexpr const char* kSoundNameMember = "name";

// Stores the elements of a sound library source (emission, absorption, transmission, attenuation). Each
// element is the object the sound editor exchanges (sound/SpectrumJson.h), applied through the editor's own
// reader and written with the spectrum's own store, so a delivered element reads back exactly as the
// editor wrote it. Groups are found by name in the library's group table and appended when missing.
class TSoundElementWriter {
public:
    // lib must be open, with the main table and the group table, inside the build's transaction.
    TSoundElementWriter(TMyTable& lib, int libType);

    // Appends and stores one element. Throws EKorvelError naming the member at fault; the record is then
    // left unposted and the caller drops the whole library.
    void Append(const nlohmann::json& element);

private:
    // Number of the group of that name (letter case ignored), appending it when it is missing.
    int GroupNumber(const std::string& name);

    TMyTable& lib_;
    int libType_;
};

} // namespace korvel::tools
