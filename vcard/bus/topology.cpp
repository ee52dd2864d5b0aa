#include "vcard/bus/topology.h"

#include <algorithm>

namespace tarn::vcard {
namespace {

// DL status register: PDI operational, then per port link, loop and communication.
constexpr uint32_t kPdiOperational = 0x0001;
constexpr uint32_t port_link(uint32_t port) {
    return 0x0010U << port;
}
constexpr uint32_t port_loop_closed(uint32_t port) {
    return 0x0100U << (2 * port);
}
constexpr uint32_t port_communication(uint32_t port) {
    return 0x0200U << (2 * port);
}

} // namespace

Topology::Topology(const Network &network) : nodes_(network.slaves.size()) {
    for (uint32_t i = 1; i < size(); ++i) {
        const uint32_t parent = network.slaves[i].previous_port_slave;
        nodes_[i].parent = parent < i ? parent : i - 1;
        hang(i, network.slaves[i].previous_port);
    }
    for (uint32_t i = 1; i < size(); ++i) { // what has no port of its own takes what is left
        const auto &children = nodes_[nodes_[i].parent].children;
        const auto *const free = std::find(children.begin(), children.end(), kNobody);
        if (nodes_[i].parent_port == kPorts && free != children.end()) {
            hang(i, static_cast<uint32_t>(free - children.begin()) + 1);
        }
    }
    update();
}

void Topology::hang(uint32_t slave, uint32_t port) {
    auto &children = nodes_[nodes_[slave].parent].children;
    if (port != 0 && port < kPorts && children[port - 1] == kNobody) {
        children[port - 1] = slave;
        nodes_[slave].parent_port = port;
    }
}

uint32_t Topology::neighbour(uint32_t slave, uint32_t port) const {
    return port == 0 ? nodes_[slave].parent : nodes_[slave].children[port - 1];
}

uint32_t Topology::neighbour_port(uint32_t slave, uint32_t port) const {
    if (port != 0) {
        return neighbour(slave, port) == kNobody ? kPorts : 0;
    }
    return nodes_[slave].parent == kMaster ? 0 : nodes_[slave].parent_port;
}

bool Topology::plugged(uint32_t slave, uint32_t port) const {
    const uint32_t below = port == 0 ? slave : neighbour(slave, port);
    return below != kNobody && nodes_[below].plugged();
}

uint32_t Topology::behind(uint32_t slave) const {
    std::vector<bool> inside(nodes_.size());
    inside[slave] = true;
    uint32_t count = 0;
    for (uint32_t i = slave + 1; i < size(); ++i) { // parents come before their children
        inside[i] = nodes_[i].parent < size() && inside[nodes_[i].parent];
        count += inside[i] ? 1U : 0U;
    }
    return count;
}

uint32_t Topology::hops_to_end(uint32_t slave, uint32_t port) const {
    const Node &child = nodes_[neighbour(slave, port)];
    return child.hops - 1 + 2 * child.branch - nodes_[slave].hops;
}

uint16_t Topology::dl_status(uint32_t slave) const {
    if (!answers(slave)) {
        return 0;
    }
    uint32_t status = kPdiOperational;
    for (uint32_t port = 0; port < kPorts; ++port) {
        status |= plugged(slave, port) ? port_link(port) | port_communication(port)
                                       : port_loop_closed(port);
    }
    return static_cast<uint16_t>(status);
}

void Topology::unplug(uint32_t slave) {
    nodes_[slave].pulled_here = true;
    update();
}

bool Topology::unplug(uint32_t slave, uint32_t port) {
    if (port == 0) {
        unplug(slave);
        return true;
    }
    if (port >= kPorts || neighbour(slave, port) == kNobody) {
        return false;
    }
    nodes_[neighbour(slave, port)].pulled_there = true;
    update();
    return true;
}

void Topology::plug_in(uint32_t slave) {
    nodes_[slave].pulled_here = false;
    nodes_[slave].pulled_there = false;
    for (const uint32_t child : nodes_[slave].children) {
        if (child != kNobody) {
            nodes_[child].pulled_there = false;
        }
    }
    update();
}

void Topology::update() {
    for (Node &node : nodes_) {
        node.answers = node.plugged() && (node.parent == kMaster || nodes_[node.parent].answers);
        node.branch = 1;
    }
    for (size_t i = nodes_.size(); i-- > 1;) { // children come behind their parents
        nodes_[nodes_[i].parent].branch += nodes_[i].plugged() ? nodes_[i].branch : 0;
    }
    for (Node &node : nodes_) {
        if (node.parent != kMaster && node.parent_port == kPorts) {
            node.hops = nodes_[node.parent].hops + 1;
        }
        uint32_t hops = node.hops;
        for (const uint32_t port : {3U, 1U, 2U}) { // the way of a frame
            const uint32_t child = node.children[port - 1];
            if (child != kNobody) {
                nodes_[child].hops = hops + 1;
                hops += nodes_[child].plugged() ? 2 * nodes_[child].branch : 0;
            }
        }
    }
}

} // namespace tarn::vcard
