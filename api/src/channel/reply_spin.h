#pragma once

#include "pci_tarn/channel.h"

namespace tarn {

// Looks at a ring for a few microseconds before its reader goes to sleep: a card that answers that
// fast is not worth the way through the kernel. Where looking does not pay (a slow card, a single
// processor) it is left out, but for a trial once in a while. True when a reply is there.
bool spin_for_reply(const MailboxRing &in) noexcept;

} // namespace tarn
