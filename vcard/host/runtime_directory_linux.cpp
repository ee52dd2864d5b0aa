#include "vcard/host/runtime_directory.h"

#include "device/card_link_linux.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace tarn::vcard {

namespace {

std::string owner_file(const std::string &directory) {
    return directory + "/tarn-vcard.pid";
}

[[noreturn]] void fail(const std::string &what, int error) {
    throw std::runtime_error(what + ": " + std::generic_category().message(error));
}

struct flock whole_file() {
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return lock;
}

bool is_file_at(int fd, const std::string &path) {
    struct stat open_file = {};
    struct stat named_file = {};
    return fstat(fd, &open_file) == 0 && stat(path.c_str(), &named_file) == 0 &&
           open_file.st_dev == named_file.st_dev && open_file.st_ino == named_file.st_ino;
}

} // namespace

std::string user_runtime_directory() {
    char path[PATH_MAX];
    if (!link::user_directory(path, sizeof(path))) {
        throw std::runtime_error("XDG_RUNTIME_DIR is too long");
    }
    return path;
}

void make_runtime_directory(const std::string &directory, bool closed) {
    if (mkdir(directory.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
        fail("cannot make the runtime directory " + directory, errno);
    }
    struct stat info = {};
    if (lstat(directory.c_str(), &info) != 0) {
        fail("cannot use the runtime directory " + directory, errno);
    }
    if (!S_ISDIR(info.st_mode)) {
        fail("cannot use the runtime directory " + directory, ENOTDIR);
    }
    if (info.st_uid != geteuid()) {
        throw std::runtime_error("the runtime directory " + directory + " belongs to another user");
    }
    const mode_t forbidden = closed ? S_IRWXG | S_IRWXO : S_IWGRP | S_IWOTH;
    if ((info.st_mode & forbidden) != 0) {
        throw std::runtime_error("the runtime directory " + directory +
                                 " is open to others; close it with: chmod 700 " + directory);
    }
}

std::optional<int64_t> runtime_owner(const std::string &directory) {
    const int fd = open(owner_file(directory).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return std::nullopt;
    }
    struct flock lock = whole_file();
    std::optional<int64_t> owner;
    char text[32] = {};
    // Until the owner has written its number, 0 stands for it.
    if (fcntl(fd, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK &&
        read(fd, text, sizeof(text) - 1) >= 0) {
        owner = std::strtol(text, nullptr, 10);
    }
    close(fd);
    return owner;
}

struct RuntimeOwnership::State {
    std::string path;
    int fd = -1;
    ~State() {
        if (fd >= 0) {
            close(fd);
        }
    }
};

RuntimeOwnership::RuntimeOwnership(const std::string &directory)
    : state_(std::make_unique<State>()) {
    const std::string &path = state_->path = owner_file(directory);
    int &fd = state_->fd;
    // A file that its last owner has removed meanwhile marks nothing: take the one with the name.
    while (fd < 0 || !is_file_at(fd, path)) {
        if (fd >= 0) {
            close(fd);
        }
        fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
        if (fd < 0) {
            fail("cannot write " + path, errno);
        }
        struct flock lock = whole_file();
        if (fcntl(fd, F_OFD_SETLK, &lock) != 0) {
            const int64_t owner = runtime_owner(directory).value_or(0);
            throw std::runtime_error("tarn-vcard is already running in " + directory +
                                     (owner > 0 ? " (process " + std::to_string(owner) + ")" : ""));
        }
    }
    const std::string text = std::to_string(getpid()) + "\n";
    if (ftruncate(fd, 0) != 0 || write(fd, text.data(), text.size()) < 0) {
        fail("cannot write " + path, errno);
    }
}

RuntimeOwnership::~RuntimeOwnership() {
    unlink(state_->path.c_str());
}

} // namespace tarn::vcard
