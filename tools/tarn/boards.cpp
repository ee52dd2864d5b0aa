// tarn boards, tarn info, tarn version
#include "command.h"

namespace tarn {

namespace {

Json board_json(const BoardInfo &info) {
    return Json::object()
        .set("name", info.name)
        .set("model", info.model)
        .set("firmware", info.firmware_version)
        .set("alias", info.alias)
        .set("channels", info.channel_count)
        .set("identification", info.id);
}

int boards(Context &context, const NoArguments &) {
    const std::vector<PresentBoard> present = present_boards();
    if (context.output.json()) {
        Json list = Json::array();
        for (size_t i = 0; i < present.size(); ++i) {
            const bool readable = present[i].status == PCI_TARN_OK;
            Json row = readable ? board_json(present[i].info) : Json::object();
            row.set("position", i);
            if (!readable) {
                row.set("error", Failure(present[i].status, "the card cannot be read").json());
            }
            list.add(std::move(row));
        }
        context.output.document(list);
        return kSuccess;
    }
    if (present.empty()) {
        context.output.line("no card; is a card installed or tarn-vcard running?");
        return kSuccess;
    }
    Table table({"Board", "Name", "Model", "Firmware", "Alias", "Channels", "Identification"});
    for (size_t i = 0; i < present.size(); ++i) {
        const std::string position = "ID" + std::to_string(i);
        const BoardInfo &info = present[i].info;
        if (present[i].status != PCI_TARN_OK) {
            table.add({position, status_text(present[i].status)});
            continue;
        }
        table.add({position, printable(info.name), printable(info.model),
                   printable(info.firmware_version), "AL" + std::to_string(info.alias),
                   std::to_string(info.channel_count), format("0x%08x", info.id)});
    }
    context.output.text(table.text());
    return kSuccess;
}

// What the firmware of one channel says of its own build; empty when it does not say.
std::string firmware_build(EcatHandle *channel) {
    char text[257] = {};
    const uint32_t status = EcatGetFirmwareCompileMsg(channel, text, sizeof(text) - 1);
    return status == PCI_TARN_OK ? printable(text) : "";
}

int info(Context &context, const NoArguments &) {
    BoardHandle *board = context.session.board();
    BoardInfo card{};
    check(BoardGetInfo(board, &card), "cannot read what the card says of itself");
    const uint32_t structure = BoardGetStructVersion(board);
    DriverInfo driver{};
    check(DriverGetInfo(&driver), "cannot read the driver's version");

    const Output &output = context.output;
    Json channels = Json::array();
    if (!output.json()) {
        output.field("name", printable(card.name));
        output.field("model", printable(card.model));
        output.field("firmware", printable(card.firmware_version));
        output.field("alias", std::to_string(card.alias));
        output.field("identification", format("0x%08x", card.id));
        output.field("structure", format("0x%08x", structure));
        output.field("driver", printable(driver.driver_version));
        output.field("library", printable(driver.library_version));
        output.field("channels", std::to_string(card.channel_count));
    }
    for (uint32_t i = 0; i < card.channel_count && i < PCI_TARN_MAX_CHANNELS; ++i) {
        const ChannelPtr channel = context.session.open_unchecked(i);
        const bool fits = EcatCheckPdoVersionMatch(channel.get()) == PCI_TARN_OK;
        const bool running = EcatBusIsRunning(channel.get());
        const std::string build = firmware_build(channel.get());
        if (output.json()) {
            channels.add(Json::object()
                             .set("channel", i)
                             .set("versions_match", fits)
                             .set("running", running)
                             .set("firmware_build", build));
        } else {
            output.field(("channel " + std::to_string(i)).c_str(),
                         std::string(fits ? "" : "versions do not match, ") +
                             (running ? "bus runs" : "bus stopped") +
                             (build.empty() ? "" : ", firmware build: " + build));
        }
    }
    if (output.json()) {
        output.document(board_json(card)
                            .set("structure_version", structure)
                            .set("driver_version", driver.driver_version)
                            .set("library_version", driver.library_version)
                            .set("channel_list", std::move(channels)));
    }
    return kSuccess;
}

int version(Context &context, const NoArguments &) {
    DriverInfo driver{};
    check(DriverGetInfo(&driver), "cannot read the driver's version");
    const Output &output = context.output;
    const std::string driver_version =
        driver.board_count > 0 ? printable(driver.driver_version) : "none, no card is present";
    if (output.json()) {
        output.document(Json::object()
                            .set("tool", TARN_VERSION)
                            .set("commit", TARN_COMMIT)
                            .set("library", driver.library_version)
                            .set("driver", driver.board_count > 0 ? Json(driver.driver_version)
                                                                  : Json(nullptr)));
        return kSuccess;
    }
    output.field("tarn", TARN_VERSION " (commit " TARN_COMMIT ")");
    output.field("pci_tarn", printable(driver.library_version));
    output.field("driver", driver_version);
    return kSuccess;
}

} // namespace

void add_board_commands(CLI::App &app, Context &context) {
    const auto none = std::make_shared<NoArguments>();
    add_command<NoArguments>(app, context, "boards", "List the cards that are present", none,
                             boards)
        ->footer(with_global_options("  tarn boards\n"
                                     "  tarn boards --json\n"
                                     "The first column and the name are what --board takes.\n"));
    add_command<NoArguments>(app, context, "info", "Show a card's identity, versions and channels",
                             none, info)
        ->footer(with_global_options("  tarn info\n"
                                     "  tarn info --board tarn1\n"));
    add_command<NoArguments>(app, context, "version",
                             "Show the versions of tool, library and driver", none, version)
        ->footer(with_global_options("  tarn version\n"));
}

} // namespace tarn
