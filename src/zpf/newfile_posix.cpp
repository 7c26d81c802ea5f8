#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "zpf/newfile.h"

namespace tarnvale::ZPF {

namespace {

constexpr int kNameTries = 1000;
constexpr std::size_t kNameBytes = 200;

class Descriptor {
public:
    Descriptor(const FILEPATH& path, int flags)
        : fd_(open(path.c_str(), flags | O_CLOEXEC, 0666)) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (fd_ >= 0) close(fd_);
    }
    [[nodiscard]] bool Open() const { return fd_ >= 0; }
    [[nodiscard]] int Get() const { return fd_; }

private:
    int fd_;
};

std::string Why() {
    return std::generic_category().message(errno);
}

}  // namespace

std::string MakeFileBeside(const FILEPATH& target, FILEPATH& temporary) {
    // Room in a name of the longest kind for what is added here and by the database's journal.
    const std::string name = target.filename().string().substr(0, kNameBytes);
    for (int i = 0; i < kNameTries; ++i) {
        FILEPATH path = target;
        path.replace_filename(fmt::format("{}.{}-{}.tmp", name, getpid(), i));
        const Descriptor file(path, O_RDWR | O_CREAT | O_EXCL);
        if (file.Open()) {
            temporary = std::move(path);
            return {};
        }
        if (errno != EEXIST) break;
    }
    return Why();
}

std::string FlushAndRename(const FILEPATH& temporary, const FILEPATH& target) {
    {
        const Descriptor file(temporary, O_RDONLY);
        if (!file.Open() || fsync(file.Get()) != 0) return Why();
    }
    if (std::rename(temporary.c_str(), target.c_str()) != 0) return Why();
    // The new name itself has to reach the disc. Where a folder can't be flushed, it soon will.
    const Descriptor folder(target.has_parent_path() ? target.parent_path() : FILEPATH("."),
                            O_RDONLY | O_DIRECTORY);
    if (folder.Open()) static_cast<void>(fsync(folder.Get()));
    return {};
}

}  // namespace tarnvale::ZPF
