// One mailbox of a channel: its rings, the replies that wait, the faults that befall them, and the
// file transfer that is open on it.
#pragma once

#include "vcard/card/ring_port.h"
#include "vcard/firmware/bus_control.h"
#include "vcard/firmware/faults.h"
#include "vcard/firmware/file_store.h"
#include "vcard/firmware/service.h"

#include <deque>
#include <functional>

namespace tarn::vcard {

class Mailbox {
  public:
    // `ring` raises the mailbox's interrupt.
    Mailbox(bool primary, RingPort port, FileStore &files, Faults &faults,
            std::function<void()> ring);

    [[nodiscard]] bool primary() const { return primary_; }
    [[nodiscard]] const char *name() const { return primary_ ? "primary" : "secondary"; }
    RingPort &port() { return port_; }
    FileTransfer &transfer() { return transfer_; }
    Faults &faults() { return faults_; }

    // A reply waits: for room in the ring, or for the end of a delay.
    [[nodiscard]] bool busy() const { return !waiting_.empty(); }

    void answer(uint16_t code, uint16_t sequence, Reply reply, Clock::time_point now);

    // Sends what is due and has room. True when something went out.
    bool flush(Clock::time_point now);

  private:
    struct Waiting {
        ReplySlot slot;
        Clock::time_point due;
    };

    bool primary_;
    RingPort port_;
    FileTransfer transfer_;
    Faults &faults_;
    std::function<void()> ring_;
    std::deque<Waiting> waiting_;
};

// Takes one of a fault's remaining times.
bool take_fault(std::atomic<uint32_t> &remaining);

} // namespace tarn::vcard
