#include "pi/image_convert.h"

#include "pci_tarn/base.h"
#include "pi/bitmemcpy.h"

namespace tarn::pi {

namespace {

constexpr uint32_t kLogicalBits = 8 * kImageSize;
constexpr uint32_t kPhysicalBits = 8 * kPiBufferSize;

// One run per entry with data, in table order.
template <typename Visit>
void visit_entries(const PiTransfer &state, Visit visit) {
    for (uint32_t i = 0; i < state.entry_count; ++i) {
        const PiLogicEntry &entry = state.sorted[i];
        if (entry.slave >= state.slave_count) {
            continue;
        }
        const PiPhyEntry &physical = state.physical[entry.slave];
        const uint32_t bits =
            std::min(bounded_count(physical.bit_offset, physical.bit_length, kPhysicalBits),
                     bounded_count(entry.address, physical.bit_length, kLogicalBits));
        if (bits != 0) {
            visit(PiCopyRun{entry.address, physical.bit_offset, bits});
        }
    }
}

template <typename Visit>
void visit_runs(const PiTransfer &state, Visit visit) {
    if (state.plan == nullptr) {
        visit_entries(state, visit);
        return;
    }
    const auto &plan = *static_cast<const PiCopyPlan *>(state.plan);
    for (uint32_t i = 0; i < plan.count; ++i) {
        visit(plan.runs[i]);
    }
}

} // namespace

void convert_plain(const PiTransfer *state, void *destination, const void *source) noexcept {
    memcpy_fast(destination, source, exchange_length(*state));
}

void convert_to_physical(const PiTransfer *state, void *physical, const void *logical) noexcept {
    auto *to = static_cast<uint8_t *>(physical);
    const auto *from = static_cast<const uint8_t *>(logical);
    visit_runs(*state, [=](const PiCopyRun &run) {
        copy_bits(to, run.physical, from, run.logical, run.bits);
    });
}

void convert_to_logical(const PiTransfer *state, void *logical, const void *physical) noexcept {
    auto *to = static_cast<uint8_t *>(logical);
    const auto *from = static_cast<const uint8_t *>(physical);
    visit_runs(*state, [=](const PiCopyRun &run) {
        copy_bits(to, run.logical, from, run.physical, run.bits);
    });
}

// Only runs that follow each other in the table are merged, so that where entries overlap the
// later one still wins.
void build_plan(PiCopyPlan &plan, const PiTransfer &state) noexcept {
    plan.count = 0;
    visit_entries(state, [&plan](const PiCopyRun &run) {
        if (plan.count != 0) {
            PiCopyRun &last = plan.runs[plan.count - 1];
            if (run.logical == last.logical + last.bits &&
                run.physical == last.physical + last.bits) {
                last.bits += run.bits;
                return;
            }
        }
        plan.runs[plan.count++] = run;
    });
}

} // namespace tarn::pi
