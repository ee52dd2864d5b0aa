// tarn flash read|write|erase|dump, tarn file get|put, tarn update
#include "storage.h"
#include "board.h"
#include "progress.h"
#include "terminal.h"

#include <pci_tarn/pci_tarn.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace tarn {

namespace {

namespace fs = std::filesystem;

constexpr uint32_t kFlashSize = 16U << 20;
constexpr uint32_t kPiece = 65536; // of flash, in one request

// ---- files of this computer ---------------------------------------------------------------------

std::vector<uint8_t> read_file(const std::string &path) {
    std::error_code error;
    if (fs::is_directory(path, error)) {
        throw Failure("\"" + printable(path) + "\" is a folder");
    }
    std::ifstream file(path, std::ios::binary);
    std::vector<uint8_t> data((std::istreambuf_iterator<char>(file)),
                              std::istreambuf_iterator<char>());
    if (!file.is_open() || file.bad()) {
        throw Failure(PCI_TARN_E_OPEN_FILE, "cannot read \"" + printable(path) + "\"");
    }
    return data;
}

void write_file(const std::string &path, const std::vector<uint8_t> &data) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char *>(data.data()),
               static_cast<std::streamsize>(data.size()));
    file.close();
    if (!file) {
        throw Failure("cannot write \"" + printable(path) + "\"",
                      "is there room, and may you write there?");
    }
}

std::string size_text(uint64_t bytes) {
    return bytes < 10'000 ? counted(bytes, "byte")
                          : format("%.1f MiB", static_cast<double>(bytes) / (1 << 20));
}

void show_progress(void *progress, float fraction) {
    static_cast<Progress *>(progress)->show(fraction);
}

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

// As hex dumps are.
std::string hex_lines(uint32_t address, const std::vector<uint8_t> &data) {
    constexpr size_t kWidth = 16;
    std::string text;
    for (size_t i = 0; i < data.size(); i += kWidth) {
        const std::vector<uint8_t> row(
            data.begin() + static_cast<std::ptrdiff_t>(i),
            data.begin() + static_cast<std::ptrdiff_t>(std::min(i + kWidth, data.size())));
        std::string shown;
        for (const uint8_t byte : row) {
            shown += byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.';
        }
        text += format("%06x  ", address + static_cast<uint32_t>(i));
        text += hex(row, true) + std::string(3 * (kWidth - row.size()), ' ') + "  " + shown + "\n";
    }
    return text;
}

void give_flash(Context &context, const FlashArguments &arguments,
                const std::vector<uint8_t> &data) {
    const Output &output = context.output;
    if (!arguments.file.empty()) {
        write_file(arguments.file, data);
    }
    if (output.json()) {
        Json document = Json::object().set("address", arguments.address).set("length", data.size());
        if (arguments.file.empty()) {
            document.set("hex", hex(data, false));
        } else {
            document.set("file", printable(arguments.file));
        }
        output.document(document);
    } else if (arguments.file.empty()) {
        output.text(hex_lines(arguments.address, data));
    } else {
        output.line("Read " + size_text(data.size()) + " to " + printable(arguments.file));
    }
}

int flash_read(Context &context, const FlashArguments &arguments) {
    give_flash(context, arguments, read_flash(context, arguments.address, arguments.length));
    return kSuccess;
}

int flash_dump(Context &context, const FlashArguments &arguments) {
    give_flash(context, arguments, read_flash(context, 0, kFlashSize));
    return kSuccess;
}

// The card takes texts: a zero byte would end one, and what is behind it would be lost.
void refuse_zero_bytes(const std::vector<uint8_t> &data) {
    const auto zero = std::find(data.begin(), data.end(), uint8_t{0});
    if (zero != data.end()) {
        throw Failure(format("byte %zu is zero, and zero bytes cannot be written to the flash",
                             static_cast<size_t>(zero - data.begin())),
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
    std::vector<uint8_t> data = data_to_write(arguments);
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
    const auto add_file = [](CLI::App *command, FlashArguments &arguments) {
        command->add_option("-o,--output", arguments.file, "Write the bytes to this file")
            ->type_name("FILE");
    };

    const auto read = std::make_shared<FlashArguments>();
    CLI::App *command = add_command<FlashArguments>(*flash, context, "read", "Show or save a range",
                                                    read, flash_read);
    add_range(command, *read, true);
    add_file(command, *read);

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
    add_file(command, *dump);
    command->get_option("--output")->required();

    flash->footer(with_global_options("  tarn flash read 0x1000 256\n"
                                      "  tarn flash read 0 65536 -o boot.bin\n"
                                      "  tarn flash erase 0x1000 4096\n"
                                      "  tarn flash write 0x1000 --text \"line 3, cell 7\"\n"
                                      "  tarn flash dump -o flash.bin\n"
                                      "The flash has 16 MiB. Erased bytes read 0xff; writing can "
                                      "only clear bits, so erase first.\n"));
}

// ---- files of the card --------------------------------------------------------------------------

struct FileArguments {
    std::string local;
    std::string remote;
};

// A name of a temporary file beside another one.
fs::path beside(const fs::path &path) {
    fs::path part = path;
    part += ".part";
    return part;
}

// A file that goes when it is not kept.
class PartFile {
  public:
    explicit PartFile(const std::string &target) : target_(target), path_(beside(target)) {}
    ~PartFile() {
        std::error_code ignored;
        fs::remove(path_, ignored);
    }
    PartFile(const PartFile &) = delete;
    PartFile &operator=(const PartFile &) = delete;

    [[nodiscard]] std::string path() const { return path_.string(); }
    void keep() const {
        std::error_code error;
        fs::rename(path_, target_, error);
        if (error) {
            throw Failure("cannot write \"" + printable(target_.string()) + "\"", error.message());
        }
    }

  private:
    fs::path target_;
    fs::path path_;
};

void upload(Context &context, const std::string &remote, const std::string &local,
            const char *title) {
    Progress progress(title, context.output.json());
    const uint32_t status = BoardFileUpload(context.session.board(), local.c_str(), remote.c_str(),
                                            show_progress, &progress);
    if (status == UINT32_MAX) { // of the transfer, which has no status of its own
        throw Failure("cannot get \"" + printable(remote) + "\" from the card",
                      "does the card have it, and may you write here?");
    }
    check(status, "cannot get \"" + printable(remote) + "\" from the card");
}

int file_get(Context &context, const FileArguments &arguments) {
    const std::string target =
        arguments.local.empty() ? fs::path(arguments.remote).filename().string() : arguments.local;
    const PartFile part(target);
    upload(context, arguments.remote, part.path(), "getting");
    const uint64_t size = fs::file_size(part.path());
    part.keep();
    if (context.output.json()) {
        context.output.document(Json::object().set("file", printable(target)).set("length", size));
    } else {
        context.output.line("Got " + size_text(size) + " as " + printable(target));
    }
    return kSuccess;
}

int file_put(Context &context, const FileArguments &arguments) {
    const std::string remote =
        arguments.remote.empty() ? fs::path(arguments.local).filename().string() : arguments.remote;
    const std::vector<uint8_t> data = read_file(arguments.local);
    if (data.size() > BOARD_FILE_SIZE_MAX) {
        throw Failure(PCI_TARN_E_FILE_TOO_BIG,
                      "\"" + printable(arguments.local) + "\" has " + counted(data.size(), "byte"));
    }
    {
        Progress progress("sending", context.output.json());
        check(BoardFileDownload(context.session.board(), arguments.local.c_str(), remote.c_str(),
                                show_progress, &progress),
              "cannot send \"" + printable(arguments.local) + "\"");
    }
    // The transfer itself does not tell when it was given up, so the file is read back.
    const PartFile copy(
        (fs::temp_directory_path() / ("tarn-" + fs::path(remote).filename().string())).string());
    upload(context, remote, copy.path(), "reading back");
    if (read_file(copy.path()) != data) {
        throw Failure("the card has another \"" + printable(remote) + "\" than was sent",
                      "did the file change meanwhile, or another program send one? Send it again");
    }
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
    file->footer(with_global_options("  tarn file put recipe.txt\n"
                                     "  tarn file get recipe.txt copy.txt\n"));
}

// ---- update -------------------------------------------------------------------------------------

struct UpdateArguments {
    std::string image;
    bool unlimited = false;
    bool check_only = false;
};

// A failure in the middle of an update, with the state that the card is in.
Failure update_failure(uint32_t status, bool sent, const std::string &firmware) {
    const std::string keeps = "the card keeps its firmware " + firmware;
    if (!sent) {
        return Failure(status, "the image could not be sent; " + keeps,
                       "nothing has been applied; look with tarn board heartbeat whether the card "
                       "is alive, then update again");
    }
    if (no_answer(status)) {
        return Failure(status,
                       "the image was sent and the card did not say whether it took it; it still "
                       "runs firmware " +
                           firmware,
                       "do not switch off now; wait until tarn board heartbeat says alive, then "
                       "update again before any reset");
    }
    return Failure(status, "the card refused the image; " + keeps,
                   "is it an image for this card, and complete? tarn update --check IMAGE looks at "
                   "it");
}

void print_plan(const Output &output, const UpdateArguments &arguments, const ImageInfo &image,
                const BoardInfo &card) {
    if (output.json()) {
        return;
    }
    output.field("image", printable(arguments.image) + ", " + size_text(image.size));
    output.field("its version", image.known ? image.version : "not known to tarn; the card looks");
    output.field("card", printable(card.name) + ", firmware " + printable(card.firmware_version));
}

int update(Context &context, const UpdateArguments &arguments) {
    const ImageInfo image = check_image(arguments.image);
    BoardHandle *board = context.session.board();
    BoardInfo card{};
    check(BoardGetInfo(board, &card), "cannot read the card");
    const std::string firmware = printable(card.firmware_version);
    if (image.size > BOARD_UPDATE_SIZE_MAX && !arguments.unlimited) {
        throw Failure(PCI_TARN_E_UPDATE_TOO_BIG,
                      "\"" + printable(arguments.image) + "\" has " + counted(image.size, "byte"));
    }
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
    float sent = 0;
    struct Reporter {
        Progress progress;
        float &sent;
    } reporter{Progress("updating", context.output.json()), sent};
    const uint32_t status = BoardUpdateEx(
        board, arguments.image.c_str(),
        [](void *to, float fraction) {
            auto *report = static_cast<Reporter *>(to);
            report->sent = fraction;
            report->progress.show(fraction);
        },
        &reporter);
    if (status != PCI_TARN_OK) {
        throw update_failure(status, sent >= 1.0F, firmware);
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
