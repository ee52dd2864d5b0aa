// Any bytes as the mapping of an ENI file: a status, and tables that are sorted and in bounds.
#include "layout/shared_memory_map.h"
#include "pci_tarn/pi.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const std::string path = "/dev/shm/pci_tarn-fuzz-" + std::to_string(getpid());
    static auto blocks = std::make_unique<tarn::PiDirection[]>(2);
    std::FILE *file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        return 0;
    }
    static const char kMarker[] = "<!-- @@##ENI_PDO_LIST##@@";
    std::fwrite(kMarker, 1, sizeof(kMarker) - 1, file);
    std::fwrite(data, 1, size, file);
    for (size_t i = size; i < 120; ++i) {
        std::fputc(' ', file);
    }
    std::fclose(file);
    const uint32_t slaves = size > 0 ? data[0] % 8U : 0;
    ecat_pi_logic_addr_map_init(path.c_str(), slaves, &blocks[1], &blocks[0]);
    for (int d = 0; d < 2; ++d) {
        if (blocks[d].entry_count > PCI_TARN_MAX_SLAVES) {
            std::abort();
        }
        for (uint32_t i = 1; i < blocks[d].entry_count; ++i) {
            if (blocks[d].sorted[i - 1].address > blocks[d].sorted[i].address) {
                std::abort();
            }
        }
    }
    return 0;
}
