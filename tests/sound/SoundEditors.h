#pragma once

// Opening a sound editor and adding elements as the command line does, for the tests that drive the editor.

#include "service/LibService.h"
#include "sound/FormLibX.h"
#include "support/LibFolders.h"

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace korvel::sound {

// The kind's editor on the folders, owned by the test host; the last folder's tab is current and a missing
// library is made.
inline TFormLibX& OpenSoundEditor(test::LibFolders& f, int libType, const std::vector<std::string>& folders) {
    auto& editor = dynamic_cast<TFormLibX&>(f.Host().Adopt(CreateLib(f.Host(), libType)));
    editor.OpenLibType(folders, static_cast<int>(folders.size()) - 1, libType, true);
    return editor;
}

// Appends an element from its JSON view, stores it and shows it again.
inline void AddElement(TFormLibX& editor, const nlohmann::json& element) {
    editor.GetMainTable(editor.GetCurIndex())->Append();
    editor.ApplyElementView(element);
    editor.StoreCurrent();
    editor.RefreshElement();
}

} // namespace korvel::sound
