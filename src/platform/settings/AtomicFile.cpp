#include "platform/settings/AtomicFile.h"

#include "platform/Errors.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace korvel {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void Fail(const std::string& fileName, const std::string& what, int err) {
    throw EKorvelError("The file \"" + fileName + "\" cannot be written (" + what + ": " +
                       std::strerror(err) + ")");
}

// Closes the descriptor and removes the temporary file unless the rename has taken it over.
class TTempFile {
public:
    explicit TTempFile(std::string name) : name_(std::move(name)) {}
    ~TTempFile() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
        if (!committed_) {
            ::unlink(name_.c_str());
        }
    }
    TTempFile(const TTempFile&) = delete;
    TTempFile& operator=(const TTempFile&) = delete;

    const std::string& Name() const { return name_; }
    int& Fd() { return fd_; }
    void Commit() { committed_ = true; }

private:
    std::string name_;
    int fd_ = -1;
    bool committed_ = false;
};

std::string TempNameFor(const std::string& target) {
    static std::atomic<unsigned> counter{0};
    return target + ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(counter++);
}

} // namespace

void WriteFileAtomically(const std::string& fileName, std::string_view content) {
    // Write through a symbolic link to its target, so the link itself survives the rename.
    std::error_code ec;
    std::string target = fileName;
    if (fs::is_symlink(fileName, ec)) {
        const fs::path resolved = fs::weakly_canonical(fileName, ec);
        if (!ec) {
            target = resolved.string();
        }
    }

    const fs::path folder = fs::path(target).parent_path();
    if (!folder.empty()) {
        fs::create_directories(folder, ec);
        if (ec) {
            Fail(fileName, "creating the folder \"" + folder.string() + "\"", ec.value());
        }
    }

    mode_t mode = 0644;
    if (struct stat st{}; ::stat(target.c_str(), &st) == 0) {
        mode = st.st_mode & 07777;
    }

    TTempFile temp(TempNameFor(target));
    temp.Fd() = ::open(temp.Name().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (temp.Fd() < 0) {
        Fail(fileName, "creating a temporary file", errno);
    }
    const char* data = content.data();
    std::size_t left = content.size();
    while (left > 0) {
        const ssize_t n = ::write(temp.Fd(), data, left);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            Fail(fileName, "writing", n < 0 ? errno : EIO);
        }
        data += n;
        left -= static_cast<std::size_t>(n);
    }
    if (::fsync(temp.Fd()) != 0) {
        Fail(fileName, "flushing to disk", errno);
    }
    const int fd = temp.Fd();
    temp.Fd() = -1;
    if (::close(fd) != 0) {
        Fail(fileName, "closing", errno);
    }
    if (::rename(temp.Name().c_str(), target.c_str()) != 0) {
        Fail(fileName, "replacing the old file", errno);
    }
    temp.Commit();

    // Make the rename itself durable; a failure here leaves a complete file either way.
    if (const int dir = ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        dir >= 0) {
        ::fsync(dir);
        ::close(dir);
    }
}

} // namespace korvel
