// One device node of the virtual cards' driver, as the process that runs the firmware uses it.
#pragma once

#include "vcard/driver/firmware_interface_win32.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace tarn::vcard {

// Paths of the nodes' firmware interfaces, in the order of the cards.
std::vector<std::string> driver_node_paths();

class DriverNode {
  public:
    // Opens a node. Throws std::runtime_error with a text for the user, as everything here does
    // that cannot do its work.
    explicit DriverNode(const std::string &path);
    // Closes it; the card goes with it.
    ~DriverNode();
    DriverNode(const DriverNode &) = delete;
    DriverNode &operator=(const DriverNode &) = delete;

    // Makes this handle the card, with BARs of these sizes. False when another process is it.
    bool attach(std::span<const uint32_t> bar_sizes);
    // Memory of a BAR, until the object goes.
    uint8_t *map(uint32_t bar);
    // Shows the card to its users.
    void show();
    // Raises interrupt 0..7. Callable from any thread; does nothing when the node has gone.
    void raise(uint32_t interrupt) noexcept;

    // Asks for the next event. event() is signalled when it is there, and next_event() gives it
    // and asks for another one. False when the node has gone.
    bool ask();
    [[nodiscard]] void *event() const { return event_; }
    bool next_event(FirmwareEvent &event);

    // The user's side of a transfer. False when the user does not want it any more.
    bool fetch(const FirmwareEvent &transfer, std::span<uint8_t> data);
    bool store(const FirmwareEvent &transfer, std::span<const uint8_t> data);
    bool complete(const FirmwareEvent &transfer, bool ok, uint32_t length);

  private:
    bool control(uint32_t code, const void *input, size_t input_size, void *output,
                 size_t output_size) noexcept;

    void *device_;
    void *event_;
    std::vector<std::pair<uint32_t, uint64_t>> mapped_; // BAR and address
    alignas(8) uint8_t request_[32] = {}; // the system's record of the request for an event
    FirmwareEvent answer_ = {};
    bool asked_ = false;
};

} // namespace tarn::vcard
