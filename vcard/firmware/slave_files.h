// The files that slaves hold for FoE. They are the slaves' own: they stay when the bus is stopped
// or the card is reset.
#pragma once

#include "vcard/bus/network.h"
#include "vcard/bus/sii.h"
#include "vcard/firmware/file_store.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace tarn::vcard {

// How a slave answers; error codes of FoE.
enum class FoeAnswer : uint32_t {
    Done = 0,
    NotFound = 0x8001,
    AccessDenied = 0x8002,
    DiskFull = 0x8003,
    BootstrapOnly = 0x8008,
    NoRights = 0x800A,
};

// One slave's view: who it is, and its EtherCAT state.
struct FoeSlave {
    uint32_t number;
    const SlaveConfig &config;
    uint8_t state;
};

class SlaveFiles {
  public:
    static constexpr size_t kMaxFileSize = 25U << 20;
    static constexpr size_t kSlaveSize = 32U << 20;  // of all files of a slave
    static constexpr size_t kTotalSize = 256U << 20; // of all slaves
    static constexpr size_t kMaxFiles = 32;          // of a slave

    using Content = std::shared_ptr<const FileContent>;

    FoeAnswer read(const FoeSlave &slave, const std::string &name, Content &content) const;
    FoeAnswer write(const FoeSlave &slave, const std::string &name, Content content);

  private:
    struct File {
        Content content;
        bool read_only = false;
        bool protect = false; // asks for a password, which no request carries
    };
    using Files = std::map<std::string, File>;

    static Files factory_files(const FoeSlave &slave);
    [[nodiscard]] Files files_of(const FoeSlave &slave) const;
    static size_t size_of(const Files &files);
    [[nodiscard]] size_t total() const;

    std::map<EepromStore::Key, Files> slaves_; // those that were written to
};

} // namespace tarn::vcard
