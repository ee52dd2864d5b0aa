#include "vcard/firmware/service.h"

#include <array>

namespace tarn::vcard {

namespace {

constexpr size_t kCodes = 128;
using Index = std::array<const Service *, kCodes>;

Index make_index() {
    Index index{};
    for (const auto family :
         {file_services(), bus_services(), slave_services(), setting_services()}) {
        for (const Service &service : family) {
            index.at(static_cast<size_t>(service.command)) = &service;
        }
    }
    return index;
}

} // namespace

const Service *find_service(uint16_t code, bool primary) {
    static const Index index = make_index();
    const Service *service = code < kCodes ? index[code] : nullptr;
    return service != nullptr && (primary || service->ring == Ring::Either) ? service : nullptr;
}

} // namespace tarn::vcard
