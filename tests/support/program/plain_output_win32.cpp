// Standard output of a test program has line ends of one character, as the list of its tests is
// read by programs that expect it so.
#include <cstdio>
#include <fcntl.h>
#include <io.h>

namespace {

[[maybe_unused]] const int former_mode = _setmode(_fileno(stdout), _O_BINARY);

} // namespace
