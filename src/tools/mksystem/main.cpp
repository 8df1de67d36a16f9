// korvel_mksystem OUT_FOLDER SOURCE.json...
//
// Builds the delivered System libraries from their JSON sources at build time. Exit codes: 0 done, 1 a
// source is wrong or a library could not be written (message on stderr), 2 wrong usage.

#include "tools/mksystem/SystemLibSource.h"

#include <exception>
#include <iostream>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace {

void PrintUsage(std::ostream& out) {
    out << "usage: korvel_mksystem OUT_FOLDER SOURCE.json...\n"
           "Builds the System library of each source in OUT_FOLDER.\n";
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (!args.empty() && (args[0] == "-h" || args[0] == "--help")) {
        PrintUsage(std::cout);
        return 0;
    }
    if (args.size() < 2) {
        PrintUsage(std::cerr);
        return 2;
    }
    try {
        // All sources are read first, so a wrong one stops the run before any library is replaced.
        std::vector<korvel::tools::TSystemLibSource> sources;
        std::map<int, std::string> sourceOfType;
        for (size_t i = 1; i < args.size(); ++i) {
            auto source = korvel::tools::ReadSystemLibSource(args[i]);
            auto [it, added] = sourceOfType.emplace(source.Type, source.Path);
            if (!added) {
                throw std::runtime_error(source.Path + ": type " + std::to_string(source.Type) +
                                         " is already built from " + it->second);
            }
            sources.push_back(std::move(source));
        }
        for (const auto& source : sources) {
            korvel::tools::BuildSystemLib(source, args[0]);
        }
    } catch (const std::exception& e) {
        std::cerr << "korvel_mksystem: " << e.what() << '\n';
        return 1;
    }
    return 0;
}
