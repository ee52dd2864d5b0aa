#include "host_file.h"

#include "errors.h"
#include "terminal.h"
#include "text.h"

#include <pci_tarn/pci_tarn.h>

#include <iterator>
#include <random>

namespace tarn {

namespace fs = std::filesystem;

namespace {

constexpr const char *kWriteHint = "is there such a folder, room in it, and may you write there?";

std::string quoted(const std::string &path) {
    return "\"" + printable(path) + "\"";
}

void refuse_folder(const std::string &path) {
    std::error_code ignored;
    if (fs::is_directory(path, ignored)) {
        throw Failure(quoted(path) + " is a folder", "name a file");
    }
}

Failure cannot_write(const std::string &path) {
    return Failure("cannot write " + quoted(path), kWriteHint);
}

// A device or a pipe cannot be replaced: renaming a file over it would take it away from everybody.
bool is_written_in_place(const std::string &path) {
    std::error_code ignored;
    const fs::file_status status = fs::status(path, ignored);
    return fs::exists(status) && !fs::is_regular_file(status);
}

// The path at the end of links, whether or not there is something.
fs::path behind_links(const std::string &path) {
    constexpr int kMostLinks = 40; // as many as Linux follows
    fs::path target = path;
    std::error_code error;
    for (int i = 0; i < kMostLinks && fs::is_symlink(fs::symlink_status(target, error)); ++i) {
        const fs::path next = fs::read_symlink(target, error);
        if (error) {
            break;
        }
        target = target.parent_path() / next; // an absolute one stands alone
    }
    return target;
}

Failure cannot_read(const std::string &path) {
    return {PCI_TARN_E_OPEN_FILE, "cannot read " + quoted(path)};
}

} // namespace

std::vector<uint8_t> read_file(const std::string &path) {
    refuse_folder(path);
    std::ifstream file(path, std::ios::binary);
    std::vector<uint8_t> data((std::istreambuf_iterator<char>(file)),
                              std::istreambuf_iterator<char>());
    if (!file.is_open() || file.bad()) {
        throw cannot_read(path);
    }
    return data;
}

void write_file(const std::string &path, const std::vector<uint8_t> &data) {
    refuse_folder(path);
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char *>(data.data()),
               static_cast<std::streamsize>(data.size()));
    file.close();
    if (!file) {
        throw cannot_write(path);
    }
}

std::vector<uint8_t> read_standard_input() {
    terminal::set_binary(stdin);
    std::vector<uint8_t> data;
    for (int byte = std::getchar(); byte != EOF; byte = std::getchar()) {
        data.push_back(static_cast<uint8_t>(byte));
    }
    return data;
}

std::vector<uint8_t> read_file_or_input(const std::string &path) {
    return path == "-" ? read_standard_input() : read_file(path);
}

void replace_file(const std::string &path, const std::vector<uint8_t> &data) {
    if (is_written_in_place(path)) {
        write_file(path, data);
        return;
    }
    const TempFile part(TempFile::folder_for(path));
    write_file(part.path(), data);
    part.become(path);
}

// A pipe is not opened: that waits for its reader, who may then see the end of it.
void check_writable(const std::string &path) {
    refuse_folder(path);
    if (!is_written_in_place(path)) {
        const TempFile part(TempFile::folder_for(path));
    }
}

bool is_same_file(const std::string &one, const std::string &other) {
    std::error_code ignored; // of a file that is not there yet
    return one == other || fs::equivalent(one, other, ignored);
}

PieceFile::PieceFile(std::string path) : path_(std::move(path)) {
    check_writable(path_);
}

void PieceFile::add(const std::vector<uint8_t> &data) {
    if (!file_.is_open()) {
        file_.open(path_, std::ios::binary | std::ios::trunc);
    }
    file_.write(reinterpret_cast<const char *>(data.data()),
                static_cast<std::streamsize>(data.size()));
    if (!file_.flush()) {
        throw cannot_write(path_);
    }
}

std::string last_part(const std::string &path) {
    std::string name = fs::path(path).filename().string();
    if (name.empty()) {
        throw UsageError("\"" + printable(path) + "\" ends with no name");
    }
    return name;
}

uint64_t check_sendable(const std::string &path) {
    refuse_folder(path);
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file) {
        throw cannot_read(path);
    }
    if (!std::fstream(path, std::ios::binary | std::ios::in | std::ios::out)) {
        throw Failure(PCI_TARN_E_OPEN_FILE, quoted(path) + " cannot be opened for writing",
                      "it is not written, but the transfer needs that; make it writable, or send "
                      "a copy");
    }
    return static_cast<uint64_t>(file.tellg());
}

fs::path TempFile::folder_for(const std::string &target) {
    refuse_folder(target);
    return is_written_in_place(target) ? fs::temp_directory_path()
                                       : behind_links(target).parent_path();
}

TempFile::TempFile(const fs::path &folder) {
    std::random_device random;
    path_ = folder / format(".tarn-%08x%08x.part", random(), random());
    terminal::remove_on_interrupt(path_.string());
    if (!std::ofstream(path_)) {
        terminal::remove_on_interrupt("");
        const std::string name = folder.string();
        throw Failure("cannot write in the folder " + quoted(name.empty() ? "." : name),
                      kWriteHint);
    }
}

TempFile::~TempFile() {
    std::error_code ignored;
    fs::remove(path_, ignored);
    terminal::remove_on_interrupt("");
}

void TempFile::become(const std::string &target) const {
    if (is_written_in_place(target)) {
        write_file(target, read_file(path()));
        return;
    }
    std::error_code error;
    fs::rename(path_, behind_links(target), error);
    if (error) {
        throw Failure("cannot write " + quoted(target), error.message());
    }
}

} // namespace tarn
