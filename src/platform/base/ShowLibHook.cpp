#include "platform/base/ShowLibHook.h"

namespace korvel {

TShowLibFunc& ShowLibFunc() {
    static TShowLibFunc hook;
    return hook;
}

} // namespace korvel
