// Serves one card to any number of clients, on one thread.
#pragma once

#include "vcard/firmware/firmware.h"

#include <memory>
#include <string>

namespace tarn::vcard {

class CardServer {
  public:
    // Boots the card. `log` must be callable from any thread. Throws std::exception with a text for
    // the user.
    CardServer(const CardConfig &config, uint64_t driver_version, const LogLine &log);
    // Ends the thread and the buses and lets all clients go.
    ~CardServer();
    CardServer(const CardServer &) = delete;
    CardServer &operator=(const CardServer &) = delete;

    // Lets clients connect at a socket with this path, which must not exist.
    void listen_at(const std::string &path);

    Firmware &firmware();

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace tarn::vcard
