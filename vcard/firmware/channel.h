// The firmware of one EtherCAT channel: its mailboxes, its files, its bus and its settings.
#pragma once

#include "vcard/card/card_layout.h"
#include "vcard/firmware/bus_control.h"
#include "vcard/firmware/faults.h"
#include "vcard/firmware/file_store.h"
#include "vcard/firmware/firmware.h"
#include "vcard/firmware/mailbox.h"
#include "vcard/firmware/service.h"
#include "vcard/firmware/slave_files.h"
#include "vcard/firmware/socket_channel.h"

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tarn::vcard {

class Board;

struct ChannelOptions {
    uint32_t number = 0;
    const CardConfig *config = nullptr; // the card's; outlives the channel
    const CardLayout *layout = nullptr; // the same
    uint8_t *area = nullptr;
    InterruptLine interrupt;
    LogLine log;
    Faults *faults = nullptr;
    FileStore *files = nullptr; // outlives the channel, as do the slaves' files and the board
    SlaveFiles *slave_files = nullptr;
    Board *board = nullptr;
    std::shared_ptr<const Network> present; // fixed network, or null
    std::shared_ptr<EepromStore> eeproms;   // of the slaves
    std::function<void(SeenRequest)> seen;
    std::function<uint64_t()> utc_ns; // the card's clock, 0 while it is not set
};

class Channel {
  public:
    explicit Channel(ChannelOptions options);

    // Serves what is due; true when there was something.
    bool serve(Clock::time_point now);

    // Stops the bus and ends a start under way.
    void stop_bus();

    // Stops the bus and sends the replies that wait, where there is room.
    void shut_down(Clock::time_point now);

    [[nodiscard]] std::string describe() const; // lines, without the last line end

    // For the services.
    struct Settings {
        uint32_t auto_clear = 0;
        uint32_t ready_lost_timeout = 0;
        uint32_t timeout_trigger = 0;
    };
    Settings &settings() { return settings_; }
    BusControl &control() { return control_; }
    Bus &bus() { return control_.bus(); }
    Board &board() { return *options_.board; }
    const CardConfig &config() const { return *options_.config; }
    FileStore &files() { return *options_.files; }
    SlaveFiles &slave_files() { return *options_.slave_files; }
    [[nodiscard]] Clock::time_point now() const { return now_; } // of the present look
    // The present request is answered as soon as `later`, asked at once and at every look, gives a
    // reply.
    using Later = std::function<std::optional<Reply>(Clock::time_point)>;
    std::optional<Reply> reply_later(Later later);
    // Ends the requests of one command that are not answered yet.
    void abort_later(Command command);
    // Begins a bus start whose reply comes when it ends.
    std::optional<Reply> start_bus();

  private:
    struct PendingStart {
        Mailbox *mailbox;
        uint16_t code;
        uint16_t sequence;
    };

    struct PendingReply {
        Mailbox *mailbox;
        uint16_t code;
        uint16_t sequence;
        Later later;
    };

    Mailbox make_mailbox(bool primary);
    SocketChannel make_socket();
    [[nodiscard]] BusControlOptions bus_options() const;
    bool serve_stop_word();
    bool serve_start();
    bool serve_later();
    void abort_replies(std::optional<Command> command);
    bool serve_mailbox(Mailbox &mailbox);
    void take_request(Mailbox &mailbox, RingPort::Taken taken);
    std::optional<Reply> dispatch(Mailbox &mailbox, const Request &request);
    std::optional<Reply> serve_request(Mailbox &mailbox, const Request &request);
    void answer(Mailbox &mailbox, uint16_t code, uint16_t sequence, Reply reply);
    void end_start(Verdict verdict);
    void log(const std::string &line) const;

    ChannelOptions options_;
    Settings settings_;
    BusControl control_;
    std::array<Mailbox, 2> mailboxes_; // primary, secondary
    SocketChannel socket_;
    RequestSlot slot_;
    Mailbox *current_ = nullptr; // mailbox of the request that is being served
    std::optional<PendingStart> pending_start_;
    std::vector<PendingReply> pending_replies_;
    Clock::time_point now_;
};

} // namespace tarn::vcard
