// The services of the firmware: one table row per command code, one file per family.
#pragma once

#include "layout/commands.h"

#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

namespace tarn::vcard {

class Channel;
class Mailbox;

struct Request {
    uint16_t code;
    std::span<const uint8_t> payload;

    // The payload's first bytes as a number; the table has checked that they are there.
    template <typename T>
    [[nodiscard]] T value() const {
        T number{};
        std::memcpy(&number, payload.data(), sizeof number);
        return number;
    }
};

struct Reply {
    uint32_t status = 0;
    std::vector<uint8_t> payload;
    std::string reason; // for the log, when the request is refused

    static Reply done() { return {}; }
    static Reply refused(uint32_t status, std::string reason) {
        return {status, {}, std::move(reason)};
    }
    template <typename T>
    static Reply value(const T &record) {
        static_assert(std::is_trivially_copyable_v<T>);
        Reply reply;
        reply.payload.resize(sizeof record);
        std::memcpy(reply.payload.data(), &record, sizeof record);
        return reply;
    }
};

// What must hold before a handler is called.
enum class Needs {
    Nothing,
    Configuration,
    Slave, // a configuration, and the payload starts with the index of one of its slaves
};

// Board: the secondary mailbox of channel 0.
enum class Ring { Primary, Secondary, Either, Board };

inline constexpr uint32_t kAnyLength = ~0U;

// Nothing: the reply comes later.
using Handler = std::optional<Reply> (*)(Channel &, Mailbox &, const Request &);

struct Service {
    Command command;
    Ring ring;
    uint32_t request_length;
    Needs needs;
    Handler handle;
};

std::span<const Service> file_services();
std::span<const Service> bus_services();
std::span<const Service> slave_services();
std::span<const Service> mailbox_services();
std::span<const Service> setting_services();
std::span<const Service> diagnostic_services();
std::span<const Service> slave_access_services();
std::span<const Service> watchdog_services();
std::span<const Service> board_services();

// Null when the mailbox has no such service. On the board's own mailbox the board's services come
// before those of the channel.
const Service *find_service(uint16_t code, uint32_t channel, bool primary);

} // namespace tarn::vcard
