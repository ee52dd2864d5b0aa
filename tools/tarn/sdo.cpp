// tarn sdo upload, tarn sdo download, tarn sdo list
#include "byte_output.h"
#include "host_file.h"
#include "objects.h"
#include "progress.h"
#include "slave_service.h"

#include <pci_tarn/pci_tarn.h>
#include <tarn_vcard/records.h>

#include <algorithm>
#include <cstring>

namespace tarn {

namespace {

constexpr uint32_t kUploadRoom = 102384; // what one answer can carry
constexpr uint32_t kDefaultSdoTimeoutMs = 5000;
constexpr uint32_t kTimeoutMargin = 1000; // of the request beyond that of the slave

struct SdoArguments {
    SlaveChoice slave;
    uint16_t index = 0;
    uint8_t subindex = 0;
    const ObjectType *type = nullptr;
    bool complete = false;
    std::optional<uint32_t> timeout_ms;
    std::string file;                 // to write to, or to read from
    std::optional<std::string> value; // of a download

    [[nodiscard]] std::string object() const {
        return format(complete ? "0x%04x" : "0x%04x:%02x", index, subindex);
    }
};

// "0x1018:1", or "0x1018" for subindex 0. The index needs its 0x: most hands leave it out only by
// mistake, and 6040 would be another object.
void parse_object(const std::string &text, SdoArguments &arguments) {
    const size_t colon = text.find(':');
    const std::string index_text = text.substr(0, colon);
    const std::string sub_text = colon == std::string::npos ? "0" : text.substr(colon + 1);
    const std::optional<uint64_t> index = parse_unsigned(index_text);
    const std::optional<uint64_t> subindex = parse_unsigned(sub_text);
    const bool hexadecimal = index_text.starts_with("0x") || index_text.starts_with("0X");
    if (!hexadecimal || !index || *index > UINT16_MAX || !subindex || *subindex > UINT8_MAX) {
        throw CLI::ValidationError("INDEX", "\"" + printable(text) +
                                                "\" is no object; write it as 0x6041 or "
                                                "0x1018:1, the index hexadecimal with 0x");
    }
    arguments.index = static_cast<uint16_t>(*index);
    arguments.subindex = static_cast<uint8_t>(*subindex);
}

// How long the slave may take; not longer than somebody who gave --timeout wants to wait.
uint32_t sdo_timeout(const Context &context, const SdoArguments &arguments) {
    const uint32_t usual =
        std::min(kDefaultSdoTimeoutMs, context.target.timeout_ms.value_or(kDefaultSdoTimeoutMs));
    return arguments.timeout_ms.value_or(usual);
}

// The channel, with time for an answer that comes only when the slave's time is over.
EcatHandle *open_channel(Context &context, const SdoArguments &arguments) {
    EcatHandle *channel = context.session.channel();
    const uint64_t needed = uint64_t{sdo_timeout(context, arguments)} + kTimeoutMargin;
    if (!context.target.timeout_ms && needed > context.session.timeout_ms()) {
        EcatSetTimeout(channel, static_cast<uint32_t>(std::min<uint64_t>(needed, UINT32_MAX)));
    }
    return channel;
}

void check_complete(const SdoArguments &arguments) {
    if (arguments.complete && arguments.subindex > 1) {
        throw UsageError("complete access begins at subindex 0 or 1");
    }
}

// ---- upload -------------------------------------------------------------------------------------

struct Upload {
    uint32_t status = PCI_TARN_OK;
    std::vector<uint8_t> data;
};

Upload ask(EcatHandle *channel, const SdoArguments &arguments, uint32_t timeout_ms) {
    Upload upload;
    upload.data.resize(kUploadRoom);
    uint32_t size = kUploadRoom;
    upload.status =
        EcatCoeSDOUploadEx(channel, arguments.slave.position, arguments.index, arguments.subindex,
                           arguments.complete ? 1 : 0, &size, upload.data.data(), timeout_ms);
    upload.data.resize(upload.status == PCI_TARN_OK ? std::min(size, kUploadRoom) : 0);
    return upload;
}

struct Shown {
    std::string object;
    std::string name;
    const ObjectType *type = nullptr;
    std::vector<uint8_t> data;
    std::string access = {};        // of those that the slave lists
    uint32_t refusal = PCI_TARN_OK; // why there is no data
};

Shown shown_entry(const SdoArguments &arguments, uint8_t subindex, std::vector<uint8_t> data) {
    const std::optional<KnownEntry> known = known_entry(arguments.index, subindex);
    Shown entry{format("0x%04x:%02x", arguments.index, subindex), known ? known->name : "",
                known ? known->type : nullptr, std::move(data)};
    if (arguments.type != nullptr) {
        entry.type = arguments.type;
    }
    return entry;
}

// What complete access gave is taken apart when the object is known.
std::vector<Shown> shown_entries(const SdoArguments &arguments, const std::vector<uint8_t> &data) {
    std::vector<Shown> entries;
    if (!arguments.complete) {
        entries.push_back(shown_entry(arguments, arguments.subindex, data));
        return entries;
    }
    if (arguments.type == nullptr && arguments.subindex == 0) {
        for (EntryData &entry : split_complete(arguments.index, data)) {
            entries.push_back(shown_entry(arguments, entry.subindex, std::move(entry.data)));
        }
    }
    if (entries.empty()) {
        entries.push_back(
            {arguments.object(), known_object_name(arguments.index), arguments.type, data});
    }
    return entries;
}

// Typed data must fit its type, or what is shown would be something else than what was asked for.
void check_fit(const SdoArguments &arguments, const std::vector<uint8_t> &data) {
    const uint32_t size = arguments.type != nullptr ? arguments.type->size() : 0;
    if (size != 0 && (data.empty() || data.size() % size != 0)) {
        throw Failure(arguments.object() + " has " + counted(data.size(), "byte") + ", and " +
                          arguments.type->name + " has " + std::to_string(size),
                      "leave --type out to see the bytes");
    }
}

Json entry_json(const Shown &entry) {
    Json json = Json::object().set("object", entry.object).set("name", entry.name);
    object_json(entry.type, entry.data, json);
    if (!entry.access.empty()) {
        json.set("access", entry.access);
    }
    if (entry.refusal != PCI_TARN_OK) {
        json.set("error", Failure(entry.refusal, "cannot read " + entry.object).json());
    }
    return json;
}

Json upload_json(const SdoArguments &arguments, const std::vector<uint8_t> &data) {
    return Json::object()
        .set("slave", arguments.slave.position)
        .set("index", arguments.index)
        .set("subindex", arguments.subindex)
        .set("size", data.size());
}

Json entries_json(const std::vector<Shown> &entries) {
    Json list = Json::array();
    for (const Shown &entry : entries) {
        list.add(entry_json(entry));
    }
    return list;
}

void print_entries(const Output &output, const std::vector<Shown> &entries) {
    for (const Shown &entry : entries) {
        constexpr size_t kOneLine = 32;
        const std::string title = entry.object + (entry.name.empty() ? "" : "  " + entry.name);
        const bool text = entry.type != nullptr && entry.type->kind == ObjectType::Kind::String;
        if (entry.data.size() > kOneLine && !text) {
            output.line(title + "  " + size_text(entry.data.size()));
            output.text(hex_dump(0, entry.data, 4));
        } else {
            output.line(title + "  " + object_text(entry.type, entry.data));
        }
    }
}

int upload(Context &context, const SdoArguments &arguments) {
    check_complete(arguments);
    EcatHandle *channel = open_channel(context, arguments);
    const Upload upload = ask(channel, arguments, sdo_timeout(context, arguments));
    check_service(channel, arguments.slave, upload.status,
                  "cannot read " + arguments.object() + " of " + arguments.slave.text());
    if (arguments.file.empty()) {
        check_fit(arguments, upload.data);
    }
    const std::vector<Shown> entries = shown_entries(arguments, upload.data);
    return give_result(context.output, arguments.file, upload.data,
                       {upload_json(arguments, upload.data), " of " + arguments.object(),
                        [&](Json &document) { document.set("entries", entries_json(entries)); },
                        [&] { print_entries(context.output, entries); }});
}

// ---- the slave's own list -----------------------------------------------------------------------

// What a virtual slave tells of its dictionary; empty for a slave that does not. Throws Failure
// when the slave answers nothing.
std::vector<VcardObjectEntry> listed_objects(EcatHandle *channel, SdoArguments arguments,
                                             uint32_t timeout_ms) {
    arguments.index = VCARD_OBJECT_LIST_INDEX;
    arguments.subindex = 0;
    arguments.complete = false;
    const Upload answer = ask(channel, arguments, timeout_ms);
    if (answer.status != PCI_TARN_OK && !is_refusal(channel, arguments.slave, answer.status)) {
        check_service(channel, arguments.slave, answer.status,
                      "cannot ask " + arguments.slave.text() + " for its objects");
    }
    const std::vector<uint8_t> &data = answer.data;
    if (data.empty() || data.size() % sizeof(VcardObjectEntry) != 0) {
        return {};
    }
    std::vector<VcardObjectEntry> entries(data.size() / sizeof(VcardObjectEntry));
    std::memcpy(entries.data(), data.data(), data.size());
    for (VcardObjectEntry &entry : entries) {
        entry.name[sizeof(entry.name) - 1] = '\0';
    }
    return entries;
}

// Read and write in PREOP, SAFEOP and OP, as "rwr-r-".
std::string access_text(uint16_t access) {
    const std::string read = (access & VCARD_OBJECT_READ) != 0 ? "r" : "-";
    const std::string preop = (access & VCARD_OBJECT_WRITE) != 0 ? "w" : "-";
    const std::string running = (access & VCARD_OBJECT_WRITE_RUNNING) != 0 ? "w" : "-";
    return read + preop + read + running + read + running;
}

// ---- download -----------------------------------------------------------------------------------

// The type that a value on the command line has.
const ObjectType &type_of(Context &context, const SdoArguments &arguments) {
    if (arguments.type != nullptr) {
        return *arguments.type;
    }
    if (arguments.complete) {
        return parse_object_type("octet_string");
    }
    if (const auto known = known_entry(arguments.index, arguments.subindex)) {
        return *known->type;
    }
    for (const VcardObjectEntry &entry : listed_objects(open_channel(context, arguments), arguments,
                                                        sdo_timeout(context, arguments))) {
        const ObjectType *type = canopen_type(entry.data_type);
        if (entry.index == arguments.index && entry.subindex == arguments.subindex &&
            type != nullptr) {
            return *type;
        }
    }
    throw UsageError("the type of " + arguments.object() + " is not known; choose it with --type");
}

std::vector<uint8_t> data_of(Context &context, const SdoArguments &arguments) {
    if (arguments.value.has_value() == !arguments.file.empty()) {
        throw UsageError("write what, VALUE or --file FILE?");
    }
    if (!arguments.file.empty() || *arguments.value == "-") {
        return read_file_or_input(arguments.value.value_or(arguments.file));
    }
    return parse_object_value(type_of(context, arguments), *arguments.value);
}

int download(Context &context, const SdoArguments &arguments) {
    check_complete(arguments);
    const std::vector<uint8_t> data = data_of(context, arguments);
    if (data.size() > ECAT_SDO_DOWNLOAD_MAX) {
        throw Failure("the value has " + counted(data.size(), "byte") +
                          ", and one download carries at most " +
                          std::to_string(ECAT_SDO_DOWNLOAD_MAX),
                      "nothing was sent; write a large record entry by entry, and files with tarn "
                      "foe write");
    }
    EcatHandle *channel = open_channel(context, arguments);
    const uint32_t status =
        EcatCoeSDODownloadEx(channel, arguments.slave.position, arguments.index, arguments.subindex,
                             arguments.complete ? 1 : 0, static_cast<uint32_t>(data.size()),
                             data.data(), sdo_timeout(context, arguments));
    check_service(channel, arguments.slave, status,
                  "cannot write " + counted(data.size(), "byte") + " to " + arguments.object() +
                      " of " + arguments.slave.text());
    if (context.output.json()) {
        context.output.document(Json::object()
                                    .set("slave", arguments.slave.position)
                                    .set("index", arguments.index)
                                    .set("subindex", arguments.subindex)
                                    .set("size", data.size())
                                    .set("hex", hex(data, false)));
    } else {
        context.output.line("Wrote " + size_text(data.size()) + " to " + arguments.object() +
                            " of " + arguments.slave.text());
    }
    return kSuccess;
}

// ---- list ---------------------------------------------------------------------------------------

// Reads the objects that the slave lists. A slave without a list is searched for those that every
// slave may have: the library can ask for an entry, not for the list of them.
class ObjectSearch {
  public:
    ObjectSearch(Context &context, const SdoArguments &arguments)
        : context_(context), arguments_(arguments), channel_(open_channel(context, arguments)),
          progress_("reading objects", context.output.json()) {}

    std::vector<Shown> run() {
        const std::vector<VcardObjectEntry> listed =
            listed_objects(channel_, arguments_, sdo_timeout(context_, arguments_));
        if (listed.empty()) {
            search_all();
            check_any_read();
        }
        for (size_t i = 0; i < listed.size(); ++i) {
            add_listed(listed[i]);
            report(i + 1, listed.size());
        }
        return std::move(found_);
    }

  private:
    enum class Entry { Absent, Refused, Found };

    static constexpr double kPatience = 1.0; // seconds until progress is worth showing
    static constexpr unsigned kGap = 16;     // absent objects in a row that end a range

    void report(size_t done, size_t of) {
        if (progress_.seconds() > kPatience) {
            progress_.show(static_cast<float>(done) / static_cast<float>(of));
        }
    }

    void add_listed(const VcardObjectEntry &entry) {
        arguments_.index = entry.index;
        const bool readable = (entry.access & VCARD_OBJECT_READ) != 0;
        if (readable && add_entry(entry.subindex) == Entry::Absent) {
            return; // it went meanwhile
        }
        if (!readable) {
            found_.push_back(shown_entry(arguments_, entry.subindex, {}));
        }
        Shown &shown = found_.back();
        shown.name = printable(entry.name);
        shown.access = access_text(entry.access);
        if (const ObjectType *type = canopen_type(entry.data_type)) {
            shown.type = type;
        }
    }

    // Refusals alone are no list; the first one tells why.
    void check_any_read() const {
        const bool refused =
            !found_.empty() && std::all_of(found_.begin(), found_.end(), [](const Shown &entry) {
                return entry.refusal != PCI_TARN_OK;
            });
        if (refused) {
            check_service(channel_, arguments_.slave, found_.front().refusal,
                          "cannot read any object of " + arguments_.slave.text());
        }
    }

    void search_all() {
        const std::vector<IndexRange> ranges = known_ranges();
        for (size_t i = 0; i < ranges.size(); ++i) {
            search(ranges[i]);
            report(i + 1, ranges.size());
        }
    }

    void search(const IndexRange &range) {
        unsigned absent = 0;
        for (uint32_t index = range.first; index <= range.last && absent < kGap; ++index) {
            arguments_.index = static_cast<uint16_t>(index);
            absent = add_entry(0) == Entry::Found ? 0 : absent + 1;
            if (absent == 0 && !found_.back().data.empty() && is_record()) {
                add_subentries(found_.back().data[0]);
            }
        }
    }

    [[nodiscard]] bool is_record() const { return known_entry(arguments_.index, 1).has_value(); }

    void add_subentries(uint8_t count) {
        for (uint32_t subindex = 1; subindex <= count; ++subindex) {
            add_entry(static_cast<uint8_t>(subindex));
        }
    }

    // An entry that the slave refuses is listed without its value.
    Entry add_entry(uint8_t subindex) {
        arguments_.subindex = subindex;
        Upload upload = ask(channel_, arguments_, sdo_timeout(context_, arguments_));
        uint32_t refusal = PCI_TARN_OK;
        switch (upload.status) {
        case PCI_TARN_E_OD_NO_OBJECT:
        case PCI_TARN_E_OD_NO_SUB_OBJECT:
        case PCI_TARN_E_COE_ABORTED:
        case PCI_TARN_E_BAD_OBJECT:
            return Entry::Absent;
        case PCI_TARN_OK:
        case PCI_TARN_E_COE_WRITE_ONLY:
        case PCI_TARN_E_OD_ACCESS_DENIED:
            break;
        default:
            if (!is_refusal(channel_, arguments_.slave, upload.status)) {
                check_service(channel_, arguments_.slave, upload.status,
                              "cannot read " + arguments_.object() + " of " +
                                  arguments_.slave.text());
            }
            refusal = upload.status;
        }
        found_.push_back(shown_entry(arguments_, subindex, std::move(upload.data)));
        found_.back().refusal = refusal;
        return refusal == PCI_TARN_OK ? Entry::Found : Entry::Refused;
    }

    Context &context_;
    SdoArguments arguments_;
    EcatHandle *channel_;
    Progress progress_;
    std::vector<Shown> found_;
};

int list(Context &context, const SdoArguments &arguments) {
    const std::vector<Shown> found = ObjectSearch(context, arguments).run();
    if (context.output.json()) {
        context.output.document(entries_json(found));
        return kSuccess;
    }
    Table table({"Object", "Name", "Type", "Access", "Value"});
    for (const Shown &entry : found) {
        const std::string value = entry.refusal != PCI_TARN_OK ? status_text(entry.refusal)
                                  : entry.data.empty()         ? "-"
                                                       : object_text(entry.type, entry.data);
        table.add({entry.object, entry.name, entry.type != nullptr ? entry.type->name : "-",
                   entry.access.empty() ? "-" : entry.access, value});
    }
    context.output.text(table.text());
    return kSuccess;
}

// ---- command line -------------------------------------------------------------------------------

void add_object(CLI::App *command, SdoArguments &arguments) {
    add_slave(command, arguments.slave);
    command
        ->add_option_function<std::string>(
            "INDEX[:SUB]", [&arguments](const std::string &text) { parse_object(text, arguments); },
            "Index with 0x, and subindex (0)")
        ->type_name("OBJECT")
        ->required();
}

void add_type(CLI::App *command, SdoArguments &arguments) {
    command
        ->add_option_function<std::string>(
            "-t,--type",
            [&arguments](const std::string &text) { arguments.type = &parse_object_type(text); },
            kObjectTypeNames)
        ->type_name("TYPE");
    command->add_flag("--complete", arguments.complete, "The whole object at once");
}

void add_timeout(CLI::App *command, SdoArguments &arguments) {
    add_number(command, "--sdo-timeout", arguments.timeout_ms, "How long the slave may take", "MS")
        ->default_str(std::to_string(kDefaultSdoTimeoutMs));
}

constexpr const char *kTypeHelp =
    "Objects of the communication area and of CiA 402 drives have their type by themselves,\n"
    "--type chooses another one. Integers may be written with 0x; octet_string is a row of\n"
    "hexadecimal bytes.\n";

void add_upload(CLI::App &sdo, Context &context) {
    const auto arguments = std::make_shared<SdoArguments>();
    CLI::App *command =
        add_command<SdoArguments>(sdo, context, "upload", "Read an object", arguments, upload);
    add_object(command, *arguments);
    add_type(command, *arguments);
    add_timeout(command, *arguments);
    add_output(command, context, arguments->file);
    command->footer(with_global_options((std::string("  tarn sdo upload 1 0x6041\n"
                                                     "  tarn sdo upload 1 0x1018:4\n"
                                                     "  tarn sdo upload 1 0x1018 --complete\n"
                                                     "  tarn sdo upload -p 1 0x2000:3 -t int16\n") +
                                         kTypeHelp)
                                            .c_str()));
}

void add_download(CLI::App &sdo, Context &context) {
    const auto arguments = std::make_shared<SdoArguments>();
    CLI::App *command =
        add_command<SdoArguments>(sdo, context, "download", "Write an object", arguments, download);
    add_object(command, *arguments);
    command->add_option("VALUE", arguments->value,
                        "Value of the object's type; - reads bytes from standard input");
    add_type(command, *arguments);
    add_timeout(command, *arguments);
    command->add_option("--file", arguments->file, "Write the bytes of this file")
        ->type_name("FILE");
    command->footer(
        with_global_options((std::string("  tarn sdo download 1 0x6060 8\n"
                                         "  tarn sdo download 1 0x2000:3 -t int16 -5\n"
                                         "  tarn sdo download 1 0x2001 -t octet_string 0a0b0c\n"
                                         "  tarn sdo download 1 0x2002 --file table.bin\n"
                                         "One download carries at most 256 bytes.\n") +
                             kTypeHelp)
                                .c_str()));
}

void add_list(CLI::App &sdo, Context &context) {
    const auto arguments = std::make_shared<SdoArguments>();
    CLI::App *command = add_command<SdoArguments>(
        sdo, context, "list", "List the slave's objects with their values", arguments, list);
    add_slave(command, arguments->slave);
    add_timeout(command, *arguments);
    command->footer(with_global_options(
        "  tarn sdo list 1\n"
        "  tarn sdo list 1 --json\n"
        "Access is that in PREOP, SAFEOP and OP: r read, w write. A slave that gives no list is\n"
        "searched for the objects of the communication area and of CiA 402 drives; those of its\n"
        "manufacturer are then not among them, and tarn sdo upload reads them all the same. An\n"
        "entry that the slave refuses has the reason instead of its value.\n"));
}

} // namespace

void add_sdo_commands(CLI::App &app, Context &context) {
    CLI::App *sdo = app.add_subcommand("sdo", "Read, write or list objects of a slave (CoE)");
    sdo->require_subcommand(0, 1);
    add_upload(*sdo, context);
    add_download(*sdo, context);
    add_list(*sdo, context);
    sdo->footer(with_global_options("  tarn sdo upload 1 0x6041\n"
                                    "  tarn sdo download 1 0x6060 8\n"
                                    "  tarn sdo list 1\n"
                                    "tarn sdo upload --help and so on explain the options.\n"));
}

} // namespace tarn
