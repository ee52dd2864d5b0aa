// The host adapter: makes the card's memory reachable for clients, carries interrupts to them and
// calls the firmware. One implementation per operating system.
#pragma once

#include "vcard/card/config.h"
#include "vcard/firmware/firmware.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tarn::vcard {

struct ServerOptions {
    std::vector<CardConfig> cards;
    std::string directory; // where the card sockets lie; empty: the user's default
    uint64_t driver_version = 0x0001000000000004; // four 16-bit fields, most significant first
    std::function<void(const std::string &)> log; // one line; null: standard error
};

// Serves all cards on threads of its own until it is destroyed. Usable inside a test process as
// well as in the tarn-vcard program.
class Server {
  public:
    // Throws std::runtime_error with a text for the user when the cards cannot be offered.
    explicit Server(ServerOptions options);
    ~Server();
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    Firmware &card(size_t index);
    [[nodiscard]] size_t card_count() const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace tarn::vcard
