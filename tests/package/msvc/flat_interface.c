/* The flat interface, exported data and cJSON, as a C program that MSVC compiles uses them. */
#include "console.h"

#include <pci_tarn/cjson/cJSON.h>
#include <pci_tarn/pci_tarn.h>

int _fltused = 1;

_Static_assert(sizeof(BoardInfo) == 108, "as the DLL has it");
_Static_assert(sizeof(DriverInfo) == 68, "as the DLL has it");
_Static_assert(sizeof(CommandChannel) == 102472, "as the DLL has it");
_Static_assert(sizeof(bool) == 1, "as the DLL has it");

static int same(const char *a, const char *b) {
    while (*a != 0 && *a == *b) {
        ++a;
        ++b;
    }
    return *a == *b;
}

static int begins(const char *text, const char *with) {
    while (*with != 0 && *text == *with) {
        ++text;
        ++with;
    }
    return *with == 0;
}

static void progress(void *arg, float fraction) {
    *(float *)arg = fraction;
}

void start(void) {
    CHECK(same(EcatErrorGetErrorMessage(PCI_TARN_E_NO_DEVICE), "Device not find"));
    CHECK(same(DriverGetErrStr(PCI_TARN_E_HANDLE), "Invalid handle"));

    static DriverInfo info;
    DriverGetInfo(&info);
    CHECK(begins(info.library_version, PCI_TARN_VERSION "["));

    CHECK(mailbox_mutex[3][1][0] != 0);
    CHECK(mailbox_mutex[3][1][0] == getMutex_mailbox(3, 1, 0));
    CHECK(sock_mutex[15][0][1] == getMutex_sock(15, 0, 1));
    CHECK(pi_mutex[7][1][4] == getMutex_pi(7, 1, 4));
    CHECK(__proc_id == 1);
    CHECK(__pi_shared_memory != 0);

    EcatHandle *handle = 0;
    float done = -1;
    CHECK(EcatOpen(&handle, "nobody", 0) != PCI_TARN_OK);
    CHECK(handle == 0);
    CHECK(EcatBusRunEx(handle, "none.xml", progress, &done) == PCI_TARN_E_HANDLE);
    CHECK(!EcatBusIsRunning(handle));

    cJSON *root = cJSON_Parse("{\"value\": 2.5}");
    CHECK(cJSON_GetObjectItemCaseSensitive(root, "value")->valuedouble == 2.5);
    cJSON_Delete(root);
    end("flat interface");
}
