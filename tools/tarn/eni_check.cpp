#include "eni_check.h"

#include "eni_mapping.h"
#include "errors.h"
#include "line_map.h"
#include "text.h"

#include <pci_tarn/pci_tarn.h>

#include <pugixml.hpp>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <system_error>

namespace tarn {

namespace {

using pugi::xml_node;
using Severity = Finding::Severity;

constexpr uint32_t kMaxImageBytes = 4096; // physical image of one direction
constexpr uint32_t kCrcTextSize = 128;    // longest text of the CRC element

struct CloseFile {
    void operator()(FILE *file) const { std::fclose(file); }
};

// The file, cut one byte behind the size that a bus start accepts.
std::string read_file(const std::string &path) {
    constexpr char kHint[] = "is it a file, and may you read it?";
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored)) { // which not every system opens
        throw Failure(PCI_TARN_E_READ_FILE, printable(path), kHint);
    }
    const std::unique_ptr<FILE, CloseFile> file(std::fopen(path.c_str(), "rb"));
    if (!file) {
        throw Failure(PCI_TARN_E_OPEN_FILE, printable(path));
    }
    std::string text(ECAT_ENI_SIZE_MAX + 1, '\0');
    text.resize(std::fread(text.data(), 1, text.size(), file.get()));
    if (std::ferror(file.get()) != 0) {
        throw Failure(PCI_TARN_E_READ_FILE, printable(path), kHint);
    }
    return text;
}

// Some tools misspell the name of the encoding; 8859 in it means Latin-1 all the same.
pugi::xml_encoding declared_encoding(std::string_view text) {
    const std::string_view head = text.substr(0, text.find("?>"));
    const bool latin1 = head.starts_with("<?xml") && head.find("8859") != std::string_view::npos;
    return latin1 ? pugi::encoding_latin1 : pugi::encoding_auto;
}

TextEncoding text_encoding(pugi::xml_encoding encoding) {
    switch (encoding) {
    case pugi::encoding_utf8:
        return TextEncoding::Utf8;
    case pugi::encoding_latin1:
        return TextEncoding::Latin1;
    case pugi::encoding_utf16_le:
        return TextEncoding::Utf16Little;
    case pugi::encoding_utf16_be:
        return TextEncoding::Utf16Big;
    default:
        return TextEncoding::Other;
    }
}

std::string trimmed(const std::string &text) {
    const auto blank = [](unsigned char c) { return std::isspace(c) != 0; };
    const auto begin = std::find_if_not(text.begin(), text.end(), blank);
    const auto end = std::find_if_not(text.rbegin(), std::make_reverse_iterator(begin), blank);
    return {begin, end.base()};
}

// Plain text and CDATA sections of an element.
std::string text_of(xml_node node) {
    std::string text;
    for (const xml_node part : node.children()) {
        if (part.type() == pugi::node_pcdata || part.type() == pugi::node_cdata) {
            text += part.value();
        }
    }
    return trimmed(text);
}

// Decimal, 0x or #x, with a sign.
std::optional<int64_t> number_of(xml_node node) {
    std::string text = text_of(node);
    if (text.starts_with("#x") || text.starts_with("#X")) {
        text[0] = '0';
    }
    return parse_signed(text);
}

// A slave's data in one direction, in the order of the file.
struct Run {
    std::string owner;
    size_t line;
    uint64_t begin;
    uint64_t end;
};

class Checker {
  public:
    Checker(const std::string &path, const std::string &text) : path_(path), text_(text) {
        report_.bytes = text.size();
    }

    EniReport check() {
        if (text_.size() > ECAT_ENI_SIZE_MAX) {
            error(0, "the file is larger than the " + std::to_string(ECAT_ENI_SIZE_MAX) +
                         " bytes that a bus start accepts");
            return std::move(report_);
        }
        pugi::xml_document document;
        const pugi::xml_parse_result result = document.load_buffer(
            text_.data(), text_.size(), pugi::parse_default, declared_encoding(text_));
        lines_ = std::make_unique<LineMap>(text_, text_encoding(result.encoding));
        if (!result) {
            error(lines_->of_parsed(result.offset),
                  std::string("this is no well-formed XML: ") + result.description());
        } else {
            check_document(document);
        }
        std::stable_sort(report_.findings.begin(), report_.findings.end(),
                         [](const Finding &a, const Finding &b) { return a.line < b.line; });
        return std::move(report_);
    }

  private:
    void error(size_t line, std::string text) {
        report_.findings.push_back({Severity::Error, line, std::move(text)});
    }
    void warning(size_t line, std::string text) {
        report_.findings.push_back({Severity::Warning, line, std::move(text)});
    }
    [[nodiscard]] size_t line_of(xml_node node) const {
        return lines_->of_parsed(node.offset_debug());
    }

    // The number in a child; 0 and an error when it is none, or when it is missing and needed.
    uint64_t number(xml_node node, const char *name, const std::string &owner, bool needed,
                    uint64_t highest = UINT32_MAX) {
        const xml_node child = node.child(name);
        if (!child) {
            if (needed) {
                error(line_of(node), owner + " has no " + name);
            }
            return 0;
        }
        const std::optional<int64_t> value = number_of(child);
        // Some tools write large numbers as negative ones.
        const int64_t lowest = -static_cast<int64_t>(highest / 2) - 1;
        if (!value || *value < lowest || *value > static_cast<int64_t>(highest)) {
            error(line_of(child), owner + ": " + name + " \"" + printable(text_of(child)) +
                                      "\" is no number up to " + std::to_string(highest));
            return 0;
        }
        return static_cast<uint64_t>(*value) & highest;
    }

    void check_document(const pugi::xml_document &document) {
        const xml_node root = document.document_element();
        if (std::strcmp(root.name(), "EncryptedEtherCATConfig") == 0) {
            error(line_of(root), "the configuration is encrypted; export it without encryption");
            return;
        }
        if (std::strcmp(root.name(), "EtherCATConfig") != 0) {
            error(line_of(root), "the root element is " + printable(root.name()) +
                                     ", in an ENI file it is EtherCATConfig");
            return;
        }
        const xml_node config = root.child("Config");
        if (!config) {
            error(line_of(root), "EtherCATConfig has no element Config");
            return;
        }
        check_slaves(config);
        report_.output_bytes = check_image(config, "Outputs", outputs_);
        report_.input_bytes = check_image(config, "Inputs", inputs_);
        check_cycle(config);
        check_crc();
        check_mapping();
    }

    void check_slaves(xml_node config) {
        for (const xml_node slave : config.children("Slave")) {
            if (++report_.slaves == PCI_TARN_MAX_SLAVES + 1) {
                error(line_of(slave),
                      "there are more than " + std::to_string(PCI_TARN_MAX_SLAVES) + " slaves");
                return;
            }
            check_slave(slave);
        }
        if (report_.slaves == 0) {
            error(line_of(config), "Config has no slaves");
        }
    }

    void check_slave(xml_node slave) {
        const xml_node info = slave.child("Info");
        std::string owner = "slave " + std::to_string(report_.slaves - 1);
        if (!info) {
            error(line_of(slave), owner + " has no element Info");
            return;
        }
        const std::string name = text_of(info.child("Name"));
        owner += name.empty() ? "" : " \"" + printable(name) + "\"";
        number(info, "VendorId", owner, true);
        number(info, "ProductCode", owner, true);
        number(info, "RevisionNo", owner, false);
        number(info, "SerialNo", owner, false);
        check_address(info, "PhysAddr", owner, addresses_);
        check_address(info, "AutoIncAddr", owner, positions_);
        const xml_node data = slave.child("ProcessData");
        add_run(data, {"Send"}, owner, outputs_);
        add_run(data, {"Recv", "Receive"}, owner, inputs_);
        check_start_commands(slave, owner, false);
        check_start_commands(slave.child("Mailbox").child("CoE"), owner, true);
    }

    // What a start would have to send. Those of the mailbox name an object.
    void check_start_commands(xml_node parent, const std::string &owner, bool mailbox) {
        for (const xml_node list : parent.children("InitCmds")) {
            for (const xml_node command : list.children("InitCmd")) {
                if (mailbox) {
                    number(command, "Index", owner, true, UINT16_MAX);
                    number(command, "SubIndex", owner, false, UINT8_MAX);
                }
                const xml_node data = command.child("Data");
                std::string digits = text_of(data);
                std::erase(digits, ' ');
                if (digits.size() % 2 != 0 ||
                    !std::all_of(digits.begin(), digits.end(),
                                 [](unsigned char c) { return std::isxdigit(c) != 0; })) {
                    error(line_of(data), owner + ": Data \"" + printable(digits) +
                                             "\" of a start command is not hexadecimal");
                }
            }
        }
    }

    void check_address(xml_node info, const char *name, const std::string &owner,
                       std::map<uint64_t, std::string> &taken) {
        if (!info.child(name)) {
            warning(line_of(info), owner + " has no " + name);
            return;
        }
        const uint64_t address = number(info, name, owner, true, UINT16_MAX);
        const auto [other, fresh] = taken.emplace(address, owner);
        if (!fresh) {
            error(line_of(info.child(name)), owner + " has the same " + name + " " +
                                                 std::to_string(address) + " as " + other->second);
        }
    }

    // The elements of one direction together are the slave's run.
    void add_run(xml_node data, std::initializer_list<std::string_view> names,
                 const std::string &owner, std::vector<Run> &runs) {
        Run run{owner, 0, UINT64_MAX, 0};
        for (const xml_node part : data.children()) {
            if (std::find(names.begin(), names.end(), part.name()) == names.end()) {
                continue;
            }
            const uint64_t start = number(part, "BitStart", owner, false);
            const uint64_t length = number(part, "BitLength", owner, false);
            if (length > 0) {
                run.line = run.line != 0 ? run.line : line_of(part);
                run.begin = std::min(run.begin, start);
                run.end = std::max(run.end, start + length);
            }
        }
        runs.push_back(run); // an empty one begins behind its end
    }

    uint32_t check_image(xml_node config, const char *direction, const std::vector<Run> &runs) {
        const xml_node image = config.child("ProcessImage").child(direction);
        const std::string name = std::string("ProcessImage/") + direction;
        const bool stated = !image.child("ByteSize").empty();
        uint64_t bytes = number(image, "ByteSize", name, false);
        if (bytes > kMaxImageBytes) {
            error(line_of(image.child("ByteSize")), name + " has " + std::to_string(bytes) +
                                                        " bytes, a card holds " +
                                                        std::to_string(kMaxImageBytes));
        }
        const Run *previous = nullptr;
        uint64_t furthest = 0;
        for (const Run &run : runs) {
            if (run.begin >= run.end) {
                continue;
            }
            check_inside(run, stated ? bytes : kMaxImageBytes, name);
            check_order(run, previous, name);
            previous = &run;
            furthest = std::max(furthest, run.end);
        }
        return static_cast<uint32_t>(stated ? bytes : (furthest + 7) / 8);
    }

    void check_inside(const Run &run, uint64_t bytes, const std::string &name) {
        if (run.end > 8 * bytes) {
            error(run.line, run.owner + ": bits " + std::to_string(run.begin) + " to " +
                                std::to_string(run.end - 1) + " lie outside the " +
                                std::to_string(bytes) + " bytes of " + name);
        }
    }

    void check_order(const Run &run, const Run *previous, const std::string &name) {
        if (previous == nullptr || run.begin >= previous->end) {
            return;
        }
        if (run.end <= previous->begin) {
            warning(run.line, run.owner + " lies before " + previous->owner + " in " + name +
                                  "; checks whether a slave is active look in ascending order");
        } else {
            warning(run.line, run.owner + " shares bits of " + name + " with " + previous->owner);
        }
    }

    void check_cycle(xml_node config) {
        for (const xml_node cyclic : config.children("Cyclic")) {
            const auto us = static_cast<uint32_t>(number(cyclic, "CycleTime", "Cyclic", false));
            if (us != 0 && (report_.cycle_us == 0 || us < report_.cycle_us)) {
                report_.cycle_us = us;
            }
        }
        if (report_.cycle_us == 0) {
            warning(line_of(config.child("Cyclic")),
                    "no Cyclic element has a CycleTime; the card takes its default");
        }
    }

    void check_crc() {
        char crc[kCrcTextSize + 1] = {};
        if (__GetEniFileCRC(path_.c_str(), crc, kCrcTextSize) == 0) {
            report_.crc = printable(crc);
            return;
        }
        const size_t element = text_.find("<CRC>");
        if (element == std::string::npos) {
            warning(0, "there is no CRC element, so a running bus cannot be compared with the "
                       "file (tarn status --eni)");
        } else {
            warning(lines_->of_original(element),
                    "the library does not find this CRC element: it reads blocks of 149 bytes and "
                    "wants the whole element, with at most 128 characters, inside one of them; "
                    "move it towards the beginning of the file");
        }
    }

    void check_mapping() {
        const MappingReport mapping =
            tarn::check_mapping(path_, text_, report_.slaves, lengths(outputs_), lengths(inputs_));
        report_.mapping = mapping.used;
        for (const MappingFinding &finding : mapping.findings) {
            const size_t line = finding.place ? lines_->of_original(*finding.place) : 0;
            report_.findings.push_back(
                {finding.error ? Severity::Error : Severity::Warning, line, finding.text});
        }
    }

    static std::vector<uint32_t> lengths(const std::vector<Run> &runs) {
        std::vector<uint32_t> bits;
        bits.reserve(runs.size());
        for (const Run &run : runs) {
            bits.push_back(run.begin < run.end ? static_cast<uint32_t>(run.end - run.begin) : 0);
        }
        return bits;
    }

    const std::string &path_;
    const std::string &text_;
    std::unique_ptr<LineMap> lines_;
    EniReport report_;
    std::map<uint64_t, std::string> addresses_;
    std::map<uint64_t, std::string> positions_;
    std::vector<Run> outputs_;
    std::vector<Run> inputs_;
};

} // namespace

size_t EniReport::count(Finding::Severity severity) const {
    return static_cast<size_t>(
        std::count_if(findings.begin(), findings.end(),
                      [&](const Finding &finding) { return finding.severity == severity; }));
}

EniReport check_eni(const std::string &path) {
    const std::string text = read_file(path);
    return Checker(path, text).check();
}

} // namespace tarn
