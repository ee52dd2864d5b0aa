/* First light in C: open a channel, start the bus with an ENI file, write outputs, read inputs,
 * stop. Usage: example-first_light-c ENI [BOARD] */
#include <pci_tarn/pci_tarn.h>

#include <stdio.h>
#include <string.h>

static void show_progress(void *arg, float fraction) {
    (void)arg;
    printf("\rstarting %3.0f %%", (double)fraction * 100);
    fflush(stdout);
}

/* 1 and a message when the status is no success. */
static int failed(const char *what, uint32_t status) {
    if (status != PCI_TARN_OK) {
        fprintf(stderr, "%s: %s (%u)\n", what, DriverGetErrStr(status), (unsigned)status);
    }
    return status != PCI_TARN_OK;
}

/* Writes 8 bytes of outputs and shows 8 bytes of inputs, ten times. */
static int exchange(EcatHandle *channel) {
    for (unsigned round = 1; round <= 10; ++round) {
        uint8_t outputs[8], inputs[8];
        memset(outputs, (int)round, sizeof(outputs));
        if (failed("write", EcatPIWrite(channel, ECAT_PI_FAST_OUTPUT, 0, 8, outputs))) {
            return 1;
        }
        __usleep_window(10000); /* some bus cycles */
        if (failed("read", EcatPIRead(channel, ECAT_PI_SHADOW_INPUT, 0, 8, inputs))) {
            return 1;
        }
        printf("wrote %02x, read", round);
        for (unsigned i = 0; i < sizeof(inputs); ++i) {
            printf(" %02x%s", inputs[i], i + 1 < sizeof(inputs) ? "" : "\n");
        }
    }
    return 0;
}

int main(int argc, char **argv) {
    EcatHandle *channel = NULL;
    if (argc < 2) {
        fprintf(stderr, "usage: %s ENI [BOARD]\n", argv[0]);
        return 2;
    }
    if (failed("open", EcatOpen(&channel, argc > 2 ? argv[2] : "ID0", 0))) {
        return 1;
    }
    int result = failed("start", EcatBusRunEx(channel, argv[1], show_progress, NULL));
    if (result == 0) {
        printf("\n");
        result = exchange(channel);
        result |= failed("stop", EcatBusStop(channel));
    }
    EcatClose(channel);
    return result;
}
