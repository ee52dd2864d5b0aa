#include "slave.h"

#include "states.h"
#include "text.h"

#include <tarn_vcard/records.h>

namespace tarn {

namespace {

std::string of_slave(const char *what, uint16_t position) {
    return std::string("cannot ask for the ") + what + " of slave " + std::to_string(position);
}

template <typename T>
T ask(EcatHandle *channel, uint32_t (*get)(EcatHandle *, uint16_t, T *), uint16_t position,
      const char *what) {
    T value{};
    check(get(channel, position, &value), of_slave(what, position));
    return value;
}

BitRun physical_run(EcatHandle *channel, uint32_t direction, uint16_t position) {
    uint16_t size = 0;
    uint16_t offset = 0;
    const bool output = direction == ECAT_PI_DIRECTION_OUTPUT;
    const uint32_t status = output ? EcatGetSlavePIOutputsInfo(channel, position, &size, &offset)
                                   : EcatGetSlavePIInputsInfo(channel, position, &size, &offset);
    if (status == PCI_TARN_E_NO_PI_REGION) {
        return {};
    }
    check(status, of_slave(output ? "outputs" : "inputs", position));
    return {offset, size};
}

// The firmware's record of a slave, when it is laid out as we know it: it must agree with what the
// card says in single answers.
std::optional<VcardSlaveInfo> known_record(EcatHandle *channel, const Slave &slave) {
    VcardSlaveInfo record{};
    if (EcatGetSlaveInfo(channel, slave.position, &record) != PCI_TARN_OK ||
        record.vendor_id != slave.vendor_id || record.fixed_address != slave.address ||
        (record.state & 0x0F) != slave.state) {
        return std::nullopt;
    }
    record.name[sizeof(record.name) - 1] = '\0';
    return record;
}

// The record of the process image that all programs of this directory share. It begins with the
// number of slaves; a block per direction follows, outputs first.
class ImageRecord {
  public:
    explicit ImageRecord(const void *bytes) : bytes_(static_cast<const uint8_t *>(bytes)) {}

    [[nodiscard]] uint32_t slaves() const { return bytes_ != nullptr ? word(0) : 0; }

    // Bit address of a slave; none when the direction is not mapped.
    [[nodiscard]] std::optional<uint16_t> logical_address(uint32_t direction,
                                                          uint16_t slave) const {
        const size_t block = kFirstBlock + direction * kBlockSize;
        if (slave >= slaves() || word(block + kMapped) == 0) {
            return std::nullopt;
        }
        const size_t place = block + kLogicalAddresses + slave * sizeof(uint16_t);
        return *reinterpret_cast<const volatile uint16_t *>(bytes_ + place);
    }

  private:
    static constexpr size_t kFirstBlock = 4;
    static constexpr size_t kBlockSize = 41488;
    static constexpr size_t kMapped = 16900; // non-zero when logical addresses count
    static constexpr size_t kLogicalAddresses = 33296;

    [[nodiscard]] uint32_t word(size_t offset) const {
        return *reinterpret_cast<const volatile uint32_t *>(bytes_ + offset);
    }

    const uint8_t *bytes_;
};

} // namespace

uint16_t slave_count(EcatHandle *channel) {
    uint16_t count = 0;
    check(EcatGetSlaveCount(channel, &count), "cannot ask for the number of slaves");
    return count;
}

Slave read_slave(EcatHandle *channel, uint16_t position) {
    Slave slave;
    slave.position = position;
    slave.state = ask(channel, EcatGetSlaveState, position, "state");
    slave.vendor_id = ask(channel, EcatGetSlaveVendorID, position, "vendor");
    slave.address = ask(channel, EcatGetSlaveFixAddr, position, "address");
    if (const std::optional<VcardSlaveInfo> record = known_record(channel, slave)) {
        slave.name = printable(record->name);
        slave.error = (record->state & 0x10) != 0;
        slave.al_status_code = record->al_status_code;
        slave.product_code = record->product_code;
        slave.revision_no = record->revision_no;
        slave.serial_no = record->serial_no;
        slave.alias = record->alias;
    } else {
        slave.al_status_code = ask(channel, EcatGetSlaveALStatusCode, position, "AL status code");
        slave.error = slave.al_status_code != 0;
        slave.product_code = ask(channel, EcatGetSlaveProductCode, position, "product");
        slave.revision_no = ask(channel, EcatGetSlaveRevisionNo, position, "revision");
        slave.serial_no = ask(channel, EcatGetSlaveSerialNo, position, "serial number");
        slave.alias = ask(channel, EcatGetSlaveAlias, position, "alias");
    }
    slave.outputs = physical_run(channel, ECAT_PI_DIRECTION_OUTPUT, position);
    slave.inputs = physical_run(channel, ECAT_PI_DIRECTION_INPUT, position);
    return slave;
}

std::string slave_state_text(const Slave &slave) {
    return state_with_error(slave.state, slave.error);
}

BitRun slave_run(EcatHandle *channel, uint32_t direction, uint16_t position) {
    BitRun run = physical_run(channel, direction, position);
    const ImageRecord record(__EcatGetPiInfo(channel));
    run.bit = record.logical_address(direction, position).value_or(static_cast<uint16_t>(run.bit));
    return run;
}

bool image_is_described(EcatHandle *channel) {
    return ImageRecord(__EcatGetPiInfo(channel)).slaves() == slave_count(channel);
}

} // namespace tarn
