// tarn_vcard.sys: the kernel side of the virtual cards. It offers what the driver of the real card
// offers and passes it on to a process that runs the card's firmware; of EtherCAT it knows nothing.
//
// One device node per card. Users and firmware processes may die at any moment, and everything they
// send is checked. Two locks per node: `setup` for what sleeps (memory, interfaces), a spin lock
// for the lists of requests. `setup` is taken first; requests are completed outside the spin lock.
#include "device/driver_interface_win32.h"
#include "vcard/driver/firmware_interface_win32.h"
#include "vcard/driver/kernel_win32.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>

using namespace tarn;

namespace {

constexpr ULONG kTag = 0x6E726154;                  // "Tarn"
constexpr auto kPool = static_cast<POOL_TYPE>(512); // not paged, not executable
constexpr uint32_t kRequestLimit = 256;             // outstanding ones of one handle
constexpr uint32_t kViewLimit = 64;                 // of one handle
constexpr uint32_t kPageSize = 4096;

// ---- records ---------------------------------------------------------------------------------

// A BAR in the address space of a process. The handle keeps the process's number from being given
// to another one.
struct View {
    LIST_ENTRY link;
    HANDLE process;
    HANDLE process_id;
    void *address;
    uint32_t bar;
};

// One open handle. A user's, until it attaches.
struct Client {
    LIST_ENTRY link;
    LIST_ENTRY views;
    uint32_t view_count;
    uint32_t request_count;
    uint32_t session; // that it was opened in; 0 when there was none
    uint32_t latched; // interrupts that came while it did not wait, a bit each
    bool woken;       // while an interrupt is raised
    bool left;        // the handle is closed; nothing is kept for it any more
};

struct Node {
    DEVICE_OBJECT *self;
    DEVICE_OBJECT *lower;
    IO_REMOVE_LOCK remove_lock;
    UNICODE_STRING card_interface;
    UNICODE_STRING firmware_interface;

    KEVENT setup;
    HANDLE sections[driver::kBarCount];
    SIZE_T sizes[driver::kBarCount];
    bool shown;

    KSPIN_LOCK lock;
    LIST_ENTRY clients;
    LIST_ENTRY waits;     // requests that wait for an interrupt
    LIST_ENTRY transfers; // requests that the firmware has to serve
    LIST_ENTRY looks;     // requests of the firmware for the next event
    Client *firmware;     // null while nobody is attached
    bool removed;         // nobody may attach any more
    uint32_t session;     // counts attachments; a user of an earlier one has lost its card
    uint32_t next_id;
    bool kicked;
};

// What a request that is kept carries in its own record.
struct Held {
    Client *client;
    uint32_t number;    // interrupt, or number of the transfer
    uint32_t delivered; // the firmware knows of the transfer
    uint8_t *data;
    uint32_t length;
    uint32_t kind;
};
static_assert(sizeof(Held) == 32);

Held &held(IRP *irp) {
    return *reinterpret_cast<Held *>(irp->Tail.Overlay.DriverContext);
}
static_assert(sizeof(IRP::Tail.Overlay.DriverContext) >= sizeof(Held));

Node &node_of(DEVICE_OBJECT *device) {
    return *static_cast<Node *>(device->DeviceExtension);
}

IRP *irp_of(LIST_ENTRY *entry) {
    return CONTAINING_RECORD(entry, IRP, Tail.Overlay.ListEntry);
}

// ---- guards ----------------------------------------------------------------------------------

class SpinGuard {
  public:
    explicit SpinGuard(Node &node) : lock_(node.lock) { KeAcquireSpinLock(&lock_, &irql_); }
    ~SpinGuard() { KeReleaseSpinLock(&lock_, irql_); }
    SpinGuard(const SpinGuard &) = delete;
    SpinGuard &operator=(const SpinGuard &) = delete;

  private:
    KSPIN_LOCK &lock_;
    KIRQL irql_ = 0;
};

class SetupGuard {
  public:
    explicit SetupGuard(Node &node) : event_(node.setup) {
        KeEnterCriticalRegion();
        KeWaitForSingleObject(&event_, Executive, KernelMode, FALSE, nullptr);
    }
    ~SetupGuard() {
        KeSetEvent(&event_, IO_NO_INCREMENT, FALSE);
        KeLeaveCriticalRegion();
    }
    SetupGuard(const SetupGuard &) = delete;
    SetupGuard &operator=(const SetupGuard &) = delete;

  private:
    KEVENT &event_;
};

template <typename Record>
Record *allocate() {
    void *memory = ExAllocatePoolWithTag(kPool, sizeof(Record), kTag);
    if (memory != nullptr) {
        RtlZeroMemory(memory, sizeof(Record));
    }
    return static_cast<Record *>(memory);
}

NTSTATUS complete(IRP *irp, NTSTATUS status, ULONG_PTR bytes = 0) {
    irp->IoStatus.Status = status;
    irp->IoStatus.Information = bytes;
    IoCompleteRequest(irp, IO_NO_INCREMENT);
    return status;
}

// ---- requests that are kept ------------------------------------------------------------------

void on_cancel(DEVICE_OBJECT *device, IRP *irp) {
    IoReleaseCancelSpinLock(irp->CancelIrql);
    Node &node = node_of(device);
    {
        const SpinGuard guard(node);
        RemoveEntryList(&irp->Tail.Overlay.ListEntry);
        --held(irp).client->request_count;
    }
    complete(irp, STATUS_CANCELLED);
    IoReleaseRemoveLock(&node.remove_lock, irp);
}

// Takes a request out of its list. False when it is being cancelled: then on_cancel(), which waits
// for the lock, does it.
bool take(IRP *irp) {
    if (IoSetCancelRoutine(irp, nullptr) == nullptr) {
        return false;
    }
    RemoveEntryList(&irp->Tail.Overlay.ListEntry);
    --held(irp).client->request_count;
    return true;
}

// Requests that are to be completed when the lock has been left.
class Completions {
  public:
    explicit Completions(Node &node) : node_(node) { InitializeListHead(&list_); }
    void add(IRP *irp, NTSTATUS status, ULONG_PTR bytes = 0) {
        irp->IoStatus.Status = status;
        irp->IoStatus.Information = bytes;
        InsertTailList(&list_, &irp->Tail.Overlay.ListEntry);
    }
    ~Completions() {
        while (!IsListEmpty(&list_)) {
            IRP *irp = irp_of(RemoveHeadList(&list_));
            IoCompleteRequest(irp, IO_NO_INCREMENT);
            IoReleaseRemoveLock(&node_.remove_lock, irp);
        }
    }
    Completions(const Completions &) = delete;
    Completions &operator=(const Completions &) = delete;

  private:
    Node &node_;
    LIST_ENTRY list_;
};

// Moves the requests for which `wanted` is true from a list to those that are to be completed.
template <typename Wanted>
void take_all(LIST_ENTRY &list, NTSTATUS status, Completions &done, Wanted wanted) {
    for (LIST_ENTRY *entry = list.Flink; entry != &list;) {
        IRP *irp = irp_of(entry);
        entry = entry->Flink;
        if (wanted(held(irp)) && take(irp)) {
            done.add(irp, status);
        }
    }
}

// Puts a request into a list, under the lock. The result is the one of the dispatch routine; unless
// it is "pending" the request is still to be completed with it. The node stays until it is.
NTSTATUS keep(Node &node, IRP *irp, LIST_ENTRY &list, const Held &what, Completions &done) {
    if (what.client->left) {
        return STATUS_FILE_CLOSED;
    }
    if (what.client->request_count >= kRequestLimit) {
        return STATUS_INSUFFICIENT_RESOURCES;
    }
    const NTSTATUS status = IoAcquireRemoveLock(&node.remove_lock, irp);
    if (!NT_SUCCESS(status)) {
        return status;
    }
    held(irp) = what;
    IoMarkIrpPending(irp);
    IoSetCancelRoutine(irp, on_cancel);
    InsertTailList(&list, &irp->Tail.Overlay.ListEntry);
    ++what.client->request_count;
    // Cancelled before the routine was there: nobody calls it any more.
    if (irp->Cancel && take(irp)) {
        done.add(irp, STATUS_CANCELLED);
    }
    return STATUS_PENDING;
}

// True while the card that the handle was opened on is there; under the lock.
bool connected(const Node &node, const Client &client) {
    return node.firmware != nullptr && client.session == node.session;
}

// ---- events for the firmware -----------------------------------------------------------------

IRP *undelivered_transfer(Node &node) {
    for (LIST_ENTRY *entry = node.transfers.Flink; entry != &node.transfers; entry = entry->Flink) {
        if (held(irp_of(entry)).delivered == 0) {
            return irp_of(entry);
        }
    }
    return nullptr;
}

IRP *take_look(Node &node) {
    for (LIST_ENTRY *entry = node.looks.Flink; entry != &node.looks; entry = entry->Flink) {
        IRP *irp = irp_of(entry);
        if (take(irp)) {
            return irp;
        }
    }
    return nullptr;
}

vcard::FirmwareEvent describe(IRP *transfer) {
    const IO_STACK_LOCATION *stack = IoGetCurrentIrpStackLocation(transfer);
    const Held &what = held(transfer);
    vcard::FirmwareEvent event = {what.kind, what.number, 0, 0, what.length};
    switch (what.kind) {
    case vcard::kDmaRead:
        event.first = stack->Parameters.Read.ByteOffset.LowPart;
        break;
    case vcard::kDmaWrite:
        event.first = stack->Parameters.Write.ByteOffset.LowPart;
        break;
    default: {
        const auto &selectors =
            *static_cast<const driver::Selectors *>(transfer->AssociatedIrp.SystemBuffer);
        event.first = selectors.first;
        event.second = selectors.second;
    }
    }
    return event;
}

// Gives the firmware what there is for it, as far as it asks.
void deliver(Node &node) {
    Completions done(node);
    const SpinGuard guard(node);
    for (;;) {
        IRP *transfer = undelivered_transfer(node);
        if (transfer == nullptr && !node.kicked) {
            return;
        }
        IRP *look = take_look(node);
        if (look == nullptr) {
            return;
        }
        vcard::FirmwareEvent event = {vcard::kKick, 0, 0, 0, 0};
        if (transfer != nullptr) {
            held(transfer).delivered = 1;
            event = describe(transfer);
        } else {
            node.kicked = false;
        }
        *static_cast<vcard::FirmwareEvent *>(look->AssociatedIrp.SystemBuffer) = event;
        done.add(look, STATUS_SUCCESS, sizeof(event));
    }
}

// ---- BARs ------------------------------------------------------------------------------------

NTSTATUS open_caller(HANDLE *process) {
    OBJECT_ATTRIBUTES attributes;
    InitializeObjectAttributes(&attributes, nullptr, OBJ_KERNEL_HANDLE, nullptr, nullptr);
    CLIENT_ID id = {PsGetCurrentProcessId(), nullptr};
    return ZwOpenProcess(process, PROCESS_ALL_ACCESS, &attributes, &id);
}

void forget_view(Client &client, View *view) {
    RemoveEntryList(&view->link);
    --client.view_count;
    ZwClose(view->process);
    ExFreePoolWithTag(view, kTag);
}

// Maps a section into the calling process.
NTSTATUS make_view(HANDLE section, SIZE_T size, View &view) {
    NTSTATUS status = open_caller(&view.process);
    if (!NT_SUCCESS(status)) {
        return status;
    }
    LARGE_INTEGER offset = {};
    status = ZwMapViewOfSection(section, view.process, &view.address, 0, 0, &offset, &size,
                                ViewUnmap, 0, PAGE_READWRITE);
    if (!NT_SUCCESS(status)) {
        ZwClose(view.process);
    }
    view.process_id = PsGetCurrentProcessId();
    return status;
}

bool is_connected(Node &node, const Client &client) {
    const SpinGuard guard(node);
    return connected(node, client);
}

NTSTATUS map_bar(Node &node, Client &client, uint32_t bar, uint64_t &address) {
    if (bar >= driver::kBarCount) {
        return STATUS_INVALID_PARAMETER;
    }
    const SetupGuard guard(node);
    if (!is_connected(node, client)) {
        return STATUS_DEVICE_NOT_CONNECTED;
    }
    if (node.sections[bar] == nullptr) {
        return STATUS_INVALID_PARAMETER;
    }
    if (client.view_count >= kViewLimit) {
        return STATUS_INSUFFICIENT_RESOURCES;
    }
    auto *view = allocate<View>();
    if (view == nullptr) {
        return STATUS_INSUFFICIENT_RESOURCES;
    }
    const NTSTATUS status = make_view(node.sections[bar], node.sizes[bar], *view);
    if (!NT_SUCCESS(status)) {
        ExFreePoolWithTag(view, kTag);
        return status;
    }
    view->bar = bar;
    InsertTailList(&client.views, &view->link);
    ++client.view_count;
    address = reinterpret_cast<uint64_t>(view->address);
    return STATUS_SUCCESS;
}

NTSTATUS unmap_bar(Node &node, Client &client, const driver::UnmapRequest &request) {
    const SetupGuard guard(node);
    for (LIST_ENTRY *entry = client.views.Flink; entry != &client.views; entry = entry->Flink) {
        View *view = CONTAINING_RECORD(entry, View, link);
        if (view->bar == request.bar &&
            reinterpret_cast<uint64_t>(view->address) == request.address &&
            view->process_id == PsGetCurrentProcessId()) {
            ZwUnmapViewOfSection(view->process, view->address);
            forget_view(client, view);
            return STATUS_SUCCESS;
        }
    }
    return STATUS_INVALID_PARAMETER;
}

// ---- the firmware's side ---------------------------------------------------------------------

void close_sections(Node &node) {
    for (HANDLE &section : node.sections) {
        if (section != nullptr) {
            ZwClose(section);
            section = nullptr;
        }
    }
}

bool valid(const vcard::AttachRequest &request) {
    for (const uint32_t size : request.bar_sizes) {
        if (size % kPageSize != 0 || size > vcard::kBarLimit) {
            return false;
        }
    }
    return true;
}

NTSTATUS make_sections(Node &node, const vcard::AttachRequest &request) {
    OBJECT_ATTRIBUTES attributes;
    InitializeObjectAttributes(&attributes, nullptr, OBJ_KERNEL_HANDLE, nullptr, nullptr);
    for (uint32_t bar = 0; bar < driver::kBarCount; ++bar) {
        LARGE_INTEGER size;
        size.QuadPart = request.bar_sizes[bar];
        node.sizes[bar] = request.bar_sizes[bar];
        if (size.QuadPart == 0) {
            continue;
        }
        const NTSTATUS status =
            ZwCreateSection(&node.sections[bar], SECTION_ALL_ACCESS, &attributes, &size,
                            PAGE_READWRITE, SEC_COMMIT, nullptr);
        if (!NT_SUCCESS(status)) {
            node.sections[bar] = nullptr;
            close_sections(node);
            return status;
        }
    }
    return STATUS_SUCCESS;
}

NTSTATUS attach(Node &node, Client &client, const vcard::AttachRequest &request) {
    if (request.version != vcard::kFirmwareInterfaceVersion) {
        return STATUS_REVISION_MISMATCH;
    }
    if (!valid(request)) {
        return STATUS_INVALID_PARAMETER;
    }
    const SetupGuard setup(node);
    {
        const SpinGuard guard(node);
        if (node.removed || client.left) {
            return STATUS_DELETE_PENDING;
        }
        if (node.firmware != nullptr) {
            return STATUS_DEVICE_BUSY;
        }
    }
    const NTSTATUS status = make_sections(node, request);
    if (NT_SUCCESS(status)) {
        const SpinGuard guard(node);
        node.firmware = &client;
        node.kicked = false;
        node.session = node.session == 0xFFFFFFFF ? 1 : node.session + 1;
        client.session = node.session;
    }
    return status;
}

// Under `setup`.
NTSTATUS set_shown(Node &node, bool shown) {
    if (node.shown == shown) {
        return STATUS_SUCCESS;
    }
    const NTSTATUS status = IoSetDeviceInterfaceState(&node.card_interface, shown ? TRUE : FALSE);
    node.shown = shown && NT_SUCCESS(status);
    return status;
}

// Whether the handle is the card, now; requests that were on their way when it left must not act.
bool is_firmware(Node &node, const Client &client) {
    const SpinGuard guard(node);
    return node.firmware == &client;
}

NTSTATUS show(Node &node, const Client &client, uint32_t on) {
    const SetupGuard guard(node);
    if (on > 1) {
        return STATUS_INVALID_PARAMETER;
    }
    return is_firmware(node, client) ? set_shown(node, on == 1) : STATUS_DEVICE_NOT_CONNECTED;
}

// The card has gone. Under `setup`.
void detach(Node &node) {
    set_shown(node, false);
    {
        Completions done(node);
        const SpinGuard guard(node);
        node.firmware = nullptr;
        for (LIST_ENTRY *list : {&node.waits, &node.transfers, &node.looks}) {
            take_all(*list, STATUS_DEVICE_NOT_CONNECTED, done, [](const Held &) { return true; });
        }
    }
    close_sections(node);
}

// Wakes everybody who waits for an interrupt. A wait that is being cancelled is not woken.
void wake(Node &node, uint32_t interrupt, Completions &done) {
    for (LIST_ENTRY *entry = node.waits.Flink; entry != &node.waits;) {
        IRP *irp = irp_of(entry);
        entry = entry->Flink;
        if (held(irp).number == interrupt && take(irp)) {
            held(irp).client->woken = true;
            done.add(irp, STATUS_SUCCESS);
        }
    }
}

NTSTATUS raise(Node &node, const Client &firmware, uint32_t interrupt) {
    if (interrupt >= driver::kInterruptCount) {
        return STATUS_INVALID_PARAMETER;
    }
    Completions done(node);
    const SpinGuard guard(node);
    if (node.firmware != &firmware) {
        return STATUS_DEVICE_NOT_CONNECTED;
    }
    wake(node, interrupt, done);
    // Those that did not wait find it when they next do, once.
    for (LIST_ENTRY *entry = node.clients.Flink; entry != &node.clients; entry = entry->Flink) {
        Client *client = CONTAINING_RECORD(entry, Client, link);
        if (!client->woken && connected(node, *client)) {
            client->latched |= 1U << interrupt;
        }
        client->woken = false;
    }
    return STATUS_SUCCESS;
}

// A transfer that the firmware knows of; null when there is none of this number any more.
IRP *find_transfer(Node &node, uint32_t id) {
    for (LIST_ENTRY *entry = node.transfers.Flink; entry != &node.transfers; entry = entry->Flink) {
        IRP *irp = irp_of(entry);
        if (held(irp).number == id && held(irp).delivered != 0) {
            return irp;
        }
    }
    return nullptr;
}

bool is_read(uint32_t kind) {
    return kind == vcard::kDmaRead || kind == vcard::kSelectorRead;
}

// Copies between the user's buffer and `bytes`.
NTSTATUS move_piece(Node &node, const vcard::Piece &piece, uint8_t *bytes, bool to_user) {
    const SpinGuard guard(node);
    IRP *irp = find_transfer(node, piece.id);
    if (irp == nullptr) {
        return STATUS_NOT_FOUND;
    }
    const Held &transfer = held(irp);
    if (is_read(transfer.kind) != to_user || piece.offset > transfer.length ||
        piece.length > transfer.length - piece.offset) {
        return STATUS_INVALID_PARAMETER;
    }
    uint8_t *user = transfer.data + piece.offset;
    RtlCopyMemory(to_user ? user : bytes, to_user ? bytes : user, piece.length);
    return STATUS_SUCCESS;
}

NTSTATUS complete_transfer(Node &node, const vcard::Completion &completion) {
    Completions done(node);
    const SpinGuard guard(node);
    IRP *irp = find_transfer(node, completion.id);
    if (irp == nullptr) {
        return STATUS_NOT_FOUND;
    }
    if (completion.length > held(irp).length) {
        return STATUS_INVALID_PARAMETER;
    }
    if (!take(irp)) {
        return STATUS_NOT_FOUND;
    }
    done.add(irp, completion.ok != 0 ? STATUS_SUCCESS : STATUS_UNSUCCESSFUL,
             completion.ok != 0 ? completion.length : 0);
    return STATUS_SUCCESS;
}

// ---- handles ---------------------------------------------------------------------------------

void drop_requests(Node &node, Client &client) {
    Completions done(node);
    const SpinGuard guard(node);
    client.left = true;
    for (LIST_ENTRY *list : {&node.waits, &node.transfers, &node.looks}) {
        take_all(*list, STATUS_CANCELLED, done,
                 [&client](const Held &request) { return request.client == &client; });
    }
}

// Ends everything that a handle has. May be called twice. What was mapped and not unmapped stays
// until its process ends, which may be ending now: it is no time to reach into it.
void leave(Node &node, Client &client) {
    drop_requests(node, client);
    const SetupGuard guard(node);
    if (node.firmware == &client) {
        detach(node);
    }
    while (!IsListEmpty(&client.views)) {
        forget_view(client, CONTAINING_RECORD(client.views.Flink, View, link));
    }
}

NTSTATUS on_create(Node &node, IRP *irp, IO_STACK_LOCATION *stack) {
    auto *client = allocate<Client>();
    if (client == nullptr) {
        return complete(irp, STATUS_INSUFFICIENT_RESOURCES);
    }
    InitializeListHead(&client->views);
    stack->FileObject->FsContext = client;
    {
        const SpinGuard guard(node);
        client->session = node.firmware != nullptr ? node.session : 0;
        InsertTailList(&node.clients, &client->link);
    }
    return complete(irp, STATUS_SUCCESS);
}

Client *client_of(const IO_STACK_LOCATION *stack) {
    return stack->FileObject == nullptr ? nullptr
                                        : static_cast<Client *>(stack->FileObject->FsContext);
}

NTSTATUS on_cleanup(Node &node, IRP *irp, IO_STACK_LOCATION *stack) {
    if (Client *client = client_of(stack)) {
        leave(node, *client);
    }
    return complete(irp, STATUS_SUCCESS);
}

NTSTATUS on_close(Node &node, IRP *irp, IO_STACK_LOCATION *stack) {
    if (Client *client = client_of(stack)) {
        leave(node, *client);
        {
            const SpinGuard guard(node);
            RemoveEntryList(&client->link);
        }
        stack->FileObject->FsContext = nullptr;
        ExFreePoolWithTag(client, kTag);
    }
    return complete(irp, STATUS_SUCCESS);
}

// ---- requests of users -----------------------------------------------------------------------

// After an attempt to keep a request: it may be that the firmware now has something to do.
NTSTATUS kept(Node &node, IRP *irp, NTSTATUS status) {
    if (status != STATUS_PENDING) {
        return complete(irp, status);
    }
    deliver(node);
    return STATUS_PENDING;
}

NTSTATUS wait_for_interrupt(Node &node, Client &client, IRP *irp, uint32_t interrupt) {
    if (interrupt >= driver::kInterruptCount) {
        return complete(irp, STATUS_INVALID_PARAMETER);
    }
    NTSTATUS status = STATUS_SUCCESS;
    {
        Completions done(node);
        const SpinGuard guard(node);
        if ((client.latched & (1U << interrupt)) != 0) {
            client.latched &= ~(1U << interrupt);
        } else if (!connected(node, client)) {
            status = STATUS_DEVICE_NOT_CONNECTED;
        } else {
            status = keep(node, irp, node.waits, {&client, interrupt, 0, nullptr, 0, 0}, done);
            node.kicked = true;
        }
    }
    return kept(node, irp, status);
}

// Hands a transfer to the firmware. The user's buffer is described by the request.
NTSTATUS start_transfer(Node &node, Client &client, IRP *irp, uint32_t kind, uint32_t length) {
    if (length == 0) {
        return complete(irp, STATUS_SUCCESS);
    }
    if (length > vcard::kTransferLimit || irp->MdlAddress == nullptr) {
        return complete(irp, STATUS_INVALID_PARAMETER);
    }
    auto *data = static_cast<uint8_t *>(map_data(irp->MdlAddress));
    if (data == nullptr) {
        return complete(irp, STATUS_INSUFFICIENT_RESOURCES);
    }
    NTSTATUS status = STATUS_DEVICE_NOT_CONNECTED;
    {
        Completions done(node);
        const SpinGuard guard(node);
        if (connected(node, client)) {
            status = keep(node, irp, node.transfers,
                          {&client, ++node.next_id, 0, data, length, kind}, done);
        }
    }
    return kept(node, irp, status);
}

NTSTATUS on_read(Node &node, IRP *irp, IO_STACK_LOCATION *stack) {
    Client *client = client_of(stack);
    if (client == nullptr || stack->Parameters.Read.ByteOffset.HighPart != 0) {
        return complete(irp, STATUS_INVALID_PARAMETER);
    }
    return start_transfer(node, *client, irp, vcard::kDmaRead, stack->Parameters.Read.Length);
}

NTSTATUS on_write(Node &node, IRP *irp, IO_STACK_LOCATION *stack) {
    Client *client = client_of(stack);
    if (client == nullptr || stack->Parameters.Write.ByteOffset.HighPart != 0) {
        return complete(irp, STATUS_INVALID_PARAMETER);
    }
    return start_transfer(node, *client, irp, vcard::kDmaWrite, stack->Parameters.Write.Length);
}

NTSTATUS map_bar_request(Node &node, Client &client, IRP *irp, uint32_t bar) {
    void *out = irp->MdlAddress == nullptr ? nullptr : map_data(irp->MdlAddress);
    if (out == nullptr) {
        return complete(irp, STATUS_INSUFFICIENT_RESOURCES);
    }
    uint64_t address = 0;
    const NTSTATUS status = map_bar(node, client, bar, address);
    if (!NT_SUCCESS(status)) {
        return complete(irp, status);
    }
    RtlCopyMemory(out, &address, sizeof(address));
    return complete(irp, status, sizeof(address));
}

// A request of the firmware for the next event.
NTSTATUS next_event(Node &node, Client &client, IRP *irp) {
    NTSTATUS status = STATUS_DEVICE_NOT_CONNECTED;
    {
        Completions done(node);
        const SpinGuard guard(node);
        if (node.firmware == &client) {
            status = keep(node, irp, node.looks, {&client, 0, 0, nullptr, 0, 0}, done);
        }
    }
    return kept(node, irp, status);
}

// Lengths that a control code must come with. `more` allows a longer input.
struct Shape {
    uint32_t code;
    uint32_t input;
    uint32_t output;
    bool more_input;
    bool any_output;
    bool firmware; // only on a handle that is attached
};

constexpr Shape kShapes[] = {
    {driver::kRead, sizeof(driver::Selectors), 0, false, true, false},
    {driver::kWrite, sizeof(driver::Selectors), 0, false, true, false},
    {driver::kWaitForInterrupt, sizeof(uint32_t), 0, false, false, false},
    {driver::kMapBar, sizeof(uint32_t), sizeof(uint64_t), false, false, false},
    {driver::kUnmapBar, sizeof(driver::UnmapRequest), 0, false, false, false},
    {vcard::kAttach, sizeof(vcard::AttachRequest), 0, false, false, false},
    {vcard::kShow, sizeof(uint32_t), 0, false, false, true},
    {vcard::kRaise, sizeof(uint32_t), 0, false, false, true},
    {vcard::kNextEvent, 0, sizeof(vcard::FirmwareEvent), false, false, true},
    {vcard::kFetch, sizeof(vcard::Piece), 0, false, true, true},
    {vcard::kStore, sizeof(vcard::Piece), 0, true, false, true},
    {vcard::kComplete, sizeof(vcard::Completion), 0, false, false, true},
};

const Shape *shape_of(uint32_t code) {
    for (const Shape &shape : kShapes) {
        if (shape.code == code) {
            return &shape;
        }
    }
    return nullptr;
}

bool fits(const Shape &shape, uint32_t input, uint32_t output) {
    return (shape.more_input ? input >= shape.input : input == shape.input) &&
           (shape.any_output || output == shape.output);
}

NTSTATUS fetch(Node &node, IRP *irp, uint32_t output) {
    const vcard::Piece piece = *static_cast<const vcard::Piece *>(irp->AssociatedIrp.SystemBuffer);
    if (piece.length > vcard::kPieceLimit || output != piece.length) {
        return complete(irp, STATUS_INVALID_PARAMETER);
    }
    const NTSTATUS status =
        move_piece(node, piece, static_cast<uint8_t *>(irp->AssociatedIrp.SystemBuffer), false);
    return complete(irp, status, NT_SUCCESS(status) ? piece.length : 0);
}

NTSTATUS store(Node &node, IRP *irp, uint32_t input) {
    auto *bytes = static_cast<uint8_t *>(irp->AssociatedIrp.SystemBuffer);
    const vcard::Piece piece = *reinterpret_cast<const vcard::Piece *>(bytes);
    if (piece.length > vcard::kPieceLimit || input != sizeof(piece) + piece.length) {
        return complete(irp, STATUS_INVALID_PARAMETER);
    }
    return complete(irp, move_piece(node, piece, bytes + sizeof(piece), true));
}

NTSTATUS on_control(Node &node, IRP *irp, IO_STACK_LOCATION *stack) {
    const auto &parameters = stack->Parameters.DeviceIoControl;
    Client *client = client_of(stack);
    const Shape *shape = shape_of(parameters.IoControlCode);
    if (client == nullptr || shape == nullptr) {
        return complete(irp, STATUS_INVALID_DEVICE_REQUEST);
    }
    if (!fits(*shape, parameters.InputBufferLength, parameters.OutputBufferLength)) {
        return complete(irp, STATUS_INVALID_PARAMETER);
    }
    if (shape->firmware && !is_firmware(node, *client)) {
        return complete(irp, STATUS_ACCESS_DENIED);
    }
    const void *input = irp->AssociatedIrp.SystemBuffer;
    switch (parameters.IoControlCode) {
    case driver::kRead:
        return start_transfer(node, *client, irp, vcard::kSelectorRead,
                              parameters.OutputBufferLength);
    case driver::kWrite:
        return start_transfer(node, *client, irp, vcard::kSelectorWrite,
                              parameters.OutputBufferLength);
    case driver::kWaitForInterrupt:
        return wait_for_interrupt(node, *client, irp, *static_cast<const uint32_t *>(input));
    case driver::kMapBar:
        return map_bar_request(node, *client, irp, *static_cast<const uint32_t *>(input));
    case driver::kUnmapBar:
        return complete(
            irp, unmap_bar(node, *client, *static_cast<const driver::UnmapRequest *>(input)));
    case vcard::kAttach:
        return complete(irp,
                        attach(node, *client, *static_cast<const vcard::AttachRequest *>(input)));
    case vcard::kShow:
        return complete(irp, show(node, *client, *static_cast<const uint32_t *>(input)));
    case vcard::kRaise:
        return complete(irp, raise(node, *client, *static_cast<const uint32_t *>(input)));
    case vcard::kNextEvent:
        return next_event(node, *client, irp);
    case vcard::kFetch:
        return fetch(node, irp, parameters.OutputBufferLength);
    case vcard::kStore:
        return store(node, irp, parameters.InputBufferLength);
    default:
        return complete(irp,
                        complete_transfer(node, *static_cast<const vcard::Completion *>(input)));
    }
}

// ---- plug and play ---------------------------------------------------------------------------

NTSTATUS on_forwarded(DEVICE_OBJECT *, IRP *, void *event) {
    KeSetEvent(static_cast<KEVENT *>(event), IO_NO_INCREMENT, FALSE);
    return STATUS_MORE_PROCESSING_REQUIRED;
}

// Lets the drivers below handle a request first; the caller completes it.
NTSTATUS forward_and_wait(Node &node, IRP *irp) {
    KEVENT event;
    KeInitializeEvent(&event, NotificationEvent, FALSE);
    IoCopyCurrentIrpStackLocationToNext(irp);
    IoSetCompletionRoutine(irp, on_forwarded, &event, TRUE, TRUE, TRUE);
    if (IoCallDriver(node.lower, irp) == STATUS_PENDING) {
        KeWaitForSingleObject(&event, Executive, KernelMode, FALSE, nullptr);
    }
    return irp->IoStatus.Status;
}

NTSTATUS pass_on(Node &node, IRP *irp) {
    IoSkipCurrentIrpStackLocation(irp);
    return IoCallDriver(node.lower, irp);
}

NTSTATUS start(Node &node, IRP *irp) {
    NTSTATUS status = forward_and_wait(node, irp);
    if (NT_SUCCESS(status)) {
        status = IoSetDeviceInterfaceState(&node.firmware_interface, TRUE);
    }
    return complete(irp, status);
}

// The node is about to go: its users have lost the card, and nobody becomes it any more.
void withdraw(Node &node) {
    const SetupGuard setup(node);
    IoSetDeviceInterfaceState(&node.firmware_interface, FALSE);
    {
        const SpinGuard guard(node);
        node.removed = true;
    }
    detach(node);
}

void destroy(Node &node) {
    RtlFreeUnicodeString(&node.card_interface);
    RtlFreeUnicodeString(&node.firmware_interface);
    IoDeleteDevice(node.self);
}

NTSTATUS remove(Node &node, IRP *irp) {
    withdraw(node);
    IoReleaseRemoveLockAndWait(&node.remove_lock, irp);
    irp->IoStatus.Status = STATUS_SUCCESS;
    DEVICE_OBJECT *lower = node.lower;
    const NTSTATUS status = pass_on(node, irp);
    IoDetachDevice(lower);
    destroy(node);
    return status;
}

NTSTATUS on_pnp(Node &node, IRP *irp, IO_STACK_LOCATION *stack) {
    switch (stack->MinorFunction) {
    case IRP_MN_START_DEVICE:
        return start(node, irp);
    case IRP_MN_SURPRISE_REMOVAL:
        withdraw(node);
        irp->IoStatus.Status = STATUS_SUCCESS;
        return pass_on(node, irp);
    case IRP_MN_QUERY_STOP_DEVICE:
    case IRP_MN_QUERY_REMOVE_DEVICE:
    case IRP_MN_CANCEL_STOP_DEVICE:
    case IRP_MN_CANCEL_REMOVE_DEVICE:
    case IRP_MN_STOP_DEVICE:
        irp->IoStatus.Status = STATUS_SUCCESS;
        return pass_on(node, irp);
    default:
        return pass_on(node, irp);
    }
}

NTSTATUS on_power(Node &node, IRP *irp, IO_STACK_LOCATION *) {
    PoStartNextPowerIrp(irp);
    IoSkipCurrentIrpStackLocation(irp);
    return PoCallDriver(node.lower, irp);
}

NTSTATUS on_system_control(Node &node, IRP *irp, IO_STACK_LOCATION *) {
    return pass_on(node, irp);
}

// ---- entry -----------------------------------------------------------------------------------

using Handler = NTSTATUS (*)(Node &, IRP *, IO_STACK_LOCATION *);

// No request is handled while the node is being removed.
template <Handler handler>
NTSTATUS dispatch(DEVICE_OBJECT *device, IRP *irp) {
    Node &node = node_of(device);
    IO_STACK_LOCATION *stack = IoGetCurrentIrpStackLocation(irp);
    // Handles are closed whatever happens to the node: what they hold must be given back.
    if (stack->MajorFunction == IRP_MJ_CLEANUP || stack->MajorFunction == IRP_MJ_CLOSE) {
        return handler(node, irp, stack);
    }
    const NTSTATUS status = IoAcquireRemoveLock(&node.remove_lock, irp);
    if (!NT_SUCCESS(status)) {
        return complete(irp, status);
    }
    // Removing releases the lock itself, and the node is gone after it.
    const bool removes =
        stack->MajorFunction == IRP_MJ_PNP && stack->MinorFunction == IRP_MN_REMOVE_DEVICE;
    if (removes) {
        return remove(node, irp);
    }
    const NTSTATUS result = handler(node, irp, stack);
    IoReleaseRemoveLock(&node.remove_lock, irp);
    return result;
}

void initialise(Node &node, DEVICE_OBJECT *self) {
    RtlZeroMemory(&node, sizeof(node));
    node.self = self;
    IoInitializeRemoveLock(&node.remove_lock, kTag, 0, 0);
    KeInitializeEvent(&node.setup, SynchronizationEvent, TRUE);
    KeInitializeSpinLock(&node.lock);
    for (LIST_ENTRY *list : {&node.clients, &node.waits, &node.transfers, &node.looks}) {
        InitializeListHead(list);
    }
}

NTSTATUS register_interfaces(Node &node, DEVICE_OBJECT *physical) {
    const NTSTATUS status =
        IoRegisterDeviceInterface(physical, &driver::kCardInterface, nullptr, &node.card_interface);
    if (!NT_SUCCESS(status)) {
        return status;
    }
    return IoRegisterDeviceInterface(physical, &vcard::kFirmwareInterface, nullptr,
                                     &node.firmware_interface);
}

NTSTATUS add_device(DRIVER_OBJECT *driver, DEVICE_OBJECT *physical) {
    DEVICE_OBJECT *device = nullptr;
    NTSTATUS status = IoCreateDevice(driver, sizeof(Node), nullptr, FILE_DEVICE_UNKNOWN,
                                     FILE_DEVICE_SECURE_OPEN, FALSE, &device);
    if (!NT_SUCCESS(status)) {
        return status;
    }
    Node &node = node_of(device);
    initialise(node, device);
    status = register_interfaces(node, physical);
    if (NT_SUCCESS(status)) {
        node.lower = IoAttachDeviceToDeviceStack(device, physical);
        status = node.lower != nullptr ? STATUS_SUCCESS : STATUS_NO_SUCH_DEVICE;
    }
    if (!NT_SUCCESS(status)) {
        destroy(node);
        return status;
    }
    device->Flags |= DO_DIRECT_IO | DO_POWER_PAGABLE;
    device->Flags &= ~static_cast<ULONG>(DO_DEVICE_INITIALIZING);
    return STATUS_SUCCESS;
}

// The plug and play manager removes the nodes first; there is nothing left to do.
void on_unload(DRIVER_OBJECT *) {}

} // namespace

extern "C" NTSTATUS DriverEntry(DRIVER_OBJECT *driver, UNICODE_STRING *) {
    driver->MajorFunction[IRP_MJ_CREATE] = dispatch<on_create>;
    driver->MajorFunction[IRP_MJ_CLEANUP] = dispatch<on_cleanup>;
    driver->MajorFunction[IRP_MJ_CLOSE] = dispatch<on_close>;
    driver->MajorFunction[IRP_MJ_READ] = dispatch<on_read>;
    driver->MajorFunction[IRP_MJ_WRITE] = dispatch<on_write>;
    driver->MajorFunction[IRP_MJ_DEVICE_CONTROL] = dispatch<on_control>;
    driver->MajorFunction[IRP_MJ_PNP] = dispatch<on_pnp>;
    driver->MajorFunction[IRP_MJ_POWER] = dispatch<on_power>;
    driver->MajorFunction[IRP_MJ_SYSTEM_CONTROL] = dispatch<on_system_control>;
    driver->DriverExtension->AddDevice = add_device;
    driver->DriverUnload = on_unload;
    return STATUS_SUCCESS;
}
