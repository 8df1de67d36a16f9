#include "Version.h"

#include <CLI/CLI.hpp>
#include <iostream>

int main(int argc, char** argv) {
    CLI::App app{"korvellib - the Korvel library manager on the command line"};
    app.set_version_flag("--version", "korvellib " + korvel::VersionString());
    CLI11_PARSE(app, argc, argv);
    return 0;
}
