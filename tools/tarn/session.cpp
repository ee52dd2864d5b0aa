#include "session.h"

#include "text.h"

namespace tarn {

namespace {

constexpr uint32_t kDefaultTimeoutMs = 20000; // of a channel that was just opened

} // namespace

std::vector<PresentBoard> present_boards() {
    DriverInfo driver{};
    std::vector<PresentBoard> boards;
    if (DriverGetInfo(&driver) != PCI_TARN_OK) {
        return boards;
    }
    for (uint32_t i = 0; i < driver.board_count; ++i) {
        PresentBoard board;
        board.status = DriverEnumBoard(i, &board.info);
        boards.push_back(board);
    }
    return boards;
}

uint32_t Session::timeout_ms() const {
    return target_.timeout_ms.value_or(kDefaultTimeoutMs);
}

// Names what was looked for, and what there is instead.
Failure Session::open_failure(uint32_t status) const {
    const std::string card = "card \"" + printable(target_.board) + "\"";
    if (status == PCI_TARN_E_NO_DEVICE) {
        std::string names;
        for (const PresentBoard &board : present_boards()) {
            names += names.empty() ? "" : ", ";
            names += board.status == PCI_TARN_OK ? "\"" + printable(board.info.name) + "\"" : "?";
        }
        return Failure(status, "no card named \"" + printable(target_.board) + "\"",
                       names.empty() ? "" : "present: " + names + " (tarn boards lists them)");
    }
    if (status == PCI_TARN_E_CHANNEL) {
        return Failure(status, card + " has no channel " + std::to_string(target_.channel));
    }
    return Failure(status, "cannot open " + card + ", channel " + std::to_string(target_.channel));
}

BoardHandle *Session::board() {
    if (!board_) {
        BoardHandle *handle = nullptr;
        const uint32_t status = BoardOpen(&handle, target_.board.c_str());
        if (status != PCI_TARN_OK) {
            throw open_failure(status);
        }
        board_.reset(handle);
        BoardSetTimeout(handle, timeout_ms());
    }
    return board_.get();
}

EcatHandle *Session::channel() {
    if (!channel_) {
        EcatHandle *handle = nullptr;
        const uint32_t status = EcatOpen(&handle, target_.board.c_str(), target_.channel);
        if (status != PCI_TARN_OK) {
            throw open_failure(status);
        }
        channel_.reset(handle);
        EcatSetTimeout(handle, timeout_ms());
    }
    return channel_.get();
}

ChannelPtr Session::open_unchecked(uint32_t channel) const {
    EcatHandle *handle = nullptr;
    const uint32_t status = EcatOpenEx(&handle, target_.board.c_str(), channel, 1);
    if (status != PCI_TARN_OK) {
        throw open_failure(status);
    }
    EcatSetTimeout(handle, timeout_ms());
    return ChannelPtr(handle);
}

} // namespace tarn
