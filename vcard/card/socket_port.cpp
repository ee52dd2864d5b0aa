#include "vcard/card/socket_port.h"

#include "base/card_memory.h"

#include <cstring>

namespace tarn::vcard {

SocketPort::Taken SocketPort::take(SocketMessage &message) {
    const uint32_t read = card::load32(from_host_.read);
    const uint32_t write = card::load32(from_host_.write);
    if (read == write) {
        return Taken::Nothing;
    }
    if (write - read > from_host_.mask + 1) {
        card::store32(from_host_.read, write);
        return Taken::BadCounters;
    }
    const uint8_t *slot = from_host_.slot(read);
    message.type = card::load32(slot + offsetof(SocketSlotHeader, type));
    message.parameter = card::load32(slot + offsetof(SocketSlotHeader, parameter));
    message.length = card::load32(slot + offsetof(SocketSlotHeader, length));
    message.payload.clear();
    const bool good = message.length <= capacity();
    if (good) {
        const uint8_t *payload = slot + sizeof(SocketSlotHeader);
        message.payload.assign(payload, payload + message.length);
    }
    card::store32(from_host_.read, read + 1);
    return good ? Taken::Message : Taken::BadLength;
}

bool SocketPort::has_room() const {
    // Counters that cannot be are the host's doing; take the ring as empty, so that it heals.
    return to_host_.filled() <= to_host_.mask || to_host_.impossible();
}

void SocketPort::put(const SocketMessage &message) {
    if (to_host_.impossible()) {
        card::store32(to_host_.write, card::load32(to_host_.read));
    }
    const uint32_t write = card::load32(to_host_.write);
    uint8_t *slot = to_host_.slot(write);
    card::store32(slot + offsetof(SocketSlotHeader, type), message.type);
    card::store32(slot + offsetof(SocketSlotHeader, parameter), message.parameter);
    card::store32(slot + offsetof(SocketSlotHeader, length),
                  static_cast<uint32_t>(message.payload.size()));
    if (!message.payload.empty()) {
        std::memcpy(slot + sizeof(SocketSlotHeader), message.payload.data(),
                    message.payload.size());
    }
    card::store32(to_host_.write, write + 1);
}

} // namespace tarn::vcard
