#include "tools/mksystem/ElementWriter.h"

#include <map>

namespace korvel::tools {

namespace {

std::map<int, TElementWriterFactory>& Writers() {
    static std::map<int, TElementWriterFactory> writers;
    return writers;
}

} // namespace

bool RegisterElementWriter(int libType, TElementWriterFactory factory) {
    Writers()[libType] = factory;
    return true;
}

TElementWriterFactory FindElementWriter(int libType) {
    auto it = Writers().find(libType);
    return it == Writers().end() ? nullptr : it->second;
}

} // namespace korvel::tools
