#include "platform/base/LibEditorRegistry.h"

#include <map>

namespace korvel {

namespace {

std::map<int, TLibEditorFactory>& Registry() {
    static std::map<int, TLibEditorFactory> registry;
    return registry;
}

} // namespace

bool RegisterLibEditor(int libType, TLibEditorFactory factory) {
    Registry()[libType] = std::move(factory);
    return true;
}

const TLibEditorFactory* FindLibEditor(int libType) {
    auto it = Registry().find(libType);
    return it == Registry().end() ? nullptr : &it->second;
}

bool HasLibEditor(int libType) {
    return FindLibEditor(libType) != nullptr;
}

TScopedLibEditor::TScopedLibEditor(int libType, TLibEditorFactory factory) : libType_(libType) {
    if (const TLibEditorFactory* old = FindLibEditor(libType))
        previous_ = *old;
    Registry()[libType] = std::move(factory);
}

TScopedLibEditor::~TScopedLibEditor() {
    if (previous_)
        Registry()[libType_] = previous_;
    else
        Registry().erase(libType_);
}

} // namespace korvel
