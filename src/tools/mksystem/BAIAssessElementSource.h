#pragma once

#include "tools/mksystem/ElementWriter.h"

#include <nlohmann/json.hpp>

namespace korvel {
class TMyTable;
}

namespace korvel::tools {

// Stores the elements of the building-acoustics assessment source. Each element is the scheme object of the
// command line (building/BAIAssessJson.h), applied onto a new scheme and written with the scheme's own store.
// A condition may carry a "source" text beside its values, citing where the limit comes from; the library
// does not keep it (the element's comment cites the whole scheme).
class TBAIAssessElementWriter : public TElementWriter {
public:
    // lib must be the building-acoustics library, open inside the build's transaction.
    explicit TBAIAssessElementWriter(TMyTable& lib);

    void Append(const nlohmann::json& element) override;

private:
    TMyTable& lib_;
};

// The element without the "source" members of its conditions; throws EKorvelError for a "source" that is
// not a text.
nlohmann::json WithoutConditionSources(const nlohmann::json& element);

} // namespace korvel::tools
