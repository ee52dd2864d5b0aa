#include "vcard/firmware/socket_channel.h"

#include <cstring>
#include <utility>

namespace tarn::vcard {

SocketChannel::SocketChannel(SocketPort port, Faults &faults, std::function<void()> ring,
                             LogLine log)
    : port_(port), faults_(faults), ring_(std::move(ring)), log_(std::move(log)) {}

bool SocketChannel::serve() {
    bool worked = flush();
    SocketMessage message;
    for (uint32_t round = 0; round < port_.slots() && waiting_.size() < port_.slots(); ++round) {
        if (faults_.stop_draining) {
            break;
        }
        const SocketPort::Taken taken = port_.take(message);
        if (taken == SocketPort::Taken::Nothing) {
            break;
        }
        worked = true;
        if (taken == SocketPort::Taken::BadCounters) {
            log_("socket: impossible counters, messages dropped");
            break;
        }
        ++received_;
        if (taken == SocketPort::Taken::BadLength) {
            answer_error(message, VCARD_SOCKET_BAD_LENGTH);
        } else {
            take(message);
        }
        flush();
    }
    return worked;
}

void SocketChannel::take(const SocketMessage &message) {
    switch (message.type) {
    case VCARD_SOCKET_ECHO:
        waiting_.push_back(message);
        break;
    case VCARD_SOCKET_LOG:
        write_log(message);
        break;
    default:
        answer_error(message, VCARD_SOCKET_UNKNOWN_TYPE);
    }
}

void SocketChannel::write_log(const SocketMessage &message) const {
    std::string line;
    const auto end_line = [&] {
        if (!line.empty()) {
            log_("message: " + std::exchange(line, {}));
        }
    };
    for (const uint8_t byte : message.payload) {
        if (byte == '\n' || byte == '\r' || byte == 0) {
            end_line();
        } else {
            line += static_cast<char>(byte);
        }
    }
    end_line();
}

void SocketChannel::answer_error(const SocketMessage &message, VcardSocketReason reason) {
    ++refused_;
    log_("socket: message of type " + std::to_string(message.type) +
         (reason == VCARD_SOCKET_BAD_LENGTH
              ? " refused: length " + std::to_string(message.length) + " exceeds the slot"
              : " refused: no such type"));
    const VcardSocketError record = {message.type, message.parameter, message.length, reason};
    SocketMessage answer;
    answer.type = VCARD_SOCKET_ERROR;
    answer.parameter = message.parameter;
    answer.payload.resize(sizeof record);
    std::memcpy(answer.payload.data(), &record, sizeof record);
    waiting_.push_back(std::move(answer));
}

bool SocketChannel::flush() {
    bool sent = false;
    while (!waiting_.empty() && port_.has_room()) {
        port_.put(waiting_.front());
        waiting_.pop_front();
        ++sent_;
        sent = true;
    }
    if (sent && !faults_.no_interrupts) {
        ring_();
    }
    return sent;
}

std::string SocketChannel::describe() const {
    return "socket: " + std::to_string(received_) + " messages in, " + std::to_string(sent_) +
           " out, " + std::to_string(waiting_.size()) + " waiting, " + std::to_string(refused_) +
           " refused";
}

} // namespace tarn::vcard
