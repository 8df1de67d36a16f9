#include "support/TempDir.h"

#include <random>
#include <stdexcept>

namespace korvel::test {

TempDir::TempDir() {
    std::random_device rd;
    auto base = std::filesystem::temp_directory_path();
    for (int attempt = 0; attempt < 100; ++attempt) {
        auto candidate = base / ("korvel-test-" + std::to_string(rd()));
        if (std::filesystem::create_directory(candidate)) {
            path_ = candidate;
            return;
        }
    }
    throw std::runtime_error("cannot create a temporary folder");
}

TempDir::~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
}

} // namespace korvel::test
