#include "vcard/host/card_server_win32.h"
#include "vcard/host/driver_node_win32.h"
#include "vcard/host/server.h"

#include <cstdio>
#include <stdexcept>

namespace tarn::vcard {

namespace {

void log_to_stderr(const std::string &line) {
    std::fprintf(stderr, "%s\n", line.c_str());
}

std::string too_few_nodes(size_t wanted, size_t present) {
    return "there are device nodes for " + std::to_string(present) + " of " +
           std::to_string(wanted) + " cards; \"tarn-vcard install --cards " +
           std::to_string(wanted) + "\" makes them";
}

} // namespace

struct Server::State {
    std::vector<std::unique_ptr<CardServer>> cards;
};

Server::Server(ServerOptions options) : state_(std::make_unique<State>()) {
    if (options.cards.empty()) {
        throw std::runtime_error("there must be at least one card");
    }
    if (!options.log) {
        options.log = log_to_stderr;
    }
    const std::vector<std::string> nodes = driver_node_paths();
    if (nodes.size() < options.cards.size()) {
        throw std::runtime_error(too_few_nodes(options.cards.size(), nodes.size()));
    }
    for (size_t i = 0; i < options.cards.size(); ++i) {
        const std::string prefix = "kpcidev" + std::to_string(i) + ": ";
        state_->cards.push_back(std::make_unique<CardServer>(
            options.cards[i], nodes[i],
            [log = options.log, prefix](const std::string &line) { log(prefix + line); }));
    }
    // The last one first: whoever finds card 0 finds them all.
    for (size_t i = options.cards.size(); i-- > 0;) {
        state_->cards[i]->show();
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
