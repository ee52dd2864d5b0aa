/* Runs a bus for a moment: opens a channel, starts the bus with an ENI file, moves a light along
 * the outputs, shows the inputs as JSON, stops. Usage: cell ENI [BOARD] */
#include <pci_tarn/cjson/cJSON.h>
#include <pci_tarn/pci_tarn.h>

#include <stdio.h>

/* 1 and a message when the status is no success. */
static int failed(const char *what, uint32_t status) {
    if (status != PCI_TARN_OK) {
        fprintf(stderr, "%s: %s (%u)\n", what, DriverGetErrStr(status), (unsigned)status);
    }
    return status != PCI_TARN_OK;
}

static void show(unsigned step, const uint8_t *inputs) {
    cJSON *line = cJSON_CreateObject();
    cJSON_AddNumberToObject(line, "step", step);
    cJSON *values = cJSON_AddArrayToObject(line, "inputs");
    for (unsigned i = 0; i < 8; ++i) {
        cJSON_AddItemToArray(values, cJSON_CreateNumber(inputs[i]));
    }
    char *text = cJSON_PrintUnformatted(line);
    printf("%s\n", text != NULL ? text : "out of memory");
    cJSON_free(text);
    cJSON_Delete(line);
}

static int exchange(EcatHandle *channel) {
    for (unsigned step = 0; step < 8; ++step) {
        uint8_t outputs[8] = {0}, inputs[8] = {0};
        outputs[step] = 0xFF;
        if (failed("write", EcatPIWrite(channel, ECAT_PI_FAST_OUTPUT, 0, 8, outputs))) {
            return 1;
        }
        __usleep_window(10000); /* some bus cycles */
        if (failed("read", EcatPIRead(channel, ECAT_PI_SHADOW_INPUT, 0, 8, inputs))) {
            return 1;
        }
        show(step, inputs);
    }
    return 0;
}

int main(int argc, char **argv) {
    EcatHandle *channel = NULL;
    printf("compiled with " PCI_TARN_VERSION "\n");
    if (argc < 2 || failed("open", EcatOpen(&channel, argc > 2 ? argv[2] : "ID0", 0))) {
        return argc < 2 ? 2 : 1;
    }
    int result = failed("start", EcatBusRun(channel, argv[1]));
    if (result == 0) {
        result = exchange(channel) | failed("stop", EcatBusStop(channel));
    }
    EcatClose(channel);
    return result;
}
