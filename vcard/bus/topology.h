// How the slaves of a bus hang on each other, and which of the cables between them are plugged in.
#pragma once

#include "vcard/bus/network.h"

#include <array>
#include <cstdint>
#include <vector>

namespace tarn::vcard {

// Port 0 of a slave leads towards the master, ports 1 to 3 to slaves behind it. A slave beyond the
// third on one parent hangs on no port that could be named.
class Topology {
  public:
    static constexpr uint32_t kPorts = 4;
    static constexpr uint32_t kNobody = ~0U;
    static constexpr uint32_t kMaster = ~1U;

    Topology() = default;
    // All cables are plugged in.
    explicit Topology(const Network &network);

    [[nodiscard]] uint32_t size() const { return static_cast<uint32_t>(nodes_.size()); }

    // The slave at the other end of the cable of a port, kMaster, or kNobody where the
    // configuration has none; and the port there, kPorts when it has no name.
    [[nodiscard]] uint32_t neighbour(uint32_t slave, uint32_t port) const;
    [[nodiscard]] uint32_t neighbour_port(uint32_t slave, uint32_t port) const;

    // Whether the cable of a port is plugged in; false where the configuration has none.
    [[nodiscard]] bool plugged(uint32_t slave, uint32_t port) const;
    // Whether all cables between the master and the slave are plugged in.
    [[nodiscard]] bool answers(uint32_t slave) const { return nodes_[slave].answers; }
    // Slaves that answer only when this one does, without itself.
    [[nodiscard]] uint32_t behind(uint32_t slave) const;
    // DL status register: links, loops and communication of the ports. 0 without answer.
    [[nodiscard]] uint16_t dl_status(uint32_t slave) const;

    // Takes a slave away.
    void unplug(uint32_t slave);
    // Pulls the cable of a port; false where there is none.
    bool unplug(uint32_t slave, uint32_t port);
    // Puts a slave back and plugs in all cables that were pulled at one of its ports. A neighbour
    // that was taken away itself stays away.
    void plug_in(uint32_t slave);

  private:
    struct Node {
        uint32_t parent = kMaster;
        uint32_t parent_port = kPorts;
        std::array<uint32_t, kPorts - 1> children = {kNobody, kNobody, kNobody};
        // The cable at port 0, by the end that it was pulled at.
        bool pulled_here = false;
        bool pulled_there = false;
        bool answers = true;

        [[nodiscard]] bool plugged() const { return !pulled_here && !pulled_there; }
    };

    void update();

    std::vector<Node> nodes_;
};

} // namespace tarn::vcard
