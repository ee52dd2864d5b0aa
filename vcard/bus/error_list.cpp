#include "vcard/bus/error_list.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace tarn::vcard {

void copy_text(char *field, size_t size, const std::string &text) {
    size_t length = std::min(text.size(), size - 1);
    const auto continues = [&text](size_t at) {
        return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80;
    };
    while (length > 0 && continues(length)) { // not inside a UTF-8 character
        --length;
    }
    std::memset(field, 0, size);
    std::copy_n(text.begin(), length, field);
}

ErrorList::ErrorList(std::function<uint64_t()> utc_ns) : utc_ns_(std::move(utc_ns)) {}

uint32_t ErrorList::add(const BusError &error) {
    VcardErrorRecord record{};
    record.time_ns = time_ns();
    record.utc_ns = utc_ns_ ? utc_ns_() : 0;
    record.status = error.status;
    record.kind = static_cast<uint16_t>(error.kind);
    record.slave = error.slave;
    record.port = error.port;
    record.al_status_code = error.al_status_code;
    copy_text(record.text, error.text);
    const std::scoped_lock lock(mutex_);
    record.number = ++count_;
    records_.push_back(record);
    if (records_.size() > VCARD_ERROR_RECORDS) {
        records_.pop_front();
    }
    return count_;
}

bool ErrorList::change(uint32_t number, const std::string &text) {
    const std::scoped_lock lock(mutex_);
    if (number == 0 || number != count_) {
        return false;
    }
    copy_text(records_.back().text, text);
    return true;
}

uint32_t ErrorList::count() const {
    const std::scoped_lock lock(mutex_);
    return count_;
}

std::vector<VcardErrorRecord> ErrorList::newest_first() const {
    const std::scoped_lock lock(mutex_);
    return {records_.rbegin(), records_.rend()};
}

uint64_t ErrorList::time_ns() const {
    const auto since = std::chrono::steady_clock::now() - power_up_;
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(since).count());
}

} // namespace tarn::vcard
