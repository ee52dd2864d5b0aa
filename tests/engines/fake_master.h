// An opened channel over two fake mailboxes. It notes all requests in one order, and who holds what
// meanwhile.
#pragma once

#include "fake_card.h"

#include "handle/ecat_handle.h"

#include <map>
#include <numeric>

namespace tarn::test {

class FakeMaster {
  public:
    static constexpr uint32_t kTimeoutMs = 200;

    explicit FakeMaster(Geometry first = {}, Geometry second = {})
        : primary(first), secondary(second), handle_(std::make_unique<EcatHandle>()) {
        handle_->primary = primary.channel();
        handle_->secondary = secondary.channel();
        handle_->timeout_ms = kTimeoutMs;
        primary.answer = [this](const Seen &request) { return note("primary", request); };
        secondary.answer = [this](const Seen &request) { return note("secondary", request); };
    }

    EcatHandle *handle() { return handle_.get(); }

    bool nothing_happened() const {
        return log.empty() && primary.locked == 0 && secondary.locked == 0;
    }

    // Neither mailbox is held any more, and each lock taken was given back.
    bool all_released() const { return primary.locks == 0 && secondary.locks == 0; }

    FakeCard primary;
    FakeCard secondary;
    std::map<int, std::vector<Reply>> replies; // by code; an empty list: no reply. Else status 0
    std::vector<std::string> log;              // such as "primary 13 under primary"
    std::function<void(const Seen &)> on_request;

  private:
    std::vector<Reply> note(const std::string &mailbox, const Seen &request) {
        std::string text = mailbox + " " + std::to_string(request.code) + " under";
        text += primary.locks > 0 ? " primary" : "";
        text += secondary.locks > 0 ? " secondary" : "";
        log.push_back(text);
        if (on_request) {
            on_request(request);
        }
        const auto found = replies.find(request.code);
        return found == replies.end() ? std::vector<Reply>{{}} : found->second;
    }

    std::unique_ptr<EcatHandle> handle_;
};

inline Bytes counted(size_t size) {
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), uint8_t{1});
    return bytes;
}

inline Bytes operator+(Bytes left, const Bytes &right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

} // namespace tarn::test
