#include "image.h"

#include "text.h"

namespace tarn {

namespace {

constexpr Area kAreas[] = {
    {ECAT_PI_NORMAL_OUTPUT, ECAT_PI_DIRECTION_OUTPUT, "output"},
    {ECAT_PI_NORMAL_INPUT, ECAT_PI_DIRECTION_INPUT, "input"},
    {ECAT_PI_FAST_OUTPUT, ECAT_PI_DIRECTION_OUTPUT, "fast-output"},
    {ECAT_PI_CARD_AREA, ECAT_PI_DIRECTION_OUTPUT, "card"},
    {ECAT_PI_SHADOW_INPUT, ECAT_PI_DIRECTION_INPUT, "shadow-input"},
};

constexpr uint32_t kReachableBytes =
    8191; // byte 8191 of a full image is out of the library's reach

// The bytes that hold a run of bits.
struct ByteSpan {
    uint32_t offset;
    uint32_t length;
};

ByteSpan span_of(const BitRun &run) {
    const uint32_t end = (run.bit + run.bits + 7) / 8;
    return {run.bit / 8, end - run.bit / 8};
}

std::string run_text(const Area &area, const BitRun &run) {
    return counted(run.bits, "bit") + " at bit " + std::to_string(run.bit) + " of area " +
           area.name;
}

// The library cuts an access that goes too far and reports success.
void check_reach(EcatHandle *channel, const Area &area, const BitRun &run) {
    const uint32_t bytes = image_bytes(channel, area);
    const ByteSpan span = span_of(run);
    if (span.offset + span.length > bytes) {
        throw Failure(PCI_TARN_E_OUT_OF_PI,
                      run_text(area, run) + ", but the image has " + counted(bytes, "byte"));
    }
    if (span.offset + span.length > kReachableBytes) {
        throw Failure(PCI_TARN_E_OUT_OF_PI, run_text(area, run),
                      "the last byte of a full image cannot be accessed");
    }
}

uint32_t judged(uint32_t status, const char *verb, const Area &area, const BitRun &run) {
    if (status != PCI_TARN_E_SLAVE_NOT_READY) {
        check(status, std::string("cannot ") + verb + " " + run_text(area, run));
    }
    return status;
}

} // namespace

Area parse_area(const std::string &text) {
    const std::optional<uint64_t> number = parse_unsigned(text);
    for (const Area &area : kAreas) {
        if (text == area.name || number == area.index) {
            return area;
        }
    }
    throw UsageError("\"" + printable(text) + "\" is no area: " + kAreaNames + " or 0 to 4");
}

uint32_t image_bytes(EcatHandle *channel, const Area &area) {
    EniInfo info{};
    check(EcatGetEniInfo(channel, &info), "cannot ask for the image lengths");
    const bool output = area.direction == ECAT_PI_DIRECTION_OUTPUT;
    const uint32_t bytes = output ? info.output_length : info.input_length;
    if (bytes == 0) {
        throw Failure(std::string("the bus has no ") + (output ? "output" : "input") + " image",
                      "does it run (tarn status)?");
    }
    if (!image_is_described(channel)) {
        throw Failure("temp.dat in this directory does not describe the bus that runs",
                      "run tarn in the directory where the bus was started");
    }
    return bytes;
}

uint32_t read_run(EcatHandle *channel, const Area &area, const BitRun &run, BitData &data) {
    check_reach(channel, area, run);
    const ByteSpan span = span_of(run);
    std::vector<uint8_t> bytes(span.length);
    const uint32_t status = EcatPIRead(channel, area.index, span.offset, span.length, bytes.data());
    data.bits = run.bits;
    data.bytes.assign((run.bits + 7) / 8, 0);
    ecat_bitmemcpy(data.bytes.data(), 0, bytes.data(), run.bit % 8, run.bits);
    return judged(status, "read", area, run);
}

uint32_t write_run(EcatHandle *channel, const Area &area, const BitRun &run, const BitData &data) {
    check_reach(channel, area, run);
    const ByteSpan span = span_of(run);
    const std::vector<uint8_t> ones(data.bytes.size(), 0xFF);
    std::vector<uint8_t> bytes(span.length);
    std::vector<uint8_t> mask(span.length);
    ecat_bitmemcpy(bytes.data(), run.bit % 8, data.bytes.data(), 0, run.bits);
    ecat_bitmemcpy(mask.data(), run.bit % 8, ones.data(), 0, run.bits);
    const uint32_t status =
        EcatPIMaskWrite(channel, area.index, span.offset, span.length, mask.data(), bytes.data());
    return judged(status, "write", area, run);
}

} // namespace tarn
