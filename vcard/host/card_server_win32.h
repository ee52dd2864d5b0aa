// Serves one card to any number of users through its device node, on one thread.
#pragma once

#include "vcard/firmware/firmware.h"

#include <memory>
#include <string>

namespace tarn::vcard {

class CardServer {
  public:
    // Boots the card on a device node. `log` must be callable from any thread. Throws
    // std::exception with a text for the user.
    CardServer(const CardConfig &config, const std::string &node_path, const LogLine &log);
    // Ends the thread and the buses; the card is gone for its users.
    ~CardServer();
    CardServer(const CardServer &) = delete;
    CardServer &operator=(const CardServer &) = delete;

    // Shows the card to its users.
    void show();

    Firmware &firmware();

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace tarn::vcard
