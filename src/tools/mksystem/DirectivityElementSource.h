#pragma once

#include <nlohmann/json.hpp>

namespace korvel {
class TMyTable;
}

namespace korvel::tools {

// Stores the elements of the directivity library source. Each element is the directivity object of the
// command line (directivity/DirectivityJson.h), applied onto a new directivity and written with the
// directivity's own store, so a delivered element reads back as the editor would have written it.
class TDirectivityElementWriter {
public:
    // lib must be the directivity library, open inside the build's transaction.
    explicit TDirectivityElementWriter(TMyTable& lib);

    // Appends and stores one element. Throws EKorvelError naming the member at fault; the record is then
    // left unposted and the caller drops the whole library.
    void Append(const nlohmann::json& element);

private:
    TMyTable& lib_;
};

} // namespace korvel::tools
