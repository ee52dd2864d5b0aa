#include "host_file.h"

#include "errors.h"
#include "terminal.h"
#include "text.h"

#include <pci_tarn/pci_tarn.h>

#include <fstream>
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
        throw Failure("cannot write " + quoted(path), kWriteHint);
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
    const TempFile part(TempFile::folder_for(path));
    write_file(part.path(), data);
    part.become(path);
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
    return fs::path(target).parent_path();
}

TempFile::TempFile(const fs::path &folder) {
    std::random_device random;
    path_ = folder / format(".tarn-%08x%08x.part", random(), random());
    if (!std::ofstream(path_)) {
        const std::string name = folder.string();
        throw Failure("cannot write in the folder " + quoted(name.empty() ? "." : name),
                      kWriteHint);
    }
}

TempFile::~TempFile() {
    std::error_code ignored;
    fs::remove(path_, ignored);
}

void TempFile::become(const std::string &target) const {
    std::error_code error;
    fs::rename(path_, target, error);
    if (error) {
        throw Failure("cannot write " + quoted(target), error.message());
    }
}

} // namespace tarn
