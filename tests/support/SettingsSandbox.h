#pragma once

#include "platform/settings/ConfigLocation.h"
#include "support/TempDir.h"

namespace korvel::test {

// Points the program's settings file into a temporary folder for the lifetime of the object.
class SettingsSandbox {
public:
    SettingsSandbox() { SetKorvelLibIniFileName(dir_.File("KorvelLib.ini")); }
    ~SettingsSandbox() { SetKorvelLibIniFileName(""); }
    SettingsSandbox(const SettingsSandbox&) = delete;
    SettingsSandbox& operator=(const SettingsSandbox&) = delete;

    const TempDir& Dir() const { return dir_; }

private:
    TempDir dir_;
};

} // namespace korvel::test
