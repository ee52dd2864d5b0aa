#include "vcard/card/waveform.h"

#include <algorithm>

namespace tarn::vcard {

namespace {

Edge opposite(Edge edge) {
    switch (edge) {
    case Edge::Rising:
        return Edge::Falling;
    case Edge::Falling:
        return Edge::Rising;
    case Edge::Either:
        break;
    }
    return edge;
}

} // namespace

bool Waveform::level(Ticks now) const {
    const bool plain = period > 0 && now >= start && !ended(now) && (now - start) % period < high;
    return plain != inverted;
}

uint64_t Waveform::periods(Ticks now) const {
    if (period == 0 || now < start) {
        return 0;
    }
    const uint64_t over = (now - start) / period;
    return limit > 0 ? std::min<uint64_t>(over, limit) : over;
}

bool Waveform::ended(Ticks now) const {
    return limit > 0 && periods(now) == limit;
}

// Edges of one kind come once per period.
std::optional<Ticks> Waveform::next(Ticks after, Ticks first) const {
    const uint64_t index = after < first ? 0 : (after - first) / period + 1;
    if (limit > 0 && index >= limit) {
        return std::nullopt;
    }
    return first + index * period;
}

std::optional<Ticks> Waveform::next_edge(Ticks after, Edge edge) const {
    return next_plain_edge(after, inverted ? opposite(edge) : edge);
}

std::optional<Ticks> Waveform::next_plain_edge(Ticks after, Edge edge) const {
    if (period == 0 || high == 0) {
        return std::nullopt;
    }
    if (high >= period) {
        const Ticks end = start + Ticks{period} * limit;
        if (edge != Edge::Falling && after < start) {
            return start;
        }
        return edge != Edge::Rising && limit > 0 && after < end ? std::optional(end) : std::nullopt;
    }
    const auto rise = edge != Edge::Falling ? next(after, start) : std::nullopt;
    const auto fall = edge != Edge::Rising ? next(after, start + high) : std::nullopt;
    if (rise && fall) {
        return std::min(*rise, *fall);
    }
    return rise ? rise : fall;
}

} // namespace tarn::vcard
