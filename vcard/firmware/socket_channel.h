// The services behind the socket channel: echo and log. Their messages are in records.h.
#pragma once

#include "tarn_vcard/records.h"
#include "vcard/card/memory.h"
#include "vcard/card/socket_port.h"
#include "vcard/firmware/faults.h"

#include <deque>
#include <functional>
#include <string>

namespace tarn::vcard {

class SocketChannel {
  public:
    // `ring` raises the channel's interrupt.
    SocketChannel(SocketPort port, Faults &faults, std::function<void()> ring, LogLine log);

    // Serves what is there, and true when there was something. While the host leaves its ring full,
    // as many answers as it has slots wait here, then messages do where they are.
    bool serve();

    // Sends the answers that wait, where there is room.
    bool flush();

    [[nodiscard]] bool used() const { return received_ != 0; }
    [[nodiscard]] std::string describe() const;

  private:
    void take(const SocketMessage &message);
    void write_log(const SocketMessage &message) const;
    void answer_error(const SocketMessage &message, VcardSocketReason reason);

    SocketPort port_;
    Faults &faults_;
    std::function<void()> ring_;
    LogLine log_;
    std::deque<SocketMessage> waiting_;
    uint64_t received_ = 0;
    uint64_t sent_ = 0;
    uint64_t refused_ = 0;
};

} // namespace tarn::vcard
