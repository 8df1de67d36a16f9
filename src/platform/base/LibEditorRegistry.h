#pragma once

#include "platform/base/LibSchema.h"

#include <functional>
#include <memory>

namespace korvel {

class TCustomLibForm;
class TLibHost;

// Editors register a factory per library type number beside their own code; the service creates editors
// through it and the program lists a kind as available exactly when a factory is registered.
// The factory makes the editor for its host and sets the editor's library type.
using TLibEditorFactory = std::function<std::unique_ptr<TCustomLibForm>(TLibHost& host, int libType)>;

bool RegisterLibEditor(int libType, TLibEditorFactory factory);
const TLibEditorFactory* FindLibEditor(int libType);
bool HasLibEditor(int libType);

// Replaces a kind's editor for the lifetime of the object; for tests.
class TScopedLibEditor {
public:
    TScopedLibEditor(int libType, TLibEditorFactory factory);
    ~TScopedLibEditor();
    TScopedLibEditor(const TScopedLibEditor&) = delete;
    TScopedLibEditor& operator=(const TScopedLibEditor&) = delete;

private:
    int libType_;
    TLibEditorFactory previous_;
};

} // namespace korvel

#define KORVEL_REGISTER_LIB_EDITOR(libType, factory)                                                         \
    static const bool KORVEL_CONCAT(korvelLibEditorRegistered, __LINE__) =                                   \
        ::korvel::RegisterLibEditor(libType, factory)
