// tarn flash read|write|erase|dump, tarn file get|put, tarn update
#include "storage.h"
#include "byte_output.h"
#include "host_file.h"
#include "progress.h"

#include <pci_tarn/pci_tarn.h>

#include <algorithm>
#include <filesystem>

namespace tarn {

namespace {

constexpr uint32_t kFlashSize = 16U << 20;
constexpr uint32_t kPiece = 65536; // of flash, in one request

// ---- flash --------------------------------------------------------------------------------------

struct FlashArguments {
    uint32_t address = 0;
    uint32_t length = 0;
    std::string file;
    std::string text;
};

void check_range(uint32_t address, uint64_t length) {
    if (length > kFlashSize || address > kFlashSize - length) {
        throw UsageError(format("the flash ends at 0x%x", kFlashSize));
    }
}

std::vector<uint8_t> read_flash(Context &context, uint32_t address, uint32_t length) {
    check_range(address, length);
    BoardHandle *board = context.session.board();
    std::vector<uint8_t> data(length);
    Progress progress("reading", context.output.json());
    for (uint32_t done = 0; done < length;) {
        const uint32_t piece = std::min(kPiece, length - done);
        check(BoardFlashRead(board, address + done, piece, data.data() + done),
              format("cannot read the flash at 0x%06x", address + done));
        done += piece;
        if (length > kPiece) {
            progress.show(static_cast<float>(done) / static_cast<float>(length));
        }
    }
    return data;
}

int give_flash(Context &context, const FlashArguments &arguments,
               const std::vector<uint8_t> &data) {
    const Output &output = context.output;
    return give_result(output, arguments.file, data,
                       {Json::object().set("address", arguments.address).set("length", data.size()),
                        "", [&](Json &document) { document.set("hex", hex(data, false)); },
                        [&] { output.text(hex_dump(arguments.address, data, 6)); }});
}

int flash_read(Context &context, const FlashArguments &arguments) {
    return give_flash(context, arguments, read_flash(context, arguments.address, arguments.length));
}

int flash_dump(Context &context, const FlashArguments &arguments) {
    return give_flash(context, arguments, read_flash(context, 0, kFlashSize));
}

// The card takes texts: a zero byte would end one, and what is behind it would be lost.
void refuse_zero_bytes(const std::vector<uint8_t> &data) {
    const auto zero = std::find(data.begin(), data.end(), uint8_t{0});
    if (zero != data.end()) {
        throw Failure("byte " + std::to_string(zero - data.begin()) +
                          " is zero, and zero bytes cannot be written to the flash",
                      "nothing was written; use the card's file store for such data: tarn file "
                      "put");
    }
}

std::vector<uint8_t> data_to_write(const FlashArguments &arguments) {
    if (arguments.file.empty() == arguments.text.empty()) {
        throw UsageError("write what, FILE or --text TEXT?");
    }
    return arguments.file.empty()
               ? std::vector<uint8_t>(arguments.text.begin(), arguments.text.end())
               : read_file(arguments.file);
}

// What was sent must be what reads back: bits that were 0 before stay 0.
void verify_flash(Context &context, uint32_t address, const std::vector<uint8_t> &data) {
    const std::vector<uint8_t> now =
        read_flash(context, address, static_cast<uint32_t>(data.size()));
    const auto [wrong, there] = std::mismatch(data.begin(), data.end(), now.begin());
    if (wrong != data.end()) {
        throw Failure(format("at 0x%06x the flash reads 0x%02x, and 0x%02x was written",
                             address + static_cast<uint32_t>(wrong - data.begin()), *there, *wrong),
                      "writing can only clear bits; erase the range first: tarn flash erase");
    }
}

int flash_write(Context &context, const FlashArguments &arguments) {
    const std::vector<uint8_t> data = data_to_write(arguments);
    if (data.empty()) {
        throw Failure("\"" + printable(arguments.file) + "\" is empty", "nothing was written");
    }
    check_range(arguments.address, data.size());
    refuse_zero_bytes(data);
    BoardHandle *board = context.session.board();
    Progress progress("writing", context.output.json());
    for (size_t done = 0; done < data.size();) {
        const size_t size = std::min<size_t>(kPiece, data.size() - done);
        const std::string piece(data.begin() + static_cast<std::ptrdiff_t>(done),
                                data.begin() + static_cast<std::ptrdiff_t>(done + size));
        const uint32_t address = arguments.address + static_cast<uint32_t>(done);
        check(BoardFlashWrite(board, address, piece.c_str()),
              format("cannot write the flash at 0x%06x; what lies before it is written", address));
        done += size;
        if (data.size() > kPiece) {
            progress.show(static_cast<float>(done) / static_cast<float>(data.size()));
        }
    }
    verify_flash(context, arguments.address, data);
    if (context.output.json()) {
        context.output.document(
            Json::object().set("address", arguments.address).set("length", data.size()));
    } else {
        context.output.line("Wrote " + size_text(data.size()) +
                            format(" at 0x%06x and read them back", arguments.address));
    }
    return kSuccess;
}

int flash_erase(Context &context, const FlashArguments &arguments) {
    check_range(arguments.address, arguments.length);
    check(BoardFlashErase(context.session.board(), arguments.address, arguments.length),
          format("cannot erase the flash at 0x%06x", arguments.address));
    if (context.output.json()) {
        context.output.document(
            Json::object().set("address", arguments.address).set("length", arguments.length));
    } else {
        context.output.line("Erased " + size_text(arguments.length) +
                            format(" at 0x%06x", arguments.address));
    }
    return kSuccess;
}

void add_flash(CLI::App &app, Context &context) {
    CLI::App *flash = app.add_subcommand("flash", "Read, write or erase the card's flash");
    flash->require_subcommand(0, 1);
    flash->footer(with_global_options("  tarn flash read 0x1000 256\n"
                                      "  tarn flash read 0 65536 -o boot.bin\n"
                                      "  tarn flash erase 0x1000 4096\n"
                                      "  tarn flash write 0x1000 --text \"line 3, cell 7\"\n"
                                      "  tarn flash dump -o flash.bin\n"
                                      "The flash has 16 MiB. Erased bytes read 0xff; writing can "
                                      "only clear bits, so\nerase first. A card erases whole "
                                      "sectors, the virtual one of 4 KiB.\n"));
    const auto add_range = [](CLI::App *command, FlashArguments &arguments, bool length) {
        add_number(command, "ADDRESS", arguments.address, "Byte in the flash", "ADDRESS", 0,
                   kFlashSize - 1)
            ->required();
        if (length) {
            add_number(command, "LENGTH", arguments.length, "Number of bytes", "BYTES", 1,
                       kFlashSize)
                ->required();
        }
    };

    const auto read = std::make_shared<FlashArguments>();
    CLI::App *command = add_command<FlashArguments>(*flash, context, "read", "Show or save a range",
                                                    read, flash_read);
    add_range(command, *read, true);
    add_output(command, context, read->file);

    const auto write = std::make_shared<FlashArguments>();
    command = add_command<FlashArguments>(
        *flash, context, "write", "Write a text or a file without zero bytes", write, flash_write);
    add_range(command, *write, false);
    command->add_option("FILE", write->file, "What to write");
    command->add_option("--text", write->text, "What to write, as text")->type_name("TEXT");

    const auto erase = std::make_shared<FlashArguments>();
    command =
        add_command<FlashArguments>(*flash, context, "erase", "Erase a range", erase, flash_erase);
    add_range(command, *erase, true);

    const auto dump = std::make_shared<FlashArguments>();
    command =
        add_command<FlashArguments>(*flash, context, "dump", "Save all of it", dump, flash_dump);
    add_output(command, context, dump->file)->required();
}

// ---- files of the card --------------------------------------------------------------------------

struct FileArguments {
    std::string local;
    std::string remote;
};

// `trouble` is what could not be done, when the transfer does not work.
void upload(Context &context, const std::string &remote, const std::string &local,
            const char *title, const Failure &trouble) {
    BoardHandle *board = context.session.board();
    Progress progress(title, context.output.json());
    const uint32_t status =
        BoardFileUpload(board, local.c_str(), remote.c_str(), Progress::report, &progress);
    if (status == UINT32_MAX) { // a transfer has no status of its own
        throw trouble;
    }
    check(status, trouble.reason());
}

int file_get(Context &context, const FileArguments &arguments) {
    const std::string name = last_part(arguments.remote);
    const std::string target = arguments.local.empty() ? name : arguments.local;
    const TempFile part(TempFile::folder_for(target));
    upload(context, arguments.remote, part.path(), "getting",
           Failure("cannot get \"" + printable(arguments.remote) + "\" from the card",
                   "does the card have such a file, is it alive (tarn board heartbeat), and is "
                   "there room here?"));
    const uint64_t size = std::filesystem::file_size(part.path());
    part.become(target);
    if (context.output.json()) {
        context.output.document(Json::object().set("file", printable(target)).set("length", size));
    } else {
        context.output.line("Got " + size_text(size) + " as " + printable(target));
    }
    return kSuccess;
}

// The transfer itself does not tell when it was given up.
void read_back(Context &context, const std::string &remote, const std::vector<uint8_t> &data) {
    const TempFile copy(std::filesystem::temp_directory_path());
    upload(context, remote, copy.path(), "reading back",
           Failure("the card has not taken \"" + printable(remote) + "\"",
                   "is the card alive (tarn board heartbeat)? Then send the file again"));
    const std::vector<uint8_t> there = read_file(copy.path());
    if (there.size() < data.size()) {
        throw Failure("the card has only " + std::to_string(there.size()) + " of the " +
                          counted(data.size(), "byte") + " of \"" + printable(remote) + "\"",
                      "the transfer was given up in the middle; send the file again");
    }
    if (there != data) {
        throw Failure("the card has another \"" + printable(remote) + "\" than was sent",
                      "did the file change meanwhile, or another program send one? Send it again");
    }
}

int file_put(Context &context, const FileArguments &arguments) {
    const std::string remote =
        arguments.remote.empty() ? last_part(arguments.local) : arguments.remote;
    const uint64_t size = check_sendable(arguments.local);
    if (size > BOARD_FILE_SIZE_MAX) {
        throw Failure(PCI_TARN_E_FILE_TOO_BIG,
                      "\"" + printable(arguments.local) + "\" has " + counted(size, "byte"));
    }
    const std::vector<uint8_t> data = read_file(arguments.local);
    BoardHandle *board = context.session.board();
    {
        Progress progress("sending", context.output.json());
        check(BoardFileDownload(board, arguments.local.c_str(), remote.c_str(), Progress::report,
                                &progress),
              "cannot send \"" + printable(arguments.local) + "\"");
    }
    read_back(context, remote, data);
    if (context.output.json()) {
        context.output.document(
            Json::object().set("file", printable(remote)).set("length", data.size()));
    } else {
        context.output.line("Sent " + size_text(data.size()) + " as " + printable(remote) +
                            " and read them back");
    }
    return kSuccess;
}

void add_files(CLI::App &app, Context &context) {
    CLI::App *file = app.add_subcommand("file", "Copy files to and from the card");
    file->require_subcommand(0, 1);
    file->footer(with_global_options(
        "  tarn file put recipe.txt\n"
        "  tarn file put recipe-7.txt recipe.txt\n"
        "  tarn file get recipe.txt copy.txt\n"
        "What was sent is read back and compared. A file that cannot be got whole leaves\n"
        "nothing behind.\n"));
    const auto get = std::make_shared<FileArguments>();
    CLI::App *command = add_command<FileArguments>(*file, context, "get",
                                                   "Copy a file from the card", get, file_get);
    command->add_option("REMOTE", get->remote, "Name on the card")->required();
    command->add_option("LOCAL", get->local, "File to write; the same name without it");
    const auto put = std::make_shared<FileArguments>();
    command =
        add_command<FileArguments>(*file, context, "put", "Copy a file to the card", put, file_put);
    command->add_option("LOCAL", put->local, "File to send, at most 5 MiB")->required();
    command->add_option("REMOTE", put->remote, "Name on the card; the same without it");
}

// ---- update -------------------------------------------------------------------------------------

struct UpdateArguments {
    std::string image;
    bool unlimited = false;
    bool check_only = false;
};

// A failure in the middle of an update, with the state that the card is in.
Failure update_failure(uint32_t status, bool sent, const std::string &firmware) {
    const std::string keeps = "; the card keeps its firmware " + firmware;
    constexpr const char *kNotSent = "the image could not be sent";
    constexpr const char *kTryAgain = "nothing has been applied; when tarn board heartbeat says "
                                      "that the card is alive, update again";
    if (status == PCI_TARN_OK) { // it took what it had from an earlier update
        return Failure(std::string(kNotSent) + ", and the card has taken an older or shorter one",
                       "update again before any reset; until then firmware " + firmware +
                           " runs on");
    }
    if (!sent) {
        return Failure(status, kNotSent + keeps, kTryAgain);
    }
    if (no_answer(status)) {
        return Failure(status,
                       "the image was sent and the card did not say whether it took it; it still "
                       "runs firmware " +
                           firmware,
                       "do not switch off now; when tarn board heartbeat says that the card is "
                       "alive, update again before any reset");
    }
    return Failure(status, "the card refused the image" + keeps,
                   "is it an image for this card, and complete? tarn update --check IMAGE looks at "
                   "it");
}

void print_plan(const Output &output, const UpdateArguments &arguments, const ImageInfo &image,
                const BoardInfo &card) {
    if (output.json()) {
        return;
    }
    output.field("image", printable(arguments.image) + ", " + size_text(image.size));
    output.field("its version",
                 image.known ? image.version : "not known to tarn; the card looks at it");
    output.field("card", printable(card.name) + ", firmware " + printable(card.firmware_version));
}

// `sent` tells whether all of the image went out before the card was asked to apply it.
uint32_t send_image(Context &context, const std::string &path, bool &sent) {
    struct Report {
        Progress progress;
        bool &sent;
    } report{Progress("updating", context.output.json()), sent};
    return BoardUpdateEx(
        context.session.board(), path.c_str(),
        [](void *to, float fraction) {
            auto *shown = static_cast<Report *>(to);
            shown->sent = fraction >= 1.0F;
            shown->progress.show(fraction);
        },
        &report);
}

int update(Context &context, const UpdateArguments &arguments) {
    const ImageInfo image = check_image(arguments.image);
    if (image.size > BOARD_UPDATE_SIZE_MAX && !arguments.unlimited) {
        throw Failure(PCI_TARN_E_UPDATE_TOO_BIG,
                      "\"" + printable(arguments.image) + "\" has " + counted(image.size, "byte"));
    }
    BoardHandle *board = context.session.board();
    BoardInfo card{};
    check(BoardGetInfo(board, &card), "cannot read the card");
    const std::string firmware = printable(card.firmware_version);
    if (image.known && image.model != card.model) {
        throw Failure("the image is for \"" + image.model + "\", the card is a \"" +
                          printable(card.model) + "\"",
                      "nothing was sent");
    }
    print_plan(context.output, arguments, image, card);
    if (arguments.check_only) {
        if (context.output.json()) {
            context.output.document(image_json(image));
        }
        return kSuccess;
    }
    if (arguments.unlimited) {
        BoardUpdateUnlimitSize();
    }
    bool sent = false;
    const uint32_t status = send_image(context, arguments.image, sent);
    if (status != PCI_TARN_OK || !sent) {
        throw update_failure(status, sent, firmware);
    }
    if (context.output.json()) {
        context.output.document(image_json(image).set("firmware_before", firmware));
    } else {
        context.output.line("The card has taken the image. It starts with the next reset; until "
                            "then firmware " +
                            firmware + " runs on (tarn board reset)");
    }
    return kSuccess;
}

void add_update(CLI::App &app, Context &context) {
    const auto arguments = std::make_shared<UpdateArguments>();
    CLI::App *command = add_command<UpdateArguments>(
        app, context, "update", "Give the card a new firmware", arguments, update);
    command->add_option("IMAGE", arguments->image, "Firmware image")->required();
    command->add_flag("--check", arguments->check_only, "Only look whether it could be done");
    command->add_flag("--unlimited", arguments->unlimited,
                      "Let an image of more than 9 MiB through");
    command->footer(with_global_options(
        "  tarn update --check firmware.img\n"
        "  tarn update firmware.img && tarn board reset\n"
        "The card checks the image before it takes it, and runs its present firmware until it is\n"
        "reset. When an update fails in the middle, the message says what state the card is "
        "in.\n"));
}

} // namespace

void add_storage_commands(CLI::App &app, Context &context) {
    add_flash(app, context);
    add_files(app, context);
    add_update(app, context);
}

} // namespace tarn
