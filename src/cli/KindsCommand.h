#pragma once

#include <iosfwd>

namespace korvel::cli {

// Lists every library kind: as aligned text for people, or as a JSON array for scripts.
void PrintKinds(std::ostream& out, bool json);

} // namespace korvel::cli
