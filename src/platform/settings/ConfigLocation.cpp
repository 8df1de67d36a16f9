#include "platform/settings/ConfigLocation.h"

#include "platform/settings/PathText.h"

#include <cstdlib>
#include <mutex>
#include <pwd.h>
#include <unistd.h>

namespace korvel {

namespace {

std::mutex& OverrideMutex() {
    static std::mutex m;
    return m;
}

std::string& OverrideName() {
    static std::string name;
    return name;
}

std::string Env(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::string(value) : std::string();
}

std::string HomeDir() {
    std::string home = Env("HOME");
    if (!home.empty()) {
        return home;
    }
    // Services and some sandboxes run without HOME; the password database still knows the folder.
    if (const passwd* pw = getpwuid(getuid()); pw && pw->pw_dir && *pw->pw_dir) {
        return pw->pw_dir;
    }
    return ".";
}

} // namespace

std::string KorvelConfigDir() {
    if (std::string dir = Env("KORVEL_CONFIG_DIR"); !dir.empty()) {
        return IncludeTrailingSeparator(dir);
    }
    // A relative XDG_CONFIG_HOME is invalid by the XDG rules and is ignored.
    if (std::string xdg = Env("XDG_CONFIG_HOME"); !xdg.empty() && xdg.front() == '/') {
        return IncludeTrailingSeparator(xdg) + "korvel/";
    }
    return IncludeTrailingSeparator(HomeDir()) + ".config/korvel/";
}

std::string KorvelLibIniFileName() {
    {
        std::lock_guard lock(OverrideMutex());
        if (!OverrideName().empty()) {
            return OverrideName();
        }
    }
    return KorvelConfigDir() + "KorvelLib.ini";
}

void SetKorvelLibIniFileName(std::string_view fileName) {
    std::lock_guard lock(OverrideMutex());
    OverrideName() = std::string(fileName);
}

} // namespace korvel
