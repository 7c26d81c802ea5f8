#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "base/filetext.h"

namespace tarnvale {

namespace {

class Descriptor {
public:
    Descriptor(const FILEPATH& path, int flags, mode_t mode = 0) {
        do {
            fd_ = ::open(path.c_str(), flags | O_CLOEXEC, mode);
        } while (fd_ < 0 && errno == EINTR);
        error_ = fd_ < 0 ? errno : 0;
    }
    ~Descriptor() {
        if (fd_ >= 0) ::close(fd_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    [[nodiscard]] bool Open() const noexcept { return fd_ >= 0; }
    [[nodiscard]] int Get() const noexcept { return fd_; }
    [[nodiscard]] int Error() const noexcept { return error_; }

private:
    int fd_ = -1;
    int error_ = 0;
};

bool WriteAll(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(fd, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

// A writer holds the lock for milliseconds; one that was stopped in the middle mustn't stop the
// others too.
bool Lock(int fd) {
    constexpr int kTries = 400;
    constexpr std::chrono::milliseconds kPause{5};
    for (int i = 0; i < kTries; ++i) {
        if (::flock(fd, LOCK_EX | LOCK_NB) == 0) return true;
        if (errno != EINTR && errno != EWOULDBLOCK) return false;
        std::this_thread::sleep_for(kPause);
    }
    return false;
}

std::error_code LastFailure() {
    return {errno, std::generic_category()};
}

// Gives the new text the name of `path`.
// @param temporary  a name beside `path`
// @param flags      for opening it
std::error_code ReplaceBy(const FILEPATH& temporary, int flags, const FILEPATH& path,
                          const std::string& text) {
    struct stat old {};
    const bool exists = ::stat(path.c_str(), &old) == 0;
    // Where its owner wants a file to stay, a folder that can be written is no leave.
    if (exists && ::access(path.c_str(), W_OK) != 0) return LastFailure();
    const Descriptor file(temporary, O_WRONLY | O_CREAT | O_NOFOLLOW | flags, 0666);
    if (!file.Open()) return LastFailure();
    if ((exists && ::fchmod(file.Get(), old.st_mode & 07777) != 0) || !WriteAll(file.Get(), text) ||
        ::fsync(file.Get()) != 0 || std::rename(temporary.c_str(), path.c_str()) != 0) {
        const std::error_code failed = LastFailure();
        ::unlink(temporary.c_str());
        return failed;
    }
    // The new name itself has to reach the disk; where a folder can't be synced, it still will
    // soon.
    const Descriptor folder(path.parent_path(), O_RDONLY | O_DIRECTORY);
    if (folder.Open()) ::fsync(folder.Get());
    return {};
}

}  // namespace

FileText ReadFileText(const FILEPATH& path, std::size_t limit, std::string& text) {
    // O_NONBLOCK: opening a pipe must not wait for a writer.
    const Descriptor file(path, O_RDONLY | O_NONBLOCK);
    if (!file.Open()) {
        return file.Error() == ENOENT || file.Error() == ENOTDIR ? FileText::Missing
                                                                 : FileText::Unreadable;
    }
    struct stat info {};
    if (::fstat(file.Get(), &info) != 0 || !S_ISREG(info.st_mode)) return FileText::Unreadable;
    if (std::cmp_greater(info.st_size, limit)) return FileText::Unreadable;
    std::string read(static_cast<std::size_t>(info.st_size) + 1, '\0');
    std::size_t filled = 0;
    for (;;) {
        const ssize_t count = ::read(file.Get(), read.data() + filled, read.size() - filled);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return FileText::Unreadable;
        if (count == 0) break;
        filled += static_cast<std::size_t>(count);
        if (filled > limit) return FileText::Unreadable;
        if (filled == read.size()) read.resize(read.size() * 2);
    }
    read.resize(filled);
    text = std::move(read);
    return FileText::Read;
}

bool ChangeFileText(const FILEPATH& path, std::size_t limit,
                    const std::function<bool(std::string&)>& change) {
    if (path.empty()) return false;
    std::error_code failed;
    FILEPATH target =
        std::filesystem::weakly_canonical(std::filesystem::absolute(path, failed), failed);
    if (failed || target.empty()) return false;
    std::filesystem::create_directories(target.parent_path(), failed);
    FILEPATH lockPath = target;
    lockPath += ".lock";
    const Descriptor lock(lockPath, O_RDWR | O_CREAT, 0666);
    if (!lock.Open() || !Lock(lock.Get())) return false;
    std::string text;
    if (ReadFileText(target, limit, text) == FileText::Unreadable) return false;
    // The lock is held, so one fixed name will do: what a killed writer left is written over.
    return change(text) && !ReplaceBy(FILEPATH(target) += ".tmp", O_TRUNC, target, text);
}

std::error_code ReplaceFileText(const FILEPATH& path, const std::string& text) {
    std::error_code failed;
    const FILEPATH target =
        std::filesystem::weakly_canonical(std::filesystem::absolute(path, failed), failed);
    if (failed) return failed;
    static std::atomic<unsigned> count{0};  // for names of this process's own
    const std::string own = '.' + std::to_string(::getpid()) + '-' + std::to_string(++count);
    // Not the target's own name made longer: that may be as long as names can be.
    return ReplaceBy(target.parent_path() / (".tarnvale" + own + ".tmp"), O_EXCL, target, text);
}

}  // namespace tarnvale
