// Commands 1 to 5: files between host and card.
#include "vcard/firmware/channel.h"
#include "vcard/firmware/status.h"

#include <algorithm>

namespace tarn::vcard {

namespace {

constexpr uint16_t kToCard = 'w';
constexpr uint16_t kFromCard = 'r';

std::optional<Reply> open(Channel &, Mailbox &mailbox, const Request &request) {
    const auto record = request.value<FileOpenRecord>();
    const char *end = std::find(std::begin(record.name), std::end(record.name), '\0');
    if (end == std::end(record.name)) {
        return Reply::refused(status::kInvalidArguments, "the file name does not end");
    }
    const std::string name(record.name, end);
    if (name.empty()) {
        return Reply::refused(status::kCannotOpenFile, "the file name is empty");
    }
    if (record.direction == kToCard) {
        mailbox.transfer().open_write(name);
        return Reply::done();
    }
    if (record.direction != kFromCard) {
        return Reply::refused(status::kInvalidArguments,
                              "direction " + std::to_string(record.direction));
    }
    if (!mailbox.transfer().open_read(name)) {
        return Reply::refused(status::kCannotOpenFile, "no file \"" + name + "\"");
    }
    return Reply::done();
}

std::optional<Reply> write(Channel &, Mailbox &mailbox, const Request &request) {
    FileTransfer &transfer = mailbox.transfer();
    if (!transfer.writing()) {
        return Reply::refused(status::kCannotWriteFile, "no file is open for writing");
    }
    if (mailbox.faults().refuse_chunks) {
        transfer.spoil();
        return Reply::refused(status::kCannotWriteFile, "fault on demand");
    }
    if (!transfer.write(request.payload)) {
        return Reply::refused(status::kCannotWriteFile, "the file is too large");
    }
    return Reply::done();
}

std::optional<Reply> read(Channel &, Mailbox &mailbox, const Request &request) {
    if (!mailbox.transfer().reading()) {
        return Reply::refused(status::kCannotReadFile, "no file is open for reading");
    }
    const uint32_t wanted = std::min(request.value<uint32_t>(), mailbox.port().capacity());
    return Reply{status::kNoError, mailbox.transfer().read(wanted), {}};
}

std::optional<Reply> size(Channel &, Mailbox &mailbox, const Request &) {
    if (!mailbox.transfer().reading()) {
        return Reply::refused(status::kCannotReadFile, "no file is open for reading");
    }
    return Reply::value(mailbox.transfer().size());
}

std::optional<Reply> close(Channel &, Mailbox &mailbox, const Request &) {
    if (!mailbox.transfer().open()) {
        return Reply::refused(status::kNotPermitted, "no file is open");
    }
    if (!mailbox.transfer().close()) {
        return Reply::refused(status::kMemoryLimit, "the card's file store is full");
    }
    return Reply::done();
}

constexpr Service kServices[] = {
    {Command::FileOpen, Ring::Either, sizeof(FileOpenRecord), Needs::Nothing, open},
    {Command::FileWrite, Ring::Either, kAnyLength, Needs::Nothing, write},
    {Command::FileRead, Ring::Either, 4, Needs::Nothing, read},
    {Command::FileSize, Ring::Either, 0, Needs::Nothing, size},
    {Command::FileClose, Ring::Either, 0, Needs::Nothing, close},
};

} // namespace

std::span<const Service> file_services() {
    return kServices;
}

} // namespace tarn::vcard
