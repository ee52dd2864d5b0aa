#include "vcard/firmware/service.h"

#include <array>
#include <initializer_list>

namespace tarn::vcard {

namespace {

constexpr size_t kCodes = 128;
using Index = std::array<const Service *, kCodes>;

Index make_index(std::initializer_list<std::span<const Service>> families) {
    Index index{};
    for (const auto family : families) {
        for (const Service &service : family) {
            index.at(static_cast<size_t>(service.command)) = &service;
        }
    }
    return index;
}

} // namespace

const Service *find_service(uint16_t code, uint32_t channel, bool primary) {
    static const Index channels = make_index(
        {file_services(), bus_services(), slave_services(), setting_services(),
         diagnostic_services(), slave_access_services(), mailbox_services(), watchdog_services()});
    static const Index board = make_index({board_services()});
    if (code >= kCodes) {
        return nullptr;
    }
    if (channel == 0 && !primary && board[code] != nullptr) {
        return board[code];
    }
    const Service *service = channels[code];
    const Ring other = primary ? Ring::Secondary : Ring::Primary;
    return service != nullptr && service->ring != other ? service : nullptr;
}

} // namespace tarn::vcard
