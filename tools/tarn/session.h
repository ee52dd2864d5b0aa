// The card and the channel that a command works on, opened when they are first needed.
#pragma once

#include "errors.h"

#include <pci_tarn/pci_tarn.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarn {

struct CloseBoard {
    void operator()(BoardHandle *handle) const { BoardClose(handle); }
};
struct CloseChannel {
    void operator()(EcatHandle *handle) const { EcatClose(handle); }
};
using BoardPtr = std::unique_ptr<BoardHandle, CloseBoard>;
using ChannelPtr = std::unique_ptr<EcatHandle, CloseChannel>;

// What the command line says about it.
struct Target {
    std::string board = "ID0";
    uint32_t channel = 0;
    std::optional<uint32_t> timeout_ms;
};

class Session {
  public:
    explicit Session(const Target &target) : target_(target) {}

    // Each throws Failure when the card or the channel cannot be opened.
    BoardHandle *board();
    EcatHandle *channel();
    // Another channel of the same card, its versions unchecked.
    [[nodiscard]] ChannelPtr open_unchecked(uint32_t channel) const;

    [[nodiscard]] const Target &target() const { return target_; }
    [[nodiscard]] uint32_t timeout_ms() const;

  private:
    [[nodiscard]] Failure open_failure(uint32_t status) const;

    const Target &target_;
    BoardPtr board_;
    ChannelPtr channel_;
};

// Cards that are present, in the order of ID0, ID1, ...; a card that cannot be read has no info.
struct PresentBoard {
    uint32_t status = 0;
    BoardInfo info{};
};
std::vector<PresentBoard> present_boards();

} // namespace tarn
