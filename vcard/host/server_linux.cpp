#include "vcard/host/server.h"

#include "device/card_link_linux.h"
#include "vcard/host/card_server_linux.h"
#include "vcard/host/runtime_directory.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace tarn::vcard {

namespace {

std::string socket_path(const std::string &directory, size_t index) {
    char path[4096];
    std::snprintf(path, sizeof(path), link::kSocketFormat, directory.c_str(),
                  static_cast<unsigned>(index));
    return path;
}

bool is_socket_name(const std::string &name) {
    constexpr std::string_view kPrefix = "kpcidev";
    return name.starts_with(kPrefix) && name.size() > kPrefix.size() &&
           std::all_of(name.begin() + kPrefix.size(), name.end(),
                       [](char c) { return c >= '0' && c <= '9'; });
}

// Sockets that a server left behind which was killed.
void remove_sockets(const std::string &directory) {
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator(directory, error)) {
        if (is_socket_name(entry.path().filename())) {
            std::filesystem::remove(entry.path(), error);
        }
    }
}

void log_to_stderr(const std::string &line) {
    std::fprintf(stderr, "%s\n", line.c_str());
}

} // namespace

struct Server::State {
    std::string directory;
    std::unique_ptr<RuntimeOwnership> ownership;
    std::vector<std::unique_ptr<CardServer>> cards;

    ~State() {
        if (ownership != nullptr) {
            remove_sockets(directory);
        }
        cards.clear();
    }
};

Server::Server(ServerOptions options) : state_(std::make_unique<State>()) {
    if (options.cards.empty()) {
        throw std::runtime_error("there must be at least one card");
    }
    if (!options.log) {
        options.log = log_to_stderr;
    }
    const std::string user_directory = user_runtime_directory();
    const std::string directory = options.directory.empty() ? user_directory : options.directory;
    make_runtime_directory(directory, directory == user_directory);
    state_->directory = directory;
    state_->ownership = std::make_unique<RuntimeOwnership>(directory);
    remove_sockets(directory);
    for (size_t i = 0; i < options.cards.size(); ++i) {
        const std::string prefix = "kpcidev" + std::to_string(i) + ": ";
        state_->cards.push_back(std::make_unique<CardServer>(
            options.cards[i], options.driver_version,
            [log = options.log, prefix](const std::string &line) { log(prefix + line); }));
    }
    // The last one first: whoever finds card 0 finds them all.
    for (size_t i = options.cards.size(); i-- > 0;) {
        state_->cards[i]->listen_at(socket_path(directory, i));
    }
}

Server::~Server() = default;

Firmware &Server::card(size_t index) {
    return state_->cards.at(index)->firmware();
}

size_t Server::card_count() const {
    return state_->cards.size();
}

} // namespace tarn::vcard
