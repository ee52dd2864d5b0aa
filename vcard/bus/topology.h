// How the slaves of a bus hang on each other, and which of the cables between them are plugged in.
#pragma once

#include "vcard/bus/network.h"

#include <array>
#include <cstdint>
#include <vector>

namespace tarn::vcard {

// Port 0 of a slave leads towards the master, ports 1 to 3 to slaves behind it. A slave beyond the
// third on one parent hangs on no port that could be named. Slaves hang where the configuration
// says, else on the first port that is free.
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
    // Cables that a frame has taken from the first slave to this one. It goes through a slave's
    // ports in the order 3, 1, 2, each to the end of its branch and back.
    [[nodiscard]] uint32_t hops(uint32_t slave) const { return nodes_[slave].hops; }
    // Further cables from there until the frame is back at the port, which has a cable.
    [[nodiscard]] uint32_t hops_to_end(uint32_t slave, uint32_t port) const;
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
        uint32_t branch = 1; // slaves that a frame reaches through port 0, with this one
        uint32_t hops = 0;

        [[nodiscard]] bool plugged() const { return !pulled_here && !pulled_there; }
    };

    // Hangs a slave on a port of its parent when that is a free one.
    void hang(uint32_t slave, uint32_t port);
    void update();

    std::vector<Node> nodes_;
};

} // namespace tarn::vcard
