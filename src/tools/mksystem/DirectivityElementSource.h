#pragma once

#include "tools/mksystem/ElementWriter.h"

#include <nlohmann/json.hpp>

namespace korvel {
class TMyTable;
}

namespace korvel::tools {

// Stores the elements of the directivity library source. Each element is the directivity object of the
// command line (directivity/DirectivityJson.h), applied onto a new directivity and written with the
// directivity's own store, so a delivered element reads back as the editor would have written it.
class TDirectivityElementWriter : public TElementWriter {
public:
    // lib must be the directivity library, open inside the build's transaction.
    explicit TDirectivityElementWriter(TMyTable& lib);

    void Append(const nlohmann::json& element) override;

private:
    TMyTable& lib_;
};

} // namespace korvel::tools
