// First light in C++: open a channel, start the bus with an ENI file, write outputs, read inputs,
// stop, whatever happens in between. Usage: example-first_light-cpp ENI [BOARD]
#include <pci_tarn/pci_tarn.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

// What ends with the scope: an open channel, a running bus.
using Channel = std::unique_ptr<EcatHandle, decltype(&EcatClose)>;
using RunningBus = std::unique_ptr<EcatHandle, decltype(&EcatBusStop)>;

static void check(const char *what, uint32_t status) {
    if (status != PCI_TARN_OK) {
        throw std::runtime_error(std::string(what) + ": " + DriverGetErrStr(status) + " (" +
                                 std::to_string(status) + ")");
    }
}

static void show_progress(void *, float fraction) {
    std::printf("\rstarting %3.0f %%%s", static_cast<double>(fraction) * 100,
                fraction < 1 ? "" : "\n");
}

static void exchange(EcatHandle *channel) {
    for (uint8_t round = 1; round <= 10; ++round) {
        std::array<uint8_t, 8> outputs, inputs;
        outputs.fill(round);
        check("write", EcatPIWrite(channel, ECAT_PI_FAST_OUTPUT, 0, 8, outputs.data()));
        std::this_thread::sleep_for(std::chrono::milliseconds(10)); // some bus cycles
        check("read", EcatPIRead(channel, ECAT_PI_SHADOW_INPUT, 0, 8, inputs.data()));
        std::printf("wrote %02x, read", round);
        for (const uint8_t byte : inputs) {
            std::printf(" %02x", byte);
        }
        std::printf("\n");
    }
}

int main(int argc, char **argv) try {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s ENI [BOARD]\n", argv[0]);
        return 2;
    }
    EcatHandle *handle = nullptr;
    check("open", EcatOpen(&handle, argc > 2 ? argv[2] : "ID0", 0));
    const Channel channel(handle, EcatClose);
    check("start", EcatBusRunEx(handle, argv[1], show_progress, nullptr));
    const RunningBus bus(handle, EcatBusStop);
    exchange(handle);
    return 0;
} catch (const std::exception &error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
