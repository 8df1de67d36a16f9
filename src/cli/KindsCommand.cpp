#include "cli/KindsCommand.h"

#include "platform/base/LibEditorRegistry.h"
#include "platform/base/LibKinds.h"

#include <iomanip>
#include <nlohmann/json.hpp>
#include <ostream>

namespace korvel::cli {

void PrintKinds(std::ostream& out, bool json) {
    if (json) {
        auto list = nlohmann::json::array();
        for (const auto& k : AllLibKinds()) {
            list.push_back({{"type", k.Type},
                            {"editor", k.EditorClass},
                            {"caption", k.Caption},
                            {"file", k.FileName},
                            {"tables", k.Tables},
                            {"implemented", HasLibEditor(k.Type)}});
        }
        out << list.dump(2) << '\n';
        return;
    }
    out << std::left << std::setw(6) << "Type" << std::setw(28) << "Editor" << std::setw(38) << "Caption"
        << std::setw(28) << "File"
        << "Editor available\n";
    for (const auto& k : AllLibKinds()) {
        out << std::left << std::setw(6) << k.Type << std::setw(28) << k.EditorClass << std::setw(38)
            << k.Caption << std::setw(28) << k.FileName << (HasLibEditor(k.Type) ? "yes" : "not yet") << '\n';
    }
}

} // namespace korvel::cli
