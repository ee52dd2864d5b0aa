// Peers that use a card until they are killed.
#include "vcard_service_fixture.h"

namespace {

using namespace tarn::test;

TARN_PEER(waiter) {
    const CardClient client(arguments);
    EtherCATWaitForInterrupt(client.card(), 1, 60000);
    return 0;
}

TARN_PEER(dma_user) {
    const CardClient client(arguments);
    static uint8_t data[1 << 20];
    for (;;) {
        EtherCATDmaRead(client.card(), 0, data, sizeof(data), 10000);
        EtherCATDmaWrite(client.card(), 0x400000, data, sizeof(data), 10000);
    }
}

} // namespace
