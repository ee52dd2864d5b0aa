// A card as the kernel driver interface opens it.
#pragma once

#include "pci_tarn/driver.h"
#include "support/virtual_card.h"

#include <gtest/gtest.h>
#include <memory>

namespace tarn::test {

struct Close {
    void operator()(EtherCAT *card) const { EtherCATClose(card); }
};
using OpenCard = std::unique_ptr<EtherCAT, Close>;

inline OpenCard open_card(uint32_t index = 0) {
    return OpenCard(EtherCATOpen(index));
}

// Works: the card still serves others.
inline void expect_alive() {
    const OpenCard card = open_card();
    ASSERT_NE(card, nullptr);
    EXPECT_NE(EtherCATMapBarAddress(card.get(), 1), nullptr);
}

} // namespace tarn::test
