#pragma once

// What the fuzz targets share: a scratch file per process for the readers that take a file name, and the
// rule that EKorvelError is the expected refusal of bad input while anything else is a finding.

#include "platform/Errors.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

namespace korvel::fuzz {

// A file in TMPDIR (or /tmp) named for this process, removed again when the input has been read.
class TScratchFile {
public:
    TScratchFile(const std::string& name, const std::uint8_t* data, std::size_t size) {
        const char* dir = std::getenv("TMPDIR");
        path_ = std::string(dir != nullptr && *dir != 0 ? dir : "/tmp") + "/korvel-fuzz-" +
                std::to_string(getpid()) + "-" + name;
        if (std::FILE* f = std::fopen(path_.c_str(), "wb")) {
            if (size > 0) {
                std::fwrite(data, 1, size, f);
            }
            std::fclose(f);
        }
    }
    ~TScratchFile() { std::remove(path_.c_str()); }
    TScratchFile(const TScratchFile&) = delete;
    TScratchFile& operator=(const TScratchFile&) = delete;

    const std::string& Path() const { return path_; }

private:
    std::string path_;
};

// Runs one read; a refusal with a message is the reader doing its job.
template <class F> void Expect(F&& read) {
    try {
        read();
    } catch (const EKorvelError&) {
    }
}

} // namespace korvel::fuzz
