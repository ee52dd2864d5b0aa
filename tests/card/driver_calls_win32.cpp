// The calls that the library makes to the system for the kernel driver: which, how often and with
// what.
#include "device/driver_interface_win32.h"
#include "driver_fixture.h"
#include "pci_tarn/pci_tarn.h"
#include "raw_card_win32.h"
#include "support/driver_version/import_patch.h"
#include "support/imports_win32.h"
#include "support/process.h"
#include "support/temp_dir.h"

#include <windows.h>

#include <setupapi.h>

#include <cstring>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace tarn;
using test::as_import;
using test::open_card;
using test::OpenCard;
using test::ReplacedImport;
using test::VirtualCards;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr uint32_t kTimedOut = 258;
constexpr uint32_t kFailed = 0xFFFFFFFF;

// ---- control requests ------------------------------------------------------------------------

struct Control {
    uint32_t code;
    std::vector<uint8_t> input;
    uint32_t output_size;
    bool overlapped;
};

// What goes through DeviceIoControl and CancelIoEx while it lives; one at a time.
struct Recorder {
    explicit Recorder(const char *module = "pci_tarn.dll")
        : control(module, "DeviceIoControl", as_import(&on_control)),
          cancel(module, "CancelIoEx", as_import(&on_cancel)),
          close(module, "CloseHandle", as_import(&on_close)),
          event(module, "CreateEventA", as_import(&on_event)),
          open(module, "CreateFileA", as_import(&on_open)) {
        current = this;
    }
    ~Recorder() { current = nullptr; }
    Recorder(const Recorder &) = delete;
    Recorder &operator=(const Recorder &) = delete;

    [[nodiscard]] std::vector<uint32_t> codes() const {
        std::vector<uint32_t> all;
        for (const Control &call : controls) {
            all.push_back(call.code);
        }
        return all;
    }

    static BOOL WINAPI on_control(HANDLE device, DWORD code, void *in, DWORD in_size, void *out,
                                  DWORD out_size, DWORD *bytes, OVERLAPPED *overlapped) {
        const auto *begin = static_cast<const uint8_t *>(in);
        current->controls.push_back(
            {code, {begin, begin + in_size}, out_size, overlapped != nullptr});
        if (current->refuse) {
            SetLastError(ERROR_GEN_FAILURE);
            return FALSE;
        }
        return DeviceIoControl(device, code, in, in_size, out, out_size, bytes, overlapped);
    }
    static BOOL WINAPI on_cancel(HANDLE device, OVERLAPPED *overlapped) {
        current->cancelled.push_back(overlapped);
        return CancelIoEx(device, overlapped);
    }
    static BOOL WINAPI on_close(HANDLE handle) {
        current->closed.push_back(handle);
        return CloseHandle(handle);
    }

    static HANDLE WINAPI on_event(SECURITY_ATTRIBUTES *attributes, BOOL manual, BOOL set,
                                  const char *name) {
        const HANDLE handle = CreateEventA(attributes, manual, set, name);
        current->events.push_back(handle);
        return handle;
    }
    static HANDLE WINAPI on_open(const char *path, DWORD access, DWORD share,
                                 SECURITY_ATTRIBUTES *attributes, DWORD disposition, DWORD flags,
                                 HANDLE model) {
        const HANDLE handle =
            CreateFileA(path, access, share, attributes, disposition, flags, model);
        current->devices.push_back(handle);
        return handle;
    }

    static Recorder *current;
    bool refuse = false;
    std::vector<Control> controls;
    std::vector<OVERLAPPED *> cancelled;
    std::vector<HANDLE> closed;
    std::vector<HANDLE> events;  // that the library made
    std::vector<HANDLE> devices; // and opened
    ReplacedImport control;
    ReplacedImport cancel;
    ReplacedImport close;
    ReplacedImport event;
    ReplacedImport open;
};
Recorder *Recorder::current = nullptr;

TEST(DriverCalls, BarIsMappedByOneRequestOfFourAndEightBytes) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    const Recorder calls;
    ASSERT_NE(EtherCATMapBarAddress(card.get(), 2), nullptr);
    ASSERT_EQ(calls.controls.size(), 1U);
    EXPECT_EQ(calls.controls[0].code, 0x222012U);
    EXPECT_THAT(calls.controls[0].input, ElementsAre(2, 0, 0, 0));
    EXPECT_EQ(calls.controls[0].output_size, 8U);
    EXPECT_TRUE(calls.controls[0].overlapped);
}

TEST(DriverCalls, BarMappedTwiceIsOneControlCall) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    const Recorder calls;
    void *first = EtherCATMapBarAddress(card.get(), 1);
    EXPECT_EQ(EtherCATMapBarAddress(card.get(), 1), first);
    EXPECT_EQ(calls.controls.size(), 1U);
}

TEST(DriverCalls, BarNumberSixAsksNobody) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    const Recorder calls;
    EXPECT_EQ(EtherCATMapBarAddress(card.get(), 6), nullptr);
    EXPECT_THAT(calls.controls, IsEmpty());
}

TEST(DriverCalls, UnmappingSendsNumberAndAddressInNineBytes) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    void *address = EtherCATMapBarAddress(card.get(), 1);
    const Recorder calls;
    EtherCATUnmapBarAddress(card.get(), address);
    ASSERT_EQ(calls.controls.size(), 1U);
    EXPECT_EQ(calls.controls[0].code, 0x222015U);
    ASSERT_EQ(calls.controls[0].input.size(), 9U);
    EXPECT_EQ(calls.controls[0].input[0], 1);
    EXPECT_EQ(std::memcmp(calls.controls[0].input.data() + 1, &address, sizeof(address)), 0);
    EXPECT_EQ(calls.controls[0].output_size, 0U);
}

TEST(DriverCalls, UnmappingAnAddressThatIsNotMappedSendsNothing) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    auto *address = static_cast<uint8_t *>(EtherCATMapBarAddress(card.get(), 1));
    const Recorder calls;
    EtherCATUnmapBarAddress(card.get(), address + 1);
    EtherCATUnmapBarAddress(card.get(), nullptr);
    EXPECT_THAT(calls.controls, IsEmpty());
}

TEST(DriverCalls, UnmappingIsForgottenEvenWhenTheDriverRefuses) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    void *address = EtherCATMapBarAddress(card.get(), 1);
    Recorder calls;
    calls.refuse = true;
    EtherCATUnmapBarAddress(card.get(), address);
    calls.refuse = false;
    EXPECT_NE(EtherCATMapBarAddress(card.get(), 1), nullptr);
    EXPECT_THAT(calls.codes(), ElementsAre(0x222015U, 0x222012U));
}

// ---- interrupts ------------------------------------------------------------------------------

TEST(DriverCalls, WaitThatTimedOutIsNotIssuedAgain) {
    test::RawCard raw;
    const OpenCard card = open_card();
    const Recorder calls;
    EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), 3, 1), kTimedOut);
    EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), 3, 1), kTimedOut);
    raw.node().raise(3);
    EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), 3, 20000), 0U);
    ASSERT_THAT(calls.codes(), ElementsAre(0x22200DU));
    EXPECT_THAT(calls.controls[0].input, ElementsAre(3, 0, 0, 0));
    EXPECT_EQ(calls.controls[0].output_size, 0U);
    EXPECT_THAT(calls.cancelled, IsEmpty());
}

TEST(DriverCalls, WaitIsIssuedAgainAfterAnInterrupt) {
    test::RawCard raw;
    const OpenCard card = open_card();
    const Recorder calls;
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), 0, 1), kTimedOut);
        raw.node().raise(0);
        EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), 0, 20000), 0U);
    }
    EXPECT_EQ(calls.controls.size(), 3U);
}

TEST(DriverCalls, InterruptEightAsksNobody) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    const Recorder calls;
    EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), 8, 1), kFailed);
    EXPECT_THAT(calls.controls, IsEmpty());
}

// The slot keeps the event that was closed; every further call tries on it again and must not
// close it a second time, when the handle may be somebody else's.
TEST(DriverCalls, RefusedWaitClosesTheEventOnceAndTheNextCallIssuesAgain) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    Recorder calls;
    calls.refuse = true;
    EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), 2, 1), kFailed);
    ASSERT_EQ(calls.closed.size(), 1U);
    EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), 2, 1), kFailed);
    EXPECT_THAT(calls.codes(), ElementsAre(0x22200DU, 0x22200DU));
    EXPECT_EQ(calls.closed.size(), 1U);
    calls.refuse = false;
    EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), 2, 1), kFailed); // the system refuses the event
    EXPECT_EQ(calls.closed.size(), 1U);
}

TEST(DriverCalls, ClosingUnmapsThenCancelsThenClosesEventsAndDevice) {
    const VirtualCards cards;
    OpenCard card = open_card();
    EtherCATMapBarAddress(card.get(), 0);
    EtherCATMapBarAddress(card.get(), 2);
    EXPECT_EQ(EtherCATWaitForInterrupt(card.get(), 5, 1), kTimedOut);
    const Recorder calls;
    card.reset();
    EXPECT_THAT(calls.codes(), ElementsAre(0x222015U, 0x222015U));
    EXPECT_EQ(calls.controls[0].input[0], 0);
    EXPECT_EQ(calls.controls[1].input[0], 2);
    EXPECT_EQ(calls.cancelled.size(), 1U);
    // An event for each of the two requests, the one of the interrupt, the device.
    EXPECT_EQ(calls.closed.size(), 4U);
}

// ---- DMA -------------------------------------------------------------------------------------

struct DmaCall {
    DWORD offset;
    DWORD offset_high;
    DWORD length;
    bool event;
};
std::vector<DmaCall> g_dma;

BOOL WINAPI on_read(HANDLE device, void *buffer, DWORD length, DWORD *bytes,
                    OVERLAPPED *overlapped) {
    g_dma.push_back(
        {overlapped->Offset, overlapped->OffsetHigh, length, overlapped->hEvent != nullptr});
    return ReadFile(device, buffer, length, bytes, overlapped);
}

TEST(DriverCalls, DmaTellsTheCardAddressAsOffset) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    g_dma.clear();
    const ReplacedImport import("pci_tarn.dll", "ReadFile", as_import(&on_read));
    uint8_t data[16] = {};
    EXPECT_EQ(EtherCATDmaRead(card.get(), 0x123456, data, sizeof(data), 1000), 16U);
    ASSERT_EQ(g_dma.size(), 1U);
    EXPECT_EQ(g_dma[0].offset, 0x123456U);
    EXPECT_EQ(g_dma[0].offset_high, 0U);
    EXPECT_EQ(g_dma[0].length, 16U);
    EXPECT_TRUE(g_dma[0].event);
}

TEST(DriverCalls, DmaThatIsNotServedIsCancelledAtItsTimeOut) {
    test::RawCard raw;
    const OpenCard card = open_card();
    const Recorder calls;
    uint8_t data[16] = {};
    EXPECT_EQ(EtherCATDmaRead(card.get(), 0x40, data, sizeof(data), 10), 0U);
    EXPECT_EQ(calls.cancelled.size(), 1U);
    // The driver has told the firmware of it, and knows nothing of it any more.
    const vcard::FirmwareEvent transfer = raw.next_transfer();
    EXPECT_EQ(transfer.kind, vcard::kDmaRead);
    EXPECT_EQ(transfer.first, 0x40U);
    EXPECT_FALSE(raw.node().store(transfer, data));
    EXPECT_FALSE(raw.node().complete(transfer, true, sizeof(data)));
}

TEST(DriverCalls, DmaWorksAfterOneThatWasCancelled) {
    test::RawCard raw;
    const OpenCard card = open_card();
    uint8_t data[4] = {1, 2, 3, 4};
    EXPECT_EQ(EtherCATDmaWrite(card.get(), 0, data, sizeof(data), 1), 0U);
    raw.next_transfer();
    const std::jthread firmware([&raw] {
        const vcard::FirmwareEvent transfer = raw.next_transfer();
        uint8_t seen[4] = {};
        EXPECT_TRUE(raw.node().fetch(transfer, seen));
        EXPECT_THAT(seen, ElementsAre(1, 2, 3, 4));
        EXPECT_TRUE(raw.node().complete(transfer, true, sizeof(seen)));
    });
    EXPECT_EQ(EtherCATDmaWrite(card.get(), 0, data, sizeof(data), 20000), 4U);
}

TEST(DriverCalls, DmaThatTheCardRefusesMovesNothing) {
    test::RawCard raw;
    const OpenCard card = open_card();
    const std::jthread firmware([&raw] { raw.node().complete(raw.next_transfer(), false, 0); });
    uint8_t data[4] = {};
    EXPECT_EQ(EtherCATDmaRead(card.get(), 0, data, sizeof(data), 20000), 0U);
}

TEST(DriverCalls, DmaMayMoveLessThanAsked) {
    test::RawCard raw;
    const OpenCard card = open_card();
    const std::jthread firmware([&raw] {
        const vcard::FirmwareEvent transfer = raw.next_transfer();
        const uint8_t two[2] = {7, 8};
        EXPECT_TRUE(raw.node().store(transfer, two));
        EXPECT_TRUE(raw.node().complete(transfer, true, 2));
    });
    uint8_t data[4] = {};
    EXPECT_EQ(EtherCATDmaRead(card.get(), 0, data, sizeof(data), 20000), 2U);
    EXPECT_THAT(data, ElementsAre(7, 8, 0, 0));
}

TEST(DriverCalls, SelectorsTravelInEightBytes) {
    const VirtualCards cards;
    const OpenCard card = open_card();
    const Recorder calls;
    char data[3] = {};
    EtherCATWrite(card.get(), 0x01020304, 0x05060708, data, sizeof(data));
    EtherCATRead(card.get(), 0x01020304, 0x05060708, data, sizeof(data));
    ASSERT_THAT(calls.codes(), ElementsAre(0x222009U, 0x222006U));
    for (const Control &call : calls.controls) {
        EXPECT_THAT(call.input, ElementsAre(4, 3, 2, 1, 8, 7, 6, 5));
        EXPECT_EQ(call.output_size, 3U);
    }
}

// ---- finding and opening ---------------------------------------------------------------------

struct OpenCall {
    DWORD access;
    DWORD share;
    DWORD disposition;
    DWORD flags;
};
std::vector<OpenCall> g_opened;

HANDLE WINAPI on_create_file(const char *path, DWORD access, DWORD share,
                             SECURITY_ATTRIBUTES *security, DWORD disposition, DWORD flags,
                             HANDLE pattern) {
    g_opened.push_back({access, share, disposition, flags});
    return CreateFileA(path, access, share, security, disposition, flags, pattern);
}

TEST(DriverCalls, CardIsOpenedForOverlappedUseAndShared) {
    const VirtualCards cards;
    g_opened.clear();
    const ReplacedImport import("pci_tarn.dll", "CreateFileA", as_import(&on_create_file));
    const OpenCard card = open_card();
    ASSERT_NE(card, nullptr);
    ASSERT_EQ(g_opened.size(), 1U);
    EXPECT_EQ(g_opened[0].access, 0xC0000000U);
    EXPECT_EQ(g_opened[0].share, 3U);
    EXPECT_EQ(g_opened[0].disposition, 3U);
    EXPECT_EQ(g_opened[0].flags, 0x40000000U);
}

DWORD g_flags = 0;
GUID g_class = {};
int g_sets = 0;

HDEVINFO WINAPI on_class_devs(const GUID *device_class, const char *enumerator, HWND parent,
                              DWORD flags) {
    g_class = *device_class;
    g_flags = flags;
    ++g_sets;
    return SetupDiGetClassDevsA(device_class, enumerator, parent, flags);
}

BOOL WINAPI on_destroy(HDEVINFO set) {
    --g_sets;
    return SetupDiDestroyDeviceInfoList(set);
}

TEST(DriverCalls, PresentInterfacesOfTheCardsClassAreLookedFor) {
    const VirtualCards cards;
    const ReplacedImport find("pci_tarn.dll", "SetupDiGetClassDevsA", as_import(&on_class_devs));
    EXPECT_EQ(EtherCATGetCount(), 1U);
    EXPECT_EQ(g_flags, 0x12U);
    EXPECT_TRUE(g_class == driver::kCardInterface);
}

TEST(DriverCalls, EveryDeviceListIsGivenBack) {
    const VirtualCards cards;
    const ReplacedImport find("pci_tarn.dll", "SetupDiGetClassDevsA", as_import(&on_class_devs));
    const ReplacedImport destroy("pci_tarn.dll", "SetupDiDestroyDeviceInfoList",
                                 as_import(&on_destroy));
    g_sets = 0;
    EtherCATGetCount();
    EtherCATGetDriverVersion();
    const OpenCard card = open_card();
    EXPECT_EQ(open_card(1), nullptr);
    EXPECT_EQ(g_sets, 0);
}

HDEVINFO WINAPI no_class_devs(const GUID *, const char *, HWND, DWORD) {
    SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
}

TEST(DriverCalls, NothingIsFoundWhenTheSystemListsNoDevices) {
    const VirtualCards cards;
    const ReplacedImport find("pci_tarn.dll", "SetupDiGetClassDevsA", as_import(&no_class_devs));
    EXPECT_EQ(EtherCATGetCount(), 0U);
    EXPECT_EQ(EtherCATGetDriverVersion(), 0U);
    EXPECT_EQ(open_card(), nullptr);
}

// ---- the end of the library ------------------------------------------------------------------

// A copy of the library that can be unloaded; this program holds the other one.
TEST(DriverCalls, UnloadingTheLibraryUnmapsTheBarsAndClosesTheCards) {
    const VirtualCards cards(VirtualCards::default_cards(2));
    char path[MAX_PATH] = {};
    GetModuleFileNameA(GetModuleHandleA("pci_tarn.dll"), path, sizeof(path));
    const test::TempDir folder;
    const std::string copy = (folder.path() / "tarn_copy.dll").string();
    std::filesystem::copy_file(path, copy);
    HMODULE library = LoadLibraryA(copy.c_str());
    ASSERT_NE(library, nullptr);
    test::patch_driver_version_of("tarn_copy.dll");
    using Find = uint32_t (*)(const char *, void *);
    const auto find =
        reinterpret_cast<Find>(reinterpret_cast<void *>(GetProcAddress(library, "getBoardHandle")));
    uint8_t node[136] = {};
    // Never taken back: the import table goes with the library.
    static Recorder *calls = new Recorder("tarn_copy.dll");
    ASSERT_EQ(find("ID1", node), 0U);
    ASSERT_EQ(calls->devices.size(), 2U);
    calls->controls.clear();
    calls->events.clear();
    calls->closed.clear();
    FreeLibrary(library);
    ASSERT_EQ(GetModuleHandleA("tarn_copy.dll"), nullptr);
    EXPECT_THAT(calls->codes(), testing::Each(0x222015U));
    ASSERT_EQ(calls->controls.size(), 6U);
    for (size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(calls->controls[i].input[0], i % 3) << i;
    }
    // An event for each of the requests, and each card's device after its last one.
    const std::vector<HANDLE> &event = calls->events;
    ASSERT_EQ(event.size(), 6U);
    EXPECT_THAT(calls->closed, ElementsAre(event[0], event[1], event[2], calls->devices[0],
                                           event[3], event[4], event[5], calls->devices[1]));
}

} // namespace
