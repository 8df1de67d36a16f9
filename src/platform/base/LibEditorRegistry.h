#pragma once

#include "platform/base/LibSchema.h"

#include <functional>
#include <memory>

namespace korvel {

class TCustomLibForm;

// Editors register a factory per library type number beside their own code; the service creates editors
// through it and the program lists a kind as available exactly when a factory is registered.
using TLibEditorFactory = std::function<std::unique_ptr<TCustomLibForm>(int libType)>;

bool RegisterLibEditor(int libType, TLibEditorFactory factory);
const TLibEditorFactory* FindLibEditor(int libType);
bool HasLibEditor(int libType);

} // namespace korvel

#define KORVEL_REGISTER_LIB_EDITOR(libType, factory)                                                         \
    static const bool KORVEL_CONCAT(korvelLibEditorRegistered, __LINE__) =                                   \
        ::korvel::RegisterLibEditor(libType, factory)
