// First light in C++: open a channel, start the bus with an ENI file, write outputs, read inputs,
// stop. The channel is closed and the bus stopped whatever happens in between.
// Usage: example-first_light-cpp ENI [BOARD]
#include <pci_tarn/pci_tarn.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

void check(const char *what, uint32_t status) {
    if (status != PCI_TARN_OK) {
        throw std::runtime_error(std::string(what) + ": " + DriverGetErrStr(status) + " (" +
                                 std::to_string(status) + ")");
    }
}

struct CloseChannel {
    void operator()(EcatHandle *channel) const { EcatClose(channel); }
};
using Channel = std::unique_ptr<EcatHandle, CloseChannel>;

Channel open_channel(const char *board) {
    EcatHandle *channel = nullptr;
    check("open", EcatOpen(&channel, board, 0));
    return Channel(channel);
}

// The bus runs as long as this lives.
class RunningBus {
  public:
    RunningBus(EcatHandle *channel, const char *eni) : channel_(channel) {
        const PciProgress show = [](void *, float fraction) {
            std::printf("\rstarting %3.0f %%", static_cast<double>(fraction) * 100);
            std::fflush(stdout);
        };
        check("start", EcatBusRunEx(channel_, eni, show, nullptr));
        std::printf("\n");
    }
    ~RunningBus() { EcatBusStop(channel_); }
    RunningBus(const RunningBus &) = delete;
    RunningBus &operator=(const RunningBus &) = delete;

  private:
    EcatHandle *channel_;
};

void exchange(EcatHandle *channel) {
    for (uint8_t round = 1; round <= 10; ++round) {
        std::array<uint8_t, 8> outputs;
        outputs.fill(round);
        check("write",
              EcatPIWrite(channel, ECAT_PI_FAST_OUTPUT, 0, outputs.size(), outputs.data()));
        std::this_thread::sleep_for(std::chrono::milliseconds(10)); // some bus cycles
        std::array<uint8_t, 8> inputs{};
        check("read", EcatPIRead(channel, ECAT_PI_SHADOW_INPUT, 0, inputs.size(), inputs.data()));
        std::printf("wrote %02x, read", round);
        for (const uint8_t byte : inputs) {
            std::printf(" %02x", byte);
        }
        std::printf("\n");
    }
}

} // namespace

int main(int argc, char **argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s ENI [BOARD]\n", argv[0]);
        return 2;
    }
    try {
        const Channel channel = open_channel(argc > 2 ? argv[2] : "ID0");
        const RunningBus bus(channel.get(), argv[1]);
        exchange(channel.get());
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
