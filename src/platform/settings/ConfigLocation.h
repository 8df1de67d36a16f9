#pragma once

#include <string>
#include <string_view>

namespace korvel {

// The folder of the user's settings: $KORVEL_CONFIG_DIR, else $XDG_CONFIG_HOME/korvel, else
// ~/.config/korvel. Returned with a trailing separator. Empty variables count as unset.
std::string KorvelConfigDir();

// The program's settings file: an override set in this process, else KorvelConfigDir() + "KorvelLib.ini".
std::string KorvelLibIniFileName();

// Points the settings file elsewhere for the rest of the process (tests, the command line's --settings).
// An empty name goes back to the location rule above.
void SetKorvelLibIniFileName(std::string_view fileName);

} // namespace korvel
