// Commands of the board itself, which come over the secondary mailbox of channel 0.
#include "vcard/firmware/board.h"
#include "vcard/firmware/channel.h"
#include "vcard/firmware/status.h"

#include <string>

namespace tarn::vcard {

namespace {

using Result = std::optional<Reply>;

Reply out_of_flash(uint32_t address, uint64_t length) {
    return Reply::refused(status::kOutOfBounds, std::to_string(length) + " bytes from " +
                                                    std::to_string(address) +
                                                    " are not inside the flash");
}

Reply not_written() {
    return Reply::refused(status::kCannotWriteFile, "the flash cannot be written");
}

Result erase_flash(Channel &channel, Mailbox &, const Request &request) {
    const auto range = request.value<FlashRangeRecord>();
    if (!Flash::inside(range.address, range.length)) {
        return out_of_flash(range.address, range.length);
    }
    const bool kept = channel.board().flash().erase(range.address, range.length);
    return kept ? Reply::done() : not_written();
}

Result write_flash(Channel &channel, Mailbox &, const Request &request) {
    if (request.payload.size() < sizeof(uint32_t)) {
        return Reply::refused(status::kInconsistentLength, "the address is missing");
    }
    const auto address = request.value<uint32_t>();
    const auto data = request.payload.subspan(sizeof address);
    if (!Flash::inside(address, data.size())) {
        return out_of_flash(address, data.size());
    }
    return channel.board().flash().write(address, data) ? Reply::done() : not_written();
}

Result read_flash(Channel &channel, Mailbox &mailbox, const Request &request) {
    const auto range = request.value<FlashRangeRecord>();
    if (!Flash::inside(range.address, range.length)) {
        return out_of_flash(range.address, range.length);
    }
    if (range.length > mailbox.port().capacity()) {
        return Reply::refused(status::kBufferLimit,
                              std::to_string(range.length) + " bytes do not fit the slot, " +
                                  std::to_string(mailbox.port().capacity()) + " do");
    }
    return Reply{status::kNoError, channel.board().flash().read(range.address, range.length), {}};
}

Result apply_update(Channel &channel, Mailbox &, const Request &) {
    return channel.board().accept_update();
}

Result set_leds(Channel &channel, Mailbox &, const Request &request) {
    Board::Settings &settings = channel.board().settings();
    const auto values = request.value<uint32_t>();
    settings.led_first = static_cast<uint16_t>(values);
    settings.led_second = static_cast<uint16_t>(values >> 16);
    return Reply::done();
}

Result set_timeout_trigger(Channel &channel, Mailbox &, const Request &request) {
    channel.board().settings().timeout_trigger = request.value<uint32_t>();
    return Reply::done();
}

constexpr Service kServices[] = {
    {Command::ApplyUpdate, Ring::Board, 0, Needs::Nothing, apply_update},
    {Command::LedControl, Ring::Board, 4, Needs::Nothing, set_leds},
    {Command::FlashRead, Ring::Board, sizeof(FlashRangeRecord), Needs::Nothing, read_flash},
    {Command::FlashWrite, Ring::Board, kAnyLength, Needs::Nothing, write_flash},
    {Command::FlashErase, Ring::Board, sizeof(FlashRangeRecord), Needs::Nothing, erase_flash},
    {Command::TimeoutTriggerOn, Ring::Board, 4, Needs::Nothing, set_timeout_trigger},
    {Command::TimeoutTriggerOff, Ring::Board, 4, Needs::Nothing, set_timeout_trigger},
};

} // namespace

std::span<const Service> board_services() {
    return kServices;
}

} // namespace tarn::vcard
