// Virtual cards in the test's own process.
#pragma once

#include "support/temp_dir.h"
#include "vcard/host/server.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace tarn::test {

// Serves cards in a runtime folder that only this process knows, and enters a fresh working folder
// for "temp.dat". To be made before the first call of the library in the process: the library
// looks for its cards only once.
class VirtualCards {
  public:
    // One card: name "tarn0", alias 0, a bus start that takes no time.
    VirtualCards();
    explicit VirtualCards(std::vector<vcard::CardConfig> cards);
    explicit VirtualCards(vcard::ServerOptions options);
    ~VirtualCards();
    VirtualCards(const VirtualCards &) = delete;
    VirtualCards &operator=(const VirtualCards &) = delete;

    // A card as VirtualCards() makes it, to be changed and given to the other constructors.
    static vcard::CardConfig default_card();
    // `count` such cards, named "tarn0", "tarn1" and so on, with the same number as alias.
    static std::vector<vcard::CardConfig> default_cards(size_t count);

    vcard::Firmware &card(size_t index = 0);

    // Ends the server, as a card does that is pulled out. The folders stay.
    void stop();

    // Value of XDG_RUNTIME_DIR, by which programs that the test starts find the cards on Linux; on
    // Windows everybody finds them.
    const std::filesystem::path &runtime_dir() const { return runtime_dir_; }
    // Where the card sockets lie on Linux.
    std::filesystem::path socket_dir() const { return runtime_dir_ / "pci_tarn"; }
    // The working folder.
    const std::filesystem::path &work_dir() const { return work_.path(); }
    // The log of all cards so far, a line each.
    std::string log() const;

  private:
    struct Log;
    TempDir work_;
    std::filesystem::path runtime_dir_;
    std::shared_ptr<Log> log_;
    std::unique_ptr<vcard::Server> server_;
};

} // namespace tarn::test
