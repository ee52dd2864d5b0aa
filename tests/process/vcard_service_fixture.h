// A virtual card service in a process of its own, and processes that use its cards.
#pragma once

#include "pci_tarn/driver.h"
#include "support/card_environment.h"
#include "support/peer.h"
#include "support/temp_dir.h"
#include "vcard/host/server.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace tarn::test {

namespace fs = std::filesystem;

inline constexpr uint32_t kFailed = 0xFFFFFFFF;
inline constexpr uint32_t kTimedOut = 258;

// The card in a peer that client() has started.
class CardClient {
  public:
    explicit CardClient(const PeerArguments &arguments) : card_(EtherCATOpen(0)) {
        if (card_ == nullptr) {
            std::exit(1);
        }
        Flag(arguments.at(0)).raise();
    }
    EtherCAT *card() const { return card_; }

  private:
    EtherCAT *card_;
};

// Two cards.
class VcardService : public testing::Test {
  protected:
    VcardService() {
        enter_card_environment(folder_.path(), vcard::ServerOptions().driver_version);
        set_environment(kRuntimeVariable, folder_.path().string());
        start();
    }

    void start(const std::string &cards = "2") {
        service_ = std::make_unique<BackgroundProcess>(
            program_path("tarn-vcard"), std::vector<std::string>{"run", "--cards", cards});
        ASSERT_TRUE(service_->wait_for_output("serving")) << service_->err();
    }

    // A peer that has opened the card.
    static std::unique_ptr<Peer> client(const char *role) {
        const Flag ready;
        auto peer = std::make_unique<Peer>(role, PeerArguments{ready.name()});
        EXPECT_TRUE(ready.wait());
        return peer;
    }

    TempDir folder_;
    std::unique_ptr<BackgroundProcess> service_;
};

} // namespace tarn::test
