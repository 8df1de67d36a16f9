#pragma once

#include "tools/mksystem/ElementWriter.h"

#include <nlohmann/json.hpp>
#include <string>

namespace korvel {
class TMyTable;
}

namespace korvel::tools {

// Stores the elements of a sound library source (emission, absorption, transmission, attenuation). Each
// element is the object the sound editor exchanges (sound/SpectrumJson.h), applied through the editor's own
// reader and written with the spectrum's own store, so a delivered element reads back exactly as the
// editor wrote it. Groups are found by name in the library's group table and appended when missing.
class TSoundElementWriter : public TElementWriter {
public:
    // lib must be open, with the main table and the group table, inside the build's transaction.
    TSoundElementWriter(TMyTable& lib, int libType);

    void Append(const nlohmann::json& element) override;

private:
    // Number of the group of that name (letter case ignored), appending it when it is missing.
    int GroupNumber(const std::string& name);

    TMyTable& lib_;
    int libType_;
};

} // namespace korvel::tools
